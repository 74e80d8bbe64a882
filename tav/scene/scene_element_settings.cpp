#include "tav/scene/scene_element_settings.hpp"

#include <cmath>
#include <limits>

namespace tav {
namespace {

/// Takes `incoming` into `stored` when it is present and differs from (or there is no) stored value.
template <class T>
bool take(T& stored, const T& incoming) {
  if (!incoming || stored == incoming) return false;
  stored = incoming;
  return true;
}

}  // namespace

void SceneElementSettings::bakeRotation(const SceneLayoutPlacement& placement, int reapplied) {
  if (placement.inheritedRotation == reapplied) return;
  rotation = foldedDegrees(std::int64_t{placement.rotation} - reapplied);
}

std::optional<Rect> SceneElementSettings::rect() const {
  if (!xPosition || !yPosition || !width || !height) return std::nullopt;
  return Rect(*xPosition, *yPosition, *width, *height);
}

void SceneElementSettings::setRect(const Rect& rect) {
  xPosition = rect.minX();
  yPosition = rect.minY();
  width = rect.width();
  height = rect.height();
}

std::optional<double> SceneElementSettings::cornerRadius() const {
  if (!_cornerRadius) return std::nullopt;
  return *_cornerRadius / 100.0;
}

void SceneElementSettings::setCornerRadius(std::optional<double> radius) {
  if (!radius || std::isnan(*radius)) {
    _cornerRadius.reset();
    return;
  }
  double hundredths = std::trunc(*radius * 100.0);
  constexpr double lowest = std::numeric_limits<int>::min();
  constexpr double highest = std::numeric_limits<int>::max();
  _cornerRadius = static_cast<int>(hundredths < lowest ? lowest : (hundredths > highest ? highest : hundredths));
}

std::optional<double> SceneElementSettings::getPositionSetting(SceneElementPosition position) const {
  switch (position) {
    case SceneElementPosition::xPosition:
      return xPosition;
    case SceneElementPosition::yPosition:
      return yPosition;
    case SceneElementPosition::width:
      return width;
    case SceneElementPosition::height:
      return height;
  }
  return std::nullopt;
}

bool SceneElementSettings::applyUpdate(const SceneElementSettings& incoming) {
  bool updated = false;
  // Geometry and lock, then the rest.
  updated |= take(xPosition, incoming.xPosition);
  updated |= take(yPosition, incoming.yPosition);
  updated |= take(width, incoming.width);
  updated |= take(height, incoming.height);
  updated |= take(lockAspectRatio, incoming.lockAspectRatio);
  updated |= take(layout, incoming.layout);

  updated |= take(isLocked, incoming.isLocked);
  updated |= take(isHidden, incoming.isHidden);
  updated |= take(opacity, incoming.opacity);
  updated |= take(rotation, incoming.rotation);
  updated |= take(borderWidth, incoming.borderWidth);
  // A layer without a border colour draws opaque black, so that is what an incoming colour is
  // compared with.
  if (incoming._borderColor && *incoming._borderColor != borderColor()) {
    _borderColor = incoming._borderColor;
    updated = true;
  }
  // Compared as radii, the way the host shows them; stored as the incoming hundredths, unchanged.
  if (incoming._cornerRadius && (!_cornerRadius || *incoming._cornerRadius / 100.0 != *_cornerRadius / 100.0)) {
    _cornerRadius = incoming._cornerRadius;
    updated = true;
  }
  updated |= take(name, incoming.name);
  updated |= take(mask, incoming.mask);
  return updated;
}

SceneElementSettings JsonCoder<SceneElementSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementSettings s;
  s.name = reader.optional<std::string>("name");
  s.xPosition = reader.optional<double>("xPosition");
  s.yPosition = reader.optional<double>("yPosition");
  s.width = reader.optional<double>("width");
  s.height = reader.optional<double>("height");
  s.borderWidth = reader.optional<int>("borderWidth");
  s._borderColor = reader.optional<SceneColor>("borderColor");
  s._cornerRadius = reader.optional<int>("cornerRadius");
  s.isHidden = reader.optional<bool>("isHidden");
  s.lockAspectRatio = reader.optional<bool>("lockAspectRatio");
  s.opacity = reader.optional<double>("opacity");
  s.rotation = reader.optional<int>("rotation");
  s.isLocked = reader.optional<bool>("isLocked");
  s.layout = reader.optional<SceneLayoutItem>("layout");
  s.mask = reader.optional<SceneMask>("mask");
  return s;
}

void JsonCoder<SceneElementSettings>::encode(JsonWriter& w, const SceneElementSettings& v) {
  w.beginObject();
  w.optionalField("name", v.name);
  w.optionalField("xPosition", v.xPosition);
  w.optionalField("yPosition", v.yPosition);
  w.optionalField("width", v.width);
  w.optionalField("height", v.height);
  w.optionalField("borderWidth", v.borderWidth);
  w.optionalField("borderColor", v._borderColor);
  w.optionalField("cornerRadius", v._cornerRadius);
  w.optionalField("isHidden", v.isHidden);
  w.optionalField("lockAspectRatio", v.lockAspectRatio);
  w.optionalField("opacity", v.opacity);
  w.optionalField("rotation", v.rotation);
  w.optionalField("isLocked", v.isLocked);
  w.optionalField("layout", v.layout);
  w.optionalField("mask", v.mask);
  w.endObject();
}

}  // namespace tav
