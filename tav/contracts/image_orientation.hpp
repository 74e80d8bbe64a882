// ImageOrientation: how a stored picture must be turned to stand as it is meant to be seen, with the
// platform's raw values (1 up, 3 down, 6 right, 8 left), and the one pass that turns a BGRA frame.
// Video tracks shot on phones are stored sideways and carry a transform instead of turned pixels.
#pragma once

#include <cstdint>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/geometry.hpp"

namespace tav {

/// The rotations of a picture; mirrored orientations (2, 4, 5, 7) never come from a track's
/// transform and are not represented.
enum class ImageOrientation : std::uint32_t {
  up = 1,     ///< as stored
  down = 3,   ///< turned half a turn
  right = 6,  ///< turned a quarter turn clockwise to display
  left = 8,   ///< turned a quarter turn anticlockwise to display
};

/// The orientation a video track's preferred transform stands for: a=0, b=1, c=-1, d=0 is `right`;
/// a=0, b=-1, c=1, d=0 is `left`; a=-1, b=0, c=0, d=-1 is `down`; anything else (the identity
/// included) is `up`.
ImageOrientation imageOrientation(const AffineTransform& preferredTransform);

/// A new BGRA frame holding `frame` turned by `orientation` (width and height swap for the quarter
/// turns). One pass over the pixels, in tiles so that both the rows read and the rows written stay in
/// cache. Absent when `frame` is not BGRA or has no pixels. `up` gives a copy that shares the pixels.
std::optional<VideoFrame> orientedFrame(const VideoFrame& frame, ImageOrientation orientation);

}  // namespace tav
