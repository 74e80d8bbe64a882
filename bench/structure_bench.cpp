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

#include "bench_support.hpp"
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
  runOnFreshCopies(state, generatedScene(static_cast<std::size_t>(state.range(0))), operation.run);
}

/// time(10,000 layers) / time(1,000 layers) for every operation, best of several rounds each, every
/// round starting with cold caches.
void BM_StructureScaling(benchmark::State& state) {
  for (auto _ : state) {
    for (const auto& operation : operations()) {
      double small = bestSecondsOnColdCopy(generatedScene(1000), 30, operation.run);
      double large = bestSecondsOnColdCopy(generatedScene(10000), 10, operation.run);
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
