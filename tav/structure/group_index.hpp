// A flat snapshot of a format's groups for the structure passes: each group in a slot, its parent
// resolved to a slot, so that walking up a folder chain is a few array hops instead of map look-ups.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tav/scene/scene_format.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav::detail {

class GroupIndex {
 public:
  static constexpr std::size_t npos = std::numeric_limits<std::size_t>::max();

  /// Slots follow the map's own order (ascending id).
  explicit GroupIndex(const SceneElementGroupMap& groups);

  std::size_t size() const { return groups_.size(); }
  /// The slot of `id`, or npos when no group has it.
  std::size_t slotOf(const Uuid& id) const {
    const std::size_t* slot = slots_.find(id);
    return slot ? *slot : npos;
  }
  const SceneElementGroup& group(std::size_t slot) const { return *groups_[slot]; }
  /// The id the group is stored under. A damaged document may store a group under another id than
  /// its record's own: look-ups and links always go by this one.
  const Uuid& key(std::size_t slot) const { return keys_[slot]; }
  /// The slot of the parent group; npos when there is none or it names no group.
  std::size_t parent(std::size_t slot) const { return parents_[slot]; }

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
  std::vector<Uuid> keys_;
  std::vector<std::size_t> parents_;
  UuidMap<std::size_t> slots_;
  mutable std::vector<std::uint32_t> stamps_;
  mutable std::uint32_t generation_ = 0;
};

/// How many layers stand in each group directly or in groups inside it, by slot.
std::vector<int> transitiveMemberCountsBySlot(const std::vector<SceneElement>& elements, const GroupIndex& index);

}  // namespace tav::detail
