// Decoding GIF animations for playback.
//
// BM_GifDecode: every frame of a 500-frame 480x270 GIF composited to RGBA through our reader (giflib
// plus our compositing).
// BM_FFmpegGifDecode: the same bytes through FFmpeg's GIF demuxer and decoder, each frame converted to
// RGBA with swscale, as playback would need it.
// BM_GifRatios: both back to back, best of 5 each; ffmpeg_vs_ours = FFmpeg seconds / our seconds
// (target at least 1 / 1.5, that is ours at most 1.5 times FFmpeg's time).
//
// The animation is what screen-recorded GIFs look like: a full first frame, then frames that redraw a
// moving band with a transparent index and mixed disposal methods.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
#include <libswscale/swscale.h>
}

#include "bench_support.hpp"
#include "tav/contracts/gif_source.hpp"
#include "tav/testing/gif_writer.hpp"

namespace tav::bench {
namespace {

constexpr int kWidth = 480;
constexpr int kHeight = 270;
constexpr int kFrames = 500;

const std::vector<std::uint8_t>& animation() {
  static const std::vector<std::uint8_t> bytes = [] {
    testing::TestGif gif{kWidth, kHeight, {}, 0, {}};
    for (int i = 0; i < 256; ++i) {
      gif.palette.push_back({static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i),
                             static_cast<std::uint8_t>((i * 7) & 0xFF)});
    }
    for (int f = 0; f < kFrames; ++f) {
      const bool full = f % 50 == 0;
      const int top = full ? 0 : (f * 3) % (kHeight - 90);
      testing::TestGifFrame frame = testing::solidFrame(0, top, kWidth, full ? kHeight : 90, 0);
      for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < kWidth; ++x) {
          // Runs of one colour with some detail, and holes of the transparent index 255.
          const int value = ((x / 6) + (y + top) / 5 + f) % 255;
          const bool hole = !full && ((x / 24 + y / 12) % 5 == 0);
          frame.indices[static_cast<std::size_t>(y * kWidth + x)] = static_cast<std::uint8_t>(hole ? 255 : value);
        }
      }
      frame.transparentIndex = full ? NO_TRANSPARENT_COLOR : 255;
      frame.disposal = f % 3 == 1 ? DISPOSE_BACKGROUND : (f % 3 == 2 ? DISPOSE_PREVIOUS : DISPOSE_DO_NOT);
      frame.delayCentiseconds = 4;
      gif.frames.push_back(std::move(frame));
    }
    return testing::encodeGif(gif);
  }();
  return bytes;
}

/// Decodes every frame through our reader; returns the frames made.
std::size_t decodeOurs(const std::vector<std::uint8_t>& bytes) {
  auto source = makeGifSource(bytes);
  std::size_t frames = 0;
  for (std::size_t i = 0; i < source->count(); ++i) {
    std::optional<Image> image = source->image(i);
    benchmark::DoNotOptimize(image);
    frames += image ? 1 : 0;
  }
  return frames;
}

/// Decodes every frame with FFmpeg's GIF decoder and converts it to RGBA; returns the frames made.
std::size_t decodeFFmpeg(const std::vector<std::uint8_t>& bytes) {
  // FFmpeg reads the same bytes from a file in /tmp (page-cached after the first round).
  static const std::string path = [&] {
    const std::string file = "/tmp/tav-gif-bench-" + std::to_string(::getpid()) + ".gif";
    std::FILE* out = std::fopen(file.c_str(), "wb");
    if (out != nullptr) {
      std::fwrite(bytes.data(), 1, bytes.size(), out);
      std::fclose(out);
    }
    return file;
  }();
  AVFormatContext* format = nullptr;
  std::size_t frames = 0;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) == 0 &&
      avformat_find_stream_info(format, nullptr) >= 0) {
    const AVCodec* codec = avcodec_find_decoder(format->streams[0]->codecpar->codec_id);
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(decoder, format->streams[0]->codecpar);
    avcodec_open2(decoder, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    SwsContext* scale = nullptr;
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(kWidth) * kHeight * 4);
    const auto drain = [&] {
      while (avcodec_receive_frame(decoder, frame) == 0) {
        scale = sws_getCachedContext(scale, frame->width, frame->height, static_cast<AVPixelFormat>(frame->format),
                                     kWidth, kHeight, AV_PIX_FMT_RGBA, SWS_POINT, nullptr, nullptr, nullptr);
        std::uint8_t* planes[4] = {rgba.data(), nullptr, nullptr, nullptr};
        int strides[4] = {kWidth * 4, 0, 0, 0};
        sws_scale(scale, frame->data, frame->linesize, 0, frame->height, planes, strides);
        benchmark::DoNotOptimize(rgba.data());
        ++frames;
      }
    };
    while (av_read_frame(format, packet) >= 0) {
      avcodec_send_packet(decoder, packet);
      av_packet_unref(packet);
      drain();
    }
    avcodec_send_packet(decoder, nullptr);
    drain();
    sws_freeContext(scale);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
  }
  avformat_close_input(&format);
  return frames;
}

void BM_GifDecode(benchmark::State& state) {
  const auto& bytes = animation();
  std::size_t frames = 0;
  for (auto _ : state) frames = decodeOurs(bytes);
  state.counters["frames"] = static_cast<double>(frames);
  state.counters["file_KB"] = static_cast<double>(bytes.size()) / 1e3;
}
BENCHMARK(BM_GifDecode)->Unit(benchmark::kMillisecond);

void BM_FFmpegGifDecode(benchmark::State& state) {
  const auto& bytes = animation();
  std::size_t frames = 0;
  for (auto _ : state) frames = decodeFFmpeg(bytes);
  state.counters["frames"] = static_cast<double>(frames);
}
BENCHMARK(BM_FFmpegGifDecode)->Unit(benchmark::kMillisecond);

void BM_GifRatios(benchmark::State& state) {
  const auto& bytes = animation();
  BestTimes ours, ffmpeg;
  for (auto _ : state) {
    auto none = [] { return 0; };
    ours = bestTimes(5, none, [&](int) { benchmark::DoNotOptimize(decodeOurs(bytes)); });
    ffmpeg = bestTimes(5, none, [&](int) { benchmark::DoNotOptimize(decodeFFmpeg(bytes)); });
  }
  state.counters["ffmpeg_vs_ours"] = ffmpeg.wall / ours.wall;
  state.counters["ffmpeg_vs_ours_cpu"] = ffmpeg.cpu / ours.cpu;
  state.counters["ours_ms"] = ours.wall * 1e3;
  state.counters["ffmpeg_ms"] = ffmpeg.wall * 1e3;
}
BENCHMARK(BM_GifRatios)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tav::bench
