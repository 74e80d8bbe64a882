// The geometry and appearance that every layer has, whatever its kind.
//
// Every field is optional: an absent field leaves the decision open, which is what lets one record
// serve both as a layer's settings and as a partial update to them (applyUpdate).
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/geometry.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_enums.hpp"
#include "tav/contracts/indirect.hpp"
#include "tav/scene/scene_layout_item.hpp"
#include "tav/scene/scene_layout_placement.hpp"
#include "tav/scene/scene_mask.hpp"

namespace tav {

enum class AspectRatio;
enum class ShapeElementType;

struct SceneElementSettings {
  /// Left and top edge as a fraction of the canvas, 0 to 1.
  std::optional<double> xPosition;
  std::optional<double> yPosition;
  /// Size as a fraction of the canvas; 1 is the whole canvas.
  std::optional<double> width;
  std::optional<double> height;
  /// Corner radius in hundredths: 25 is a radius of 0.25 (see cornerRadius()).
  std::optional<int> _cornerRadius;
  std::optional<int> borderWidth;
  std::optional<SceneColor> _borderColor;
  std::optional<bool> isLocked;
  std::optional<bool> isHidden;
  std::optional<bool> lockAspectRatio;
  std::optional<double> opacity;
  /// Whole degrees.
  std::optional<int> rotation;
  /// The user's name for the layer.
  std::optional<std::string> name;
  /// How the layer sits in its frame's flex layout.
  /// Kept out of line: most layers are in no frame, and the record is large.
  OptionalIndirect<SceneLayoutItem> layout;
  std::optional<SceneMask> mask;

  /// The rectangle of the four geometry fields; absent when any of them is.
  std::optional<Rect> rect() const;
  /// Sets the four geometry fields from the rectangle's minimum x, minimum y, width and height.
  void setRect(const Rect& rect);

  /// Keeps the layer's on-screen rotation when it leaves frames that rotated it and lands where
  /// `reapplied` degrees are applied from outside: unless the placement's inheritedRotation already
  /// equals `reapplied`, `rotation` becomes the placement's rotation minus `reapplied`, folded to
  /// -180...180.
  void bakeRotation(const SceneLayoutPlacement& placement, int reapplied);

  /// `_cornerRadius` / 100.0; absent when `_cornerRadius` is.
  std::optional<double> cornerRadius() const;
  /// Stores `radius` * 100.0 truncated toward zero (0.257 stores 25); absent clears it. A value whose
  /// hundredths do not fit an int is clamped to the int range, and NaN clears the field.
  void setCornerRadius(std::optional<double> radius);

  /// `_borderColor`, else opaque black.
  SceneColor borderColor() const { return _borderColor.value_or(SceneColor::opaqueBlack()); }

  /// The geometry field that `position` names.
  std::optional<double> getPositionSetting(SceneElementPosition position) const;

  /// Applies a partial update: every field that `incoming` has and that differs from the stored one
  /// (or is stored absent) replaces it. Geometry, lockAspectRatio and layout are taken first, then
  /// isLocked, isHidden, opacity, rotation, borderWidth, borderColor, cornerRadius, name and mask.
  /// A missing stored border colour counts as opaque black, so setting opaque black on it is no
  /// change. Returns whether anything changed.
  bool applyUpdate(const SceneElementSettings& incoming);

  // The settings a new layer of each kind starts from (scene_element_defaults.cpp). All have opacity 1
  // and isHidden false; isLocked, border, name, layout and mask are absent.

  /// Top left, a quarter of the canvas wide.
  static SceneElementSettings defaultText();
  static SceneElementSettings defaultChat();
  /// Sized by size(shape, aspect); a circle has corner radius 50 (0.5) and keeps its aspect ratio.
  static SceneElementSettings defaultShape(ShapeElementType shape, AspectRatio aspect);
  /// A quarter of the canvas wide; as high as keeps `size`'s shape on `canvasSize`, else 0.25.
  static SceneElementSettings defaultImage(std::optional<Size> size, Size canvasSize);
  /// The same as defaultImage.
  static SceneElementSettings defaultCapture(std::optional<Size> size, Size canvasSize) {
    return defaultImage(size, canvasSize);
  }

  friend bool operator==(const SceneElementSettings&, const SceneElementSettings&) = default;
};

/// Keys, in writing order: "name", "xPosition", "yPosition", "width", "height", "borderWidth",
/// "borderColor" (`_borderColor`), "cornerRadius" (the integer `_cornerRadius`, in hundredths),
/// "isHidden", "lockAspectRatio", "opacity", "rotation", "isLocked", "layout", "mask". Each is written
/// only when present; on reading every key may be missing (or null), and a value of the wrong type
/// fails with its path.
template <>
struct JsonCoder<SceneElementSettings> {
  static SceneElementSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementSettings> {
  std::size_t operator()(const tav::SceneElementSettings& s) const noexcept {
    return tav::hashValues(s.xPosition, s.yPosition, s.width, s.height, s._cornerRadius, s.borderWidth,
                           s._borderColor, s.isLocked, s.isHidden, s.lockAspectRatio, s.opacity, s.rotation, s.name,
                           s.layout, s.mask);
  }
};
