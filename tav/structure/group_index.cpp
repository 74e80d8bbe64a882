#include "tav/structure/group_index.hpp"

namespace tav::detail {

namespace {

std::uint64_t hashOf(const Uuid& id) { return std::hash<Uuid>()(id); }

}  // namespace

GroupIndex::GroupIndex(const SceneElementGroupMap& groups) {
  const std::size_t n = groups.size();
  groups_.reserve(n);
  keys_.reserve(n);
  kinds_.reserve(n);
  maskGroups_.reserve(n);
  // At most half full, so that a look-up of a missing id ends after a probe or two.
  std::size_t capacity = 16;
  while (capacity < 2 * n) capacity *= 2;
  table_.assign(capacity, 0);
  tableMask_ = capacity - 1;
  for (const auto& [id, group] : groups) {
    const std::uint64_t hash = hashOf(id);
    std::size_t at = hash & tableMask_;
    while (table_[at] != 0) at = (at + 1) & tableMask_;  // keys of a map are distinct
    table_[at] = (hash & 0xFFFF'FFFF'0000'0000ULL) | (groups_.size() + 1);
    groups_.push_back(&group);
    keys_.push_back(id);
    kinds_.push_back(group.kind);
    maskGroups_.push_back(group.isMaskGroup() ? 1 : 0);
  }
  parents_.resize(n, npos);
  for (std::size_t slot = 0; slot < n; ++slot) {
    if (groups_[slot]->parentGroupID) parents_[slot] = slotOf(*groups_[slot]->parentGroupID);
  }
  stamps_.assign(n, 0);
}

std::size_t GroupIndex::slotOf(const Uuid& id) const {
  const std::uint64_t hash = hashOf(id);
  const std::uint64_t tag = hash & 0xFFFF'FFFF'0000'0000ULL;
  for (std::size_t at = hash & tableMask_;; at = (at + 1) & tableMask_) {
    const std::uint64_t entry = table_[at];
    if (entry == 0) return npos;
    if ((entry & 0xFFFF'FFFF'0000'0000ULL) != tag) continue;
    const std::size_t slot = static_cast<std::size_t>(entry & 0xFFFF'FFFFULL) - 1;
    if (keys_[slot] == id) return slot;
  }
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
