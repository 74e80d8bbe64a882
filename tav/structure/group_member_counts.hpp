// How many layers stand in each group, directly or in groups inside it: the answer of
// Scene::transitiveMemberCounts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tav/contracts/uuid.hpp"

namespace tav {

/// An entry for every group with at least one such layer, in ascending order of group id. A sorted
/// array rather than a hash map: the counts come out of the group index already in id order, so the
/// whole answer is one allocation and no hashing, and a look-up is a binary search.
class GroupMemberCounts {
 public:
  using value_type = std::pair<Uuid, int>;
  using const_iterator = std::vector<value_type>::const_iterator;

  GroupMemberCounts() = default;
  /// Entries in any order; a group listed twice keeps its first count.
  GroupMemberCounts(std::initializer_list<value_type> entries) : entries_(entries) {
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const value_type& a, const value_type& b) { return a.first < b.first; });
    entries_.erase(std::unique(entries_.begin(), entries_.end(),
                               [](const value_type& a, const value_type& b) { return a.first == b.first; }),
                   entries_.end());
  }
  /// Entries already in ascending order of distinct ids.
  static GroupMemberCounts fromSorted(std::vector<value_type> entries) {
    GroupMemberCounts counts;
    counts.entries_ = std::move(entries);
    return counts;
  }

  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  bool contains(const Uuid& groupID) const { return find(groupID) != end(); }
  /// The count of `groupID`; 0 when it has no entry.
  int countOf(const Uuid& groupID) const {
    const auto it = find(groupID);
    return it == end() ? 0 : it->second;
  }
  /// The count of `groupID`; std::out_of_range when it has no entry, as a map's at().
  int at(const Uuid& groupID) const {
    const auto it = find(groupID);
    if (it == end()) throw std::out_of_range("GroupMemberCounts::at: no entry for group " + groupID.toString());
    return it->second;
  }
  const_iterator find(const Uuid& groupID) const {
    const auto it = std::lower_bound(begin(), end(), groupID,
                                     [](const value_type& entry, const Uuid& id) { return entry.first < id; });
    return it != end() && it->first == groupID ? it : end();
  }

  friend bool operator==(const GroupMemberCounts&, const GroupMemberCounts&) = default;

 private:
  std::vector<value_type> entries_;
};

}  // namespace tav
