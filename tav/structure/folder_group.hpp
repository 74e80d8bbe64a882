// A read-only snapshot of one folder and its direct members, built on request and never stored.
#pragma once

#include <cstddef>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tav/scene/scene.hpp"

namespace tav {

/// A closed range of element indices, first to last.
struct IndexRange {
  std::size_t lowerBound = 0;
  std::size_t upperBound = 0;
  friend bool operator==(const IndexRange&, const IndexRange&) = default;
};

struct FolderGroup {
  SceneElementGroup group;
  /// The folder's direct members in array order; never empty.
  std::vector<SceneElement> members;
  /// Index of the first direct member to index of the last; layers of other groups may stand between.
  IndexRange indexRange;

  std::unordered_set<Uuid> memberIDs() const;
  bool contains(const Uuid& elementID) const;
  /// The layers of this folder and of the folders inside it, in array order.
  std::vector<SceneElement> allElementsRecursive(const Scene& scene) const {
    return scene.elementsRecursive(group.id);
  }
  /// The range from the lowest to the highest index of allElementsRecursive; absent when empty.
  std::optional<IndexRange> transitiveIndexRange(const Scene& scene) const;

  friend bool operator==(const FolderGroup&, const FolderGroup&) = default;
};

}  // namespace tav
