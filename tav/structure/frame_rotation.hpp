// Rotation through nested frames: members are laid out in their frame's own unrotated box, so where
// they really land on the canvas, and how they stand, follows from the rotations of every frame
// around them. Pure arithmetic over a layer array; nothing here changes a scene.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tav/contracts/geometry.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene_element.hpp"
#include "tav/scene/scene_layout_placement.hpp"

namespace tav {

/// Rectangles of a layout pass, unrotated, in fractions of the canvas, keyed by the layers' ids in
/// their standard string form (either case is read).
using ResolvedLayoutRects = std::unordered_map<std::string, Rect>;
/// Placements keyed by the layers' ids in their standard (upper-case) string form.
using SceneLayoutPlacements = std::unordered_map<std::string, SceneLayoutPlacement>;

namespace FrameRotation {

/// Frames nest at most this deep; walks over frame ids stop here, so a cycle in a damaged document
/// ends them.
inline constexpr int maximumDepth = 64;

/// `degrees` folded to -180...180 (see foldedDegrees).
inline int folded(int degrees) { return foldedDegrees(degrees); }

/// The folded sum of the rotations (each taken modulo 360, absent as 0) of `frameID` and of the
/// frames around it, walking at most 64 frames; 0 for an absent id. A missing layer ends the walk.
int inheritedRotation(const std::optional<Uuid>& frameID, const std::vector<SceneElement>& elements);

/// Where every member of every frame reachable from a top-level frame lands. A root frame takes its
/// rectangle from `resolved`, else from its settings (a root with neither is left out with its
/// subtree), and gets a placement only when `resolved` holds it. Each member's box keeps its size and
/// has its centre carried through the rotations of the frames around it; a member missing from
/// `resolved` is left out with its subtree. Empty when `resolved` is empty or the canvas has no area.
SceneLayoutPlacements placements(const ResolvedLayoutRects& resolved, const std::vector<SceneElement>& elements,
                                 Size canvasSize);

}  // namespace FrameRotation
}  // namespace tav
