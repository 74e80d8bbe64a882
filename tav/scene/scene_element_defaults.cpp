// The geometry and settings every new layer starts from, and the size of a new shape per aspect.
#include <array>

#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/element_shape_settings.hpp"
#include "tav/scene/scene_element_settings.hpp"

namespace tav {
namespace {

struct Geometry {
  double x, y, width, height;
  std::optional<int> cornerRadius;
  bool lockAspectRatio;
};

SceneElementSettings withCommonDefaults(const Geometry& g) {
  SceneElementSettings settings;
  settings.setRect(Rect(g.x, g.y, g.width, g.height));
  settings._cornerRadius = g.cornerRadius;
  settings.lockAspectRatio = g.lockAspectRatio;
  settings.opacity = 1.0;
  settings.isHidden = false;
  return settings;
}

struct ShapeSizes {
  AspectRatio aspect;
  Size rectangle;
  Size circle;
};

// A circle is 0.2 by 0.35 on 16:9 so that it is round in points (0.2 * 1920 = 384, 0.35 * 1080 = 378).
constexpr std::array<ShapeSizes, 6> kShapeSizes{{
    {AspectRatio::landscape, {0.21, 0.23}, {0.2, 0.35}},
    {AspectRatio::portrait, {0.23, 0.21}, {0.35, 0.2}},
    {AspectRatio::fourByThree, {0.28, 0.21}, {0.2, 0.26}},
    {AspectRatio::threeByFour, {0.21, 0.28}, {0.26, 0.2}},
    {AspectRatio::square, {0.21, 0.21}, {0.35, 0.35}},
    {AspectRatio::unknown, {0.21, 0.23}, {0.2, 0.35}},
}};

}  // namespace

Size size(ShapeElementType shape, AspectRatio aspect) {
  for (const ShapeSizes& entry : kShapeSizes) {
    if (entry.aspect == aspect) return shape == ShapeElementType::circle ? entry.circle : entry.rectangle;
  }
  return shape == ShapeElementType::circle ? kShapeSizes.back().circle : kShapeSizes.back().rectangle;
}

SceneElementSettings SceneElementSettings::defaultText() {
  return withCommonDefaults({0.02, 0.02, 0.25, 0.15, std::nullopt, false});
}

SceneElementSettings SceneElementSettings::defaultChat() {
  return withCommonDefaults({0.02, 0.05, 0.38, 0.9, std::nullopt, false});
}

SceneElementSettings SceneElementSettings::defaultShape(ShapeElementType shape, AspectRatio aspect) {
  const Size s = size(shape, aspect);
  if (shape == ShapeElementType::circle) return withCommonDefaults({0.02, 0.02, s.width, s.height, 50, true});
  return withCommonDefaults({0.03, 0.06, s.width, s.height, 0, false});
}

SceneElementSettings SceneElementSettings::defaultImage(std::optional<Size> size, Size canvasSize) {
  double height = 0.25;
  // As high, in canvas fractions, as keeps the picture's shape at a quarter of the canvas's width.
  if (size) height = (size->height / size->width) * (canvasSize.width * 0.25) / canvasSize.height;
  return withCommonDefaults({0.03, 0.06, 0.25, height, 0, true});
}

}  // namespace tav
