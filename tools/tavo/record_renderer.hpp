// What `tavo record` records: the content of each canvas and the mixed audio, from a renderer. The
// synthetic test pattern is one renderer; a host's compositor, or capture sources, would be others.
#pragma once

#include <cstdint>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav::tool {

/// The frame size of one canvas.
struct CanvasSize {
  int width = 0;
  int height = 0;
  friend bool operator==(const CanvasSize&, const CanvasSize&) = default;
};

/// Called from one producer thread per canvas and one for audio at the same time: an implementation
/// keeps per-canvas state apart or guards it.
class CanvasRenderer {
 public:
  virtual ~CanvasRenderer() = default;
  /// The frame number `frameIndex` of canvas `role`, presented at `time`.
  virtual CMSampleBuffer renderVideo(CanvasRole role, std::int64_t frameIndex, CMTime time) = 0;
  /// `frameCount` samples of the mix from sample `firstSample` on (at the renderer's sample rate),
  /// presented at `time`.
  virtual CMSampleBuffer renderAudio(std::int64_t firstSample, int frameCount, CMTime time) = 0;
};

}  // namespace tav::tool
