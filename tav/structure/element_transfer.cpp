// Where a new layer goes next to a selected one, and the transfer of layers from one aspect format of
// a scene to another with everything they cannot live without.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

#include "tav/scene/scene.hpp"
#include "tav/structure/group_index.hpp"
#include "tav/structure/selection_pasteboard.hpp"
#include "tav/structure/split_video_group.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav {
namespace {

constexpr std::size_t kNone = detail::GroupIndex::npos;

/// Puts the scene's active aspect back when it goes out of scope, whichever way that is.
class ActiveAspectRestorer {
 public:
  explicit ActiveAspectRestorer(Scene& scene) : scene_(scene), saved_(scene.activeAspect()) {}
  ~ActiveAspectRestorer() { scene_.setActiveAspect(saved_); }
  ActiveAspectRestorer(const ActiveAspectRestorer&) = delete;
  ActiveAspectRestorer& operator=(const ActiveAspectRestorer&) = delete;

 private:
  Scene& scene_;
  std::optional<AspectRatio> saved_;
};

/// Where the bookends of each split group of a format stand, by group slot; a later layer of a role
/// replaces an earlier one, as the split questions read it.
struct SplitBookends {
  std::size_t foreground = kNone;
  std::size_t background = kNone;
  bool resolved() const { return foreground != kNone && background != kNone; }
};

std::vector<SplitBookends> splitBookendsBySlot(const std::vector<SceneElement>& elements,
                                               const detail::GroupIndex& index) {
  std::vector<SplitBookends> bySlot(index.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& membership = elements[i].groupMembership();
    if (!membership || !membership->role) continue;
    const std::size_t slot = index.slotOf(membership->groupID);
    if (slot == kNone || index.kind(slot) != SceneElementGroupKind::splitVideo) continue;
    if (*membership->role == SceneElementGroupRole::splitForeground) {
      bySlot[slot].foreground = i;
    } else {
      bySlot[slot].background = i;
    }
  }
  return bySlot;
}

/// The selection grown to what it cannot live without: both bookends and the sandwiched layers of a
/// split one of whose bookends is in it, a frame's whole subtree, and both ends of every mask link.
/// Grows until nothing more is added; each layer is visited once. Marks the closure by array index;
/// ids that name no layer bring nothing.
std::vector<bool> transferClosure(const std::vector<Uuid>& selection, const std::vector<SceneElement>& elements,
                                         const SceneElementGroupMap& groups) {
  const std::size_t count = elements.size();
  detail::UuidMap<std::size_t> indexByID(count);
  for (std::size_t i = 0; i < count; ++i) indexByID.tryEmplace(elements[i].id(), i);

  // Members of each layer's frame, and the layers each layer masks, as flat lists with offsets.
  auto linksBy = [&](auto&& target) {
    std::vector<std::size_t> offsets(count + 1, 0);
    std::vector<std::size_t> owner(count, kNone);
    for (std::size_t i = 0; i < count; ++i) {
      const std::optional<Uuid> id = target(elements[i]);
      if (!id) continue;
      if (const std::size_t* at = indexByID.find(*id)) {
        owner[i] = *at;
        ++offsets[*at + 1];
      }
    }
    for (std::size_t i = 0; i < count; ++i) offsets[i + 1] += offsets[i];
    std::vector<std::size_t> list(offsets[count]);
    std::vector<std::size_t> fill(offsets.begin(), offsets.end() - 1);
    for (std::size_t i = 0; i < count; ++i) {
      if (owner[i] != kNone) list[fill[owner[i]]++] = i;
    }
    return std::pair{std::move(offsets), std::move(list)};
  };
  const auto [memberOffsets, members] = linksBy([](const SceneElement& e) { return e.frameID(); });
  const auto [maskedOffsets, masked] = linksBy([](const SceneElement& e) {
    const auto& mask = e.settings().mask;
    return mask ? mask->layerID : std::optional<Uuid>();
  });

  const detail::GroupIndex index(groups);
  const std::vector<SplitBookends> splits = splitBookendsBySlot(elements, index);
  std::vector<bool> splitExpanded(index.size(), false);

  std::vector<bool> seen(count, false);
  std::vector<std::size_t> pending;
  for (const auto& id : selection) {
    if (const std::size_t* at = indexByID.find(id)) pending.push_back(*at);
  }
  auto push = [&](std::size_t i) {
    if (!seen[i]) pending.push_back(i);
  };
  while (!pending.empty()) {
    const std::size_t i = pending.back();
    pending.pop_back();
    if (seen[i]) continue;
    seen[i] = true;
    const SceneElement& element = elements[i];
    // A bookend brings its partner and everything between them.
    if (const auto& membership = element.groupMembership(); membership && membership->role) {
      const std::size_t slot = index.slotOf(membership->groupID);
      if (slot != kNone && splits[slot].resolved() && !splitExpanded[slot]) {
        const SplitBookends& split = splits[slot];
        const Uuid& id = element.id();
        if (elements[split.foreground].id() == id || elements[split.background].id() == id) {
          splitExpanded[slot] = true;
          const std::size_t lower = std::min(split.foreground, split.background);
          const std::size_t upper = std::max(split.foreground, split.background);
          for (std::size_t k = lower; k <= upper; ++k) push(k);
        }
      }
    }
    // A frame brings its members, and through them the rest of its subtree.
    if (element.type().isFrame()) {
      for (std::size_t k = memberOffsets[i]; k < memberOffsets[i + 1]; ++k) push(members[k]);
    }
    // Both ends of a mask link go together.
    if (const auto& mask = element.settings().mask; mask && mask->layerID) {
      if (const std::size_t* layer = indexByID.find(*mask->layerID)) push(*layer);
    }
    for (std::size_t k = maskedOffsets[i]; k < maskedOffsets[i + 1]; ++k) push(masked[k]);
  }
  return seen;
}

/// Moves the copies as one block so that `grabOffset` of their bounding box lies at `at`, kept on the
/// canvas in each axis where the box fits it.
void anchorBlock(std::vector<SceneElement>& copies, const Point& grabOffset, const Point& at) {
  double minX = std::numeric_limits<double>::infinity();
  double minY = minX;
  double maxX = -minX;
  double maxY = -minX;
  bool any = false;
  for (const auto& copy : copies) {
    const auto rect = copy.settings().rect();
    if (!rect) continue;
    any = true;
    minX = std::min(minX, rect->minX());
    minY = std::min(minY, rect->minY());
    maxX = std::max(maxX, rect->maxX());
    maxY = std::max(maxY, rect->maxY());
  }
  if (!any || !std::isfinite(minX) || !std::isfinite(minY) || !std::isfinite(maxX) || !std::isfinite(maxY)) return;
  const double w = maxX - minX;
  const double h = maxY - minY;
  double x = at.x - grabOffset.x * w;
  double y = at.y - grabOffset.y * h;
  if (w <= 1) x = std::clamp(x, 0.0, 1 - w);
  if (h <= 1) y = std::clamp(y, 0.0, 1 - h);
  const double dx = x - minX;
  const double dy = y - minY;
  if (dx == 0 && dy == 0) return;
  for (auto& copy : copies) {
    auto& settings = copy.settings();
    bool moved = false;
    if (settings.xPosition) {
      *settings.xPosition += dx;
      moved = true;
    }
    if (settings.yPosition) {
      *settings.yPosition += dy;
      moved = true;
    }
    if (moved) copy.setSettingsUpdated(true);
  }
}

}  // namespace

std::optional<ElementPlacement> Scene::newElementPlacement(const std::optional<Uuid>& nextTo) const {
  if (!nextTo) return std::nullopt;
  const auto& list = elements();
  auto found = std::find_if(list.begin(), list.end(), [&](const SceneElement& e) { return e.id() == *nextTo; });
  if (found == list.end()) return std::nullopt;
  const std::size_t i = static_cast<std::size_t>(std::distance(list.begin(), found));
  const SceneElement& sibling = *found;
  const auto& membership = sibling.groupMembership();

  // Inside a frame the new layer joins the same frame; the frame decides where it shows, so the
  // sibling's folder is not inherited.
  if (const auto& frameID = sibling.frameID(); frameID && (!membership || !membership->role)) {
    const bool frameExists = std::any_of(list.begin(), list.end(), [&](const SceneElement& e) {
      return e.id() == *frameID && e.type().isFrame();
    });
    if (frameExists) return ElementPlacement(i, std::nullopt, *frameID);
  }
  if (membership) {
    auto group = groups().find(membership->groupID);
    if (group != groups().end() && group->second.kind == SceneElementGroupKind::folder) {
      return ElementPlacement(i, membership, std::nullopt);
    }
  }
  // Next to a bookend the new layer lands between the bookends, among the sandwiched layers.
  if (const auto split = splitVideoGroupContaining(*this, *nextTo)) {
    const IndexRange range = split->indexRange();
    return ElementPlacement(std::min(range.upperBound, std::max(range.lowerBound + 1, i)), std::nullopt,
                            std::nullopt);
  }
  return ElementPlacement(i, std::nullopt, std::nullopt);
}

std::vector<Uuid> Scene::transferElements(const std::unordered_set<Uuid>& ids, AspectRatio from, AspectRatio to,
                                          const TransferPlacement& placement, bool removingSource,
                                          std::optional<Uuid> rootFolderID,
                                          const std::unordered_map<Uuid, Rect>& resolvedGeometry) {
  if (from == to || !hasFormat(from)) return {};
  ActiveAspectRestorer restorer(*this);
  activeAspect_ = from;
  const SceneFormat& source = formats_.at(from);

  // Locked layers are left out of the selection only; the closure may bring them back.
  std::vector<Uuid> selection;
  {
    detail::UuidSet locked(source.elements.size());
    for (const auto& element : source.elements) {
      if (element.settings().isLocked.value_or(false)) locked.insert(element.id());
    }
    for (const auto& id : ids) {
      if (!locked.contains(id)) selection.push_back(id);
    }
  }
  // The closure holds every frame's members, and through them its whole subtree.
  std::vector<bool> closure = transferClosure(selection, source.elements, source.groups);
  std::vector<std::size_t> sourceIndices;
  FolderOperations::SelectionCopy copy =
      detail::copyMarkedSelection(*this, std::move(closure), false, rootFolderID, sourceIndices, false, true);
  if (copy.elements.empty()) return {};
  std::vector<bool> copied(source.elements.size(), false);
  for (std::size_t i : sourceIndices) copied[i] = true;

  // A split group survives the transfer only with both its bookends, under a new id.
  const detail::GroupIndex groupIndex(source.groups);
  const std::vector<SplitBookends> splits = splitBookendsBySlot(source.elements, groupIndex);
  detail::UuidMap<Uuid> splitMap;
  detail::UuidSet splitsSeen;
  for (std::size_t i : sourceIndices) {
    const auto& membership = source.elements[i].groupMembership();
    if (!membership || !membership->role) continue;
    const std::size_t slot = groupIndex.slotOf(membership->groupID);
    if (slot == kNone || groupIndex.kind(slot) != SceneElementGroupKind::splitVideo) continue;
    if (!splitsSeen.insert(membership->groupID) || !splits[slot].resolved()) continue;
    if (copied[splits[slot].foreground] && copied[splits[slot].background]) {
      splitMap.tryEmplace(membership->groupID, Uuid::random());
    }
  }

  for (std::size_t n = 0; n < sourceIndices.size(); ++n) {
    const SceneElement* layer = &source.elements[sourceIndices[n]];
    SceneElement& clone = copy.elements[n];
    if (auto rect = resolvedGeometry.find(layer->id()); rect != resolvedGeometry.end()) {
      auto& settings = clone.settings();
      settings.xPosition = rect->second.origin.x;
      settings.yPosition = rect->second.origin.y;
      settings.width = rect->second.size.width;
      settings.height = rect->second.size.height;
      clone.setSettingsUpdated(true);
    }
    translateInPlace(clone, from, to);
    if (const auto& membership = layer->groupMembership(); membership && membership->role) {
      if (const Uuid* group = splitMap.find(membership->groupID)) {
        clone.setGroupMembership(SceneElementGroupMembership{*group, membership->role});
      }
    }
  }

  if (const auto* anchored = placement.anchoredPlacement()) anchorBlock(copy.elements, anchored->grabOffset, anchored->at);

  // The new split groups copy their source records; collected before the target format is touched.
  std::vector<SceneElementGroup> newSplits;
  splitMap.forEach([&](const Uuid& oldID, const Uuid& newID) {
    SceneElementGroup group = groupIndex.group(groupIndex.slotOf(oldID));
    group.id = newID;
    newSplits.push_back(std::move(group));
  });
  std::vector<Uuid> result;
  result.reserve(copy.elements.size());
  for (const auto& element : copy.elements) result.push_back(element.id());
  detail::UuidSet moved(sourceIndices.size());
  for (std::size_t i : sourceIndices) moved.insert(source.elements[i].id());

  ensureFormat(to, std::nullopt);
  activeAspect_ = to;
  SceneFormat& target = formats_.at(to);
  for (auto& folder : copy.groups) {
    const Uuid id = folder.id;
    target.groups.insert_or_assign(id, std::move(folder));
  }
  for (auto& group : newSplits) {
    const Uuid id = group.id;
    target.groups.insert_or_assign(id, std::move(group));
  }
  if (target.elements.empty()) {
    target.elements = std::move(copy.elements);
  } else {
    target.elements.insert(target.elements.begin(), std::make_move_iterator(copy.elements.begin()),
                           std::make_move_iterator(copy.elements.end()));
  }
  normaliseGroupContiguity();
  normaliseFrameContiguity();

  if (removingSource) {
    // The whole closure leaves the source in one sweep, then the groups it empties go, as removing
    // the layers one by one would leave it, without a repair pass per layer.
    activeAspect_ = from;
    std::erase_if(formats_.at(from).elements, [&](const SceneElement& e) { return moved.contains(e.id()); });
    cleanupOrphanGroups();
  }
  return result;
}

}  // namespace tav
