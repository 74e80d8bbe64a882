#include "tav/contracts/video_track_geometry.hpp"

#include <cmath>

namespace tav {

Size VideoTrackGeometry::displaySize() const {
  const VideoTrackTransform& t = preferredTransform;
  // The size as a vector through the linear part of the matrix; the translation moves, not scales.
  double width = t.a * naturalSize.width + t.c * naturalSize.height;
  double height = t.b * naturalSize.width + t.d * naturalSize.height;
  return Size{std::fabs(width), std::fabs(height)};
}

}  // namespace tav
