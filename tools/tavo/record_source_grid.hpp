// The demonstration compositor of `tavo record --source`: every capture source's latest picture in a
// cell of a grid on each canvas, and the sources' audio mixed together. It is the tool's, not the
// library's: a host composes with its own scene renderer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "capture_sources.hpp"
#include "record_renderer.hpp"

namespace tav::tool {

/// A CanvasRenderer over capture sources.
///
/// Video: the sources with video, in the order given, each in a cell of a grid of ceil(sqrt(n)) columns,
/// scaled with libswscale to fit its cell with its proportions kept; black around it, and a whole black
/// cell while the source has delivered nothing. Canvases are planar YUV 4:2:0, as the test pattern's.
///
/// Audio: a mix. Each source's audio is converted (libswresample) to 32-bit float stereo at the canvas
/// rate as it arrives and queued; renderAudio sums what every queue holds, clipped to [-1, 1]. A queue
/// first fills a short jitter margin before it is played, so that sources delivering in bursts of their
/// own size do not click, and is capped so that a source running faster than the host cannot build up
/// latency (the oldest samples are dropped). The mix follows arrival, not the sources' timestamps: each
/// source has a clock of its own, and the canvas shows what arrived last, as a live mixer would.
///
/// Threads: the sinks are called on the sources' own threads, renderVideo on one producer thread per
/// canvas and renderAudio on another, all at once. Each source's state and each canvas's scalers have
/// their own lock; no lock is held across two of them. The renderer must outlive the sources' delivery:
/// stop the sources before destroying it.
class SourceGridRenderer final : public CanvasRenderer {
 public:
  /// One slot per source of `sources`, in order; the sources are only asked what media they have.
  SourceGridRenderer(const std::vector<std::unique_ptr<CaptureSource>>& sources, CanvasSize primary,
                     CanvasSize secondary, std::int32_t sampleRate = 48000);
  ~SourceGridRenderer() override;
  SourceGridRenderer(const SourceGridRenderer&) = delete;
  SourceGridRenderer& operator=(const SourceGridRenderer&) = delete;

  /// The sinks through which source `index` (its position in the constructor's list) reaches the grid
  /// and the mix. Throws std::out_of_range for an index without a source.
  CaptureSinks sinks(std::size_t index);

  CMSampleBuffer renderVideo(CanvasRole role, std::int64_t frameIndex, CMTime time) override;
  CMSampleBuffer renderAudio(std::int64_t firstSample, int frameCount, CMTime time) override;

  /// Samples queued for the mix before a source is played, and the most a queue keeps.
  static constexpr int jitterMarginSamples(std::int32_t sampleRate) { return sampleRate / 20; }
  static constexpr int maxQueuedSamples(std::int32_t sampleRate) { return sampleRate / 4; }

 private:
  struct SourceSlot;
  struct CanvasScalers;

  void keepVideo(SourceSlot& slot, const CMSampleBuffer& buffer);
  void queueAudio(SourceSlot& slot, const CMSampleBuffer& buffer);

  std::vector<std::unique_ptr<SourceSlot>> slots_;
  /// The slots with video, in grid order.
  std::vector<SourceSlot*> cells_;
  CanvasSize primary_;
  CanvasSize secondary_;
  std::int32_t sampleRate_;
  std::unique_ptr<CanvasScalers> primaryScalers_;
  std::unique_ptr<CanvasScalers> secondaryScalers_;
};

}  // namespace tav::tool
