// The whole-format passes that restore the structure's invariants after an edit or on reading a
// damaged document. Each runs in time close to linear in the number of layers: look-ups go through
// maps from id to index instead of scans of the array.
#include <algorithm>
#include <numeric>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "tav/scene/scene.hpp"

namespace tav {
namespace {

// A mask chain longer than this is given up on rather than called a cycle.
constexpr int kMaxMaskLinksFollowed = 64;

void dropMask(SceneElement& element) {
  element.settings().mask.reset();
  element.setSettingsUpdated(true);
}

std::unordered_map<Uuid, std::size_t> firstIndexByID(const std::vector<SceneElement>& elements) {
  std::unordered_map<Uuid, std::size_t> index;
  index.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) index.try_emplace(elements[i].id(), i);
  return index;
}

}  // namespace

void Scene::cleanupOrphanGroups() {
  auto& format = routedFormatForEditing();

  std::unordered_map<Uuid, std::set<SceneElementGroupRole>> rolesInUse;
  for (const auto& element : format.elements) {
    const auto& membership = element.groupMembership();
    if (membership && membership->role) rolesInUse[membership->groupID].insert(*membership->role);
  }
  // Counted once, before anything goes: a parent counts its children's members, so it can outlive a
  // child removed in this same sweep.
  const auto counts = transitiveMemberCounts();

  for (auto it = format.groups.begin(); it != format.groups.end();) {
    const SceneElementGroup& group = it->second;
    bool keep = false;
    if (group.kind == SceneElementGroupKind::folder) {
      int required = group.isMaskGroup() ? 2 : 1;
      auto count = counts.find(group.id);
      keep = count != counts.end() && count->second >= required;
    } else {
      auto roles = rolesInUse.find(group.id);
      keep = roles != rolesInUse.end() && roles->second.contains(SceneElementGroupRole::splitForeground) &&
             roles->second.contains(SceneElementGroupRole::splitBackground);
    }
    it = keep ? std::next(it) : format.groups.erase(it);
  }

  for (auto& element : format.elements) {
    if (element.groupMembership() && !format.groups.contains(element.groupMembership()->groupID)) {
      element.setGroupMembership(std::nullopt);
    }
  }
  for (auto& [id, group] : format.groups) {
    if (group.parentGroupID && !format.groups.contains(*group.parentGroupID)) group.parentGroupID.reset();
  }

  repairMaskReferences();
  repairFrameMembership();
}

void Scene::repairMaskReferences() {
  auto& elements = routedFormatForEditing().elements;
  std::unordered_set<Uuid> ids;
  ids.reserve(elements.size());
  for (const auto& element : elements) ids.insert(element.id());

  for (auto& element : elements) {
    const auto& mask = element.settings().mask;
    if (mask && mask->layerID && !ids.contains(*mask->layerID)) dropMask(element);
  }

  std::unordered_map<Uuid, Uuid> maskedBy;
  for (const auto& element : elements) {
    const auto& mask = element.settings().mask;
    if (mask && mask->layerID) maskedBy.try_emplace(element.id(), *mask->layerID);
  }

  // Each layer walks its own chain, so every member of a cycle finds it; layers that merely lead into
  // a cycle never come back to themselves and keep their links.
  std::unordered_set<Uuid> onCycle;
  for (const auto& [start, firstLink] : maskedBy) {
    Uuid current = firstLink;
    for (int links = 1; links <= kMaxMaskLinksFollowed; ++links) {
      if (current == start) {
        onCycle.insert(start);
        break;
      }
      auto next = maskedBy.find(current);
      if (next == maskedBy.end()) break;
      current = next->second;
    }
  }
  if (onCycle.empty()) return;
  for (auto& element : elements) {
    if (onCycle.contains(element.id()) && element.settings().mask) dropMask(element);
  }
}

void Scene::repairFrameMembership() {
  auto& elements = routedFormatForEditing().elements;
  std::unordered_set<Uuid> frameIDs;
  for (const auto& element : elements) {
    if (element.type().isFrame()) frameIDs.insert(element.id());
  }
  const auto indexOf = firstIndexByID(elements);

  auto chainReturnsTo = [&](std::size_t start) {
    const Uuid& startID = elements[start].id();
    std::unordered_set<Uuid> seen;
    std::optional<Uuid> current = elements[start].frameID();
    while (current) {
      if (*current == startID) return true;
      if (!seen.insert(*current).second) return false;
      auto at = indexOf.find(*current);
      if (at == indexOf.end()) return false;
      current = elements[at->second].frameID();
    }
    return false;
  };

  // In array order, and each release shows at once: a cycle of frames opens at its first layer.
  for (std::size_t i = 0; i < elements.size(); ++i) {
    auto& element = elements[i];
    if (!element.frameID()) continue;
    if (frameIDs.contains(*element.frameID()) && !chainReturnsTo(i)) continue;
    element.setFrameID(std::nullopt);
    element.settings().layout.reset();
    element.setSettingsUpdated(true);
  }
}

void Scene::releaseMaskLinksAcrossGroups() {
  // Built once, before anything is cleared.
  std::unordered_map<Uuid, Uuid> innermostMaskGroup;
  std::unordered_map<Uuid, std::optional<Uuid>> maskGroupOfGroup;
  for (const auto& element : elements()) {
    if (!element.groupMembership()) continue;
    const Uuid& groupID = element.groupMembership()->groupID;
    auto cached = maskGroupOfGroup.find(groupID);
    if (cached == maskGroupOfGroup.end()) cached = maskGroupOfGroup.emplace(groupID, maskGroupAncestorOfGroup(groupID)).first;
    if (cached->second) innermostMaskGroup.try_emplace(element.id(), *cached->second);
  }
  for (auto& element : routedFormatForEditing().elements) {
    const auto& mask = element.settings().mask;
    if (!mask || !mask->layerID) continue;
    auto own = innermostMaskGroup.find(element.id());
    auto target = innermostMaskGroup.find(*mask->layerID);
    bool ownInside = own != innermostMaskGroup.end();
    bool targetInside = target != innermostMaskGroup.end();
    if (!ownInside && !targetInside) continue;
    if (ownInside && targetInside && own->second == target->second) continue;
    dropMask(element);
  }
}

void Scene::normaliseGroupContiguity() {
  auto& format = routedFormatForEditing();
  auto& elements = format.elements;
  const auto& groupMap = format.groups;

  // Outer folders first (stable in map order for equal depth).
  std::vector<std::pair<std::size_t, Uuid>> folders;
  for (const auto& [id, group] : groupMap) {
    if (group.kind == SceneElementGroupKind::folder) folders.emplace_back(groupAncestryByGroupID(id).size(), id);
  }
  if (folders.empty()) return;
  std::stable_sort(folders.begin(), folders.end(), [](const auto& a, const auto& b) { return a.first < b.first; });

  // The layers of each folder and of the folders nested in it. A layer belongs to its folder and to
  // every folder reached by walking up through folder parents; split groups end the walk, so their
  // bookends never move with a folder.
  std::unordered_map<Uuid, std::vector<std::size_t>> members;  // folder -> original indices
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!elements[i].groupMembership()) continue;
    std::unordered_set<Uuid> visited;
    std::optional<Uuid> current = elements[i].groupMembership()->groupID;
    while (current) {
      auto it = groupMap.find(*current);
      if (it == groupMap.end() || it->second.kind != SceneElementGroupKind::folder) break;
      if (!visited.insert(*current).second) break;
      members[*current].push_back(i);
      current = it->second.parentGroupID;
    }
  }

  // order[p] is the original index of the layer now at position p; position[i] the reverse.
  std::vector<std::size_t> order(elements.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::vector<std::size_t> position = order;
  bool moved = false;

  std::vector<std::size_t> positions;
  std::vector<std::size_t> span;
  for (const auto& [depth, folderID] : folders) {
    auto found = members.find(folderID);
    if (found == members.end() || found->second.size() < 2) continue;
    positions.clear();
    for (std::size_t original : found->second) positions.push_back(position[original]);
    std::sort(positions.begin(), positions.end());
    std::size_t first = positions.front();
    std::size_t last = positions.back();
    if (last - first == positions.size() - 1) continue;

    // The block lands at its front-most member; what stood between members goes behind it.
    span.clear();
    std::size_t next = 0;
    for (std::size_t p = first; p <= last; ++p) {
      if (next < positions.size() && positions[next] == p) {
        span.push_back(order[p]);
        ++next;
      }
    }
    next = 0;
    for (std::size_t p = first; p <= last; ++p) {
      if (next < positions.size() && positions[next] == p) {
        ++next;
      } else {
        span.push_back(order[p]);
      }
    }
    for (std::size_t k = 0; k < span.size(); ++k) {
      order[first + k] = span[k];
      position[span[k]] = first + k;
    }
    moved = true;
  }
  if (!moved) return;

  std::vector<SceneElement> reordered;
  reordered.reserve(elements.size());
  for (std::size_t original : order) reordered.push_back(std::move(elements[original]));
  elements = std::move(reordered);
}

std::vector<SceneElement> Scene::frameRenderOrder(const std::vector<SceneElement>& elements) {
  const auto indexOf = firstIndexByID(elements);
  std::unordered_map<Uuid, std::vector<std::size_t>> children;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& frameID = elements[i].frameID();
    if (frameID && indexOf.contains(*frameID)) children[*frameID].push_back(i);
  }
  if (children.empty()) return elements;

  std::vector<bool> visited(elements.size(), false);
  std::vector<std::size_t> result;
  result.reserve(elements.size());

  // Depth-first with an explicit stack, so deeply nested frames cannot exhaust the call stack. A frame
  // is emitted after its children, each child subtree in array order.
  struct Visit {
    std::size_t index;
    std::size_t nextChild;
  };
  std::vector<Visit> stack;
  auto emit = [&](std::size_t root) {
    if (visited[root]) return;
    visited[root] = true;
    stack.push_back({root, 0});
    while (!stack.empty()) {
      Visit& top = stack.back();
      const SceneElement& element = elements[top.index];
      const std::vector<std::size_t>* kids = nullptr;
      if (element.type().isFrame()) {
        auto it = children.find(element.id());
        if (it != children.end()) kids = &it->second;
      }
      if (kids != nullptr && top.nextChild < kids->size()) {
        std::size_t child = (*kids)[top.nextChild++];
        if (!visited[child]) {
          visited[child] = true;
          stack.push_back({child, 0});
        }
        continue;
      }
      result.push_back(top.index);
      stack.pop_back();
    }
  };

  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& frameID = elements[i].frameID();
    if (!frameID || !indexOf.contains(*frameID)) emit(i);
  }
  // Only layers on a cycle of frame links are left.
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!visited[i]) result.push_back(i);
  }

  std::vector<SceneElement> ordered;
  ordered.reserve(elements.size());
  for (std::size_t i : result) ordered.push_back(elements[i]);
  return ordered;
}

void Scene::normaliseFrameContiguity() {
  auto& elements = routedFormatForEditing().elements;
  auto ordered = frameRenderOrder(elements);
  bool same = std::equal(ordered.begin(), ordered.end(), elements.begin(), elements.end(),
                         [](const SceneElement& a, const SceneElement& b) { return a.id() == b.id(); });
  if (!same) elements = std::move(ordered);
}

}  // namespace tav
