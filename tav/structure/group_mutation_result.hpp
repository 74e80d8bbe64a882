// What a folder or group operation reports to its caller. An operation that refuses returns no result
// and leaves the scene unchanged.
#pragma once

#include <optional>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene_element.hpp"

namespace tav {

struct GroupMutationResult {
  /// Layers that left the scene.
  std::vector<SceneElement> removed;
  /// Layers that stay but changed.
  std::vector<SceneElement> affected;
  /// The layer to select afterwards; absent leaves the selection alone.
  std::optional<Uuid> newSelection;
  /// The group the operation made (FolderOperations::create); absent for every other operation. A
  /// convenience for the caller, so it takes no part in equality.
  std::optional<Uuid> groupID = std::nullopt;

  friend bool operator==(const GroupMutationResult& a, const GroupMutationResult& b) {
    return a.removed == b.removed && a.affected == b.affected && a.newSelection == b.newSelection;
  }
};

}  // namespace tav
