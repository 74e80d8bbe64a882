// The editing operations on frames (stacks): walking a frame's subtree, wrapping layers in a new
// frame, turning a folder into a frame, copying a frame with its members, and dissolving a frame while
// keeping its members where they appear on screen ("baking").
//
// Operations on an array take it as an argument; those that change a scene edit its routed format in
// place. A refusal is an absent id or an empty array and leaves the scene exactly as it was. Walks over
// frame ids stop after 64 levels or steps, so a cycle in a damaged document ends them.
#pragma once

#include <optional>
#include <unordered_set>
#include <variant>
#include <vector>

#include "tav/contracts/geometry.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/frame_rotation.hpp"

namespace tav::FrameOperations {

/// How baking treats rotation: the baked layers land inside `frameID` (at the top level when absent)
/// and keep their on-screen rotation there, or their rotations are left alone.
class RotationLanding {
 public:
  static RotationLanding inside(std::optional<Uuid> frameID) { return RotationLanding(Inside{frameID}); }
  static RotationLanding unchanged() { return RotationLanding(Unchanged{}); }

  bool isInside() const { return std::holds_alternative<Inside>(value_); }
  bool isUnchanged() const { return std::holds_alternative<Unchanged>(value_); }
  /// The landing frame of `inside`; absent for `unchanged` and for a top-level landing.
  std::optional<Uuid> insideFrameID() const {
    const auto* inside = std::get_if<Inside>(&value_);
    return inside ? inside->frameID : std::nullopt;
  }

  friend bool operator==(const RotationLanding&, const RotationLanding&) = default;

 private:
  struct Inside {
    std::optional<Uuid> frameID;
    friend bool operator==(const Inside&, const Inside&) = default;
  };
  struct Unchanged {
    friend bool operator==(const Unchanged&, const Unchanged&) = default;
  };
  explicit RotationLanding(std::variant<Inside, Unchanged> value) : value_(value) {}
  std::variant<Inside, Unchanged> value_;
};

// Queries over a layer array.

/// The frame `frameID` and everything inside it, breadth first: the frame, then level by level each
/// frame's members in array order. Empty unless `frameID` names a frame.
std::vector<Uuid> subtreeIDs(const Uuid& frameID, const std::vector<SceneElement>& elements);
/// The ids of `ids`, in order, that have no frame ancestor among `ids`. An id whose walk up meets a
/// cycle is kept.
std::vector<Uuid> outermost(const std::vector<Uuid>& ids, const std::vector<SceneElement>& elements);
/// True when following frame ids up from `id` reaches `ancestorID`; a layer is its own descendant.
bool isDescendant(const Uuid& id, const Uuid& ancestorID, const std::vector<SceneElement>& elements);
/// The smallest rectangle enclosing every one of `rects`; absent for none.
std::optional<Rect> unionRect(const std::vector<Rect>& rects);
/// The frame (absent: the top level) that every layer of `ids` shares, which a frame wrapping them
/// must join; absent too when they don't share one.
std::optional<Uuid> parentFrameID(const std::vector<Uuid>& ids, const std::vector<SceneElement>& elements);
/// The layout a layer gets on joining a frame: in the flow, shrinking but not growing, sized by its
/// own geometry on the 1920 by 1080 reference canvas; a text hugs, and so does a frame along an axis
/// it hugs its content on.
SceneLayoutItem defaultMemberLayout(const SceneElement& element);

// Edits of a scene's routed format.

/// Wraps the outermost of `memberIDs` in a new frame at the union of their rectangles (layers without
/// all four geometry fields don't count), inserted just behind the rearmost member but never between
/// the bookends of a split. Members leave their folders (split bookends stay in their split) and get
/// the default member layout; nothing is reordered. A frame around members of one frame is nested in
/// it. Refused when no layer is named or none has complete geometry.
std::optional<Uuid> wrap(const std::vector<Uuid>& memberIDs, Scene& scene);
/// Dissolves the folder `groupID` and wraps its former direct members in a new frame. Refused when the
/// group is missing, is not a folder, or is or lies in a mask folder. A folder without direct members
/// is still dissolved, and the result is then absent.
std::optional<Uuid> convertFolderToStack(Uuid groupID, Scene& scene);
/// Clones of the frame `frameID` and its subtree, root first, with new ids, members pointing at their
/// cloned frames and masks between the clones remapped (masks to layers outside are dropped). With
/// `keepingParent` the root stays in the source's frame and folder. Empty unless `frameID` names a frame.
std::vector<SceneElement> copySubtree(const Uuid& frameID, const std::vector<SceneElement>& elements,
                                      bool keepingParent);
/// Inserts a copy of the frame's subtree as one block at the frame's index, in the frame's parent and
/// folder; returns the copy's id. No repair runs.
std::optional<Uuid> duplicate(const Uuid& frameID, Scene& scene);
/// Inserts a copy of the frame's subtree from `source` into `target`: at the frame's own index and in
/// its parent when `target` is the same document and holds the frame, else at the front with no
/// parent and no folder. Returns the copy's id. No repair runs.
std::optional<Uuid> paste(const Uuid& frameID, const Scene& source, Scene& target);
/// Removes the frame `frameID`, freeing its direct members at their `placements` (a member without one
/// keeps its geometry), into the frame's own parent when `promoteToParentStack`, else to the top level.
/// Members keep their on-screen rotation. Returns the freed members' ids in array order. No repair runs.
std::vector<Uuid> bakeAndRemove(const Uuid& frameID, const SceneLayoutPlacements& placements,
                                bool promoteToParentStack, Scene& scene);
/// `elements` with each layer that `placements` holds (and `limitedTo` includes, when given) moved to
/// its placement rectangle and marked updated, its rotation rebased onto `landing`.
std::vector<SceneElement> baking(const SceneLayoutPlacements& placements, const std::vector<SceneElement>& elements,
                                 const std::optional<std::unordered_set<Uuid>>& limitedTo, RotationLanding landing);

}  // namespace tav::FrameOperations
