// The producer side of `tavo record`: threads that render canvases and audio and hand them to the
// recorder as a host's capture callbacks would, paced in real time, with the pauses asked for.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "record_renderer.hpp"
#include "tav/recording/tavo_recorder.hpp"

namespace tav::tool {

/// A pause of the host clock from `start` until `end` seconds (absent: to the end of the run).
struct PauseSpan {
  double start = 0;
  std::optional<double> end;
};

struct RecordLoopOptions {
  double seconds = 10;  ///< length of the run on the host clock, pauses included
  double fps = 30;
  int canvases = 1;     ///< 1: primary only; 2: primary and secondary
  std::vector<PauseSpan> pauses;
  std::int32_t sampleRate = 48000;
  int audioFrameCount = 1024;  ///< samples per audio buffer
  bool realTime = true;        ///< false: produce as fast as the renderer goes
  /// Called on the primary canvas's producer thread right after the recorder is paused (true) or
  /// resumed (false), so that other recordings of the run (isolated sources) pause with it.
  std::function<void(bool paused)> onPauseChanged;
};

/// Runs on the calling thread plus one producer thread per canvas and one for audio. The recorder must
/// be recording before run; run neither starts nor stops it.
class RecordLoop {
 public:
  RecordLoop(TavoRecorder& recorder, CanvasRenderer& renderer, RecordLoopOptions options)
      : recorder_(recorder), renderer_(renderer), options_(std::move(options)) {}

  /// Produces until `seconds` of host time are done or `stop` becomes true, then returns once every
  /// producer has ended.
  void run(const std::atomic<bool>& stop);

  /// Video frames handed to the recorder so far, over all canvases. Any thread.
  std::int64_t framesProduced() const { return framesProduced_; }

 private:
  void produceVideo(CanvasRole role, const std::atomic<bool>& stop);
  void produceAudio(const std::atomic<bool>& stop);
  bool isPausedAt(double seconds) const;

  TavoRecorder& recorder_;
  CanvasRenderer& renderer_;
  const RecordLoopOptions options_;
  std::atomic<std::int64_t> framesProduced_{0};
  std::chrono::steady_clock::time_point origin_;
};

}  // namespace tav::tool
