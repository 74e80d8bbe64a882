// A flat snapshot of a format's groups for the structure passes: each group in a slot, its parent
// resolved to a slot, so that walking up a folder chain is a few array hops instead of map look-ups.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tav/scene/scene_format.hpp"
#include "tav/structure/link_graph.hpp"
#include "tav/structure/uuid_slots.hpp"

namespace tav::detail {

class GroupIndex {
 public:
  static constexpr std::size_t npos = std::numeric_limits<std::size_t>::max();

  /// Slots follow the map's own order (ascending id).
  explicit GroupIndex(const SceneElementGroupMap& groups);

  std::size_t size() const { return groups_.size(); }
  /// The slot of `id`, or npos when no group has it.
  std::size_t slotOf(const Uuid& id) const {
    const std::uint32_t slot = slots_.find(id);
    return slot == UuidSlots::npos ? npos : slot;
  }
  /// The group's whole record. The passes ask kind() and isMaskGroup() instead where that is all they
  /// need: the records lie scattered over the map's nodes, the answers side by side.
  const SceneElementGroup& group(std::size_t slot) const { return *groups_[slot]; }
  SceneElementGroupKind kind(std::size_t slot) const { return kinds_[slot]; }
  bool isFolder(std::size_t slot) const { return kinds_[slot] == SceneElementGroupKind::folder; }
  bool isMaskGroup(std::size_t slot) const { return maskGroups_[slot] != 0; }
  /// The id the group is stored under. A damaged document may store a group under another id than
  /// its record's own: look-ups and links always go by this one.
  const Uuid& key(std::size_t slot) const { return slots_.id(static_cast<std::uint32_t>(slot)); }
  /// The slot of the parent group; npos when there is none or it names no group.
  std::size_t parent(std::size_t slot) const { return parents_[slot]; }
  /// parent(slot) of every slot, for LinkGraph.
  const std::vector<std::size_t>& parents() const { return parents_; }

  /// The slot of every layer's group, by position: kNotGrouped for a layer in no group, kNoSuchGroup
  /// for one whose group is missing. Passes that consult the groups of all layers more than once take
  /// this once, so that each layer is read and looked up once.
  static constexpr std::uint32_t kNotGrouped = std::numeric_limits<std::uint32_t>::max();
  static constexpr std::uint32_t kNoSuchGroup = kNotGrouped - 1;
  std::vector<std::uint32_t> memberSlots(const std::vector<SceneElement>& elements) const;

  /// Calls `visit(slot)` for `slot` and then each ancestor, innermost first, stopping at a group seen
  /// before in this walk (a cycle) or when `visit` returns false.
  template <class Visit>
  void walkUp(std::size_t slot, Visit&& visit) const {
    ++generation_;
    while (slot != npos && stamps_[slot] != generation_) {
      stamps_[slot] = generation_;
      if (!visit(slot)) return;
      slot = parents_[slot];
    }
  }

 private:
  std::vector<const SceneElementGroup*> groups_;
  UuidSlots slots_;
  std::vector<std::size_t> parents_;
  std::vector<SceneElementGroupKind> kinds_;
  std::vector<std::uint8_t> maskGroups_;
  mutable std::vector<std::uint32_t> stamps_;
  mutable std::uint32_t generation_ = 0;
};

/// How many layers stand in each group directly or in groups inside it, by slot. A group on a cycle of
/// parents counts every layer whose walk up reaches the cycle, as walkUp would. Linear in layers and
/// groups, whatever the depth of nesting.
std::vector<int> transitiveMemberCountsBySlot(const std::vector<std::uint32_t>& memberSlots, const GroupIndex& index);

/// For each slot, the first group on its walk up (itself included) for which `test(slot)` holds; npos
/// when there is none. Linear, whatever the depth of nesting.
template <class Test>
std::vector<std::size_t> firstOnWalkUp(const GroupIndex& index, Test&& test);

template <class Test>
std::vector<std::size_t> firstOnWalkUp(const GroupIndex& index, Test&& test) {
  const LinkGraph graph(index.parents());
  std::vector<std::size_t> first(index.size(), GroupIndex::npos);
  // On a cycle the walk goes once round: from each group, the next group of the cycle that passes.
  for (const auto& cycle : graph.cycles()) {
    const std::size_t length = cycle.size();
    std::size_t passing = length;
    for (std::size_t k = 0; k < length && passing == length; ++k) {
      if (test(cycle[k])) passing = k;
    }
    if (passing == length) continue;
    for (std::size_t step = 0; step < length; ++step) {
      const std::size_t k = (passing + length - step) % length;  // backwards from the passing group
      first[cycle[k]] = test(cycle[k]) ? cycle[k] : first[cycle[(k + 1) % length]];
    }
  }
  const auto& order = graph.innerFirst();
  for (auto it = order.rbegin(); it != order.rend(); ++it) {
    const std::size_t slot = *it;
    const std::size_t parent = index.parent(slot);
    first[slot] = test(slot) ? slot : parent == GroupIndex::npos ? GroupIndex::npos : first[parent];
  }
  return first;
}

}  // namespace tav::detail
