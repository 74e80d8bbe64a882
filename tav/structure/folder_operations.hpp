// The editing operations on the folders of a scene's routed format: making a folder from a selection,
// adding a layer to a folder and taking it out, dissolving a folder, and nesting one folder in another.
// Each finishes with the repair passes it needs, so the structure is sound again when it returns.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/group_mutation_result.hpp"

namespace tav::FolderOperations {

// Every operation edits `scene` in place and returns what changed; an absent result means refused, and
// then the scene is left exactly as it was. The caller serialises access to one scene.
// Ids are taken by value: a caller may pass the id of a layer or group of `scene` itself, which the
// edit moves or removes.

/// Makes a folder of the layers named by `memberIDs` (ids that name nothing are ignored). The members
/// leave their earlier folder or split group and are gathered, in their array order, into one block at
/// the index of the front-most member; layers that stood between them end up behind the block. A
/// selection wholly inside one folder makes a folder nested in it; any other selection a top-level one.
/// A mask folder (`isMask`) of a single layer is removed again by the repair before returning; the
/// result still lists its member as it was put in. `affected`: the members in array order;
/// `newSelection`: the front-most member. Refused when no id names a layer.
std::optional<GroupMutationResult> create(const std::vector<Uuid>& memberIDs, std::optional<std::string> name,
                                          bool isMask, Scene& scene);

/// Puts the layer into the folder `groupID` (leaving any other group), then gathers every folder into
/// one block. `affected`: the layer as it stands afterwards. A layer already in that folder changes
/// nothing and is still reported. Refused when the folder is missing or not a folder, or no layer has
/// `elementID`.
std::optional<GroupMutationResult> addToFolder(Uuid elementID, Uuid groupID, Scene& scene);

/// Takes the layer out of its group, whatever the group's kind: a split bookend leaves its split, which
/// then dissolves. The layer keeps its index. `affected`: the layer afterwards. Refused when no layer has
/// `elementID` or it stands in no group.
std::optional<GroupMutationResult> removeFromFolder(Uuid elementID, Scene& scene);

/// Dissolves the folder `groupID`: its direct members and child folders move up to its parent folder
/// (or to the top level). Nothing is reordered. `affected`: the former direct members in array order,
/// with their new membership. Refused when the group is missing or is not a folder.
std::optional<GroupMutationResult> ungroup(Uuid groupID, Scene& scene);

/// Moves the folder `innerGroupID` under the folder `underGroupID`, or to the top level when that is
/// absent, then gathers every folder into one block. The result lists nothing. Refused when either
/// group is missing or is not a folder, or when the move would put a folder inside itself.
std::optional<GroupMutationResult> nestFolder(Uuid innerGroupID, std::optional<Uuid> underGroupID,
                                              Scene& scene);

}  // namespace tav::FolderOperations
