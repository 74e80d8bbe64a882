// GifInfo: what GIF playback reads of a file before it plays: the picture's format and size and each
// frame's delay, with the delays clamped as browsers clamp them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/gif_source.hpp"
#include "tav/contracts/image.hpp"

namespace tav {

/// A plain value.
struct GifInfo {
  std::string colorModel;
  int depth = 0;
  std::optional<bool> hasAlpha;
  int pixelWidth = 0;
  int pixelHeight = 0;
  /// Seconds per frame, one entry per frame the file holds, after clamping (frameDelay).
  std::vector<double> frameDurations;
  /// The frames, when a caller fills them in; getInfo leaves this empty.
  std::vector<Image> images;

  friend bool operator==(const GifInfo&, const GifInfo&) = default;
};

/// The delay of a frame with these properties: its unclamped delay, else its delay; 0.1 s without
/// properties, timing or either entry. A delay at or below 0 becomes 0.1 s, one above 0 and up to
/// 0.02 s becomes 0.02 s.
double frameDelay(const std::optional<GifFrameProperties>& properties);

/// The info of an open source: absent when frame 0 has no properties or lacks the colour model, depth
/// or pixel size.
std::optional<GifInfo> gifInfo(const GifSource& source);

}  // namespace tav
