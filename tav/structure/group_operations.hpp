// Hiding, locking and deleting a group (a folder with everything nested in it, or a split video with
// the layers between its bookends) as one unit. The state lives on the member layers: a group has no
// hidden or locked flag of its own.
#pragma once

#include <optional>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/group_mutation_result.hpp"

namespace tav::GroupOperations {

// Each edits the routed format of `scene` in place; an absent result means refused and leaves the
// scene unchanged.

/// Stores `isHidden` on every layer of the group (true or false, even where it held that value) and
/// marks them updated; `affected` lists them in array order. Refused when the group has no layer.
std::optional<GroupMutationResult> hide(const Uuid& groupID, bool isHidden, Scene& scene);
/// As hide(), for `isLocked`.
std::optional<GroupMutationResult> lock(const Uuid& groupID, bool isLocked, Scene& scene);
/// Removes the group, every folder below it and every layer of it, then runs the orphan clean-up
/// (which also frees members of removed frames and drops masks on removed layers). `removed` lists the
/// layers in array order. Refused when the group is missing, or has neither layers nor nested folders.
std::optional<GroupMutationResult> delete_(Uuid groupID, Scene& scene);

}  // namespace tav::GroupOperations
