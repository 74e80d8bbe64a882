// The structure passes and queries run after every edit of every layer, so each must stay close to
// linear in the number of layers. Each is timed on generated formats of 1,000 and 10,000 layers
// (folders nested four deep and not contiguous, split groups, frames with members, masks), and
// BM_StructureScaling reports time(10,000) / time(1,000) per operation: target at most 15.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "generated_scene.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/folder_group.hpp"

namespace tav::bench {
namespace {

const Scene& generatedScene(std::size_t layers) {
  static const Scene small = decodeJson<Scene>(generateSceneDocument({.formats = 1, .layersPerFormat = 1000}));
  static const Scene large = decodeJson<Scene>(generateSceneDocument({.formats = 1, .layersPerFormat = 10000}));
  return layers == 1000 ? small : large;
}

struct Operation {
  const char* name;
  std::function<void(Scene&)> run;
};

const std::vector<Operation>& operations() {
  static const std::vector<Operation> list = {
      {"cleanupOrphanGroups", [](Scene& s) { s.cleanupOrphanGroups(); }},
      {"repairMaskReferences", [](Scene& s) { s.repairMaskReferences(); }},
      {"repairFrameMembership", [](Scene& s) { s.repairFrameMembership(); }},
      {"releaseMaskLinksAcrossGroups", [](Scene& s) { s.releaseMaskLinksAcrossGroups(); }},
      {"normaliseGroupContiguity", [](Scene& s) { s.normaliseGroupContiguity(); }},
      {"normaliseFrameContiguity", [](Scene& s) { s.normaliseFrameContiguity(); }},
      {"transitiveMemberCounts", [](Scene& s) { benchmark::DoNotOptimize(s.transitiveMemberCounts()); }},
      {"folderGroups", [](Scene& s) { benchmark::DoNotOptimize(s.folderGroups()); }},
      {"hasMaskLinkOutside", [](Scene& s) {
         std::vector<Uuid> half;
         for (std::size_t i = 0; i < s.elements().size(); i += 2) half.push_back(s.elements()[i].id());
         benchmark::DoNotOptimize(s.hasMaskLinkOutside(half));
       }},
  };
  return list;
}

/// One operation on a fresh copy of the generated format; making and freeing the copy is not timed.
void BM_Structure(benchmark::State& state, const Operation& operation) {
  const Scene& source = generatedScene(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    auto scene = std::make_unique<Scene>(source);
    state.ResumeTiming();
    operation.run(*scene);
    benchmark::DoNotOptimize(*scene);
    state.PauseTiming();
    scene.reset();
    state.ResumeTiming();
  }
}

/// Reads through 32 MB so that neither size starts with its layers in the core's caches: a fresh copy
/// of 1,000 layers would otherwise sit whole in L2 while 10,000 cannot, and the ratio would measure
/// the cache's size instead of the operation's growth.
void evictCaches() {
  static std::vector<std::uint64_t> buffer(4 << 20, 1);
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < buffer.size(); i += 8) sum += buffer[i]++;
  benchmark::DoNotOptimize(sum);
}

double bestSeconds(const Operation& operation, const Scene& source, int rounds) {
  double best = 1e9;
  for (int i = 0; i < rounds; ++i) {
    Scene scene = source;
    evictCaches();
    auto start = std::chrono::steady_clock::now();
    operation.run(scene);
    std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    best = std::min(best, elapsed.count());
  }
  return best;
}

/// time(10,000 layers) / time(1,000 layers) for every operation, best of several rounds each, every
/// round starting with cold caches.
void BM_StructureScaling(benchmark::State& state) {
  for (auto _ : state) {
    for (const auto& operation : operations()) {
      double small = bestSeconds(operation, generatedScene(1000), 30);
      double large = bestSeconds(operation, generatedScene(10000), 10);
      state.counters[operation.name] = large / small;
      if (std::getenv("TAV_BENCH_VERBOSE")) std::fprintf(stderr, "%s: %.1f us at 1k, %.1f us at 10k\n", operation.name, small * 1e6, large * 1e6);
    }
  }
}

[[maybe_unused]] const bool registered = [] {
  for (const auto& operation : operations()) {
    benchmark::RegisterBenchmark((std::string("BM_Structure/") + operation.name).c_str(), BM_Structure, operation)
        ->Arg(1000)
        ->Arg(10000)
        ->Unit(benchmark::kMicrosecond);
  }
  benchmark::RegisterBenchmark("BM_StructureScaling", BM_StructureScaling)->Iterations(1)->Unit(benchmark::kMillisecond);
  return true;
}();

}  // namespace
}  // namespace tav::bench
