// What a new video layer needs to know of a movie file before any playback: the size its first video
// track shows at. Kept apart from the full asset reader so that the scene factories need nothing more.
#pragma once

#include <filesystem>
#include <optional>

#include "tav/contracts/geometry.hpp"

namespace tav {

/// The matrix a video track is to be shown through, as the platform writes it:
/// (x', y') = (a x + c y + tx, b x + d y + ty).
struct VideoTrackTransform {
  double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  friend bool operator==(const VideoTrackTransform&, const VideoTrackTransform&) = default;
};

/// The coded picture size of a movie's first video track and its preferred transform.
struct VideoTrackGeometry {
  Size naturalSize;
  VideoTrackTransform preferredTransform;

  /// The natural size turned by the transform, with both sides made positive: a file recorded on its
  /// side gives the size it is shown at.
  Size displaySize() const;
  friend bool operator==(const VideoTrackGeometry&, const VideoTrackGeometry&) = default;
};

/// The geometry of the first video track of the movie at `file`; absent when the file cannot be opened
/// or has no video track. Never throws. Defined by the platform library (tavcommon_platform).
std::optional<VideoTrackGeometry> readVideoTrackGeometry(const std::filesystem::path& file);

}  // namespace tav
