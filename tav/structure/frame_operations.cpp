#include "tav/structure/frame_operations.hpp"

#include <algorithm>
#include <iterator>

#include "tav/scene/element_placement.hpp"
#include "tav/structure/folder_operations.hpp"
#include "tav/structure/split_video_group.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav::FrameOperations {
namespace {

using detail::UuidMap;
using detail::UuidSet;

/// The indices behind subtreeIDs(), in its order. One pass over the array per level of frames: a level
/// is usually a handful of frames, so this beats indexing every layer's members up front.
std::vector<std::size_t> subtreeIndices(const Uuid& frameID, const std::vector<SceneElement>& elements) {
  auto root = std::find_if(elements.begin(), elements.end(), [&](const SceneElement& e) { return e.id() == frameID; });
  if (root == elements.end() || !root->type().isFrame()) return {};
  std::vector<std::size_t> result{static_cast<std::size_t>(root - elements.begin())};
  UuidSet visited;
  visited.insert(frameID);
  // The frames of the current level, each with its place in the level.
  UuidMap<std::size_t> level;
  level.tryEmplace(frameID, 0);
  std::vector<std::pair<std::size_t, std::size_t>> found;  // (place of the parent in the level, index)
  for (int depth = 0; depth < FrameRotation::maximumDepth && !level.empty(); ++depth) {
    found.clear();
    for (std::size_t i = 0; i < elements.size(); ++i) {
      const auto& parent = elements[i].frameID();
      if (!parent) continue;
      if (const std::size_t* place = level.find(*parent)) found.emplace_back(*place, i);
    }
    // Members of the level's first frame come first, each frame's members in array order.
    std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    UuidMap<std::size_t> next;
    for (const auto& [place, index] : found) {
      const SceneElement& member = elements[index];
      if (!visited.insert(member.id())) continue;
      result.push_back(index);
      if (member.type().isFrame()) next.tryEmplace(member.id(), next.size());
    }
    level = std::move(next);
  }
  return result;
}

/// Each layer's frame id, by layer id; the first layer of an id counts.
UuidMap<std::optional<Uuid>> frameParents(const std::vector<SceneElement>& elements) {
  UuidMap<std::optional<Uuid>> parents(elements.size());
  for (const auto& element : elements) parents.tryEmplace(element.id(), element.frameID());
  return parents;
}

const SceneElement* findElement(const std::vector<SceneElement>& elements, const Uuid& id) {
  auto found = std::find_if(elements.begin(), elements.end(), [&](const SceneElement& e) { return e.id() == id; });
  return found == elements.end() ? nullptr : &*found;
}

std::optional<std::size_t> indexOf(const std::vector<SceneElement>& elements, const Uuid& id) {
  auto found = std::find_if(elements.begin(), elements.end(), [&](const SceneElement& e) { return e.id() == id; });
  if (found == elements.end()) return std::nullopt;
  return static_cast<std::size_t>(found - elements.begin());
}

/// The placements by id; keys that are not ids are ignored.
UuidMap<SceneLayoutPlacement> placementsByID(const SceneLayoutPlacements& placements) {
  UuidMap<SceneLayoutPlacement> byID(placements.size());
  for (const auto& [key, placement] : placements) {
    if (auto id = Uuid::parse(key)) byID.tryEmplace(*id, placement);
  }
  return byID;
}

/// Moves the layer to the placement's rectangle.
void place(SceneElement& element, const SceneLayoutPlacement& placement) {
  const Rect& rect = placement.rect;
  element.settings().setRect(Rect(rect.minX(), rect.minY(), rect.width(), rect.height()));
}

/// The frame layer `wrap` makes: the default flex settings of a new stack, at `rect`.
SceneElement newFrame(const Rect& rect) {
  SceneFrameSettings frame;
  frame.direction = SceneFlexDirection::row;
  frame.justify = SceneFlexJustify::start;
  frame.align = SceneFlexAlign::center;
  frame.gap = SceneDimension{16, SceneDimension::Unit::point};
  frame.padding = SceneEdgeInsets::all(SceneDimension{16, SceneDimension::Unit::point});
  frame.widthHugsContent = true;
  frame.heightHugsContent = true;
  SceneElementSettings settings;
  settings.setRect(rect);
  settings._cornerRadius = 0;
  settings.opacity = 1.0;
  settings.isHidden = false;
  return SceneElement(Uuid::random(), SceneElementType(frame), settings);
}

/// Inserts `block` at `index` as one run.
void insertBlock(std::vector<SceneElement>& elements, std::size_t index, std::vector<SceneElement> block) {
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(index), std::make_move_iterator(block.begin()),
                  std::make_move_iterator(block.end()));
}

}  // namespace

std::vector<Uuid> subtreeIDs(const Uuid& frameID, const std::vector<SceneElement>& elements) {
  std::vector<Uuid> ids;
  for (std::size_t index : subtreeIndices(frameID, elements)) ids.push_back(elements[index].id());
  return ids;
}

std::vector<Uuid> outermost(const std::vector<Uuid>& ids, const std::vector<SceneElement>& elements) {
  auto parents = frameParents(elements);
  UuidSet given(ids.size());
  for (const auto& id : ids) given.insert(id);
  std::vector<Uuid> result;
  for (const auto& id : ids) {
    bool nested = false;
    UuidSet seen;
    seen.insert(id);
    const std::optional<Uuid>* parent = parents.find(id);
    while (parent && *parent) {
      const Uuid& ancestor = **parent;
      if (!seen.insert(ancestor)) break;  // A cycle (back to the id itself, too): the id stays.
      if (given.contains(ancestor)) {
        nested = true;
        break;
      }
      parent = parents.find(ancestor);
    }
    if (!nested) result.push_back(id);
  }
  return result;
}

bool isDescendant(const Uuid& id, const Uuid& ancestorID, const std::vector<SceneElement>& elements) {
  Uuid current = id;
  for (int step = 0; step < FrameRotation::maximumDepth; ++step) {
    if (current == ancestorID) return true;
    const SceneElement* element = findElement(elements, current);
    if (!element || !element->frameID()) return false;
    current = *element->frameID();
  }
  return false;
}

std::optional<Rect> unionRect(const std::vector<Rect>& rects) {
  if (rects.empty()) return std::nullopt;
  double minX = rects.front().minX(), minY = rects.front().minY();
  double maxX = rects.front().maxX(), maxY = rects.front().maxY();
  for (const auto& rect : rects) {
    minX = std::min(minX, rect.minX());
    minY = std::min(minY, rect.minY());
    maxX = std::max(maxX, rect.maxX());
    maxY = std::max(maxY, rect.maxY());
  }
  return Rect(minX, minY, maxX - minX, maxY - minY);
}

std::optional<Uuid> parentFrameID(const std::vector<Uuid>& ids, const std::vector<SceneElement>& elements) {
  UuidSet wanted(ids.size());
  for (const auto& id : ids) wanted.insert(id);
  std::optional<std::optional<Uuid>> shared;
  for (const auto& element : elements) {
    if (!wanted.contains(element.id())) continue;
    if (!shared) {
      shared = element.frameID();
    } else if (*shared != element.frameID()) {
      return std::nullopt;
    }
  }
  return shared.value_or(std::nullopt);
}

SceneLayoutItem defaultMemberLayout(const SceneElement& element) { return defaultFrameMemberLayout(element); }

std::optional<Uuid> wrap(const std::vector<Uuid>& memberIDs, Scene& scene) {
  const std::vector<SceneElement>& current = scene.elements();
  std::vector<Uuid> reduced = outermost(memberIDs, current);
  UuidSet members(reduced.size());
  for (const auto& id : reduced) members.insert(id);

  std::vector<Rect> rects;
  bool anyMember = false;
  std::size_t rearmost = 0;
  for (std::size_t i = 0; i < current.size(); ++i) {
    if (!members.contains(current[i].id())) continue;
    anyMember = true;
    rearmost = i;
    if (auto rect = current[i].settings().rect()) rects.push_back(*rect);
  }
  if (!anyMember) return std::nullopt;
  std::optional<Rect> bounds = unionRect(rects);
  if (!bounds) return std::nullopt;

  std::optional<Uuid> parent = parentFrameID(reduced, current);
  SceneElement frame = newFrame(*bounds);
  if (parent) {
    frame.setFrameID(parent);
    SceneLayoutItem layout;
    layout.position = SceneLayoutItem::Position::flow;
    layout.grow = 0;
    layout.shrink = 1;
    frame.settings().layout = layout;
    frame.setSettingsUpdated(true);
  }

  // Where the frame goes: just behind the rearmost member, but never between a split's bookends.
  std::size_t index = std::min(rearmost + 1, current.size());
  for (const auto& split : splitVideoGroups(scene)) {
    IndexRange range = split.indexRange();
    if (range.lowerBound < index && index <= range.upperBound) index = range.lowerBound;
  }
  index = std::min(index, current.size());

  bool membershipsChanged = false;
  std::vector<SceneElement>& elements = scene.routedFormatForEditing().elements;
  for (auto& element : elements) {
    if (!members.contains(element.id())) continue;
    element.setFrameID(frame.id());
    element.settings().layout = defaultMemberLayout(element);
    element.setSettingsUpdated(true);
    const auto& membership = element.groupMembership();
    if (membership && !membership->role) {
      element.setGroupMembership(std::nullopt);
      membershipsChanged = true;
    }
    if (!element.type().isText() && !element.type().isFrame()) element.settings().lockAspectRatio = false;
  }
  Uuid frameID = frame.id();
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(index), std::move(frame));
  if (membershipsChanged) {
    scene.releaseMaskLinksAcrossGroups();
    scene.cleanupOrphanGroups();
  }
  return frameID;
}

std::optional<Uuid> convertFolderToStack(Uuid groupID, Scene& scene) {
  auto group = scene.groups().find(groupID);
  if (group == scene.groups().end() || group->second.kind != SceneElementGroupKind::folder) return std::nullopt;
  if (scene.maskGroupAncestorOfGroup(groupID)) return std::nullopt;

  std::vector<Uuid> directMembers;
  for (const auto& element : scene.elements()) {
    if (element.groupMembership() && element.groupMembership()->groupID == groupID) {
      directMembers.push_back(element.id());
    }
  }
  FolderOperations::ungroup(groupID, scene);
  UuidSet freed(directMembers.size());
  for (const auto& id : directMembers) freed.insert(id);
  // They moved up to the parent folder with the ungrouping; a frame's members stand in no folder.
  for (auto& element : scene.routedFormatForEditing().elements) {
    if (freed.contains(element.id())) element.setGroupMembership(std::nullopt);
  }
  return wrap(directMembers, scene);
}

std::vector<SceneElement> copySubtree(const Uuid& frameID, const std::vector<SceneElement>& elements,
                                      bool keepingParent) {
  std::vector<std::size_t> subtree = subtreeIndices(frameID, elements);
  if (subtree.empty()) return {};

  std::vector<const SceneElement*> sources;
  std::vector<SceneElement> clones;
  UuidMap<Uuid> cloneOf(subtree.size());
  sources.reserve(subtree.size());
  clones.reserve(subtree.size());
  for (std::size_t index : subtree) {
    const SceneElement& source = elements[index];
    SceneElement clone = SceneElement::copyOf(source);
    cloneOf.tryEmplace(source.id(), clone.id());
    bool isRoot = sources.empty();
    if (isRoot) {
      if (keepingParent) clone.setFrameID(source.frameID());
    } else if (const Uuid* parent = source.frameID() ? cloneOf.find(*source.frameID()) : nullptr) {
      clone.setFrameID(*parent);
    }
    if (clone.frameID()) {
      clone.settings().layout = source.settings().layout;
      clone.setSettingsUpdated(true);
    }
    if (isRoot && keepingParent && (!source.groupMembership() || !source.groupMembership()->role)) {
      clone.setGroupMembership(source.groupMembership());
    }
    sources.push_back(&source);
    clones.push_back(std::move(clone));
  }
  for (std::size_t i = 0; i < clones.size(); ++i) {
    const auto& mask = sources[i]->settings().mask;
    if (!mask || !mask->layerID) continue;
    if (const Uuid* target = cloneOf.find(*mask->layerID)) {
      SceneMask remapped = *mask;
      remapped.layerID = *target;
      clones[i].settings().mask = remapped;
      clones[i].setSettingsUpdated(true);
    }
  }
  return clones;
}

std::optional<Uuid> duplicate(const Uuid& frameID, Scene& scene) {
  std::vector<SceneElement> clones = copySubtree(frameID, scene.elements(), true);
  if (clones.empty()) return std::nullopt;
  Uuid rootID = clones.front().id();
  std::size_t index = *indexOf(scene.elements(), frameID);
  insertBlock(scene.routedFormatForEditing().elements, index, std::move(clones));
  return rootID;
}

std::optional<Uuid> paste(const Uuid& frameID, const Scene& source, Scene& target) {
  const std::vector<SceneElement>* sourceElements = nullptr;
  for (const auto& [aspect, format] : source.formats()) {
    if (findElement(format.elements, frameID)) {
      sourceElements = &format.elements;
      break;
    }
  }
  if (!sourceElements) sourceElements = &source.elements();
  std::optional<std::size_t> targetIndex = indexOf(target.elements(), frameID);
  bool keepingParent = source.id() == target.id() && targetIndex.has_value();
  std::vector<SceneElement> clones = copySubtree(frameID, *sourceElements, keepingParent);
  if (clones.empty()) return std::nullopt;
  Uuid rootID = clones.front().id();
  insertBlock(target.routedFormatForEditing().elements, keepingParent ? *targetIndex : 0, std::move(clones));
  return rootID;
}

std::vector<Uuid> bakeAndRemove(const Uuid& frameID, const SceneLayoutPlacements& placements,
                                bool promoteToParentStack, Scene& scene) {
  const SceneElement* frame = findElement(scene.elements(), frameID);
  std::optional<Uuid> landingParent = promoteToParentStack && frame ? frame->frameID() : std::nullopt;
  int landingRotation = FrameRotation::inheritedRotation(landingParent, scene.elements());
  auto placementOf = placementsByID(placements);

  std::vector<Uuid> freed;
  std::vector<SceneElement>& elements = scene.routedFormatForEditing().elements;
  for (auto& element : elements) {
    if (element.frameID() != frameID) continue;
    if (const SceneLayoutPlacement* placement = placementOf.find(element.id())) {
      place(element, *placement);
      element.settings().bakeRotation(*placement, landingRotation);
    }
    element.setFrameID(landingParent);
    if (landingParent) {
      element.settings().layout = defaultMemberLayout(element);
    } else {
      element.settings().layout.reset();
    }
    element.setSettingsUpdated(true);
    freed.push_back(element.id());
  }
  std::erase_if(elements, [&](const SceneElement& e) { return e.id() == frameID; });
  return freed;
}

std::vector<SceneElement> baking(const SceneLayoutPlacements& placements, const std::vector<SceneElement>& elements,
                                 const std::optional<std::unordered_set<Uuid>>& limitedTo, RotationLanding landing) {
  if (placements.empty()) return elements;
  auto placementOf = placementsByID(placements);
  std::optional<int> landingRotation;
  if (landing.isInside()) landingRotation = FrameRotation::inheritedRotation(landing.insideFrameID(), elements);
  std::vector<SceneElement> result = elements;
  for (auto& element : result) {
    if (limitedTo && !limitedTo->contains(element.id())) continue;
    const SceneLayoutPlacement* placement = placementOf.find(element.id());
    if (!placement) continue;
    place(element, *placement);
    element.setSettingsUpdated(true);
    if (landingRotation) element.settings().bakeRotation(*placement, *landingRotation);
  }
  return result;
}

}  // namespace tav::FrameOperations
