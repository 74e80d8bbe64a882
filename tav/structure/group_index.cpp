#include "tav/structure/group_index.hpp"

namespace tav::detail {

GroupIndex::GroupIndex(const SceneElementGroupMap& groups) : slots_(groups.size()) {
  groups_.reserve(groups.size());
  keys_.reserve(groups.size());
  for (const auto& [id, group] : groups) {
    slots_.tryEmplace(id, static_cast<std::uint32_t>(groups_.size()));
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
  // Direct members first; then each group hands its total to its parent once, innermost groups first,
  // instead of every group walking its whole chain.
  std::vector<int> counts(index.size(), 0);
  for (const auto& element : elements) {
    if (!element.groupMembership()) continue;
    std::size_t slot = index.slotOf(element.groupMembership()->groupID);
    if (slot != GroupIndex::npos) ++counts[slot];
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
