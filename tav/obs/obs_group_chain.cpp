#include "tav/obs/obs_group_chain.hpp"

#include <algorithm>
#include <stdexcept>

namespace tav {

OBSGroupChain::Node::~Node() {
  // Release the enclosing nodes one by one rather than each from the destructor of the one inside
  // it, which would recurse once per group of a deep chain.
  std::shared_ptr<Node> next = std::move(parent);
  while (next && next.use_count() == 1) next = std::move(next->parent);
}

OBSGroupChain::OBSGroupChain(const std::vector<OBSGroupContext>& groups) {
  for (const OBSGroupContext& group : groups) *this = appending(group);
}

OBSGroupChain::OBSGroupChain(std::initializer_list<OBSGroupContext> groups) {
  for (const OBSGroupContext& group : groups) *this = appending(group);
}

const OBSGroupContext& OBSGroupChain::operator[](std::size_t index) const {
  if (index >= size()) throw std::out_of_range("OBSGroupChain: index out of range");
  const Node* node = tip_.get();
  while (node->depth > index + 1) node = node->parent.get();
  return node->context;
}

std::vector<std::reference_wrapper<const OBSGroupContext>> OBSGroupChain::outermostFirst() const {
  std::vector<std::reference_wrapper<const OBSGroupContext>> groups;
  groups.reserve(size());
  for (const Node* node = tip_.get(); node != nullptr; node = node->parent.get()) groups.emplace_back(node->context);
  std::reverse(groups.begin(), groups.end());
  return groups;
}

OBSGroupChain OBSGroupChain::appending(OBSGroupContext group) const {
  OBSGroupChain chain;
  chain.tip_ = std::make_shared<Node>(std::move(group), tip_, size() + 1);
  return chain;
}

std::vector<OBSGroupContext> OBSGroupChain::toVector() const {
  std::vector<OBSGroupContext> groups;
  for (const OBSGroupContext& group : outermostFirst()) groups.push_back(group);
  return groups;
}

bool operator==(const OBSGroupChain& a, const OBSGroupChain& b) {
  if (a.size() != b.size()) return false;
  const OBSGroupChain::Node* x = a.tip_.get();
  const OBSGroupChain::Node* y = b.tip_.get();
  // Chains from one walk share their outer nodes: equal from the first node they share.
  for (; x != y; x = x->parent.get(), y = y->parent.get()) {
    if (!(x->context == y->context)) return false;
  }
  return true;
}

}  // namespace tav
