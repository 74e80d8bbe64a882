// The chain of groups around an OBS item, shared between the entries of one flattened scene.
//
// Every item of a group nested n deep lies in the same n groups; copying them into each item made
// flattening quadratic in memory (20,000 items 500 deep took gigabytes). A chain is a pointer to the
// innermost group, which points to the group around it: one node per group entered, however many
// items lie inside.
#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <vector>

#include "tav/contracts/geometry.hpp"
#include "tav/obs/obs_collection.hpp"

namespace tav {

/// A group that an item lies in: the group's item in its parent, and the group's own space
/// (OBSCollection::groupSpaceSize, (0, 0) when it has none).
struct OBSGroupContext {
  OBSSceneItem item;
  Size space;
  friend bool operator==(const OBSGroupContext&, const OBSGroupContext&) = default;
};

/// The groups around an item, outermost first, as an immutable value: copying it copies one pointer,
/// and `appending` shares every group already in it. Behaves as an array of OBSGroupContext for
/// reading. Thread-safe for reading from any thread; destroying a chain of any depth uses constant
/// stack.
class OBSGroupChain {
 public:
  OBSGroupChain() = default;
  /// A chain of `groups`, outermost first.
  OBSGroupChain(const std::vector<OBSGroupContext>& groups);  // NOLINT: reads as the array it stands for
  OBSGroupChain(std::initializer_list<OBSGroupContext> groups);  // NOLINT: likewise

  std::size_t size() const { return tip_ ? tip_->depth : 0; }
  bool empty() const { return tip_ == nullptr; }
  /// The group at `index`, 0 being the outermost; walks in from the innermost, so costs
  /// size() - index steps. Throws std::out_of_range for an index not below size().
  const OBSGroupContext& operator[](std::size_t index) const;
  /// The innermost group; the chain must not be empty.
  const OBSGroupContext& innermost() const { return tip_->context; }
  /// Every group, outermost first, in one walk.
  std::vector<std::reference_wrapper<const OBSGroupContext>> outermostFirst() const;
  /// Range-for over the groups, outermost first, as over the array they stand for. begin() lists the
  /// chain once; the iterator keeps that list alive.
  class Iterator {
   public:
    const OBSGroupContext& operator*() const { return (*groups_)[index_]; }
    const OBSGroupContext* operator->() const { return &(*groups_)[index_].get(); }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator==(std::default_sentinel_t) const { return index_ == groups_->size(); }

   private:
    friend class OBSGroupChain;
    explicit Iterator(std::shared_ptr<const std::vector<std::reference_wrapper<const OBSGroupContext>>> groups)
        : groups_(std::move(groups)) {}
    std::shared_ptr<const std::vector<std::reference_wrapper<const OBSGroupContext>>> groups_;
    std::size_t index_ = 0;
  };
  Iterator begin() const {
    return Iterator(std::make_shared<const std::vector<std::reference_wrapper<const OBSGroupContext>>>(outermostFirst()));
  }
  std::default_sentinel_t end() const { return {}; }

  /// This chain with `group` inside its innermost group. This chain is unchanged.
  OBSGroupChain appending(OBSGroupContext group) const;

  std::vector<OBSGroupContext> toVector() const;

  friend bool operator==(const OBSGroupChain& a, const OBSGroupChain& b);

 private:
  struct Node {
    Node(OBSGroupContext c, std::shared_ptr<Node> p, std::size_t d)
        : context(std::move(c)), parent(std::move(p)), depth(d) {}
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    OBSGroupContext context;
    std::shared_ptr<Node> parent;  // the enclosing group; null for the outermost
    std::size_t depth;             // groups from the outermost down to this one, this one included
  };

  std::shared_ptr<Node> tip_;  // the innermost group; null for no groups
};

}  // namespace tav
