// Copy and paste of any selection of layers, within a format, between formats or between scenes.
// Copies are reborn: every layer and every copied folder gets a new id, and links among the copies
// are rewritten to the new ids. Links to what was not copied stay only when the copy will live beside
// its source (`keepingParent`).
#pragma once

#include <optional>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"

namespace tav::FolderOperations {

/// What copySelection makes; no scene holds it yet.
struct SelectionCopy {
  /// The reborn layers, in the source's array order.
  std::vector<SceneElement> elements;
  /// The reborn folders, in ascending order of their old ids.
  std::vector<SceneElementGroup> groups;
  /// The new id of the root folder, when it was copied.
  std::optional<Uuid> rebornRootID;
  /// Old layer id to new layer id.
  std::unordered_map<Uuid, Uuid> remap;
};

/// What duplicateSelection and pasteSelection inserted; both absent when nothing was copied.
struct SelectionPasteResult {
  /// The first reborn layer.
  std::optional<Uuid> newSelection;
  /// The reborn root folder.
  std::optional<Uuid> rebornGroupID;

  friend bool operator==(const SelectionPasteResult&, const SelectionPasteResult&) = default;
};

/// Reborn copies of the layers `elementIDs` of the routed format of `source`, each frame among them
/// with its whole subtree. With `rootFolderID`, the folders from that root down to the selected layers
/// are copied too (empty branches are not). A copy keeps a membership, frame and layout in the copied
/// structure; with `keepingParent` also in the source's folders and frames outside it; else it is
/// free. A mask survives only when its layer is copied too; split groups are never copied, so a copied
/// bookend is an ordinary layer. Video files are duplicated for the copies (shared when that fails).
/// Ids that name no layer are ignored. Touches no scene.
SelectionCopy copySelection(const std::unordered_set<Uuid>& elementIDs, const Scene& source, bool keepingParent,
                            std::optional<Uuid> rootFolderID);

/// Copies the selection in place (links leaving it are kept) and inserts the copies as one block
/// directly in front of the front-most selected layer (at the front when no id names a layer), with
/// their folders, then gathers every folder into one block. Does nothing when nothing was copied.
SelectionPasteResult duplicateSelection(const std::unordered_set<Uuid>& elementIDs, Scene& scene,
                                        std::optional<Uuid> rootFolderID);

/// Copies the selection of `source` into the routed format of `target`. Into the same scene while
/// some selected layer is still there, links leaving the selection are kept and the block goes in
/// front of the front-most selected layer; otherwise the copies come free of outside links and go to
/// the front. Then every folder is gathered into one block. Does nothing when nothing was copied.
SelectionPasteResult pasteSelection(const std::unordered_set<Uuid>& elementIDs, const Scene& source, Scene& target,
                                    std::optional<Uuid> rootFolderID);

}  // namespace tav::FolderOperations

namespace tav::detail {

/// Adds to `selected` (one flag per layer of `elements`) the whole frame subtree of every selected
/// frame: its members, and the members of each frame among those, down to 64 levels. One pass builds
/// the member lists, so the cost is linear in the layers however many frames are selected.
void addFrameSubtrees(const std::vector<SceneElement>& elements, std::vector<bool>& selected);

/// copySelection of the layers marked in `selected` (one flag per layer of the routed format of
/// `source`), for callers that have worked the selection out by index. Frame subtrees are added here
/// unless `subtreesIncluded` says the marks hold them already.
/// `sourceIndices` receives the array index of each copy's source, in the copies' order. With
/// `withRemap` false the result's `remap` stays empty, sparing a map the caller doesn't read.
FolderOperations::SelectionCopy copyMarkedSelection(const Scene& source, std::vector<bool> selected,
                                                    bool keepingParent, std::optional<Uuid> rootFolderID,
                                                    std::vector<std::size_t>& sourceIndices, bool withRemap,
                                                    bool subtreesIncluded = false);

}  // namespace tav::detail
