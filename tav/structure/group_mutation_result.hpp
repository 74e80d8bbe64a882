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

  friend bool operator==(const GroupMutationResult&, const GroupMutationResult&) = default;
};

}  // namespace tav
