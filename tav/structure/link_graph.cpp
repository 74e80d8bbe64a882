#include "tav/structure/link_graph.hpp"

#include <utility>

namespace tav::detail {

LinkGraph::LinkGraph(const std::vector<std::size_t>& next) : cycleOf_(next.size(), kNone) {
  const std::size_t n = next.size();
  // Peel off items nothing links to, then what only they linked to, and so on: what is left lies on
  // cycles, since every item keeps its one link.
  std::vector<std::uint32_t> incoming(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    if (next[i] != npos) ++incoming[next[i]];
  }
  innerFirst_.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    if (incoming[i] == 0) innerFirst_.push_back(static_cast<std::uint32_t>(i));
  }
  for (std::size_t k = 0; k < innerFirst_.size(); ++k) {
    const std::size_t target = next[innerFirst_[k]];
    if (target != npos && --incoming[target] == 0) innerFirst_.push_back(static_cast<std::uint32_t>(target));
  }
  if (innerFirst_.size() == n) return;
  for (std::size_t i = 0; i < n; ++i) {
    if (incoming[i] == 0 || cycleOf_[i] != kNone) continue;
    std::vector<std::uint32_t> cycle;
    for (std::size_t at = i; cycleOf_[at] == kNone; at = next[at]) {
      cycleOf_[at] = static_cast<std::uint32_t>(cycles_.size());
      cycle.push_back(static_cast<std::uint32_t>(at));
    }
    cycles_.push_back(std::move(cycle));
  }
}

}  // namespace tav::detail
