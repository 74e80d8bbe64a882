#include "tav/structure/group_operations.hpp"

#include <unordered_map>
#include <vector>

#include "tav/structure/split_video_group.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav::GroupOperations {
namespace {

/// The layers that make up the group: a folder's layers with those of every folder inside it, or a
/// split's bookends with every layer between them. Empty for a missing group or a broken split.
detail::UuidSet elementSet(const Scene& scene, const Uuid& groupID) {
  detail::UuidSet ids;
  auto group = scene.groups().find(groupID);
  if (group == scene.groups().end()) return ids;
  if (group->second.kind == SceneElementGroupKind::folder) {
    for (const auto& element : scene.elementsRecursive(groupID)) ids.insert(element.id());
  } else if (auto split = splitVideoGroupWithID(scene, groupID)) {
    for (const auto& id : split->allIDs()) ids.insert(id);
  }
  return ids;
}

/// Every folder below `groupID`, depth first from the last child found. The walk keeps no visited set
/// beyond what it has already taken, so a cycle of parents in a damaged document ends rather than loops.
std::vector<Uuid> foldersBelow(const Scene& scene, const Uuid& groupID) {
  std::unordered_map<Uuid, std::vector<Uuid>> childFolders;
  for (const auto& [id, group] : scene.groups()) {
    if (group.kind == SceneElementGroupKind::folder && group.parentGroupID) {
      childFolders[*group.parentGroupID].push_back(id);
    }
  }
  std::vector<Uuid> result;
  detail::UuidSet taken;
  taken.insert(groupID);
  std::vector<Uuid> work = childFolders[groupID];
  while (!work.empty()) {
    Uuid next = work.back();
    work.pop_back();
    if (!taken.insert(next)) continue;
    result.push_back(next);
    auto children = childFolders.find(next);
    if (children != childFolders.end()) work.insert(work.end(), children->second.begin(), children->second.end());
  }
  return result;
}

template <class Setter>
std::optional<GroupMutationResult> setOnMembers(const Uuid& groupID, Scene& scene, Setter set) {
  detail::UuidSet ids = elementSet(scene, groupID);
  if (ids.empty()) return std::nullopt;
  GroupMutationResult result;
  for (auto& element : scene.routedFormatForEditing().elements) {
    if (!ids.contains(element.id())) continue;
    set(element.settings());
    element.setSettingsUpdated(true);
    result.affected.push_back(element);
  }
  return result;
}

}  // namespace

std::optional<GroupMutationResult> hide(const Uuid& groupID, bool isHidden, Scene& scene) {
  return setOnMembers(groupID, scene, [isHidden](SceneElementSettings& s) { s.isHidden = isHidden; });
}

std::optional<GroupMutationResult> lock(const Uuid& groupID, bool isLocked, Scene& scene) {
  return setOnMembers(groupID, scene, [isLocked](SceneElementSettings& s) { s.isLocked = isLocked; });
}

std::optional<GroupMutationResult> delete_(Uuid groupID, Scene& scene) {
  if (!scene.groups().contains(groupID)) return std::nullopt;
  detail::UuidSet ids = elementSet(scene, groupID);
  std::vector<Uuid> folders = foldersBelow(scene, groupID);
  if (ids.empty() && folders.empty()) return std::nullopt;

  SceneFormat& format = scene.routedFormatForEditing();
  GroupMutationResult result;
  std::vector<SceneElement> kept;
  kept.reserve(format.elements.size());
  for (auto& element : format.elements) {
    (ids.contains(element.id()) ? result.removed : kept).push_back(std::move(element));
  }
  format.elements = std::move(kept);
  for (const auto& folder : folders) format.groups.erase(folder);
  format.groups.erase(groupID);
  scene.cleanupOrphanGroups();
  return result;
}

}  // namespace tav::GroupOperations
