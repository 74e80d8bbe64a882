#include "tav/structure/folder_operations.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "tav/structure/uuid_index.hpp"

namespace tav::FolderOperations {
namespace {

/// The index of the first layer with `id`, or absent.
std::optional<std::size_t> indexOf(const std::vector<SceneElement>& elements, const Uuid& id) {
  auto it = std::find_if(elements.begin(), elements.end(), [&id](const SceneElement& e) { return e.id() == id; });
  if (it == elements.end()) return std::nullopt;
  return static_cast<std::size_t>(std::distance(elements.begin(), it));
}

bool isFolder(const SceneElementGroupMap& groups, const Uuid& groupID) {
  auto it = groups.find(groupID);
  return it != groups.end() && it->second.kind == SceneElementGroupKind::folder;
}

}  // namespace

std::optional<GroupMutationResult> create(const std::vector<Uuid>& memberIDs, std::optional<std::string> name,
                                          bool isMask, Scene& scene) {
  // Everything is decided on the unchanged scene; nothing is written before the refusal is ruled out.
  const auto& elements = scene.elements();
  detail::UuidMap<std::size_t> firstIndexOf(memberIDs.size());
  for (const auto& memberID : memberIDs) firstIndexOf.tryEmplace(memberID, elements.size());
  std::vector<std::size_t> memberIndices;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    std::size_t* first = firstIndexOf.find(elements[i].id());
    if (first == nullptr) continue;
    memberIndices.push_back(i);
    if (*first == elements.size()) *first = i;
  }
  if (memberIndices.empty()) return std::nullopt;
  const std::size_t front = memberIndices.front();

  // A selection wholly inside one group nests the new folder there; anything else goes to the top.
  std::optional<Uuid> parent;
  bool allInOneGroup = true;
  for (const auto& memberID : memberIDs) {
    const std::size_t at = *firstIndexOf.find(memberID);
    const auto* membership = at < elements.size() && elements[at].groupMembership() ? &*elements[at].groupMembership()
                                                                                    : nullptr;
    if (membership == nullptr || (parent && *parent != membership->groupID)) {
      allInOneGroup = false;
      break;
    }
    parent = membership->groupID;
  }
  if (!allInOneGroup) parent.reset();

  SceneElementGroup group;
  group.id = Uuid::random();
  group.kind = SceneElementGroupKind::folder;
  group.name = std::move(name);
  group.isCollapsed = false;
  group.parentGroupID = parent;
  if (isMask) group.isMask = true;
  const Uuid groupID = group.id;
  scene.addGroup(std::move(group));

  // The members leave the array in their order and come back as one block at the front-most member's
  // index; the layers between them close up behind the block. One pass, whatever the selection's size.
  auto& list = scene.routedFormatForEditing().elements;
  std::vector<SceneElement> members;
  std::vector<SceneElement> rest;
  members.reserve(memberIndices.size());
  rest.reserve(list.size() - memberIndices.size());
  std::size_t next = 0;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (next < memberIndices.size() && memberIndices[next] == i) {
      ++next;
      list[i].setGroupMembership(SceneElementGroupMembership{groupID, std::nullopt});
      members.push_back(std::move(list[i]));
    } else {
      rest.push_back(std::move(list[i]));
    }
  }
  const std::size_t at = std::min(front, rest.size());
  GroupMutationResult result{{}, members, members.front().id(), groupID};
  rest.insert(rest.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(members.begin()),
              std::make_move_iterator(members.end()));
  list = std::move(rest);

  scene.cleanupOrphanGroups();
  return result;
}

std::optional<GroupMutationResult> addToFolder(Uuid elementID, Uuid groupID, Scene& scene) {
  if (!isFolder(scene.groups(), groupID)) return std::nullopt;
  const auto index = indexOf(scene.elements(), elementID);
  if (!index) return std::nullopt;
  const SceneElement& element = scene.elements()[*index];
  if (element.groupMembership() && element.groupMembership()->groupID == groupID) {
    return GroupMutationResult{{}, {element}, std::nullopt};
  }

  scene.routedFormatForEditing().elements[*index].setGroupMembership(SceneElementGroupMembership{groupID, std::nullopt});
  scene.normaliseGroupContiguity();
  scene.cleanupOrphanGroups();
  // Gathering may have moved the layer; look it up again.
  const auto now = indexOf(scene.elements(), elementID);
  return GroupMutationResult{{}, {scene.elements()[now.value_or(*index)]}, std::nullopt};
}

std::optional<GroupMutationResult> removeFromFolder(Uuid elementID, Scene& scene) {
  const auto index = indexOf(scene.elements(), elementID);
  if (!index || !scene.elements()[*index].groupMembership()) return std::nullopt;

  scene.routedFormatForEditing().elements[*index].setGroupMembership(std::nullopt);
  // The cleanup reorders nothing, so the layer is still where it was.
  scene.cleanupOrphanGroups();
  return GroupMutationResult{{}, {scene.elements()[*index]}, std::nullopt};
}

std::optional<GroupMutationResult> ungroup(Uuid groupID, Scene& scene) {
  if (!isFolder(scene.groups(), groupID)) return std::nullopt;

  auto& format = scene.routedFormatForEditing();
  const std::optional<Uuid> parent = format.groups.at(groupID).parentGroupID;
  for (auto& entry : format.groups) {
    auto& child = entry.second;
    if (child.kind == SceneElementGroupKind::folder && child.parentGroupID == groupID) child.parentGroupID = parent;
  }
  GroupMutationResult result;
  for (auto& element : format.elements) {
    if (!element.groupMembership() || element.groupMembership()->groupID != groupID) continue;
    if (parent) {
      element.setGroupMembership(SceneElementGroupMembership{*parent, std::nullopt});
    } else {
      element.setGroupMembership(std::nullopt);
    }
    result.affected.push_back(element);
  }
  format.groups.erase(groupID);

  scene.cleanupOrphanGroups();
  return result;
}

std::optional<GroupMutationResult> nestFolder(Uuid innerGroupID, std::optional<Uuid> underGroupID,
                                              Scene& scene) {
  if (!isFolder(scene.groups(), innerGroupID)) return std::nullopt;
  if (underGroupID) {
    if (!isFolder(scene.groups(), *underGroupID)) return std::nullopt;
    // Refuses a folder under itself or under one of its own descendants: either would close a cycle.
    const auto ancestry = scene.groupAncestryByGroupID(*underGroupID);
    if (std::find(ancestry.begin(), ancestry.end(), innerGroupID) != ancestry.end()) return std::nullopt;
  }

  scene.routedFormatForEditing().groups.at(innerGroupID).parentGroupID = underGroupID;
  // Nothing can be orphaned by a move between folders, so only the gathering runs.
  scene.normaliseGroupContiguity();
  return GroupMutationResult{};
}

}  // namespace tav::FolderOperations
