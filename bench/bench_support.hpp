// Timing helpers shared by the benchmarks: best-of-N timing, cache eviction, fresh copies for
// operations that edit what they run on, and jansson's parse as a peer.
#pragma once

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <jansson.h>

namespace tav::bench {

/// The best wall time and thread CPU time of some rounds, in seconds. On a machine shared with other
/// work the wall-clock minimum still carries time spent descheduled; the CPU-time minimum does not.
struct BestTimes {
  double wall = 1e9;
  double cpu = 1e9;
};

/// Runs `setup()` then times `work(prepared)` `rounds` times; setup is not timed.
template <class Setup, class Work>
BestTimes bestTimes(int rounds, Setup&& setup, Work&& work) {
  auto cpuNow = [] {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
  };
  BestTimes best;
  for (int i = 0; i < rounds; ++i) {
    auto prepared = setup();
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = cpuNow();
    work(prepared);
    const double cpu = cpuNow() - cpuStart;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    best.wall = std::min(best.wall, elapsed.count());
    best.cpu = std::min(best.cpu, cpu);
  }
  return best;
}

/// Best-of-`rounds` wall time of `work()`, in seconds.
template <class Work>
double bestSeconds(int rounds, Work&& work) {
  return bestTimes(rounds, [] { return 0; }, [&](int) { work(); }).wall;
}

/// Reads through 256 MB so that no size of input starts with its data in the core's caches: a fresh
/// copy of 1,000 layers would otherwise sit whole in L2 while 10,000 cannot, and a scaling ratio would
/// measure the cache's size instead of the operation's growth. One read of the L3's own size (32 MB
/// here) is not enough: its replacement keeps part of a small working set that earlier rounds reused.
/// After such a read the group index of 1,000 nested folders took 49-57 us, after 256 MB or more
/// 126-136 us, where more reading no longer changed it. The buffer is only read, so forked children
/// share their parent's copy; it is filled with ones, because pages never written all map to the
/// one zero page and reading them would evict nothing.
inline void evictCaches() {
  constexpr std::size_t kBytes = std::size_t{256} << 20;
  static const std::vector<std::uint64_t> buffer(kBytes / sizeof(std::uint64_t), 1);
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < buffer.size(); i += 8) sum += buffer[i];
  benchmark::DoNotOptimize(sum);
}

/// Best-of-`rounds` wall time of `work(copy)` on a fresh copy of `source` each round, caches evicted
/// after copying.
template <class T, class Work>
double bestSecondsOnColdCopy(const T& source, int rounds, Work&& work) {
  return bestTimes(
             rounds,
             [&] {
               T copy = source;
               evictCaches();
               return copy;
             },
             [&](T& copy) { work(copy); })
      .wall;
}

/// The best times of one operation at the small and the large size, for a scaling ratio.
struct ScalingTimes {
  double small = 1e9;
  double large = 1e9;
  double ratio() const { return large / small; }
};

/// Best of 60 rounds at each size. The rounds run in blocks of ten, a block of small rounds then a
/// block of large ones, six times: other work on a shared machine comes and goes over seconds, and a
/// side timed in one stretch can miss every quiet moment the other side had. Each side still gets
/// the same number of rounds (a minimum over more would favour it), and a block is long enough for
/// the heap to settle into that size's pattern before its best round. `best(size, rounds)` gives the
/// best seconds of `rounds` rounds at `size` (0 small, 1 large).
template <class Best>
ScalingTimes bestScalingTimes(Best&& best) {
  constexpr int kBlocks = 6;
  constexpr int kRoundsPerBlock = 10;
  ScalingTimes times;
  for (int block = 0; block < kBlocks; ++block) {
    times.small = std::min(times.small, best(0, kRoundsPerBlock));
    times.large = std::min(times.large, best(1, kRoundsPerBlock));
  }
  return times;
}

/// Runs `measure()` in a child forked from this process and hands back its result. Each operation
/// of a scaling suite then starts from the heap as building the fixtures left it, not as the
/// operations timed before it left it: on a heap fragmented by earlier operations, `decode` of 10,000
/// nested frames read 19 times its 1,000 where it reads 11 timed first. The fixtures must be built
/// before the call.
inline ScalingTimes inForkedChild(const std::function<ScalingTimes()>& measure) {
  std::fflush(nullptr);  // nothing buffered may be written twice
  int channel[2];
  if (pipe(channel) != 0) std::abort();
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) {
    close(channel[0]);
    const ScalingTimes times = measure();
    const bool sent = write(channel[1], &times, sizeof times) == static_cast<ssize_t>(sizeof times);
    std::fflush(nullptr);
    _exit(sent ? 0 : 1);
  }
  close(channel[1]);
  ScalingTimes times;
  const bool received = read(channel[0], &times, sizeof times) == static_cast<ssize_t>(sizeof times);
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!received || !WIFEXITED(status) || WEXITSTATUS(status) != 0) std::abort();
  return times;
}

/// The median, by ratio, of three independent measurements, each in its own forked child. The best
/// rounds within one measurement take out interference that comes and goes; what stays is a state
/// that lasts a whole measurement (the same binary read 12.4, 13.3 and 17.3 for one operation in three
/// children started seconds apart), and the median of three sets one such reading aside.
inline ScalingTimes medianOfForkedTrials(const std::function<ScalingTimes()>& measure) {
  constexpr int kTrials = 3;
  evictCaches();  // fills the buffer here, once, for every child to share
  std::vector<ScalingTimes> trials;
  for (int i = 0; i < kTrials; ++i) trials.push_back(inForkedChild(measure));
  std::sort(trials.begin(), trials.end(),
            [](const ScalingTimes& a, const ScalingTimes& b) { return a.ratio() < b.ratio(); });
  return trials[kTrials / 2];
}

/// The body of a benchmark of an operation that edits its input: each iteration runs `work` on a
/// fresh copy of `source`; making and freeing the copy is not timed.
template <class T, class Work>
void runOnFreshCopies(benchmark::State& state, const T& source, Work&& work) {
  for (auto _ : state) {
    state.PauseTiming();
    auto copy = std::make_unique<T>(source);
    state.ResumeTiming();
    work(*copy);
    benchmark::DoNotOptimize(*copy);
    state.PauseTiming();
    copy.reset();
    state.ResumeTiming();
  }
}

/// Ends the run when an operation under measurement refuses: a refusal would time nothing.
inline void expectDone(bool done) {
  if (!done) std::abort();
}

/// One edit or query timed by a scaling suite: it runs on a fresh copy of `Fixture::scene`, with
/// the rest of the fixture (the layers and groups it acts on) read-only.
template <class Fixture>
struct ScalingOperation {
  const char* name;
  std::function<void(decltype(Fixture::scene)&, const Fixture&)> run;
};

/// The fixture of 1,000 or of 10,000 layers, each made once by `make` on first use.
template <class Fixture, Fixture (*make)(std::size_t)>
const Fixture& fixtureOfSize(std::size_t layers) {
  static const Fixture small = make(1000);
  static const Fixture large = make(10000);
  return layers == 1000 ? small : large;
}

/// Registers `<prefix>/<operation>` at 1,000 and 10,000 layers for every operation, and `scalingName`,
/// which reports time(10,000 layers) / time(1,000 layers) per operation, best of 60 rounds each
/// (bestScalingTimes), every round starting with cold caches, the median of three forked trials
/// (medianOfForkedTrials; target at most 15). `fixture(n)` gives the fixture of n layers and must
/// outlive the benchmarks. Set TAV_BENCH_VERBOSE to see the times
/// behind the ratios.
template <class Fixture>
bool registerScalingSuite(const char* prefix, const char* scalingName,
                          const std::vector<ScalingOperation<Fixture>>& operations,
                          const Fixture& (*fixture)(std::size_t)) {
  auto time = [fixture](const ScalingOperation<Fixture>& operation, std::size_t layers, int rounds) {
    const Fixture& f = fixture(layers);
    return bestSecondsOnColdCopy(f.scene, rounds, [&](auto& scene) { operation.run(scene, f); });
  };
  for (const auto& operation : operations) {
    benchmark::RegisterBenchmark((std::string(prefix) + "/" + operation.name).c_str(),
                                 [fixture, operation](benchmark::State& state) {
                                   const Fixture& f = fixture(static_cast<std::size_t>(state.range(0)));
                                   runOnFreshCopies(state, f.scene, [&](auto& scene) { operation.run(scene, f); });
                                 })
        ->Arg(1000)
        ->Arg(10000)
        ->Unit(benchmark::kMicrosecond);
  }
  benchmark::RegisterBenchmark(scalingName,
                               [operations, time, fixture](benchmark::State& state) {
                                 for (auto _ : state) {
                                   for (const auto& operation : operations) {
                                     fixture(1000);  // built here, before forking, once for all children
                                     fixture(10000);
                                     const ScalingTimes times = medianOfForkedTrials([&] {
                                       return bestScalingTimes([&](int size, int rounds) {
                                         return time(operation, size == 0 ? 1000 : 10000, rounds);
                                       });
                                     });
                                     state.counters[operation.name] = times.ratio();
                                     if (std::getenv("TAV_BENCH_VERBOSE")) {
                                       std::fprintf(stderr, "%s: %.1f us at 1k, %.1f us at 10k\n", operation.name,
                                                    times.small * 1e6, times.large * 1e6);
                                     }
                                   }
                                 }
                               })
      ->Iterations(1)
      ->Unit(benchmark::kMillisecond);
  return true;
}

/// jansson's json_loads of `text`, the tree freed at once.
inline void janssonLoad(const std::string& text) {
  json_error_t error;
  json_t* root = json_loads(text.c_str(), 0, &error);
  benchmark::DoNotOptimize(root);
  json_decref(root);
}

}  // namespace tav::bench
