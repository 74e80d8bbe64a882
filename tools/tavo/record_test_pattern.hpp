// The synthetic canvases of `tavo record`: a moving colour pattern with the frame number and the
// media time burnt in, and a quiet tone with a short beep at the start of every second.
#pragma once

#include <cstdint>

#include "record_renderer.hpp"

namespace tav::tool {

/// Stateless apart from its sizes, so any thread may call it. Video is planar YUV 4:2:0 (what the
/// encoder takes without conversion); audio is 32-bit float stereo at `sampleRate`.
class TestPatternRenderer final : public CanvasRenderer {
 public:
  TestPatternRenderer(CanvasSize primary, CanvasSize secondary, std::int32_t sampleRate = 48000)
      : primary_(primary), secondary_(secondary), sampleRate_(sampleRate) {}

  CMSampleBuffer renderVideo(CanvasRole role, std::int64_t frameIndex, CMTime time) override;
  CMSampleBuffer renderAudio(std::int64_t firstSample, int frameCount, CMTime time) override;

 private:
  CanvasSize primary_;
  CanvasSize secondary_;
  std::int32_t sampleRate_;
};

}  // namespace tav::tool
