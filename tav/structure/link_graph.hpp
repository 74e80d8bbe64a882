// Order for the structure passes over links that each point at one other item: a group's parent, a
// layer's frame. Every item has at most one link, so the links form trees that end at a root or run
// into one cycle (only in a damaged document). Passes that walk each item's chain one by one are
// quadratic in the depth of nesting; with this order each pass visits every link once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace tav::detail {

class LinkGraph {
 public:
  static constexpr std::size_t npos = std::numeric_limits<std::size_t>::max();

  /// `next[i]` is the item that item i links to, npos for none. Linear in the number of items.
  explicit LinkGraph(const std::vector<std::size_t>& next);

  /// The items on no cycle, each before the item it links to (the innermost first). Walking it
  /// backwards visits every item after the item it links to.
  const std::vector<std::uint32_t>& innerFirst() const { return innerFirst_; }
  /// The cycles, each in the order of its links: cycle[k] links to cycle[k + 1], the last to the first.
  const std::vector<std::vector<std::uint32_t>>& cycles() const { return cycles_; }
  /// The index into cycles() of the cycle that item i lies on, npos for none.
  std::size_t cycleOf(std::size_t i) const { return cycleOf_[i] == kNone ? npos : cycleOf_[i]; }

 private:
  // Items are layers or groups of one format, far fewer than 2^32: 32-bit entries keep the graph of
  // 10,000 items at half the cache it would take in size_t.
  static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

  std::vector<std::uint32_t> innerFirst_;
  std::vector<std::vector<std::uint32_t>> cycles_;
  std::vector<std::uint32_t> cycleOf_;
};

}  // namespace tav::detail
