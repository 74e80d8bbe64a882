// The isolated recording: every source to its own file, on one timeline.
//
// BM_IsolatedAppendVideo: the caller's side of the fast path, IsolatedRecordingCoordinator::appendVideo
// for a source that has its writer, on the host clock, from four capture threads at once; the writer
// behind it only counts (the writer's own cost is TavoWriter's, measured in recording_bench). Reports
// the median and 99th percentile in microseconds: target median at most 1 us.
//
// BM_IsolatedSync: 60 s of the four sync-check sources (one 100 s off the host clock, one jumping ahead
// mid-way, one restarting from zero, one audio-only; 320x180 video, 48 kHz audio) with one pause, through
// the real writers on a stepped host clock, then every file's flashes and beeps found by decoding it.
// Reports the largest offset between files and between a file's audio and its video, in milliseconds:
// targets at most 33 ms and 10 ms.
//
// BM_IsolatedLoad: four 1280x720 30 fps sources with audio, isolated, beside a composed 1920x1080 canvas
// (the four placed in a grid), all with libx264 ultrafast, paced in real time for 10 s. Reports frames
// dropped (frames given minus frames in the files) and CPU seconds per media second.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>
#include <vector>

#include "tav/contracts/url.hpp"
#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/platform/isolated_sync_check.hpp"
#include "tav/recording/isolated_recording_coordinator.hpp"
#include "tav/recording/isolated_source_writer.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/tavo_writer.hpp"
#include "tav/testing/isolated_sync_sources.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav::bench {
namespace {

double percentileOf(std::vector<double> values, double fraction) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1))];
}

double processCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

/// A writer that only counts what reaches it.
class CountingWriter final : public IsolatedSourceWriting {
 public:
  explicit CountingWriter(std::string base) : base_(std::move(base)) {}
  const std::string& fileBaseName() const override { return base_; }
  bool includesVideo() const override { return true; }
  void appendVideo(const CMSampleBuffer&) override { count_.fetch_add(1, std::memory_order_relaxed); }
  void appendAudio(const CMSampleBuffer&) override { count_.fetch_add(1, std::memory_order_relaxed); }
  void finalise() override {}
  void abort() override {}
  std::int64_t recordedByteCount() override { return count_.load(); }

 private:
  std::string base_;
  std::atomic<std::int64_t> count_{0};
};

void BM_IsolatedAppendVideo(benchmark::State& state) {
  IsolatedRecordingCoordinator coordinator(
      [](const std::string&, const std::string& base, const Url&, bool, const std::optional<MediaSettings>&,
         const std::optional<MediaSettings>&, CMTime, const std::vector<MetadataItem>&,
         IsolatedRecordingCoordinator::FailureCallback) { return std::make_shared<CountingWriter>(base); },
      nullptr);
  constexpr int kSources = 4;
  constexpr int kFrames = 20000;
  const CMSampleBuffer frame = testing::syntheticVideoFrame(PixelFormat::nv12, 64, 36, 0);
  std::vector<double> microseconds;
  std::mutex mutex;
  for (auto _ : state) {
    coordinator.begin(Url::fileUrl(std::filesystem::temp_directory_path()), kSources);
    std::vector<std::thread> threads;
    for (int s = 0; s < kSources; ++s) {
      threads.emplace_back([&, s] {
        const std::string id = "camera" + std::to_string(s);
        std::vector<double> mine;
        mine.reserve(kFrames);
        for (int i = 0; i < kFrames; ++i) {
          // Stamped on the host clock as an on-host capture would be.
          const CMTime pts = CMTime::withSeconds(IsolatedRecordingCoordinator::hostClockSeconds(), 1'000'000'000);
          const CMSampleBuffer buffer = *CMSampleBufferCreateCopyWithNewTiming(
              frame, {CMSampleTimingInfo{CMTime::make(1, 30), pts, kCMTimeInvalid}});
          const auto start = std::chrono::steady_clock::now();
          const bool fast = coordinator.appendVideo(buffer, id, false, false);
          const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
          if (fast) {
            mine.push_back(elapsed.count());
          } else {
            coordinator.consumeVideo(
                buffer, id, [&] { return id; }, [] { return std::nullopt; }, [] { return std::nullopt; },
                [] { return kCMTimeZero; }, false, false);
          }
        }
        std::lock_guard lock(mutex);
        microseconds.insert(microseconds.end(), mine.begin(), mine.end());
      });
    }
    for (auto& thread : threads) thread.join();
    coordinator.end();
  }
  state.counters["median_us"] = percentileOf(microseconds, 0.5);
  state.counters["p99_us"] = percentileOf(microseconds, 0.99);
  state.counters["calls"] = static_cast<double>(microseconds.size());
}
BENCHMARK(BM_IsolatedAppendVideo)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_IsolatedSync(benchmark::State& state) {
  constexpr double kStart = 1000;
  constexpr double kSeconds = 60;
  double maxOffset = 0;
  double maxAudioToVideo = 0;
  double flashes = 0;
  bool inSync = false;
  for (auto _ : state) {
    testing::ScratchDirectory folder("tav-bench-sync");
    std::atomic<double> host{0};
    // Stepped faster than real time: the encoders' queues hold what they have not yet taken.
    FfmpegAssetWriterFactory factory(FfmpegAssetWriterOptions{4096, 65536});
    IsolatedRecordingCoordinator coordinator(testing::isolatedWriters(factory, "ultrafast"),
                                             [&] { return host.load(); });
    const std::vector<testing::SyncTestSource> sources = testing::syncTestSources(kStart, kSeconds);
    coordinator.begin(Url::fileUrl(folder.path()), IsolatedRecordingCoordinator::defaultVideoWriterCap);
    testing::recordSyncSession(coordinator, sources, host, kStart, kSeconds, kStart + 20.51, kStart + 24.21);
    coordinator.end();
    std::vector<SyncMarks> marks;
    for (const char* name : {"Offset.mov", "Jump.mov", "Restart.mov", "Voice.m4a"}) {
      marks.push_back(findSyncMarks(folder / name));
    }
    const SyncComparison comparison = compareSyncMarks(std::move(marks));
    maxOffset = comparison.maxOffset;
    maxAudioToVideo = comparison.maxAudioToVideo;
    for (const auto& file : comparison.files) flashes += static_cast<double>(file.marks.flashes.size());
    inSync = comparison.isInSync();
  }
  state.counters["max_offset_ms"] = maxOffset * 1000;
  state.counters["max_audio_to_video_ms"] = maxAudioToVideo * 1000;
  state.counters["flashes"] = flashes;
  state.counters["in_sync"] = inSync ? 1 : 0;
}
BENCHMARK(BM_IsolatedSync)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Places four NV12 frames in a 2x2 grid of a canvas, nearest neighbour: the demonstration compositor.
void compose(const std::vector<const VideoFrame*>& sources, std::uint8_t* canvas, int width, int height) {
  const int cellWidth = width / 2;
  const int cellHeight = height / 2;
  for (std::size_t n = 0; n < sources.size() && n < 4; ++n) {
    const VideoFrame& source = *sources[n];
    const int left = static_cast<int>(n % 2) * cellWidth;
    const int top = static_cast<int>(n / 2) * cellHeight;
    for (int y = 0; y < cellHeight; ++y) {
      const std::uint8_t* row =
          source.planes[0] + static_cast<std::ptrdiff_t>(y * source.height / cellHeight) * source.strides[0];
      std::uint8_t* out = canvas + static_cast<std::ptrdiff_t>(top + y) * width + left;
      for (int x = 0; x < cellWidth; ++x) out[x] = row[x * source.width / cellWidth];
    }
    std::uint8_t* chroma = canvas + static_cast<std::ptrdiff_t>(width) * height;
    for (int y = 0; y < cellHeight / 2; ++y) {
      const std::uint8_t* row =
          source.planes[1] + static_cast<std::ptrdiff_t>(y * source.height / cellHeight) * source.strides[1];
      std::uint8_t* out = chroma + static_cast<std::ptrdiff_t>(top / 2 + y) * width + left;
      for (int x = 0; x < cellWidth / 2; ++x) {
        const int from = (x * source.width / cellWidth) * 2;
        out[2 * x] = row[from];
        out[2 * x + 1] = row[from + 1];
      }
    }
  }
}

void BM_IsolatedLoad(benchmark::State& state) {
  constexpr int kSeconds = 10;
  constexpr int kFps = 30;
  constexpr int kCanvasWidth = 1920;
  constexpr int kCanvasHeight = 1080;
  double dropped = 0;
  double cpuPerSecond = 0;
  double late = 0;
  for (auto _ : state) {
    testing::ScratchDirectory folder("tav-bench-load");
    IsolatedRecordingCoordinator coordinator(testing::isolatedWriters(defaultAssetWriterFactory(), "ultrafast"),
                                             nullptr);
    const double start = std::ceil(IsolatedRecordingCoordinator::hostClockSeconds() + 0.5);
    const std::vector<testing::SyncTestSource> sources = testing::syncTestSources(start, kSeconds, 1280, 720);
    std::vector<const testing::SyncTestSource*> cameras;
    for (const auto& source : sources) {
      if (source.hasVideo()) cameras.push_back(&source);
    }
    // A fourth camera on the host clock beside the three awkward ones.
    const testing::SyncTestSource fourth("Host", testing::SyncClocks::hostClock(), true, true, 1280, 720);
    cameras.push_back(&fourth);

    TavoWriter canvas(false);
    MediaSettings canvasSettings = RecordingVideoSettings::videoSettings(kCanvasWidth, kCanvasHeight, kFps, false);
    canvasSettings[TavVideoEncoderPresetKey] = "ultrafast";
    canvas.start(Url::fileUrl(folder / "canvas.mov"), canvasSettings, testing::stereoAudio(), true,
                 FileType::quickTimeMovie, {});
    coordinator.begin(Url::fileUrl(folder.path()), IsolatedRecordingCoordinator::defaultVideoWriterCap);
    const double cpuStart = processCpuSeconds();
    const std::size_t canvasSize = VideoFrame::packedSize(PixelFormat::nv12, kCanvasWidth, kCanvasHeight);
    for (int i = 0; i < kSeconds * kFps; ++i) {
      const double host = start + static_cast<double>(i) / kFps;
      std::this_thread::sleep_until(
          std::chrono::steady_clock::time_point(std::chrono::nanoseconds(static_cast<std::int64_t>(host * 1e9))));
      if (IsolatedRecordingCoordinator::hostClockSeconds() > host + 1.0 / kFps) late += 1;
      std::vector<CMSampleBuffer> frames;
      std::vector<const VideoFrame*> pictures;
      for (const auto* camera : cameras) {
        frames.push_back(camera->videoFrame(host));
        pictures.push_back(frames.back().videoFrame());
        testing::deliverSyncCapture(coordinator, *camera, host);
      }
      std::shared_ptr<std::uint8_t> composed(new std::uint8_t[canvasSize], std::default_delete<std::uint8_t[]>());
      compose(pictures, composed.get(), kCanvasWidth, kCanvasHeight);
      canvas.write(CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, kCanvasWidth, kCanvasHeight,
                                                                 std::shared_ptr<const std::uint8_t>(composed)),
                                              CMTime::withSeconds(host, 1'000'000'000), CMTime::make(1, kFps)),
                   MediaStreamType::video());
      canvas.write(sources.back().audio(host), MediaStreamType::audio());
      testing::deliverSyncCapture(coordinator, sources.back(), host);  // the audio-only source
    }
    coordinator.end();
    canvas.finish();
    cpuPerSecond = (processCpuSeconds() - cpuStart) / kSeconds;
    const double given = kSeconds * kFps;
    for (const char* name : {"Offset.mov", "Jump.mov", "Restart.mov", "Host.mov", "canvas.mov"}) {
      const ProbedMovie movie = probeMovie(folder / name);
      for (const ProbedTrack& track : movie.tracks) {
        if (track.mediaType == "video") dropped += given - static_cast<double>(track.packetCount);
      }
    }
  }
  state.counters["dropped_frames"] = dropped;
  state.counters["cpu_s_per_media_s"] = cpuPerSecond;
  state.counters["late_steps"] = late;
}
BENCHMARK(BM_IsolatedLoad)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tav::bench
