// The whole-format passes that restore the structure's invariants after an edit or on reading a
// damaged document. They run after every edit, so each stays close to linear in the number of layers:
// ids are looked up in flat maps, folder chains are walked over a flat group index.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "tav/scene/scene.hpp"
#include "tav/structure/compact_lists.hpp"
#include "tav/structure/frame_links.hpp"
#include "tav/structure/group_index.hpp"
#include "tav/structure/link_graph.hpp"
#include "tav/structure/uuid_index.hpp"
#include "tav/structure/uuid_slots.hpp"

namespace tav {
namespace {

using detail::GroupIndex;
using detail::UuidMap;
using detail::UuidSet;

// A mask chain longer than this is given up on rather than called a cycle.
constexpr int kMaxMaskLinksFollowed = 64;

void dropMask(SceneElement& element) {
  element.settings().mask.reset();
  element.setSettingsUpdated(true);
}

constexpr std::size_t kNoIndex = GroupIndex::npos;

/// The first index of each id in `referenced` (ids that links point at), or kNoIndex for ids no layer
/// has. Only the referenced ids are tabled, so the table stays small when few layers are linked.
void findFirstIndices(const std::vector<SceneElement>& elements, UuidMap<std::size_t>& referenced) {
  if (referenced.empty()) return;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    std::size_t* slot = referenced.find(elements[i].id());
    if (slot != nullptr && *slot == kNoIndex) *slot = i;
  }
}

constexpr std::uint8_t roleBit(SceneElementGroupRole role) {
  return role == SceneElementGroupRole::splitForeground ? 1 : 2;
}

}  // namespace

void Scene::cleanupOrphanGroups() {
  auto& format = routedFormatForEditing();
  std::vector<bool> keep;
  {
    const GroupIndex index(format.groups);
    const std::vector<std::uint32_t> memberSlots = index.memberSlots(format.elements);
    std::vector<std::uint8_t> roles(index.size(), 0);
    for (std::size_t i = 0; i < memberSlots.size(); ++i) {
      const std::uint32_t slot = memberSlots[i];
      if (slot >= index.size() || index.isFolder(slot)) continue;
      const auto& role = format.elements[i].groupMembership()->role;
      if (role) roles[slot] |= roleBit(*role);
    }
    // Counted once, before anything goes: a parent counts its children's members, so it can outlive a
    // child removed in this same sweep.
    const auto counts = detail::transitiveMemberCountsBySlot(memberSlots, index);
    keep.resize(index.size());
    for (std::size_t slot = 0; slot < index.size(); ++slot) {
      if (index.isFolder(slot)) {
        keep[slot] = counts[slot] >= (index.isMaskGroup(slot) ? 2 : 1);
      } else {
        keep[slot] = roles[slot] == (roleBit(SceneElementGroupRole::splitForeground) |
                                     roleBit(SceneElementGroupRole::splitBackground));
      }
    }
    // Memberships of removed (or never existing) groups go, and groups whose parent goes move to the
    // top level; decided on the index before the map changes.
    for (std::size_t i = 0; i < memberSlots.size(); ++i) {
      const std::uint32_t slot = memberSlots[i];
      if (slot == GroupIndex::kNotGrouped || (slot < index.size() && keep[slot])) continue;
      format.elements[i].setGroupMembership(std::nullopt);
    }
    for (std::size_t slot = 0; slot < index.size(); ++slot) {
      const std::size_t parent = index.parent(slot);
      if (!keep[slot] || (parent != GroupIndex::npos && keep[parent])) continue;
      if (index.group(slot).parentGroupID) format.groups.at(index.key(slot)).parentGroupID.reset();
    }
  }
  // The map's nodes lie scattered over the heap: walk them again only when some group goes.
  if (std::find(keep.begin(), keep.end(), false) != keep.end()) {
    std::size_t slot = 0;
    for (auto it = format.groups.begin(); it != format.groups.end(); ++slot) {
      it = keep[slot] ? std::next(it) : format.groups.erase(it);
    }
  }

  repairMaskReferences();
  repairFrameMembership();
}

void Scene::repairMaskReferences() {
  auto& elements = routedFormatForEditing().elements;
  // Which masking layers exist: only the ids that masks point at are looked for.
  std::vector<std::size_t> masked;
  UuidMap<std::size_t> targets;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& mask = elements[i].settings().mask;
    if (!mask || !mask->layerID) continue;
    masked.push_back(i);
    targets.tryEmplace(*mask->layerID, kNoIndex);
  }
  if (masked.empty()) return;
  findFirstIndices(elements, targets);

  UuidMap<Uuid> maskedBy(masked.size());
  for (std::size_t i : masked) {
    auto& element = elements[i];
    const Uuid layerID = *element.settings().mask->layerID;
    if (*targets.find(layerID) == kNoIndex) {
      dropMask(element);
    } else {
      maskedBy.tryEmplace(element.id(), layerID);
    }
  }

  // Each layer walks its own chain, so every member of a cycle finds it; layers that merely lead into
  // a cycle never come back to themselves and keep their links.
  UuidSet onCycle;
  maskedBy.forEach([&](const Uuid& start, const Uuid& firstLink) {
    Uuid current = firstLink;
    for (int links = 1; links <= kMaxMaskLinksFollowed; ++links) {
      if (current == start) {
        onCycle.insert(start);
        return;
      }
      const Uuid* next = maskedBy.find(current);
      if (next == nullptr) return;
      current = *next;
    }
  });
  if (onCycle.empty()) return;
  for (auto& element : elements) {
    if (element.settings().mask && onCycle.contains(element.id())) dropMask(element);
  }
}

void Scene::repairFrameMembership() {
  auto& elements = routedFormatForEditing().elements;
  detail::FrameLinks links(elements);
  if (links.empty()) return;
  const std::size_t n = elements.size();
  constexpr std::uint32_t kNone = detail::FrameLinks::npos;
  auto linkTarget = [&](std::uint32_t slot) {
    const std::uint32_t first = links.firstLayer(slot);
    return first == kNone ? kNoIndex : std::size_t{first};
  };
  auto& frameSlot = links.frameSlot;  // cleared as layers are released

  // The link of each layer, to the first layer of the id it names.
  std::vector<std::size_t> next(n, kNoIndex);
  for (std::size_t i = 0; i < n; ++i) next[i] = linkTarget(frameSlot[i]);
  // A layer's chain comes back to it exactly when it lies on a cycle of links, unless another layer
  // before it has its id (then the chain must reach that one). So a cycle is opened at its first
  // layer in array order, and every release of a layer on a cycle leaves that cycle open for the
  // layers after it: one look per layer instead of one walk.
  const detail::LinkGraph graph(next);
  std::vector<bool> opened(graph.cycles().size(), false);

  // Per-walk marks by layer index, for the rare layer that shares its id with one before it.
  std::vector<std::uint32_t> seen(n, 0);
  std::uint32_t walk = 0;
  auto chainReturnsTo = [&](std::size_t start) {
    ++walk;
    const std::uint32_t startSlot = links.ownSlot[start];
    for (std::uint32_t current = frameSlot[start]; current != kNone;) {
      if (current == startSlot) return true;
      const std::size_t at = linkTarget(current);
      if (at == kNoIndex || seen[at] == walk) return false;
      seen[at] = walk;
      current = frameSlot[at];
    }
    return false;
  };
  auto returnsToItself = [&](std::size_t i) {
    if (links.firstOfSlot[links.ownSlot[i]] != i) return chainReturnsTo(i);
    const std::size_t cycle = graph.cycleOf(i);
    return cycle != detail::LinkGraph::npos && !opened[cycle];
  };

  // In array order, and each release shows at once: a cycle of frames opens at its first layer.
  for (std::size_t i = 0; i < n; ++i) {
    if (frameSlot[i] == kNone) continue;
    if (next[i] != kNoIndex && links.isFrameSlot[frameSlot[i]] && !returnsToItself(i)) continue;
    auto& element = elements[i];
    element.setFrameID(std::nullopt);
    frameSlot[i] = kNone;  // later walks through this layer stop here
    element.settings().layout.reset();
    element.setSettingsUpdated(true);
    if (graph.cycleOf(i) != detail::LinkGraph::npos) opened[graph.cycleOf(i)] = true;
  }
}

void Scene::releaseMaskLinksAcrossGroups() {
  auto& format = routedFormatForEditing();
  // Without a mask folder every layer's innermost mask folder is none, so no link crosses one; the
  // common case costs a look at the groups and nothing more.
  if (std::none_of(format.groups.begin(), format.groups.end(),
                   [](const auto& entry) { return entry.second.isMaskGroup(); })) {
    return;
  }
  // Built once, before anything is cleared: the innermost mask folder of each group, then of each layer.
  const GroupIndex index(format.groups);
  const std::vector<std::size_t> innermostMaskOfGroup =
      detail::firstOnWalkUp(index, [&](std::size_t slot) { return index.isMaskGroup(slot); });
  UuidMap<std::size_t> maskGroupOfLayer;
  for (const auto& element : format.elements) {
    if (!element.groupMembership()) continue;
    std::size_t slot = index.slotOf(element.groupMembership()->groupID);
    if (slot != GroupIndex::npos && innermostMaskOfGroup[slot] != GroupIndex::npos) {
      maskGroupOfLayer.tryEmplace(element.id(), innermostMaskOfGroup[slot]);
    }
  }
  for (auto& element : format.elements) {
    const auto& mask = element.settings().mask;
    if (!mask || !mask->layerID) continue;
    const std::size_t* own = maskGroupOfLayer.find(element.id());
    const std::size_t* target = maskGroupOfLayer.find(*mask->layerID);
    if (own == nullptr && target == nullptr) continue;
    if (own != nullptr && target != nullptr && *own == *target) continue;
    dropMask(element);
  }
}

void Scene::normaliseGroupContiguity() {
  auto& format = routedFormatForEditing();
  auto& elements = format.elements;
  const GroupIndex index(format.groups);
  const std::size_t n = elements.size();
  const std::size_t groupCount = index.size();

  // Gathering the folders one by one, outer first, moves each folder's layers to its front-most one
  // and what stood between them behind, keeping every other order. Done that way, nested folders
  // cost their depth times their layers. The outcome is the same as one ordering: at every level
  // (the top, or inside a folder), the folders and the loose layers there stand in the order of their
  // front-most layers, each folder's block ordered the same way inside. That ordering is built here
  // in one pass.
  //
  // The folder tree: a folder's parent is its parent group when that is a folder too. A split group
  // ends the chain, so its bookends never move with a folder. The folders of a cycle of parents
  // (a damaged document) all hold the same layers, so the cycle is one node, named by its first slot.
  std::vector<std::size_t> folderParent(groupCount, GroupIndex::npos);
  bool anyFolder = false;
  for (std::size_t slot = 0; slot < groupCount; ++slot) {
    if (!index.isFolder(slot)) continue;
    anyFolder = true;
    const std::size_t parent = index.parent(slot);
    if (parent != GroupIndex::npos && index.isFolder(parent)) folderParent[slot] = parent;
  }
  if (!anyFolder) return;
  const detail::LinkGraph graph(folderParent);
  std::vector<std::size_t> node(groupCount);
  for (std::size_t slot = 0; slot < groupCount; ++slot) {
    const std::size_t cycle = graph.cycleOf(slot);
    node[slot] = cycle == detail::LinkGraph::npos ? slot : graph.cycles()[cycle].front();
  }
  auto containerOf = [&](std::size_t folder) {  // the node holding a folder node; npos for the top
    return graph.cycleOf(folder) != detail::LinkGraph::npos || folderParent[folder] == GroupIndex::npos
               ? GroupIndex::npos
               : node[folderParent[folder]];
  };

  // The front-most layer of each folder node, its own layers and those of the folders inside it.
  std::vector<std::size_t> layerFolder(n, GroupIndex::npos);
  std::vector<std::size_t> frontMost(groupCount, GroupIndex::npos);
  for (std::size_t i = 0; i < n; ++i) {
    if (!elements[i].groupMembership()) continue;
    const std::size_t slot = index.slotOf(elements[i].groupMembership()->groupID);
    if (slot == GroupIndex::npos || !index.isFolder(slot)) continue;
    layerFolder[i] = node[slot];
    frontMost[node[slot]] = std::min(frontMost[node[slot]], i);
  }
  for (std::size_t slot : graph.innerFirst()) {
    const std::size_t container = containerOf(slot);
    if (container != GroupIndex::npos) frontMost[container] = std::min(frontMost[container], frontMost[slot]);
  }

  // Each level's units in the order of their front-most layers: layers are units 0..n-1, folder
  // nodes n + slot; the top level is list groupCount.
  // The folder nodes by their front-most layer, bucketed rather than sorted: a chain of nested folders
  // shares one front-most layer, and a sort would add a log factor to the deepest documents. Folders
  // sharing one stand in different levels, so their order among themselves does not matter.
  const detail::CompactLists foldersByFront = detail::compactLists(n, [&](auto&& visit) {
    for (std::size_t slot = 0; slot < groupCount; ++slot) {
      if (node[slot] == slot && frontMost[slot] != GroupIndex::npos) visit(frontMost[slot], slot);
    }
  });
  auto listOf = [&](std::size_t container) { return container == GroupIndex::npos ? groupCount : container; };
  // Every unit in array order of its front-most layer, with the list it joins.
  auto forEachUnit = [&](auto&& visit) {
    for (std::size_t i = 0; i < n; ++i) {
      // Folders whose front-most layer this is come first: the layer lies inside them.
      for (std::size_t k = foldersByFront.begin(i); k < foldersByFront.end(i); ++k) {
        const std::size_t slot = foldersByFront.items[k];
        visit(listOf(containerOf(slot)), n + slot);
      }
      visit(listOf(layerFolder[i]), i);
    }
  };
  const detail::CompactLists units = detail::compactLists(groupCount + 1, forEachUnit);

  // Read the levels depth first, with an explicit stack: nesting may be as deep as the document.
  std::vector<std::size_t> order;
  order.reserve(n);
  std::vector<std::pair<std::size_t, std::size_t>> stack{{groupCount, units.begin(groupCount)}};  // list, next unit
  while (!stack.empty()) {
    auto& [list, next] = stack.back();
    if (next == units.end(list)) {
      stack.pop_back();
      continue;
    }
    const std::size_t unit = units.items[next++];
    if (unit < n) {
      order.push_back(unit);
    } else {
      stack.emplace_back(unit - n, units.begin(unit - n));
    }
  }

  bool unchanged = true;
  for (std::size_t p = 0; p < n && unchanged; ++p) unchanged = order[p] == p;
  if (unchanged) return;
  std::vector<SceneElement> reordered;
  reordered.reserve(n);
  for (std::size_t original : order) reordered.push_back(std::move(elements[original]));
  elements = std::move(reordered);
}

void Scene::repairAllFormats() {
  const std::optional<AspectRatio> active = activeAspect_;
  for (const auto& entry : formats_) {
    activeAspect_ = entry.first;
    cleanupOrphanGroups();
    normaliseGroupContiguity();
    normaliseFrameContiguity();
  }
  activeAspect_ = active;
}

namespace {

/// The indices of the layers of `links` in frame render order (see Scene::frameRenderOrder), or an
/// empty list when no layer stands in a frame of the array.
std::vector<std::size_t> frameRenderIndices(const detail::FrameLinks& links) {
  if (links.empty()) return {};
  constexpr std::uint32_t kNoPosition = detail::FrameLinks::npos;
  const std::size_t n = links.ownSlot.size();
  // Children by the first index of their frame's id, in array order.
  std::vector<std::uint32_t> parentOf(n, kNoPosition);
  bool anyChild = false;
  for (std::size_t i = 0; i < n; ++i) {
    if (const std::uint32_t parent = links.firstLayer(links.frameSlot[i]); parent != kNoPosition) {
      parentOf[i] = parent;
      anyChild = true;
    }
  }
  if (!anyChild) return {};
  const detail::CompactLists children = detail::compactLists(n, [&](auto&& visit) {
    for (std::size_t i = 0; i < n; ++i) {
      if (parentOf[i] != kNoPosition) visit(parentOf[i], i);
    }
  });

  std::vector<bool> visited(n, false);
  std::vector<std::size_t> result;
  result.reserve(n);
  // Depth-first with an explicit stack, so deeply nested frames cannot exhaust the call stack. A frame
  // is emitted after its children, each child's subtree in array order.
  struct Visit {
    std::uint32_t index;
    std::uint32_t childKey;  // where this layer's children are listed; kNoPosition for none
    std::uint32_t nextChild;
  };
  std::vector<Visit> stack;
  auto push = [&](std::size_t i) {
    visited[i] = true;
    // Children belong to the frame's id: a second layer with the same id lists the same children.
    const std::uint32_t key = links.isFrame[i] ? links.firstLayer(links.ownSlot[i]) : kNoPosition;
    stack.push_back({static_cast<std::uint32_t>(i), key, key == kNoPosition ? 0 : children.start[key]});
  };
  auto emit = [&](std::size_t root) {
    if (visited[root]) return;
    push(root);
    while (!stack.empty()) {
      Visit& top = stack.back();
      if (top.childKey != kNoPosition && top.nextChild < children.end(top.childKey)) {
        std::size_t child = children.items[top.nextChild++];
        if (!visited[child]) push(child);
        continue;
      }
      result.push_back(top.index);
      stack.pop_back();
    }
  };
  for (std::size_t i = 0; i < n; ++i) {
    if (parentOf[i] == kNoPosition) emit(i);
  }
  // Only layers on a cycle of frame links are left.
  for (std::size_t i = 0; i < n; ++i) {
    if (!visited[i]) result.push_back(i);
  }
  return result;
}

}  // namespace

std::vector<SceneElement> Scene::frameRenderOrder(const std::vector<SceneElement>& elements) {
  auto order = frameRenderIndices(detail::FrameLinks(elements));
  if (order.empty()) return elements;
  std::vector<SceneElement> ordered;
  ordered.reserve(elements.size());
  for (std::size_t i : order) ordered.push_back(elements[i]);
  return ordered;
}

void Scene::normaliseFrameContiguity() {
  auto& elements = routedFormatForEditing().elements;
  const detail::FrameLinks links(elements);
  auto order = frameRenderIndices(links);
  // Layers that share an id are interchangeable here: an order that only swaps them changes nothing.
  bool unchanged = true;
  for (std::size_t p = 0; p < order.size() && unchanged; ++p) unchanged = links.sameID(elements, order[p], p);
  if (unchanged) return;
  std::vector<SceneElement> ordered;
  ordered.reserve(elements.size());
  for (std::size_t i : order) ordered.push_back(std::move(elements[i]));
  elements = std::move(ordered);
}

}  // namespace tav
