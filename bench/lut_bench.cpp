// Applying a 33-point 3D colour table to a 1920x1080 RGBA picture: our filter (OpenColorIO's CPU
// processor, rows shared by the render context's threads) against FFmpeg's lut3d filter with
// tetrahedral interpolation on the same picture, the same table and the same number of threads, in
// the same run.
#ifndef __STDC_CONSTANT_MACROS
#define __STDC_CONSTANT_MACROS  // FFmpeg's headers want it in C++
#endif
extern "C" {
#include <libavfilter/avfilter.h>
#include <libavutil/opt.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
}

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench_support.hpp"
#include "tav/platform/ffmpeg_handles.hpp"
#include "tav/contracts/color_lookup_table.hpp"
#include "tav/library/filter_render_context.hpp"
#include "tav/testing/lookup_tables.hpp"

namespace tav::bench {
namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kSize = 33;

/// A picture with smooth ramps in every channel and fine detail, so that every cell of the table is hit.
Image testPicture() {
  Image image = Image::filled(kWidth, kHeight, 0, 0, 0, 255);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      std::uint8_t* p = image.pixel(x, y);
      p[0] = static_cast<std::uint8_t>(x * 255 / (kWidth - 1));
      p[1] = static_cast<std::uint8_t>(y * 255 / (kHeight - 1));
      p[2] = static_cast<std::uint8_t>((x * 7 + y * 13) & 0xFF);
    }
  }
  return image;
}

unsigned threads() { return std::max(1u, std::min(std::thread::hardware_concurrency(), 8u)); }

struct FilterGraphDeleter {
  void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};
using FilterGraph = std::unique_ptr<AVFilterGraph, FilterGraphDeleter>;
using Frame = FramePtr;

/// buffer -> lut3d (tetrahedral) -> buffersink over RGBA frames of the test size.
class FfmpegLut3d {
 public:
  explicit FfmpegLut3d(const std::filesystem::path& cube) : graph_(avfilter_graph_alloc()) {
    graph_->nb_threads = static_cast<int>(threads());
    const std::string args = "video_size=" + std::to_string(kWidth) + "x" + std::to_string(kHeight) +
                             ":pix_fmt=" + std::to_string(AV_PIX_FMT_RGBA) + ":time_base=1/30:pixel_aspect=1/1";
    check(avfilter_graph_create_filter(&source_, avfilter_get_by_name("buffer"), "in", args.c_str(), nullptr, graph_.get()));
    check(avfilter_graph_create_filter(&sink_, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr, graph_.get()));
    const AVPixelFormat rgba = AV_PIX_FMT_RGBA;
    check(av_opt_set_bin(sink_, "pix_fmts", reinterpret_cast<const std::uint8_t*>(&rgba), sizeof rgba,
                         AV_OPT_SEARCH_CHILDREN));
    const std::string lutArgs = "file=" + cube.string() + ":interp=tetrahedral";
    check(avfilter_graph_create_filter(&lut_, avfilter_get_by_name("lut3d"), "lut", lutArgs.c_str(), nullptr, graph_.get()));
    check(avfilter_link(source_, 0, lut_, 0));
    check(avfilter_link(lut_, 0, sink_, 0));
    check(avfilter_graph_config(graph_.get(), nullptr));
  }

  /// Runs one frame through the graph; `output` receives the filtered frame.
  void run(AVFrame* input, AVFrame* output) {
    input->pts = pts_++;
    check(av_buffersrc_write_frame(source_, input));
    av_frame_unref(output);
    check(av_buffersink_get_frame(sink_, output));
  }

 private:
  static void check(int result) {
    if (result < 0) throw std::runtime_error("libavfilter failed: " + std::to_string(result));
  }

  FilterGraph graph_;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* lut_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  std::int64_t pts_ = 0;
};

struct LutFixture {
  LutFixture() : picture(testPicture()), cubeText(testing::gradingCube(kSize)) {
    cubeFile = std::filesystem::temp_directory_path() / ("tav-lut-bench-" + std::to_string(::getpid()) + ".cube");
    std::ofstream(cubeFile) << cubeText;
    filter = parseColorLookupTable(testing::bytesOf(cubeText))->makeFilter();
    frame.reset(av_frame_alloc());
    frame->format = AV_PIX_FMT_RGBA;
    frame->width = kWidth;
    frame->height = kHeight;
    av_frame_get_buffer(frame.get(), 0);
    for (int y = 0; y < kHeight; ++y) {
      std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0], picture.pixel(0, y), picture.stride());
    }
    filtered.reset(av_frame_alloc());
  }
  ~LutFixture() { std::filesystem::remove(cubeFile); }

  Image picture;
  std::string cubeText;
  std::filesystem::path cubeFile;
  std::shared_ptr<const ColorFilter> filter;
  Frame frame;
  Frame filtered;
};

void BM_LutApplyOurs(benchmark::State& state) {
  LutFixture fixture;
  FilterRenderContext context(threads());
  for (auto _ : state) benchmark::DoNotOptimize(context.render(*fixture.filter, fixture.picture));
  state.counters["threads"] = context.threadCount();
}
BENCHMARK(BM_LutApplyOurs)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LutApplyFfmpegLut3d(benchmark::State& state) {
  LutFixture fixture;
  FfmpegLut3d graph(fixture.cubeFile);
  for (auto _ : state) graph.run(fixture.frame.get(), fixture.filtered.get());
  state.counters["threads"] = threads();
}
BENCHMARK(BM_LutApplyFfmpegLut3d)->Unit(benchmark::kMillisecond)->UseRealTime();

/// The best wall time and the best CPU time of the whole process (every thread's work) of `rounds`
/// runs, in seconds. On a shared machine the wall time of threaded work carries the waits for a free
/// core; the process's CPU time is the work itself.
template <class Work>
BestTimes bestProcessTimes(int rounds, Work&& work) {
  auto cpuNow = [] {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
  };
  BestTimes best;
  for (int i = 0; i < rounds; ++i) {
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = cpuNow();
    work();
    best.cpu = std::min(best.cpu, cpuNow() - cpuStart);
    best.wall = std::min(best.wall, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

/// Both in one run, best of 20 rounds each: ffmpeg's time / ours, by wall time and by the process's
/// CPU time (at least 1 is the target).
void BM_LutRatios(benchmark::State& state) {
  LutFixture fixture;
  FilterRenderContext context(threads());
  FfmpegLut3d graph(fixture.cubeFile);
  for (auto _ : state) {
    const BestTimes ours =
        bestProcessTimes(20, [&] { benchmark::DoNotOptimize(context.render(*fixture.filter, fixture.picture)); });
    const BestTimes ffmpeg = bestProcessTimes(20, [&] { graph.run(fixture.frame.get(), fixture.filtered.get()); });
    state.counters["ours_ms"] = ours.wall * 1e3;
    state.counters["ffmpeg_ms"] = ffmpeg.wall * 1e3;
    state.counters["ffmpeg_over_ours"] = ffmpeg.wall / ours.wall;
    state.counters["ours_cpu_ms"] = ours.cpu * 1e3;
    state.counters["ffmpeg_cpu_ms"] = ffmpeg.cpu * 1e3;
    state.counters["ffmpeg_over_ours_cpu"] = ffmpeg.cpu / ours.cpu;
  }
}
BENCHMARK(BM_LutRatios)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tav::bench
