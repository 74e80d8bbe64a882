#include "tav/structure/group_index.hpp"

namespace tav::detail {

GroupIndex::GroupIndex(const SceneElementGroupMap& groups) : slots_(groups.size()) {
  const std::size_t n = groups.size();
  groups_.reserve(n);
  kinds_.reserve(n);
  maskGroups_.reserve(n);
  for (const auto& [id, group] : groups) {
    slots_.insert(id);  // the map's keys are distinct: slot k is the k-th group
    groups_.push_back(&group);
    kinds_.push_back(group.kind);
    maskGroups_.push_back(group.isMaskGroup() ? 1 : 0);
  }
  parents_.resize(n, npos);
  for (std::size_t slot = 0; slot < n; ++slot) {
    if (groups_[slot]->parentGroupID) parents_[slot] = slotOf(*groups_[slot]->parentGroupID);
  }
  stamps_.assign(n, 0);
}

std::vector<std::uint32_t> GroupIndex::memberSlots(const std::vector<SceneElement>& elements) const {
  std::vector<std::uint32_t> slots(elements.size(), kNotGrouped);
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& membership = elements[i].groupMembership();
    if (!membership) continue;
    const std::size_t slot = slotOf(membership->groupID);
    slots[i] = slot == npos ? kNoSuchGroup : static_cast<std::uint32_t>(slot);
  }
  return slots;
}

std::vector<int> transitiveMemberCountsBySlot(const std::vector<std::uint32_t>& memberSlots, const GroupIndex& index) {
  // Direct members first; then each group hands its total to its parent once, innermost groups first,
  // instead of every group walking its whole chain.
  std::vector<int> counts(index.size(), 0);
  for (std::uint32_t slot : memberSlots) {
    if (slot < counts.size()) ++counts[slot];
  }
  const LinkGraph graph(index.parents());
  for (std::size_t slot : graph.innerFirst()) {
    if (index.parent(slot) != GroupIndex::npos) counts[index.parent(slot)] += counts[slot];
  }
  // Every walk that reaches a cycle goes once round it: each group of the cycle counts them all.
  for (const auto& cycle : graph.cycles()) {
    int total = 0;
    for (std::size_t slot : cycle) total += counts[slot];
    for (std::size_t slot : cycle) counts[slot] = total;
  }
  return counts;
}

}  // namespace tav::detail
