#include "record_loop.hpp"

#include <chrono>
#include <cmath>
#include <thread>

namespace tav::tool {
namespace {

/// Frame `index` at `fps` on an exact grid: 1/fps for whole rates, 1/90000 otherwise.
CMTime frameTime(std::int64_t index, double fps) {
  if (fps == std::floor(fps) && fps <= 1000) return CMTime::make(index, static_cast<std::int32_t>(fps));
  return CMTime::make(std::llround(static_cast<double>(index) * 90000.0 / fps), 90000);
}

}  // namespace

void RecordLoop::run(const std::atomic<bool>& stop) {
  origin_ = std::chrono::steady_clock::now();
  std::vector<std::thread> producers;
  producers.emplace_back([this, &stop] { produceVideo(CanvasRole::primary, stop); });
  if (options_.canvases > 1) producers.emplace_back([this, &stop] { produceVideo(CanvasRole::secondary, stop); });
  producers.emplace_back([this, &stop] { produceAudio(stop); });
  for (auto& producer : producers) producer.join();
}

bool RecordLoop::isPausedAt(double seconds) const {
  for (const PauseSpan& span : options_.pauses) {
    if (seconds >= span.start && (!span.end || seconds < *span.end)) return true;
  }
  return false;
}

void RecordLoop::produceVideo(CanvasRole role, const std::atomic<bool>& stop) {
  bool paused = false;
  for (std::int64_t index = 0; !stop; ++index) {
    const CMTime time = frameTime(index, options_.fps);
    const double seconds = time.seconds();
    if (seconds >= options_.seconds) break;
    if (options_.realTime) {
      std::this_thread::sleep_until(origin_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                  std::chrono::duration<double>(seconds)));
    }
    // The primary canvas's producer plays the user who presses pause and resume.
    if (role == CanvasRole::primary && isPausedAt(seconds) != paused) {
      paused = !paused;
      if (paused) {
        recorder_.pauseRecording();
      } else {
        recorder_.resumeRecording();
      }
      if (options_.onPauseChanged) options_.onPauseChanged(paused);
    }
    recorder_.writeVideo(renderer_.renderVideo(role, index, time), role, false);
    ++framesProduced_;
  }
}

void RecordLoop::produceAudio(const std::atomic<bool>& stop) {
  for (std::int64_t first = 0; !stop; first += options_.audioFrameCount) {
    const CMTime time = CMTime::make(first, options_.sampleRate);
    const double seconds = time.seconds();
    if (seconds >= options_.seconds) break;
    // A buffer is handed in once its last sample has been captured.
    const double due = static_cast<double>(first + options_.audioFrameCount) / options_.sampleRate;
    if (options_.realTime) {
      std::this_thread::sleep_until(origin_ + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                  std::chrono::duration<double>(due)));
    }
    recorder_.writeAudio(renderer_.renderAudio(first, options_.audioFrameCount, time), false);
  }
}

}  // namespace tav::tool
