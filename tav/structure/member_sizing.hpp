// The three ways a frame member is sized along an axis (a fixed size, filling the free space, hugging
// its content) and how each is written into the member's flex fields, which depend on whether the
// axis is the frame's main axis.
#pragma once

#include <optional>

#include "tav/scene/scene_enums.hpp"
#include "tav/scene/scene_flex.hpp"
#include "tav/scene/scene_layout_item.hpp"

namespace tav::MemberSizing {

/// The point size of a full-canvas layer on the 1920 by 1080 reference canvas: 1920 for width, 1080
/// for height.
constexpr double reference(SceneLayoutAxis axis) { return axis == SceneLayoutAxis::width ? 1920.0 : 1080.0; }

/// True for width in a row and for height in a column.
constexpr bool isMainAxis(SceneLayoutAxis axis, SceneFlexDirection direction) {
  return (axis == SceneLayoutAxis::width) == (direction == SceneFlexDirection::row);
}

/// How `item` is sized along `axis`: fill when it grows on the main axis or stretches on the cross
/// axis, else hug when the axis has no dimension or an automatic one, else fixed. An absent item hugs.
SceneSizeMode mode(const std::optional<SceneLayoutItem>& item, SceneLayoutAxis axis, SceneFlexDirection direction);

/// Writes `mode` for `axis` into `item`: fill drops the dimension and grows (main axis) or stretches
/// (cross axis); hug and fixed set the dimension (0 automatic, or `pointSize` points) and stop growing
/// (main axis) or drop a stretch (cross axis). Every other field stays.
void apply(SceneSizeMode mode, SceneLayoutAxis axis, SceneFlexDirection direction, double pointSize,
           SceneLayoutItem& item);

/// apply() with the fixed mode.
inline void applyFixedSize(double pointSize, SceneLayoutAxis axis, SceneFlexDirection direction,
                           SceneLayoutItem& item) {
  apply(SceneSizeMode::fixed, axis, direction, pointSize, item);
}

/// `item` rewritten so that both axes keep their modes when the frame turns from `from` to `to`.
/// Returned as passed when the directions are equal or the item is absent.
std::optional<SceneLayoutItem> migrating(const std::optional<SceneLayoutItem>& item, SceneFlexDirection from,
                                         SceneFlexDirection to);

}  // namespace tav::MemberSizing
