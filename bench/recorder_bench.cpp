// The composed recorder (TavoRecorder) over the FFmpeg writer.
//
// BM_RecorderCallerSide: the capture threads' cost of writeVideo and writeAudio while a 1080p30
// recording with 48 kHz stereo audio really encodes (libx264 ultrafast), paced in real time. Reports
// median and 99th percentile in microseconds of each: target median at most 2 us, p99 at most 20 us.
// video_cpu_median_us is the caller's own CPU time, which time spent descheduled does not inflate.
//
// BM_RecorderTwoCanvasesRealTime: 1920x1080 and 1080x1920 at 30 fps with stereo audio through libx264
// ultrafast, paced in real time, for 60 s of media. Reports the dropped frames (target 0) and the
// process's CPU seconds per media second.
//
// BM_RecorderThroughput: 1080p30 through the whole recorder as fast as the encoder takes it (a frame
// the encoder was not ready for is offered again), against the `ffmpeg` command encoding the same raw
// frames with the same settings. Reports ratio = ffmpeg seconds / our seconds: target at least 0.9.
//
// TAV_BENCH_MEDIA_SECONDS overrides the media length of all three (defaults 10, 60 and 10 s), for a
// short run on a busy machine.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/tavo_recorder.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/synthetic_media.hpp"
#include "x264_peer.hpp"

namespace tav::bench {
namespace {

using Clock = std::chrono::steady_clock;

double mediaSeconds(double fallback) {
  const char* text = std::getenv("TAV_BENCH_MEDIA_SECONDS");
  const double value = text != nullptr ? std::atof(text) : 0;
  return value > 0 ? value : fallback;
}

double processCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double threadCpuMicroseconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) * 1e-3;
}

double percentile(std::vector<double> values, double fraction) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1))];
}

CMSampleBuffer retimed(const CMSampleBuffer& buffer, CMTime pts) {
  return *CMSampleBufferCreateCopyWithNewTiming(
      buffer, {CMSampleTimingInfo{CMSampleBufferGetDuration(buffer), pts, kCMTimeInvalid}});
}

MediaSettings ultrafast(int width, int height) {
  MediaSettings settings = RecordingVideoSettings::videoSettings(width, height, 30.0, false);
  settings[TavVideoEncoderPresetKey] = "ultrafast";
  return settings;
}

class BenchProvider final : public TavoRecorderSettingsProvider {
 public:
  BenchProvider(std::vector<TavoRecorderRecordingOutput> outputs, bool audio) : outputs_(std::move(outputs)), audio_(audio) {}
  std::optional<MediaSettings> videoSettings() const override { return std::nullopt; }
  std::optional<MediaSettings> audioSettings() const override {
    return audio_ ? std::optional(testing::stereoAudio()) : std::nullopt;
  }
  std::vector<TavoRecorderRecordingOutput> recordingOutputs() const override { return outputs_; }

 private:
  std::vector<TavoRecorderRecordingOutput> outputs_;
  bool audio_;
};

/// A recorder of its own over `factory`, writing into `folder`.
struct BenchRecorder {
  BenchRecorder(AssetWriterFactory& factory, const std::filesystem::path& folder,
                std::vector<TavoRecorderRecordingOutput> outputs, bool audio)
      : recorder(factory, defaultRecorderLocationHandler(), nullptr, std::make_shared<InMemoryUserDefaults>(),
                 MainContext::post, center),
        provider(std::make_shared<BenchProvider>(std::move(outputs), audio)) {
    recorder.setSettingsProvider(provider);
    recorder.startRecording(TavoRecorder::Configuration{std::nullopt, Url::fileUrl(folder / "take.mov")});
  }
  std::int64_t droppedFrames() const {
    std::int64_t drops = 0;
    for (const auto& counts : recorder.writerCounts()) drops += counts.videoDropCount;
    return drops;
  }

  NotificationCenter center;
  TavoRecorder recorder;
  std::shared_ptr<BenchProvider> provider;
};

void BM_RecorderCallerSide(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  FfmpegAssetWriterFactory factory;
  const auto frames = static_cast<int>(mediaSeconds(10) * 30);
  std::vector<CMSampleBuffer> video;
  for (int i = 0; i < 30; ++i) video.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, 1920, 1080, i));
  std::vector<double> videoMicros;
  std::vector<double> audioMicros;
  std::vector<double> videoCpuMicros;
  for (auto _ : state) {
    BenchRecorder bench(factory, folder.path(), {{CanvasRole::primary, std::nullopt, ultrafast(1920, 1080)}}, true);
    const auto begin = Clock::now();
    for (int i = 0; i < frames; ++i) {
      std::this_thread::sleep_until(begin + std::chrono::microseconds(std::int64_t{i} * 1'000'000 / 30));
      // Prepared outside the timed calls, as a host's buffers are ready when it hands them over.
      const CMSampleBuffer frame = retimed(video[static_cast<std::size_t>(i % 30)], CMTime::make(i, 30));
      const CMSampleBuffer audio = testing::syntheticAudio(2, 48000, 1600, std::int64_t{i} * 1600);
      const double cpuStart = threadCpuMicroseconds();
      const auto a = Clock::now();
      bench.recorder.writeVideo(frame, CanvasRole::primary, false);
      const auto b = Clock::now();
      videoCpuMicros.push_back(threadCpuMicroseconds() - cpuStart);
      bench.recorder.writeAudio(audio, false);
      const auto c = Clock::now();
      videoMicros.push_back(std::chrono::duration<double, std::micro>(b - a).count());
      audioMicros.push_back(std::chrono::duration<double, std::micro>(c - b).count());
    }
    state.counters["videoDrops"] = static_cast<double>(bench.droppedFrames());
    bench.recorder.stopRecording();
  }
  state.counters["video_median_us"] = percentile(videoMicros, 0.5);
  state.counters["video_p99_us"] = percentile(videoMicros, 0.99);
  state.counters["video_cpu_median_us"] = percentile(videoCpuMicros, 0.5);
  state.counters["audio_median_us"] = percentile(audioMicros, 0.5);
  state.counters["audio_p99_us"] = percentile(audioMicros, 0.99);
}
BENCHMARK(BM_RecorderCallerSide)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RecorderTwoCanvasesRealTime(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  FfmpegAssetWriterFactory factory;
  const double seconds = mediaSeconds(60);
  const auto frames = static_cast<int>(seconds * 30);
  std::vector<CMSampleBuffer> landscape;
  std::vector<CMSampleBuffer> portrait;
  for (int i = 0; i < 30; ++i) {
    landscape.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, 1920, 1080, i));
    portrait.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, 1080, 1920, i));
  }
  for (auto _ : state) {
    BenchRecorder bench(factory, folder.path(),
                        {{CanvasRole::primary, std::nullopt, ultrafast(1920, 1080)},
                         {CanvasRole::secondary, " Vertical", ultrafast(1080, 1920)}},
                        true);
    const double cpuStart = processCpuSeconds();
    const auto begin = Clock::now();
    // One producer per canvas and one for audio, as a host's compositor and mixer would run.
    auto produceVideo = [&](const std::vector<CMSampleBuffer>& source, CanvasRole role) {
      for (int i = 0; i < frames; ++i) {
        std::this_thread::sleep_until(begin + std::chrono::microseconds(std::int64_t{i} * 1'000'000 / 30));
        bench.recorder.writeVideo(retimed(source[static_cast<std::size_t>(i % 30)], CMTime::make(i, 30)), role, false);
      }
    };
    std::thread primary(produceVideo, std::cref(landscape), CanvasRole::primary);
    std::thread secondary(produceVideo, std::cref(portrait), CanvasRole::secondary);
    std::thread audio([&] {
      const auto buffers = static_cast<std::int64_t>(seconds * 48000 / 1024);
      for (std::int64_t n = 0; n < buffers; ++n) {
        std::this_thread::sleep_until(begin + std::chrono::microseconds((n + 1) * 1024 * 1'000'000 / 48000));
        bench.recorder.writeAudio(testing::syntheticAudio(2, 48000, 1024, n * 1024), false);
      }
    });
    primary.join();
    secondary.join();
    audio.join();
    state.counters["droppedFrames"] = static_cast<double>(bench.droppedFrames());
    bench.recorder.stopRecording();
    state.counters["cpu_s_per_media_s"] = (processCpuSeconds() - cpuStart) / seconds;
  }
}
BENCHMARK(BM_RecorderTwoCanvasesRealTime)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RecorderThroughput(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  FfmpegAssetWriterFactory factory;
  constexpr int kWidth = 1920;
  constexpr int kHeight = 1080;
  constexpr int kDistinct = 30;
  const auto frames = static_cast<int>(mediaSeconds(10) * 30);
  std::vector<CMSampleBuffer> source;
  for (int i = 0; i < kDistinct; ++i) source.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, kWidth, kHeight, i));
  const MediaSettings settings = ultrafast(kWidth, kHeight);
  const std::int64_t bitRate =
      settings.at(AVVideoCompressionPropertiesKey).as_object().at(AVVideoAverageBitRateKey).as_int64();

  const std::filesystem::path raw = folder / "frames.nv12";
  writeRawNv12(raw, source);
  const std::string command =
      x264PeerCommand(raw, kWidth, kHeight, frames / kDistinct, bitRate, folder / "peer.mov");

  double ours = 0;
  double peer = 0;
  std::int64_t offers = 0;
  for (auto _ : state) {
    const auto begin = Clock::now();
    {
      BenchRecorder bench(factory, folder.path(), {{CanvasRole::primary, std::nullopt, settings}}, false);
      for (int i = 0; i < frames / kDistinct * kDistinct; ++i) {
        const CMSampleBuffer frame = retimed(source[static_cast<std::size_t>(i % kDistinct)], CMTime::make(i, 30));
        // Offer the frame until the writer has taken it: every frame must be encoded.
        while (true) {
          const TavoWriter::Counts before = bench.recorder.writerCounts().front();
          bench.recorder.writeVideo(frame, CanvasRole::primary, false);
          ++offers;
          TavoWriter::Counts after = before;
          while (after.videoFrameCount + after.videoDropCount == before.videoFrameCount + before.videoDropCount) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            after = bench.recorder.writerCounts().front();
          }
          if (after.videoFrameCount > before.videoFrameCount) break;
          std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
      }
      bench.recorder.stopRecording();
    }
    ours = std::chrono::duration<double>(Clock::now() - begin).count();

    const std::optional<double> peerSeconds = timedCommand(command);
    if (!peerSeconds) {
      state.SkipWithError("the ffmpeg command failed");
      return;
    }
    peer = *peerSeconds;
  }
  state.counters["ours_s"] = ours;
  state.counters["ffmpeg_s"] = peer;
  state.counters["ratio"] = ours > 0 ? peer / ours : 0;
  state.counters["offers"] = static_cast<double>(offers);
}
BENCHMARK(BM_RecorderThroughput)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tav::bench
