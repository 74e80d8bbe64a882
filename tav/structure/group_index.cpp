#include "tav/structure/group_index.hpp"

namespace tav::detail {

GroupIndex::GroupIndex(const SceneElementGroupMap& groups) : slots_(groups.size()) {
  groups_.reserve(groups.size());
  keys_.reserve(groups.size());
  for (const auto& [id, group] : groups) {
    slots_.tryEmplace(id, groups_.size());
    groups_.push_back(&group);
    keys_.push_back(id);
  }
  parents_.resize(groups_.size(), npos);
  for (std::size_t slot = 0; slot < groups_.size(); ++slot) {
    if (groups_[slot]->parentGroupID) parents_[slot] = slotOf(*groups_[slot]->parentGroupID);
  }
  stamps_.assign(groups_.size(), 0);
}

std::vector<int> transitiveMemberCountsBySlot(const std::vector<SceneElement>& elements, const GroupIndex& index) {
  // Direct members first, then each group's count is carried up its chain: one walk per group, not
  // one per layer.
  std::vector<int> direct(index.size(), 0);
  for (const auto& element : elements) {
    if (!element.groupMembership()) continue;
    std::size_t slot = index.slotOf(element.groupMembership()->groupID);
    if (slot != GroupIndex::npos) ++direct[slot];
  }
  std::vector<int> counts(index.size(), 0);
  for (std::size_t slot = 0; slot < index.size(); ++slot) {
    if (direct[slot] == 0) continue;
    index.walkUp(slot, [&](std::size_t ancestor) {
      counts[ancestor] += direct[slot];
      return true;
    });
  }
  return counts;
}

}  // namespace tav::detail
