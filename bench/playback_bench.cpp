// Video file playback, on a 1080p30 H.264 file of 60 s with a sync sample every 2 s, made in the run
// with the `ffmpeg` command (TAV_PLAYBACK_BENCH_SECONDS shortens it for a quick look).
//
// BM_BounceUnpaced: one controller bounces through the whole file with ticks fired as fast as they
// are taken (a tick that found no frame waits half a millisecond before the next): the forward and
// the reverse frame rates, and their ratio (target at least 0.8).
//
// BM_BounceRealTime: the last 4 s forward and 10 s back at 30 fps with the real timer: stalls (target
// 0, the turn included), the longest gap between frames, and the peak memory of decoded frames while
// reversing against the size of one chunk (target at most two chunks).
//
// BM_ReverseFilterPeer: the `ffmpeg` command's `reverse` filter on the same file (to its first frame:
// the filter holds the whole clip before it gives one) against our first reversed frame (the first
// chunk's decode, not warmed up): peak memory and time to the first reversed frame.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include "tav/contracts/frame_memory.hpp"
#include "tav/playback/video_file_chunks.hpp"
#include "tav/playback/video_file_controller.hpp"
#include "tav/platform/ffmpeg_asset_reader.hpp"
#include "tav/testing/test_movies.hpp"

namespace tav::bench {
namespace {

using Clock = std::chrono::steady_clock;
constexpr double kMB = 1024.0 * 1024.0;

double benchSeconds() {
  const char* text = std::getenv("TAV_PLAYBACK_BENCH_SECONDS");
  const double seconds = text != nullptr ? std::atof(text) : 60.0;
  return seconds >= 8 ? seconds : 8;
}

/// The bench movie, made once per run and removed at exit.
const std::filesystem::path& benchMovie() {
  static const std::filesystem::path path = [] {
    const auto file = std::filesystem::temp_directory_path() / ("tav-playback-bench-" + std::to_string(::getpid()) + ".mp4");
    testing::makeTestMovie(file, testing::TestMovie{.width = 1920, .height = 1080, .seconds = benchSeconds(), .gop = 60,
                                                    .audio = true, .preset = "veryfast"});
    std::atexit([] { std::filesystem::remove(std::filesystem::temp_directory_path() /
                                             ("tav-playback-bench-" + std::to_string(::getpid()) + ".mp4")); });
    return file;
  }();
  return path;
}

/// Counts frames and their direction, and the gaps between them from the first frame at or after
/// `measureFrom` on.
class Counter final : public VideoFileControllerDelegate {
 public:
  explicit Counter(CMTime from = kCMTimeZero) : measureFrom(from) {}

  void videoFileControllerDidOutputVideo(const CMSampleBuffer& buffer) override {
    const auto now = Clock::now();
    const CMTime time = CMSampleBufferGetPresentationTimeStamp(buffer);
    std::lock_guard lock(mutex);
    if (!measuring) {
      if (time < measureFrom) return;
      measuring = true;
    }
    if (previous.isValid() && time < previous) {
      if (reverseFrames == 0) {
        turnedAt = now;
        FrameMemory::resetPeak();
      }
      ++reverseFrames;
    } else if (reverseFrames == 0) {
      ++forwardFrames;
      forwardEnd = now;
    } else {
      returned = true;
    }
    if (last) longestGap = std::max(longestGap, now - *last);
    last = now;
    previous = time;
  }
  void videoFileControllerDidOutputAudio(const AudioPCMBuffer&) override {}

  const CMTime measureFrom;
  std::mutex mutex;
  bool measuring = false;
  std::uint64_t forwardFrames = 0;
  std::uint64_t reverseFrames = 0;
  bool returned = false;
  CMTime previous = kCMTimeInvalid;
  std::optional<Clock::time_point> last;
  Clock::time_point forwardEnd;
  Clock::time_point turnedAt;
  Clock::duration longestGap{0};
};

void BM_BounceUnpaced(benchmark::State& state) {
  const auto& file = benchMovie();
  for (auto _ : state) {
    auto timer = std::make_shared<ManualVideoFileTimer>();
    auto counter = std::make_shared<Counter>();
    VideoFileController::Environment environment;
    environment.timer = timer;
    auto controller = VideoFileController::create(Url::fileUrl(file), Looping::bounce, environment);
    controller->setDelegate(counter);
    controller->start();
    const auto started = Clock::now();
    while (!timer->isScheduled()) std::this_thread::yield();
    std::uint64_t delivered = 0;
    while (true) {
      timer->fire();
      std::unique_lock lock(counter->mutex);
      if (counter->returned) break;
      // A tick that found no frame (the next reversed chunk is still being decoded) is not repeated at
      // once: ticks fired back to back on two cores take a core from the decoder they wait for, and the
      // figure would measure the driver's spinning instead of the decode rate.
      const std::uint64_t now = counter->forwardFrames + counter->reverseFrames;
      const bool stalled = now == delivered;
      delivered = now;
      lock.unlock();
      if (stalled) std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    const auto ended = Clock::now();
    std::lock_guard lock(counter->mutex);
    const double forwardSeconds = std::chrono::duration<double>(counter->forwardEnd - started).count();
    const double reverseSeconds = std::chrono::duration<double>(ended - counter->turnedAt).count();
    const double forwardRate = static_cast<double>(counter->forwardFrames) / forwardSeconds;
    const double reverseRate = static_cast<double>(counter->reverseFrames) / reverseSeconds;
    state.counters["forward_fps"] = forwardRate;
    state.counters["reverse_fps"] = reverseRate;
    state.counters["reverse_to_forward"] = reverseRate / forwardRate;
    state.counters["reverse_frames"] = static_cast<double>(counter->reverseFrames);
  }
}
BENCHMARK(BM_BounceUnpaced)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void BM_BounceRealTime(benchmark::State& state) {
  const auto& file = benchMovie();
  for (auto _ : state) {
    const double duration = makeFfmpegAsset(file)->duration().seconds();
    // Frames from the start, before the seek has run, are not measured.
    auto counter = std::make_shared<Counter>(CMTime::withSeconds(duration - 4.5, 600));
    auto controller = VideoFileController::create(Url::fileUrl(file), Looping::bounce);
    controller->setDelegate(counter);
    FrameMemory::resetPeak();  // and again at the first reverse frame
    controller->start();
    controller->seek(duration - 4.0);
    std::this_thread::sleep_for(std::chrono::seconds(14));
    const VideoFilePlaybackStatistics statistics = controller->statistics();
    controller.reset();
    std::lock_guard lock(counter->mutex);
    // One chunk of this file: 2 s of 1920 x 1080 BGRA at 30 fps.
    const double chunkBytes = 60.0 * 1920 * 1080 * 4;
    state.counters["stalls"] = static_cast<double>(statistics.stalls);
    state.counters["reverse_frames"] = static_cast<double>(counter->reverseFrames);
    state.counters["longest_gap_ms"] = std::chrono::duration<double, std::milli>(counter->longestGap).count();
    state.counters["peak_reverse_MB"] = static_cast<double>(FrameMemory::peak()) / kMB;
    state.counters["peak_in_chunks"] = static_cast<double>(FrameMemory::peak()) / chunkBytes;
  }
}
BENCHMARK(BM_BounceRealTime)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

/// Wall seconds and peak resident memory (bytes) of the `ffmpeg` command reversing `file` up to its
/// first output frame.
std::pair<double, double> runReverseFilter(const std::filesystem::path& file) {
  const auto started = Clock::now();
  const pid_t child = ::fork();
  if (child == 0) {
    ::execlp("ffmpeg", "ffmpeg", "-nostdin", "-v", "error", "-i", file.c_str(), "-vf", "reverse", "-frames:v", "1",
             "-an", "-f", "null", "-", static_cast<char*>(nullptr));
    ::_exit(127);
  }
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
  return {seconds, static_cast<double>(usage.ru_maxrss) * 1024.0};
}

void BM_ReverseFilterPeer(benchmark::State& state) {
  const auto& file = benchMovie();
  for (auto _ : state) {
    const auto [peerSeconds, peerBytes] = runReverseFilter(file);
    const auto asset = makeFfmpegAsset(file);
    FrameMemory::resetPeak();
    const auto started = Clock::now();
    std::atomic<bool> abandoned{false};
    const VideoFileChunkPlan plan = planReverseChunk(asset->duration(), scanSyncSamples(*asset),
                                                     VideoFileController::maxReverseChunkDuration);
    const auto chunk = decodeReverseChunk(*asset, plan.timeRange, ImageOrientation::up, abandoned);
    const double ourSeconds = std::chrono::duration<double>(Clock::now() - started).count();
    benchmark::DoNotOptimize(chunk.data());
    state.counters["peer_first_frame_s"] = peerSeconds;
    state.counters["peer_peak_MB"] = peerBytes / kMB;
    state.counters["our_first_frame_s"] = ourSeconds;
    state.counters["our_peak_MB"] = static_cast<double>(FrameMemory::peak()) / kMB;
    state.counters["first_frame_speedup"] = peerSeconds / ourSeconds;
  }
}
BENCHMARK(BM_ReverseFilterPeer)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace
}  // namespace tav::bench
