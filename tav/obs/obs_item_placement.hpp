// Where an OBS item lands on the canvas when the size of what it shows has to be found first: from its
// bounding box (where the source's own size does not matter), from the size its source states, from
// the canvas for a nested scene, or from the picture or movie file the source shows. An item whose
// size cannot be known gets the reason instead. Pure functions; files are read only through the
// reader the caller passes.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/geometry.hpp"
#include "tav/obs/obs_conversion.hpp"

namespace tav {

/// Where an item's display size came from.
enum class OBSSizeOrigin { bounds, source, canvas, file };

/// "bounds", "source", "canvas", "file".
std::string_view rawValue(OBSSizeOrigin origin);

/// The pixel size of the picture or movie at a path on this machine; absent when the file is missing
/// or cannot be read. May be empty: then no file is read.
using OBSMediaSizeReader = std::function<std::optional<Size>(const std::string& path)>;

/// The size a source states in its settings: "width" and "height" (colour and browser sources), else
/// "cx" and "cy"; both above 0 and finite.
std::optional<Size> obsStatedSourceSize(const OBSSource& source);

/// The local file a source shows: "file" of an image, "local_file" of a media source that plays a
/// local file, the first "value" of a slideshow's "files" or a VLC source's "playlist". Absent for
/// every other source and for an empty path.
std::optional<std::string> obsMediaFilePath(const OBSSource& source);

/// An item's placement and where its size came from, or why it has none.
struct OBSItemPlacement {
  std::optional<OBSConversion::Placement> placement;
  /// Set with `placement`.
  std::optional<OBSSizeOrigin> origin;
  /// Why there is no placement; empty with one.
  std::string reason;
};

/// The placement of `item` on a canvas of `canvas`, through its groups. The display size comes, in
/// this order, from a bounding box (any bounds type but none and "max only"), the source's stated
/// size, the canvas for a nested scene, or the file of an image or media source read by `readSize`.
/// Every number of the result is finite; a transform that gives anything else has no placement.
OBSItemPlacement obsItemPlacement(const OBSResolvedItem& item, Size canvas, const OBSMediaSizeReader& readSize);

}  // namespace tav
