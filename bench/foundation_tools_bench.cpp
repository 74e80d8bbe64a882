// Benchmarker and staging costs.
//
// BM_BenchmarkerTrackStop: one measurement (track, then stop) of a metric with a limit of 120 samples,
// signpost probes included and nobody tracing: the overhead a host adds to each measured frame.
//
// BM_UnpackArchive: a 64-file, 16 MB archive (deflated text) unpacked by LibzipArchiver with every
// entry checked, against the `unzip -o -q` command on the same archive when it is installed. Reports
// MB/s and ratio = unzip seconds / our seconds.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "tav/foundation/benchmarker.hpp"
#include "tav/platform/libzip_archiver.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace bench_metrics {
enum class FrameMetric { render };
inline std::string metricName(FrameMetric) { return "Render"; }
inline std::size_t sampleLimit(FrameMetric) { return 120; }
inline BenchmarkerFormats formatter(FrameMetric) { return BenchmarkerFormats::ms; }
}  // namespace bench_metrics

template <>
struct EnumTraits<bench_metrics::FrameMetric> {
  static constexpr std::array cases{
      EnumCase<bench_metrics::FrameMetric>{bench_metrics::FrameMetric::render, "render"}};
};

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

void BM_BenchmarkerTrackStop(benchmark::State& state) {
  Benchmarker<bench_metrics::FrameMetric> benchmarker;
  for (auto _ : state) {
    auto stopwatch = benchmarker.track(bench_metrics::FrameMetric::render);
    stopwatch.stop();
  }
  benchmark::DoNotOptimize(benchmarker.average(bench_metrics::FrameMetric::render));
}
BENCHMARK(BM_BenchmarkerTrackStop);

double secondsOf(auto&& work) {
  const auto begin = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

void BM_UnpackArchive(benchmark::State& state) {
  testing::ScratchDirectory folder("tav-bench");
  std::string line;
  for (int i = 0; i < 64; ++i) line += "frame " + std::to_string(i * 7919 % 1000) + " rendered in 4.2 ms; ";
  line += '\n';
  std::filesystem::create_directories(folder / "source");
  for (int file = 0; file < 64; ++file) {
    std::ofstream out(folder / "source" / ("log-" + std::to_string(file) + ".txt"));
    for (std::size_t written = 0; written < (256u << 10); written += line.size()) out << line;
  }
  const LibzipArchiver archiver;
  archiver.pack(folder / "source", folder / "logs.zip");
  const double megabytes = 64 * 256 / 1024.0;
  const bool haveUnzip = std::system("command -v unzip >/dev/null 2>&1") == 0;
  double ours = 1e9;
  double theirs = 1e9;
  for (auto _ : state) {
    for (int round = 0; round < 5; ++round) {
      std::filesystem::remove_all(folder / "ours");
      std::filesystem::create_directories(folder / "ours");
      ours = std::min(ours, secondsOf([&] { archiver.unpack(folder / "logs.zip", folder / "ours"); }));
      if (haveUnzip) {
        const std::string command = "unzip -o -q '" + (folder / "logs.zip").string() + "' -d '" +
                                    (folder / "theirs").string() + "'";
        theirs = std::min(theirs, secondsOf([&] { benchmark::DoNotOptimize(std::system(command.c_str())); }));
      }
    }
  }
  state.counters["MB/s"] = megabytes / ours;
  if (haveUnzip) state.counters["ratio"] = theirs / ours;
}
BENCHMARK(BM_UnpackArchive)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace bench
}  // namespace tav
