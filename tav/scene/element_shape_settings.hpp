// The settings of a shape layer: a rectangle or a circle filled with a colour or a gradient.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/geometry.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_gradient.hpp"

namespace tav {

enum class AspectRatio;

enum class ShapeElementType { rectangle, circle };

template <>
struct EnumTraits<ShapeElementType> {
  static constexpr std::array cases{EnumCase<ShapeElementType>{ShapeElementType::rectangle, "rectangle"},
                                    EnumCase<ShapeElementType>{ShapeElementType::circle, "circle"}};
};

/// "Rectangle" or "Circle", localised.
std::string title(ShapeElementType shape);

/// The width and height of a new shape on a canvas of `aspect`, in canvas fractions, chosen so that a
/// circle looks round and a rectangle a little taller than square in points.
Size size(ShapeElementType shape, AspectRatio aspect);

struct SceneElementShapeSettings {
  std::optional<ShapeElementType> shape;
  std::optional<SceneColor> backgroundColor;
  std::optional<SceneGradient> backgroundGradient;

  /// Merges the fill colour and gradient of `incoming` as a pair (see mergeColourAndGradient). The
  /// shape itself never changes by an update.
  void merge(const SceneElementShapeSettings& incoming);

  friend bool operator==(const SceneElementShapeSettings&, const SceneElementShapeSettings&) = default;
};

/// {"shape", "backgroundColor", "backgroundGradient"}, each written only when present and optional on
/// reading.
template <>
struct JsonCoder<SceneElementShapeSettings> {
  static SceneElementShapeSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementShapeSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementShapeSettings> {
  std::size_t operator()(const tav::SceneElementShapeSettings& s) const noexcept {
    return tav::hashValues(s.shape, s.backgroundColor, s.backgroundGradient);
  }
};
