// Recording through TavoWriter and the FFmpeg writer.
//
// BM_TavoWriterWrite: the caller's cost of TavoWriter::write for a video frame the input is ready for,
// paced at 30 fps (640x360 NV12 with 48 kHz stereo audio between frames). Reports the median and the
// 99th percentile in microseconds over frames that were kept: target median at most 5 us.
//
// BM_RecordingThroughput: 10 s of 1080p30 NV12 (30 distinct frames, cycled) through TavoWriter with
// libx264 at preset ultrafast, from the first write to the finished file, against the `ffmpeg` command
// encoding the same frames from a raw file in /tmp with the same bitrate, key-frame interval and preset
// (its default threads). Reports ratio = ffmpeg seconds / our seconds: target at least 0.9.
//
// BM_FfmpegInputAppend: the FFmpeg input alone under the same pacing, isReadyForMoreMediaData and
// append timed apart.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/platform/file_user_defaults.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/tavo_writer.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav::bench {
namespace {

using Clock = std::chrono::steady_clock;

// A copy of `buffer` presented at `pts`, sharing its pixels.
CMSampleBuffer retimed(const CMSampleBuffer& buffer, CMTime pts) {
  return *CMSampleBufferCreateCopyWithNewTiming(
      buffer, {CMSampleTimingInfo{CMSampleBufferGetDuration(buffer), pts, kCMTimeInvalid}});
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

void BM_TavoWriterWrite(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  auto defaults = std::make_shared<FileUserDefaults>(folder / "defaults.json");
  FfmpegAssetWriterFactory factory;
  constexpr int kFrames = 150;  // 5 s
  // Prepared before timing: the frames and audio a host would hand over.
  std::vector<CMSampleBuffer> video;
  std::vector<CMSampleBuffer> audio;
  for (int i = 0; i < kFrames; ++i) {
    video.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, 640, 360, i));
    audio.push_back(testing::syntheticAudio(2, 48000, 1600, std::int64_t{i} * 1600));
  }
  std::vector<double> microseconds;
  std::vector<double> cpuMicroseconds;
  for (auto _ : state) {
    TavoWriter writer(false, factory, defaults);
    MediaSettings settings = RecordingVideoSettings::videoSettings(640, 360, 30.0, false);
    settings[TavVideoEncoderPresetKey] = "ultrafast";
    writer.start(Url::fileUrl(folder / "paced.mov"), settings, testing::stereoAudio(), true, FileType::quickTimeMovie, {});
    const auto begin = Clock::now();
    for (int i = 0; i < kFrames; ++i) {
      std::this_thread::sleep_until(begin + std::chrono::microseconds(std::int64_t{i} * 1'000'000 / 30));
      const auto kept = writer.counts().videoFrameCount;
      const double cpuStart = threadCpuMicroseconds();
      const auto start = Clock::now();
      writer.write(video[static_cast<std::size_t>(i)], MediaStreamType::video());
      const std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;
      const double cpu = threadCpuMicroseconds() - cpuStart;
      if (writer.counts().videoFrameCount > kept && i > 0) {  // the first write opens the file
        microseconds.push_back(elapsed.count());
        cpuMicroseconds.push_back(cpu);
      }
      writer.write(audio[static_cast<std::size_t>(i)], MediaStreamType::audio());
    }
    writer.finish();
    state.counters["videoDrops"] = static_cast<double>(writer.counts().videoDropCount);
  }
  state.counters["median_us"] = percentile(microseconds, 0.5);
  state.counters["p99_us"] = percentile(microseconds, 0.99);
  state.counters["cpu_median_us"] = percentile(cpuMicroseconds, 0.5);
  state.counters["kept"] = static_cast<double>(microseconds.size());
}
BENCHMARK(BM_TavoWriterWrite)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RecordingThroughput(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  auto defaults = std::make_shared<FileUserDefaults>(folder / "defaults.json");
  FfmpegAssetWriterFactory factory;
  constexpr int kWidth = 1920;
  constexpr int kHeight = 1080;
  constexpr int kDistinct = 30;
  constexpr int kFrames = 300;  // 10 s at 30 fps
  std::vector<CMSampleBuffer> frames;
  for (int i = 0; i < kDistinct; ++i) frames.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, kWidth, kHeight, i));
  MediaSettings settings = RecordingVideoSettings::videoSettings(kWidth, kHeight, 30.0, false);
  settings[TavVideoEncoderPresetKey] = "ultrafast";
  const auto& compression = settings.at(AVVideoCompressionPropertiesKey).as_object();
  const std::int64_t bitRate = compression.at(AVVideoAverageBitRateKey).as_int64();

  // The same 30 frames as one raw file; ffmpeg loops it ten times.
  const std::filesystem::path raw = folder / "frames.nv12";
  {
    std::ofstream out(raw, std::ios::binary);
    const std::size_t size = VideoFrame::packedSize(PixelFormat::nv12, kWidth, kHeight);
    for (const auto& frame : frames) {
      out.write(reinterpret_cast<const char*>(frame.videoFrame()->planes[0]), static_cast<std::streamsize>(size));
    }
  }
  const std::string command = "ffmpeg -v error -y -f rawvideo -pix_fmt nv12 -s " + std::to_string(kWidth) + "x" +
                              std::to_string(kHeight) + " -r 30 -stream_loop 9 -i '" + raw.string() +
                              "' -c:v libx264 -preset ultrafast -b:v " + std::to_string(bitRate) +
                              " -g 30 -bf 0 -pix_fmt nv12 '" + (folder / "peer.mov").string() + "'";

  double ours = 0;
  double peer = 0;
  std::int64_t retries = 0;
  for (auto _ : state) {
    TavoWriter writer(false, factory, defaults);
    writer.start(Url::fileUrl(folder / "ours.mov"), settings, std::nullopt, true, FileType::quickTimeMovie, {});
    const auto begin = Clock::now();
    for (int i = 0; i < kFrames; ++i) {
      const CMSampleBuffer frame = retimed(frames[static_cast<std::size_t>(i % kDistinct)], CMTime::make(i, 30));
      // A dropped frame is offered again once the encoder has caught up: every frame must be encoded.
      while (true) {
        const auto kept = writer.counts().videoFrameCount;
        writer.write(frame, MediaStreamType::video());
        if (writer.counts().videoFrameCount > kept) break;
        ++retries;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
      }
    }
    writer.finish();
    ours = std::chrono::duration<double>(Clock::now() - begin).count();

    const auto peerBegin = Clock::now();
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("the ffmpeg command failed");
      return;
    }
    peer = std::chrono::duration<double>(Clock::now() - peerBegin).count();
  }
  state.counters["ours_s"] = ours;
  state.counters["ffmpeg_s"] = peer;
  state.counters["ratio"] = ours > 0 ? peer / ours : 0;
  state.counters["retries"] = static_cast<double>(retries);
}
BENCHMARK(BM_RecordingThroughput)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();


/// The FFmpeg input alone, paced at 30 fps: isReadyForMoreMediaData, then append, each timed.
void BM_FfmpegInputAppend(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  FfmpegAssetWriterFactory factory;
  std::vector<CMSampleBuffer> video;
  for (int i = 0; i < 150; ++i) video.push_back(testing::syntheticVideoFrame(PixelFormat::nv12, 640, 360, i));
  std::vector<double> ready;
  std::vector<double> append;
  for (auto _ : state) {
    auto writer = factory.makeWriter(folder / "inputs.mov", FileType::quickTimeMovie);
    MediaSettings settings = RecordingVideoSettings::videoSettings(640, 360, 30.0, false);
    settings[TavVideoEncoderPresetKey] = "ultrafast";
    auto input = factory.makeInput(MediaStreamType::video(), settings);
    writer->addInput(input);
    if (!writer->startWriting()) {
      state.SkipWithError("startWriting failed");
      return;
    }
    writer->startSession(kCMTimeZero);
    const auto begin = Clock::now();
    for (int i = 0; i < 150; ++i) {
      std::this_thread::sleep_until(begin + std::chrono::microseconds(std::int64_t{i} * 1'000'000 / 30));
      const auto a = Clock::now();
      const bool isReady = input->isReadyForMoreMediaData();
      const auto b = Clock::now();
      const bool appended = isReady && input->append(video[static_cast<std::size_t>(i)]);
      const auto c = Clock::now();
      if (appended) {
        ready.push_back(std::chrono::duration<double, std::micro>(b - a).count());
        append.push_back(std::chrono::duration<double, std::micro>(c - b).count());
      }
    }
    input->markAsFinished();
    std::promise<void> done;
    writer->finishWriting([&] { done.set_value(); });
    done.get_future().wait();
  }
  state.counters["ready_median_us"] = percentile(ready, 0.5);
  state.counters["append_median_us"] = percentile(append, 0.5);
  state.counters["append_p99_us"] = percentile(append, 0.99);
}
BENCHMARK(BM_FfmpegInputAppend)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tav::bench
