// The structure passes and queries run after every edit of every layer, so each must stay close to
// linear in the number of layers. Each is timed on generated formats of 1,000 and 10,000 layers
// (folders nested four deep and not contiguous, split groups, frames with members, masks), and
// BM_StructureScaling reports time(10,000) / time(1,000) per operation: target at most 15.
// BM_StructureDepthScaling does the same for depth, 1,000 and 10,000 deep, through decoding, every pass
// and the queries that walk up: a chain of folders, a chain of frames, both nestings on the same layers,
// and (a document three times that size) both chains side by side with loose layers between.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_support.hpp"
#include "generated_scene.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/folder_group.hpp"
#include "tav/structure/group_member_counts.hpp"
#include "tav/testing/scene_builders.hpp"

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

/// For every operation, time(large) / time(small) as a counter: the best rounds (bestScalingTimes),
/// every round starting with cold caches, in the median of three forked trials (medianOfForkedTrials).
void reportScaling(benchmark::State& state, const std::vector<Operation>& list, const Scene& small, const Scene& large) {
  for (auto _ : state) {
    for (const auto& operation : list) {
      if (const char* only = std::getenv("TAV_BENCH_ONLY"); only && std::string(only) != operation.name) continue;
      const ScalingTimes times = medianOfForkedTrials([&] {
        return bestScalingTimes([&](int size, int rounds) {
          return bestSecondsOnColdCopy(size == 0 ? small : large, rounds, operation.run);
        });
      });
      state.counters[operation.name] = times.ratio();
      if (std::getenv("TAV_BENCH_VERBOSE")) {
        std::fprintf(stderr, "%s: %.1f us small, %.1f us large\n", operation.name, times.small * 1e6, times.large * 1e6);
      }
    }
  }
}

/// time(10,000 layers) / time(1,000 layers) for every operation.
void BM_StructureScaling(benchmark::State& state) {
  reportScaling(state, operations(), generatedScene(1000), generatedScene(10000));
}

/// The nested shapes of the depth benchmarks, `depth` deep. Three have one layer a level, the sizes of
/// the width benchmark: a chain of folders (folder k inside folder k - 1, with layer k in it), a chain
/// of frames (frame k inside frame k - 1), and both on the same layers (frame k in folder k and inside
/// frame k - 1). The fourth is a larger document: both chains side by side with a loose layer at every
/// level (3 layers a level). Layers stand deepest first, so that gathering has work to do.
enum class Shape { folders, frames, nestedBothWays, twoChainsAndLooseLayers };

std::size_t layersPerLevel(Shape shape) { return shape == Shape::twoChainsAndLooseLayers ? 3 : 1; }

// Folder k, frame k and loose layer k of the deep shapes are numbered from these.
constexpr unsigned kFolder = 1'000'000;
constexpr unsigned kFrame = 2'000'000;
constexpr unsigned kLoose = 500'000;

Scene makeDeepScene(Shape shape, unsigned n) {
  auto frameAt = [](unsigned k) {
    SceneElement frame = testing::frameLayer(kFrame + k);
    return k == 0 ? frame : testing::inFrame(frame, kFrame + k - 1);
  };
  std::vector<SceneElementGroup> groups;
  std::vector<SceneElement> layers;
  if (shape != Shape::frames) {
    for (unsigned k = 0; k < n; ++k) {
      groups.push_back(testing::folder(kFolder + k, k == 0 ? std::nullopt : std::optional<unsigned>(kFolder + k - 1)));
    }
  }
  for (unsigned k = n; k-- > 0;) {
    switch (shape) {
      case Shape::folders:
        layers.push_back(testing::inGroup(testing::shapeLayer(k + 1), kFolder + k));
        break;
      case Shape::frames:
        layers.push_back(frameAt(k));
        break;
      case Shape::nestedBothWays:
        layers.push_back(testing::inGroup(frameAt(k), kFolder + k));
        break;
      case Shape::twoChainsAndLooseLayers:
        layers.push_back(testing::inGroup(testing::shapeLayer(k + 1), kFolder + k));
        layers.push_back(testing::shapeLayer(kLoose + k));
        layers.push_back(frameAt(k));
        break;
    }
  }
  return testing::sceneWith(layers, groups);
}

struct DeepFixture {
  Scene scene;
  std::string document;
};

const DeepFixture& deepFixture(Shape shape, std::size_t depth) {
  static const auto fixtures = [] {
    std::vector<std::vector<DeepFixture>> all;
    for (Shape each : {Shape::folders, Shape::frames, Shape::nestedBothWays, Shape::twoChainsAndLooseLayers}) {
      std::vector<DeepFixture> bySize;
      for (unsigned n : {1000u, 10000u}) {
        Scene scene = makeDeepScene(each, n);
        std::string document = encodeJson(scene);
        bySize.push_back({std::move(scene), std::move(document)});
      }
      all.push_back(std::move(bySize));
    }
    return all;
  }();
  return fixtures[static_cast<std::size_t>(shape)][depth == 1000 ? 0 : 1];
}

std::vector<Operation> depthOperations(Shape shape) {
  std::vector<Operation> all = operations();
  // Not an operation of the library: a read of one field of every layer, the scaling of the memory
  // itself on this shape, for the other ratios to be read against.
  all.push_back({"baselineScan", [](Scene& s) {
                   std::size_t grouped = 0;
                   for (const auto& element : s.elements()) grouped += element.groupMembership().has_value();
                   benchmark::DoNotOptimize(grouped);
                 }});
  all.push_back({"repairAllFormats", [](Scene& s) { s.repairAllFormats(); }});
  if (shape != Shape::frames) {
    all.push_back({"elementsRecursive", [](Scene& s) { benchmark::DoNotOptimize(s.elementsRecursive(testing::id(kFolder))); }});
  }
  all.push_back({"decode", [shape](Scene& s) {
                   const std::size_t depth = s.elements().size() / layersPerLevel(shape);
                   benchmark::DoNotOptimize(decodeJson<Scene>(deepFixture(shape, depth).document));
                 }});
  return all;
}

/// time(nested 10,000 deep) / time(nested 1,000 deep) for every operation, on one shape.
void BM_StructureDepthScaling(benchmark::State& state, Shape shape) {
  reportScaling(state, depthOperations(shape), deepFixture(shape, 1000).scene, deepFixture(shape, 10000).scene);
}

[[maybe_unused]] const bool registered = [] {
  for (const auto& operation : operations()) {
    benchmark::RegisterBenchmark((std::string("BM_Structure/") + operation.name).c_str(), BM_Structure, operation)
        ->Arg(1000)
        ->Arg(10000)
        ->Unit(benchmark::kMicrosecond);
  }
  benchmark::RegisterBenchmark("BM_StructureScaling", BM_StructureScaling)->Iterations(1)->Unit(benchmark::kMillisecond);
  const std::pair<const char*, Shape> shapes[] = {{"folders", Shape::folders},
                                                   {"frames", Shape::frames},
                                                   {"nestedBothWays", Shape::nestedBothWays},
                                                   {"twoChainsAndLooseLayers", Shape::twoChainsAndLooseLayers}};
  for (const auto& [name, shape] : shapes) {
    benchmark::RegisterBenchmark((std::string("BM_StructureDepthScaling/") + name).c_str(), BM_StructureDepthScaling,
                                 shape)
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

}  // namespace
}  // namespace tav::bench
