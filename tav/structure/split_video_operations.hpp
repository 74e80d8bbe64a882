// Making and undoing splits of a scene's routed format. A split replaces a layer by two copies of it,
// the bookends, so that other layers can stand between them: behind the foreground copy and in front
// of the background copy.
#pragma once

#include <optional>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/split_video_group.hpp"

namespace tav::SplitVideoOperations {

/// What a split or an unsplit did to the scene.
struct Result {
  /// Layers that entered the scene.
  std::vector<SceneElement> added;
  /// Layers that left it.
  std::vector<SceneElement> removed;
  /// The layer to select afterwards.
  std::optional<Uuid> newSelection;
  /// The split group the operation made (`split`); absent for the others. A convenience for the
  /// caller, so it takes no part in equality.
  std::optional<Uuid> groupID = std::nullopt;

  friend bool operator==(const Result& a, const Result& b) {
    return a.added == b.added && a.removed == b.removed && a.newSelection == b.newSelection;
  }
};

// Every operation edits `scene` in place; an absent result means refused, and then the scene is left
// exactly as it was. The caller serialises access to one scene.
// Ids are taken by value: a caller may pass the id of a layer or group of `scene` itself, which the
// edit moves or removes.

/// Splits the layer `elementID`, of any kind, wherever it stands: two clones (new ids, no folder, frame,
/// layout or mask) take its place, the foreground at its index and the background directly behind, in
/// a new top-level split group. Masks that used the layer now use the foreground copy. The source then
/// leaves the scene, which may dissolve the folder it was the last member of and releases the members
/// of a split frame. Result: added [foreground, background], removed [source], newSelection the
/// foreground. Refused when no layer has `elementID`.
std::optional<Result> split(Uuid elementID, Scene& scene);

/// Undoes the split `groupID`: both bookends leave and one clone of the triggering bookend (whose
/// settings win) takes the old foreground index, or the end when that is past the array's end. Masks
/// that used either bookend now use the merged layer. Sandwiched layers stay where they are. Result:
/// added [merged], removed [foreground, background], newSelection the merged layer. Refused when the
/// split does not resolve or `triggeringBookendID` is not one of its bookends.
std::optional<Result> unsplit(Uuid groupID, Uuid triggeringBookendID, Scene& scene);

/// Unsplits when `elementID` is a bookend (it triggers), and splits it otherwise, a sandwiched layer
/// included (which makes a split inside the split).
std::optional<Result> toggle(Uuid elementID, Scene& scene);

}  // namespace tav::SplitVideoOperations
