// One OBS scene turned into one of our scene documents. Each item whose source has a counterpart
// becomes a layer of that kind, made by the layer constructors, at its placement and rotation and
// hidden and locked as in OBS; each group that holds imported layers becomes a folder of them. What has
// no counterpart (audio, nested scenes, unknown kinds, missing sources, groups that contain themselves)
// is left out, and what could only be carried over in part is marked approximated, each with the reason.
//
// A pure function of its inputs apart from the readers it is given and the shared asset store, which
// keeps the pictures and movies of new layers (as the layer constructors do). Not thread-safe only in
// so far as the asset store the host installed is not.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/obs/obs_item_placement.hpp"
#include "tav/scene/scene.hpp"

namespace tav {

enum class OBSImportOutcome { imported, approximated, leftOut };

/// "imported", "approximated", "leftOut".
std::string_view rawValue(OBSImportOutcome outcome);

/// What became of one flattened entry of the scene.
struct OBSImportNote {
  OBSFlattenedEntry::Case entry = OBSFlattenedEntry::Case::item;
  /// The OBS item's name.
  std::optional<std::string> item;
  /// The OBS id of the item's source, and its kind; absent for a missing source.
  std::optional<std::string> sourceID;
  std::optional<OBSSourceKind> kind;
  OBSImportOutcome outcome = OBSImportOutcome::imported;
  /// The layer made for an item, or the folder made for a group.
  std::optional<Uuid> layerID;
  /// Where the layer's size came from, when it was placed as in OBS.
  std::optional<OBSSizeOrigin> sizeOrigin;
  /// Why the entry was approximated or left out; empty when imported.
  std::vector<std::string> reasons;
};

struct OBSImportOptions {
  /// The OBS canvas the items are placed on; the new scene's aspect is the one nearest to it.
  Size canvas{1920, 1080};
  /// Reads the size of pictures and movies on this machine; empty: none is read.
  OBSMediaSizeReader readSize;
  /// Reads the bytes of a picture for the asset store; empty: pictures are not stored, and image
  /// layers keep only the file's path.
  std::function<std::optional<std::string>(const std::string& path)> readBytes;
};

struct OBSSceneImport {
  Scene scene;
  /// One note per flattened entry, in the order of the flattened scene (OBS's back-to-front order).
  std::vector<OBSImportNote> notes;
};

/// Imports the scene named `sceneName` of `collection`, whose source index is `index`. A name that is
/// no scene of the collection gives an empty scene and no notes.
OBSSceneImport importOBSScene(const OBSCollection& collection, const OBSCollection::SourceIndex& index,
                              std::string_view sceneName, const OBSImportOptions& options);

}  // namespace tav
