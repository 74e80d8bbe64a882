// The read-only structure questions of a scene format: folders, ancestry, members and mask roles.
#include <algorithm>
#include <cstdint>
#include <unordered_set>

#include "tav/scene/scene.hpp"
#include "tav/structure/folder_group.hpp"
#include "tav/structure/group_index.hpp"
#include "tav/structure/group_member_counts.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav {
namespace {

const SceneElement* findElement(const std::vector<SceneElement>& elements, const Uuid& id) {
  auto it = std::find_if(elements.begin(), elements.end(), [&id](const SceneElement& e) { return e.id() == id; });
  return it == elements.end() ? nullptr : &*it;
}

}  // namespace

std::unordered_set<Uuid> FolderGroup::memberIDs() const {
  std::unordered_set<Uuid> ids;
  for (const auto& member : members) ids.insert(member.id());
  return ids;
}

bool FolderGroup::contains(const Uuid& elementID) const {
  return std::any_of(members.begin(), members.end(), [&](const SceneElement& e) { return e.id() == elementID; });
}

std::optional<IndexRange> FolderGroup::transitiveIndexRange(const Scene& scene) const {
  std::unordered_set<Uuid> ids;
  for (const auto& element : scene.elementsRecursive(group.id)) ids.insert(element.id());
  std::optional<IndexRange> range;
  const auto& elements = scene.elements();
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!ids.contains(elements[i].id())) continue;
    if (!range) range = IndexRange{i, i};
    range->upperBound = i;
  }
  return range;
}

std::vector<Uuid> Scene::groupAncestryByGroupID(const Uuid& groupID) const {
  const auto& map = groups();
  std::vector<Uuid> ancestry;
  detail::UuidSet visited;  // a set, so a deep chain costs its length and not its square
  std::optional<Uuid> current = groupID;
  while (current) {
    auto it = map.find(*current);
    if (it == map.end() || !visited.insert(*current)) break;
    ancestry.push_back(*current);
    current = it->second.parentGroupID;
  }
  return ancestry;
}

std::vector<Uuid> Scene::groupAncestry(const Uuid& elementID) const {
  const SceneElement* element = findElement(elements(), elementID);
  if (element == nullptr || !element->groupMembership()) return {};
  return groupAncestryByGroupID(element->groupMembership()->groupID);
}

std::vector<Uuid> Scene::nestedFolderIDs(const Uuid& groupID) const {
  std::vector<Uuid> children;
  for (const auto& [id, group] : groups()) {
    if (group.kind == SceneElementGroupKind::folder && group.parentGroupID == groupID) children.push_back(id);
  }
  return children;
}

std::vector<SceneElement> Scene::elementsRecursive(const Uuid& groupID) const {
  // Which groups lie inside `groupID` (itself included), decided once per group rather than per layer.
  detail::GroupIndex index(groups());
  const std::vector<std::size_t> inside =
      detail::firstOnWalkUp(index, [&](std::size_t slot) { return index.key(slot) == groupID; });
  // Positions first, so the copies go once into storage of their final size: a deep folder holds
  // most of the format, and growing the result would move every copy it already made.
  std::vector<std::uint32_t> positions;
  const auto& list = elements();
  for (std::size_t i = 0; i < list.size(); ++i) {
    const auto& membership = list[i].groupMembership();
    if (!membership) continue;
    std::size_t slot = index.slotOf(membership->groupID);
    if (slot != detail::GroupIndex::npos && inside[slot] != detail::GroupIndex::npos) {
      positions.push_back(static_cast<std::uint32_t>(i));
    }
  }
  std::vector<SceneElement> result;
  result.reserve(positions.size());
  for (std::uint32_t i : positions) result.push_back(list[i]);
  return result;
}

GroupMemberCounts Scene::transitiveMemberCounts() const {
  const detail::GroupIndex index(groups());
  const auto bySlot = detail::transitiveMemberCountsBySlot(index.memberSlots(elements()), index);
  // Slots follow the map's order, so the entries come out sorted by id.
  std::vector<GroupMemberCounts::value_type> entries;
  entries.reserve(bySlot.size());
  for (std::size_t slot = 0; slot < bySlot.size(); ++slot) {
    if (bySlot[slot] > 0) entries.emplace_back(index.key(slot), bySlot[slot]);
  }
  return GroupMemberCounts::fromSorted(std::move(entries));
}

std::optional<FolderGroup> Scene::folderGroupWithID(const Uuid& groupID) const {
  auto it = groups().find(groupID);
  if (it == groups().end() || it->second.kind != SceneElementGroupKind::folder) return std::nullopt;
  FolderGroup folder{it->second, {}, {}};
  const auto& list = elements();
  for (std::size_t i = 0; i < list.size(); ++i) {
    const auto& membership = list[i].groupMembership();
    if (!membership || membership->groupID != groupID) continue;
    if (folder.members.empty()) folder.indexRange.lowerBound = i;
    folder.indexRange.upperBound = i;
    folder.members.push_back(list[i]);
  }
  if (folder.members.empty()) return std::nullopt;
  return folder;
}

std::optional<FolderGroup> Scene::folderGroupContaining(const Uuid& elementID) const {
  const SceneElement* element = findElement(elements(), elementID);
  if (element == nullptr || !element->groupMembership()) return std::nullopt;
  return folderGroupWithID(element->groupMembership()->groupID);
}

std::vector<FolderGroup> Scene::folderGroups() const {
  // Each folder's members are counted and its range found in one pass over the layers; then only the
  // folders that have members are built, in their final order, each member copied once into storage
  // of its final size.
  const detail::GroupIndex index(groups());
  const auto& list = elements();
  const std::vector<std::uint32_t> memberSlots = index.memberSlots(list);
  std::vector<std::uint32_t> memberCount(index.size(), 0);
  std::vector<IndexRange> range(index.size());
  std::vector<std::uint32_t> present;  // the slots of folders with members
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::uint32_t slot = memberSlots[i];
    if (slot >= index.size() || !index.isFolder(slot)) continue;
    if (memberCount[slot]++ == 0) {
      range[slot].lowerBound = i;
      present.push_back(slot);
    }
    range[slot].upperBound = i;
  }
  // Ordered by first member. A layer stands in one group only, so no two folders share one, and
  // `present` is already in that order.
  std::vector<FolderGroup> result(present.size());
  std::vector<std::uint32_t> resultOf(index.size(), 0);
  for (std::size_t k = 0; k < present.size(); ++k) {
    const std::uint32_t slot = present[k];
    resultOf[slot] = static_cast<std::uint32_t>(k);
    result[k].group = index.group(slot);
    result[k].indexRange = range[slot];
    result[k].members.reserve(memberCount[slot]);
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::uint32_t slot = memberSlots[i];
    if (slot < index.size() && index.isFolder(slot)) result[resultOf[slot]].members.push_back(list[i]);
  }
  return result;
}

std::optional<Uuid> Scene::maskGroupAncestorOfGroup(const Uuid& groupID) const {
  for (const auto& id : groupAncestryByGroupID(groupID)) {
    auto it = groups().find(id);
    if (it != groups().end() && it->second.isMaskGroup()) return id;
  }
  return std::nullopt;
}

std::optional<Uuid> Scene::maskGroupAncestorOfElement(const Uuid& elementID) const {
  const SceneElement* element = findElement(elements(), elementID);
  if (element == nullptr || !element->groupMembership()) return std::nullopt;
  return maskGroupAncestorOfGroup(element->groupMembership()->groupID);
}

bool Scene::hasMaskLinkOutside(const std::vector<Uuid>& ids) const {
  detail::UuidSet set(ids.size());
  for (const auto& id : ids) set.insert(id);
  for (const auto& element : elements()) {
    const auto& mask = element.settings().mask;
    if (!mask || !mask->layerID) continue;
    if (set.contains(element.id()) != set.contains(*mask->layerID)) return true;
  }
  return false;
}

bool Scene::containsMaskRole(const std::vector<Uuid>& ids) const {
  detail::UuidSet maskTargets;
  detail::UuidMap<const SceneElement*> firstByID(elements().size());
  for (const auto& element : elements()) {
    firstByID.tryEmplace(element.id(), &element);
    const auto& mask = element.settings().mask;
    if (mask && mask->layerID) maskTargets.insert(*mask->layerID);
  }
  for (const auto& id : ids) {
    const SceneElement* const* found = firstByID.find(id);
    if (found == nullptr) continue;
    const SceneElement& element = **found;
    if (!element.groupMembership() || !maskGroupAncestorOfGroup(element.groupMembership()->groupID)) continue;
    const auto& mask = element.settings().mask;
    if ((mask && mask->layerID) || maskTargets.contains(id)) return true;
  }
  return false;
}

void Scene::addGroup(SceneElementGroup group) {
  auto& map = routedFormatForEditing().groups;
  Uuid id = group.id;
  map.insert_or_assign(id, std::move(group));
}

void Scene::removeGroup(const Uuid& groupID) {
  auto& format = routedFormatForEditing();
  format.groups.erase(groupID);
  for (auto& element : format.elements) {
    if (element.groupMembership() && element.groupMembership()->groupID == groupID) element.setGroupMembership(std::nullopt);
  }
}

}  // namespace tav
