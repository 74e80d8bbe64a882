// Looking a layer up by id must stay near constant however large the format, and must not make edits
// dearer. BM_SceneLookup times 1,000 look-ups of random ids on formats of 1,000 and 10,000 layers
// (after the first look-up has built the index), beside a plain linear search over the same array, and
// BM_SceneLookupAfterEdit one move followed by one look-up, which pays for rebuilding the index.
#include <algorithm>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "generated_scene.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

namespace tav::bench {
namespace {

struct LookupFixture {
  Scene scene;
  std::vector<Uuid> probes;
};

LookupFixture makeLookupFixture(std::size_t layers) {
  LookupFixture fixture{decodeJson<Scene>(generateSceneDocument({.formats = 1, .layersPerFormat = layers})), {}};
  std::mt19937 random(7);
  const auto& elements = fixture.scene.elements();
  std::uniform_int_distribution<std::size_t> pick(0, elements.size() - 1);
  for (int i = 0; i < 1000; ++i) fixture.probes.push_back(elements[pick(random)].id());
  return fixture;
}

void BM_SceneLookup(benchmark::State& state) {
  LookupFixture fixture = makeLookupFixture(static_cast<std::size_t>(state.range(0)));
  benchmark::DoNotOptimize(fixture.scene.indexOfElement(fixture.probes.front()));  // builds the index
  for (auto _ : state) {
    for (const Uuid& id : fixture.probes) benchmark::DoNotOptimize(fixture.scene.indexOfElement(id));
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(fixture.probes.size()));
}
BENCHMARK(BM_SceneLookup)->Arg(1000)->Arg(10000);

void BM_SceneLinearSearch(benchmark::State& state) {
  LookupFixture fixture = makeLookupFixture(static_cast<std::size_t>(state.range(0)));
  const auto& elements = fixture.scene.elements();
  for (auto _ : state) {
    for (const Uuid& id : fixture.probes) {
      auto found = std::find_if(elements.begin(), elements.end(), [&](const SceneElement& e) { return e.id() == id; });
      benchmark::DoNotOptimize(found);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(fixture.probes.size()));
}
BENCHMARK(BM_SceneLinearSearch)->Arg(1000)->Arg(10000);

void BM_SceneMove(benchmark::State& state) {
  LookupFixture fixture = makeLookupFixture(static_cast<std::size_t>(state.range(0)));
  const std::size_t last = fixture.scene.elements().size() - 1;
  for (auto _ : state) fixture.scene.move(0, last);
}
BENCHMARK(BM_SceneMove)->Arg(1000)->Arg(10000);

void BM_SceneLookupAfterEdit(benchmark::State& state) {
  LookupFixture fixture = makeLookupFixture(static_cast<std::size_t>(state.range(0)));
  const std::size_t last = fixture.scene.elements().size() - 1;
  for (auto _ : state) {
    fixture.scene.move(0, last);
    benchmark::DoNotOptimize(fixture.scene.indexOfElement(fixture.scene.elements().front().id()));
  }
}
BENCHMARK(BM_SceneLookupAfterEdit)->Arg(1000)->Arg(10000);

}  // namespace
}  // namespace tav::bench
