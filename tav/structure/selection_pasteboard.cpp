#include "tav/structure/selection_pasteboard.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "tav/structure/group_index.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav {
namespace detail {

void addFrameSubtrees(const std::vector<SceneElement>& elements, std::vector<bool>& selected) {
  // How deep frames may nest before a walk gives up; only a damaged document comes near it.
  constexpr int kMaxLevels = 64;
  const std::size_t count = elements.size();
  UuidMap<std::size_t> indexByID(count);
  for (std::size_t i = 0; i < count; ++i) indexByID.tryEmplace(elements[i].id(), i);

  // Members of each layer, in array order, as one flat list with offsets.
  std::vector<std::size_t> parentOf(count, GroupIndex::npos);
  std::vector<std::size_t> offsets(count + 1, 0);
  for (std::size_t i = 0; i < count; ++i) {
    const auto& frameID = elements[i].frameID();
    if (!frameID) continue;
    if (const std::size_t* parent = indexByID.find(*frameID)) {
      parentOf[i] = *parent;
      ++offsets[*parent + 1];
    }
  }
  for (std::size_t i = 0; i < count; ++i) offsets[i + 1] += offsets[i];
  std::vector<std::size_t> members(offsets[count]);
  std::vector<std::size_t> fill(offsets.begin(), offsets.end() - 1);
  for (std::size_t i = 0; i < count; ++i) {
    if (parentOf[i] != GroupIndex::npos) members[fill[parentOf[i]]++] = i;
  }

  // Breadth first from every selected frame at once: a layer is taken at the least depth at which any
  // selected frame reaches it, as walking each frame's subtree alone and uniting them would.
  std::vector<std::size_t> level;
  for (std::size_t i = 0; i < count; ++i) {
    if (selected[i] && elements[i].type().isFrame()) level.push_back(i);
  }
  std::vector<std::size_t> next;
  for (int depth = 0; depth < kMaxLevels && !level.empty(); ++depth) {
    next.clear();
    for (std::size_t frame : level) {
      for (std::size_t at = offsets[frame]; at < offsets[frame + 1]; ++at) {
        const std::size_t member = members[at];
        if (selected[member]) continue;
        selected[member] = true;
        if (elements[member].type().isFrame()) next.push_back(member);
      }
    }
    level.swap(next);
  }
}

FolderOperations::SelectionCopy copyMarkedSelection(const Scene& source, std::vector<bool> selected,
                                                    bool keepingParent, std::optional<Uuid> rootFolderID,
                                                    std::vector<std::size_t>& sources, bool withRemap,
                                                    bool subtreesIncluded) {
  using FolderOperations::SelectionCopy;
  const auto& elements = source.elements();
  const auto& groups = source.groups();
  if (!subtreesIncluded) addFrameSubtrees(elements, selected);

  // The folders to copy: those on the way from a selected layer up to and including the root, so
  // that branches holding no selected layer stay behind.
  const GroupIndex index(groups);
  std::vector<bool> copyFolder(index.size(), false);
  if (rootFolderID) {
    std::vector<bool> onSelectedPath(index.size(), false);
    for (std::size_t i = 0; i < elements.size(); ++i) {
      const auto& membership = elements[i].groupMembership();
      if (!selected[i] || !membership) continue;
      index.walkUp(index.slotOf(membership->groupID), [&](std::size_t slot) {
        if (onSelectedPath[slot]) return false;  // Its ancestors were marked with it.
        onSelectedPath[slot] = true;
        return true;
      });
    }
    for (std::size_t slot = 0; slot < index.size(); ++slot) {
      if (!onSelectedPath[slot] || !index.isFolder(slot)) continue;
      index.walkUp(slot, [&](std::size_t ancestor) {
        if (index.key(ancestor) != *rootFolderID) return true;
        copyFolder[slot] = true;
        return false;
      });
    }
  }
  UuidMap<Uuid> folderMap(index.size());
  for (std::size_t slot = 0; slot < index.size(); ++slot) {
    if (copyFolder[slot]) folderMap.tryEmplace(index.key(slot), Uuid::random());
  }

  SelectionCopy copy;
  sources.clear();
  const auto selectedCount = static_cast<std::size_t>(std::count(selected.begin(), selected.end(), true));
  sources.reserve(selectedCount);
  copy.elements.reserve(selectedCount);
  UuidMap<Uuid> remap(selectedCount);
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!selected[i]) continue;
    sources.push_back(i);
    copy.elements.push_back(SceneElement::copyOf(elements[i]));
    *remap.tryEmplace(elements[i].id(), Uuid()).first = copy.elements.back().id();
  }

  for (std::size_t n = 0; n < sources.size(); ++n) {
    const SceneElement& from = elements[sources[n]];
    SceneElement& clone = copy.elements[n];
    if (const auto& membership = from.groupMembership()) {
      if (const Uuid* folder = folderMap.find(membership->groupID)) {
        clone.setGroupMembership(SceneElementGroupMembership{*folder, membership->role});
      } else if (keepingParent) {
        const std::size_t slot = index.slotOf(membership->groupID);
        if (slot != GroupIndex::npos && index.isFolder(slot)) {
          clone.setGroupMembership(membership);
        }
      }
    }
    if (const auto& frameID = from.frameID()) {
      const Uuid* copiedFrame = remap.find(*frameID);
      if (copiedFrame != nullptr || keepingParent) {
        clone.setFrameID(copiedFrame != nullptr ? *copiedFrame : *frameID);
        clone.settings().layout = from.settings().layout;
        clone.setSettingsUpdated(true);
      }
    }
    const auto& mask = from.settings().mask;
    if (mask && mask->layerID) {
      if (const Uuid* copiedLayer = remap.find(*mask->layerID)) {
        SceneMask remapped = *mask;
        remapped.layerID = *copiedLayer;
        clone.settings().mask = remapped;
        clone.setSettingsUpdated(true);
      }
    }
  }

  for (std::size_t slot = 0; slot < index.size(); ++slot) {
    if (!copyFolder[slot]) continue;
    const SceneElementGroup& folder = index.group(slot);
    std::optional<Uuid> parent;
    if (folder.parentGroupID) {
      if (const Uuid* mapped = folderMap.find(*folder.parentGroupID)) {
        parent = *mapped;
      } else if (keepingParent) {
        parent = folder.parentGroupID;
      }
    }
    copy.groups.push_back(folder.reborn(*folderMap.find(index.key(slot)), parent));
  }
  if (rootFolderID) {
    if (const Uuid* root = folderMap.find(*rootFolderID)) copy.rebornRootID = *root;
  }
  if (withRemap) {
    copy.remap.reserve(remap.size());
    remap.forEach([&](const Uuid& from, const Uuid& to) { copy.remap.emplace(from, to); });
  }
  return copy;
}

}  // namespace detail

namespace FolderOperations {
namespace {

/// The lowest index in `elements` of a layer whose id is in `ids`.
std::optional<std::size_t> frontMostIndex(const std::vector<SceneElement>& elements,
                                          const std::unordered_set<Uuid>& ids) {
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (ids.contains(elements[i].id())) return i;
  }
  return std::nullopt;
}

/// Stores the copy's folders in the routed format of `scene`, inserts its layers as one block at
/// `index` and gathers every folder again.
SelectionPasteResult insertCopy(SelectionCopy copy, std::size_t index, Scene& scene) {
  if (copy.elements.empty()) return {};
  SelectionPasteResult result{copy.elements.front().id(), copy.rebornRootID};
  for (auto& group : copy.groups) scene.addGroup(std::move(group));
  auto& elements = scene.routedFormatForEditing().elements;
  elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(std::min(index, elements.size())),
                  std::make_move_iterator(copy.elements.begin()), std::make_move_iterator(copy.elements.end()));
  scene.normaliseGroupContiguity();
  return result;
}

}  // namespace

SelectionCopy copySelection(const std::unordered_set<Uuid>& elementIDs, const Scene& source, bool keepingParent,
                            std::optional<Uuid> rootFolderID) {
  const auto& elements = source.elements();
  std::vector<bool> selected(elements.size(), false);
  for (std::size_t i = 0; i < elements.size(); ++i) selected[i] = elementIDs.contains(elements[i].id());
  std::vector<std::size_t> sourceIndices;
  return detail::copyMarkedSelection(source, std::move(selected), keepingParent, rootFolderID, sourceIndices, true);
}

SelectionPasteResult duplicateSelection(const std::unordered_set<Uuid>& elementIDs, Scene& scene,
                                        std::optional<Uuid> rootFolderID) {
  SelectionCopy copy = copySelection(elementIDs, scene, true, rootFolderID);
  const std::size_t at = frontMostIndex(scene.elements(), elementIDs).value_or(0);
  return insertCopy(std::move(copy), at, scene);
}

SelectionPasteResult pasteSelection(const std::unordered_set<Uuid>& elementIDs, const Scene& source, Scene& target,
                                    std::optional<Uuid> rootFolderID) {
  // Into the same scene while a selected layer is still there, the copies live beside their sources
  // and keep the links that leave the selection; anywhere else such links would name nothing.
  const std::optional<std::size_t> front = frontMostIndex(target.elements(), elementIDs);
  const bool keepingParent = source.id() == target.id() && front.has_value();
  SelectionCopy copy = copySelection(elementIDs, source, keepingParent, rootFolderID);
  return insertCopy(std::move(copy), keepingParent ? *front : 0, target);
}

}  // namespace FolderOperations
}  // namespace tav
