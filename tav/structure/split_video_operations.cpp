// Split videos: the snapshot's members, the scene's split questions, and the operations that make and
// undo splits. Each stays linear in the number of layers: one pass finds every split's bookends.
#include "tav/structure/split_video_operations.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "tav/structure/group_index.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav {
namespace {

constexpr std::size_t kNone = detail::GroupIndex::npos;

/// Where a split's bookends stand; kNone for a role no layer holds.
struct Bookends {
  std::size_t foreground = kNone;
  std::size_t background = kNone;
  bool resolved() const { return foreground != kNone && background != kNone; }
};

/// Notes `index` under the role of `membership`. A later layer of the same role replaces an earlier one.
void note(Bookends& bookends, const SceneElementGroupMembership& membership, std::size_t index) {
  if (!membership.role) return;
  if (*membership.role == SceneElementGroupRole::splitForeground) {
    bookends.foreground = index;
  } else {
    bookends.background = index;
  }
}

SplitVideoGroup snapshot(const std::vector<SceneElement>& elements, const SceneElementGroup& group,
                         const Bookends& bookends) {
  const std::size_t lower = std::min(bookends.foreground, bookends.background);
  const std::size_t upper = std::max(bookends.foreground, bookends.background);
  std::vector<SceneElement> sandwiched(elements.begin() + static_cast<std::ptrdiff_t>(lower + 1),
                                       elements.begin() + static_cast<std::ptrdiff_t>(upper));
  return SplitVideoGroup{group,
                         elements[bookends.foreground],
                         elements[bookends.background],
                         std::move(sandwiched),
                         bookends.foreground,
                         bookends.background};
}

/// Every split group that has both bookends, with where they stand, by foreground index ascending.
std::vector<std::pair<const SceneElementGroup*, Bookends>> resolvedSplits(const Scene& scene) {
  const auto& elements = scene.elements();
  const detail::GroupIndex index(scene.groups());
  std::vector<Bookends> bySlot(index.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& membership = elements[i].groupMembership();
    if (!membership || !membership->role) continue;
    const std::size_t slot = index.slotOf(membership->groupID);
    if (slot != kNone && index.kind(slot) == SceneElementGroupKind::splitVideo) note(bySlot[slot], *membership, i);
  }
  std::vector<std::pair<const SceneElementGroup*, Bookends>> splits;
  for (std::size_t slot = 0; slot < index.size(); ++slot) {
    if (bySlot[slot].resolved()) splits.emplace_back(&index.group(slot), bySlot[slot]);
  }
  std::stable_sort(splits.begin(), splits.end(),
                   [](const auto& a, const auto& b) { return a.second.foreground < b.second.foreground; });
  return splits;
}

std::optional<std::size_t> indexOf(const std::vector<SceneElement>& elements, const Uuid& id) {
  auto it = std::find_if(elements.begin(), elements.end(), [&id](const SceneElement& e) { return e.id() == id; });
  if (it == elements.end()) return std::nullopt;
  return static_cast<std::size_t>(std::distance(elements.begin(), it));
}

}  // namespace

std::vector<SceneElement> SplitVideoGroup::allElements() const {
  std::vector<SceneElement> all;
  all.reserve(memberCount());
  all.push_back(foreground);
  all.insert(all.end(), sandwiched.begin(), sandwiched.end());
  all.push_back(background);
  return all;
}

std::unordered_set<Uuid> SplitVideoGroup::allIDs() const {
  std::unordered_set<Uuid> ids;
  ids.reserve(memberCount());
  ids.insert(foreground.id());
  for (const auto& element : sandwiched) ids.insert(element.id());
  ids.insert(background.id());
  return ids;
}

bool SplitVideoGroup::contains(const Uuid& elementID) const {
  return foreground.id() == elementID || background.id() == elementID ||
         std::any_of(sandwiched.begin(), sandwiched.end(), [&](const SceneElement& e) { return e.id() == elementID; });
}

std::optional<SceneElementGroupRole> SplitVideoGroup::role(const Uuid& elementID) const {
  if (elementID == foreground.id()) return SceneElementGroupRole::splitForeground;
  if (elementID == background.id()) return SceneElementGroupRole::splitBackground;
  return std::nullopt;
}

std::optional<SceneElement> SplitVideoGroup::partner(const Uuid& elementID) const {
  if (elementID == foreground.id()) return background;
  if (elementID == background.id()) return foreground;
  return std::nullopt;
}

std::vector<SplitVideoGroup> splitVideoGroups(const Scene& scene) {
  std::vector<SplitVideoGroup> result;
  for (const auto& [group, bookends] : resolvedSplits(scene)) result.push_back(snapshot(scene.elements(), *group, bookends));
  return result;
}

std::optional<SplitVideoGroup> splitVideoGroupWithID(const Scene& scene, const Uuid& groupID) {
  auto it = scene.groups().find(groupID);
  if (it == scene.groups().end() || it->second.kind != SceneElementGroupKind::splitVideo) return std::nullopt;
  const auto& elements = scene.elements();
  Bookends bookends;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& membership = elements[i].groupMembership();
    if (membership && membership->groupID == groupID) note(bookends, *membership, i);
  }
  if (!bookends.resolved()) return std::nullopt;
  return snapshot(elements, it->second, bookends);
}

std::optional<SplitVideoGroup> splitVideoGroupContaining(const Scene& scene, const Uuid& elementID) {
  const auto& elements = scene.elements();
  const auto index = indexOf(elements, elementID);
  if (!index) return std::nullopt;
  if (const auto& membership = elements[*index].groupMembership()) {
    auto it = scene.groups().find(membership->groupID);
    if (it != scene.groups().end() && it->second.kind == SceneElementGroupKind::splitVideo) {
      return splitVideoGroupWithID(scene, membership->groupID);
    }
  }
  // Not a bookend: the first split, front to back, whose bookends enclose the layer.
  for (const auto& [group, bookends] : resolvedSplits(scene)) {
    if (std::min(bookends.foreground, bookends.background) <= *index &&
        *index <= std::max(bookends.foreground, bookends.background)) {
      return snapshot(elements, *group, bookends);
    }
  }
  return std::nullopt;
}

namespace SplitVideoOperations {

std::optional<Result> split(Uuid elementID, Scene& scene) {
  const auto index = indexOf(scene.elements(), elementID);
  if (!index) return std::nullopt;
  const std::size_t at = *index;
  const SceneElement source = scene.elements()[at];

  SceneElement foreground = SceneElement::copyOf(source);
  SceneElement background = SceneElement::copyOf(source);
  SceneElementGroup group;
  group.id = Uuid::random();
  group.kind = SceneElementGroupKind::splitVideo;
  group.isCollapsed = false;
  foreground.setGroupMembership(SceneElementGroupMembership{group.id, SceneElementGroupRole::splitForeground});
  background.setGroupMembership(SceneElementGroupMembership{group.id, SceneElementGroupRole::splitBackground});
  const Uuid groupID = group.id;
  scene.addGroup(std::move(group));

  auto& elements = scene.routedFormatForEditing().elements;
  // Foreground at the source's index, background directly behind it, the source behind both.
  const SceneElement bookends[] = {foreground, background};
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(at), std::begin(bookends), std::end(bookends));
  // Whatever the source masked now takes its mask from the foreground copy.
  for (auto& element : elements) {
    auto& mask = element.settings().mask;
    if (mask && mask->layerID == elementID) mask->layerID = foreground.id();
  }
  scene.removeElement(elementID);

  const Uuid foregroundID = foreground.id();
  return Result{{std::move(foreground), std::move(background)}, {source}, foregroundID, groupID};
}

std::optional<Result> unsplit(Uuid groupID, Uuid triggeringBookendID, Scene& scene) {
  auto split = splitVideoGroupWithID(scene, groupID);
  if (!split) return std::nullopt;
  const SceneElement* trigger = split->role(triggeringBookendID) == SceneElementGroupRole::splitForeground ? &split->foreground
                                : split->role(triggeringBookendID) == SceneElementGroupRole::splitBackground ? &split->background
                                                                                                              : nullptr;
  if (trigger == nullptr) return std::nullopt;

  SceneElement merged = SceneElement::copyOf(*trigger);
  merged.setSettingsUpdated(true);

  // The masks that use either bookend, kept before the removals below clear them as dangling.
  const Uuid foregroundID = split->foreground.id();
  const Uuid backgroundID = split->background.id();
  detail::UuidMap<SceneMask> maskUsers;
  for (const auto& element : scene.elements()) {
    const auto& mask = element.settings().mask;
    if (mask && (mask->layerID == foregroundID || mask->layerID == backgroundID)) maskUsers[element.id()] = *mask;
  }

  scene.removeElement(foregroundID);
  scene.removeElement(backgroundID);
  scene.removeGroup(groupID);

  auto& elements = scene.routedFormatForEditing().elements;
  const std::size_t at = std::min(split->foregroundIndex, elements.size());
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(at), merged);
  if (!maskUsers.empty()) {
    for (auto& element : elements) {
      const SceneMask* noted = maskUsers.find(element.id());
      if (noted == nullptr) continue;
      SceneMask mask = *noted;
      mask.layerID = merged.id();
      element.settings().mask = mask;
      element.setSettingsUpdated(true);
    }
  }

  const Uuid mergedID = merged.id();
  return Result{{std::move(merged)}, {std::move(split->foreground), std::move(split->background)}, mergedID};
}

std::optional<Result> toggle(Uuid elementID, Scene& scene) {
  const auto split = splitVideoGroupContaining(scene, elementID);
  if (split && split->role(elementID)) return unsplit(split->group.id, elementID, scene);
  return SplitVideoOperations::split(elementID, scene);
}

}  // namespace SplitVideoOperations
}  // namespace tav
