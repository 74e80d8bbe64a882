// A read-only snapshot of one split video: the two bookend copies of a layer and whatever stands
// between them, built on request from a scene's routed format and never stored. Also the questions a
// scene answers about its splits.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <unordered_set>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/folder_group.hpp"

namespace tav {

/// Layers between the bookends are sandwiched: drawn behind the foreground copy and in front of the
/// background copy. Nothing records them as such; they follow from the indices. The foreground usually
/// stands in front (lower index) but a reorder may swap them, so everything here works with the lower
/// and the higher of the two indices.
struct SplitVideoGroup {
  SceneElementGroup group;
  /// The bookend in role splitForeground.
  SceneElement foreground;
  /// The bookend in role splitBackground.
  SceneElement background;
  /// Every layer strictly between the bookends, in array order, whatever group it belongs to.
  std::vector<SceneElement> sandwiched;
  std::size_t foregroundIndex = 0;
  std::size_t backgroundIndex = 0;

  /// From the lower of the two bookend indices to the higher.
  IndexRange indexRange() const {
    return {std::min(foregroundIndex, backgroundIndex), std::max(foregroundIndex, backgroundIndex)};
  }
  /// The foreground, then the sandwiched layers, then the background.
  std::vector<SceneElement> allElements() const;
  /// The ids of allElements().
  std::unordered_set<Uuid> allIDs() const;
  /// The sandwiched layers and the two bookends.
  std::size_t memberCount() const { return sandwiched.size() + 2; }
  /// True for a bookend or a sandwiched layer.
  bool contains(const Uuid& elementID) const;
  /// The role of a bookend; absent for any other id, sandwiched layers included.
  std::optional<SceneElementGroupRole> role(const Uuid& elementID) const;
  /// The other bookend of a bookend; absent for any other id.
  std::optional<SceneElement> partner(const Uuid& elementID) const;

  friend bool operator==(const SplitVideoGroup&, const SplitVideoGroup&) = default;
};

// The split questions of a scene's routed format. They are free functions over `const Scene&` because
// Scene keeps only the folder questions as members. Like every structure query they never fail: an id
// that names nothing gives an empty or absent result.

/// Every split whose group still has both bookends, by foreground index ascending.
std::vector<SplitVideoGroup> splitVideoGroups(const Scene& scene);

/// The split of `groupID`: absent unless the group exists, is a split-video group and has a layer in each
/// role. When a role is held by several layers, the last in array order counts.
std::optional<SplitVideoGroup> splitVideoGroupWithID(const Scene& scene, const Uuid& groupID);

/// The split a layer belongs to: its own split group when it is a bookend (absent if that split has lost
/// a bookend), else the first split of splitVideoGroups() whose bookends enclose the layer's index, so a
/// sandwiched layer counts as contained.
std::optional<SplitVideoGroup> splitVideoGroupContaining(const Scene& scene, const Uuid& elementID);

}  // namespace tav
