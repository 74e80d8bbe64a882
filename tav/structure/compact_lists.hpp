// Lists of items by key, all in one array: for the structure passes that group thousands of layers
// or folders by their parent, where a vector per key would be an allocation per key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace tav::detail {

/// List k is items[start[k], start[k + 1]), in the order its items were visited. Items and offsets
/// are 32-bit, half the memory of size_t: they are positions of layers or groups of one format, which
/// never reach 2^32 (a layer alone takes hundreds of bytes).
struct CompactLists {
  std::vector<std::uint32_t> start;
  std::vector<std::uint32_t> items;

  std::size_t begin(std::size_t key) const { return start[key]; }
  std::size_t end(std::size_t key) const { return start[key + 1]; }
};

/// Builds the lists of keys 0..keyCount-1. `forEach(visit)` must call `visit(key, item)` for every
/// item, the same calls in the same order each time: it runs twice, once to count each list and
/// once to place its items.
template <class ForEach>
CompactLists compactLists(std::size_t keyCount, ForEach&& forEach) {
  CompactLists lists;
  lists.start.assign(keyCount + 1, 0);
  forEach([&](std::size_t key, std::size_t) { ++lists.start[key + 1]; });
  std::partial_sum(lists.start.begin(), lists.start.end(), lists.start.begin());
  lists.items.resize(lists.start.back());
  std::vector<std::uint32_t> fill(lists.start.begin(), lists.start.end() - 1);
  forEach([&](std::size_t key, std::size_t item) { lists.items[fill[key]++] = static_cast<std::uint32_t>(item); });
  return lists;
}

}  // namespace tav::detail
