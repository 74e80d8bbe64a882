// Reading and writing a 2 MB scene document (3 formats x 1,000 layers), against two JSON parsers
// measured on the same bytes in the same run:
//   - Boost.JSON's raw parse: the floor the decoder stands on (target: decode <= 2.5x of it);
//   - jansson's json_loads: the JSON library behind OBS Studio's collections (target: decode >= 6x faster).
// Encoding is measured against Boost.JSON's serialize of the parsed tree (target: <= 1.5x of it).
// Each benchmark reports bytes per second; compare the ratios printed by the Ratio benchmarks.
#include <chrono>
#include <string>

#include <benchmark/benchmark.h>
#include <boost/json.hpp>
#include <jansson.h>

#include "bench_support.hpp"
#include "generated_scene.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

namespace tav::bench {
namespace {

const std::string& document() {
  static const std::string text = generateSceneDocument({.formats = 3, .layersPerFormat = 1000});
  return text;
}

void BM_SceneDecode(benchmark::State& state) {
  const auto& text = document();
  for (auto _ : state) {
    Scene scene = decodeJson<Scene>(text);
    benchmark::DoNotOptimize(scene);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
  state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_SceneDecode)->Unit(benchmark::kMillisecond);

void BM_SceneEncode(benchmark::State& state) {
  const Scene scene = decodeJson<Scene>(document());
  std::size_t size = 0;
  for (auto _ : state) {
    std::string out = encodeJson(scene);
    size = out.size();
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}
BENCHMARK(BM_SceneEncode)->Unit(benchmark::kMillisecond);

void BM_BoostJsonParse(benchmark::State& state) {
  const auto& text = document();
  for (auto _ : state) {
    boost::json::monotonic_resource resource;
    auto value = boost::json::parse(text, &resource);
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_BoostJsonParse)->Unit(benchmark::kMillisecond);

void BM_ExactParse(benchmark::State& state) {
  const auto& text = document();
  for (auto _ : state) {
    boost::json::monotonic_resource resource;
    auto value = parseJson(text, &resource);
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ExactParse)->Unit(benchmark::kMillisecond);

void BM_BoostJsonSerialize(benchmark::State& state) {
  const auto value = boost::json::parse(document());
  for (auto _ : state) {
    std::string out = boost::json::serialize(value);
    benchmark::DoNotOptimize(out);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * document().size()));
}
BENCHMARK(BM_BoostJsonSerialize)->Unit(benchmark::kMillisecond);

void BM_JanssonLoads(benchmark::State& state) {
  const auto& text = document();
  for (auto _ : state) janssonLoad(text);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_JanssonLoads)->Unit(benchmark::kMillisecond);

/// The targets as ratios, measured back to back on the same bytes. Counters:
///   decode_vs_boost_parse   (target <= 2.5)
///   jansson_vs_decode       (target >= 6)
///   encode_vs_boost_serialize (target <= 1.5)
void BM_Ratios(benchmark::State& state) {
  const auto& text = document();
  const Scene scene = decodeJson<Scene>(text);
  const auto tree = boost::json::parse(text);
  double decode = 0, parse = 0, jansson = 0, encode = 0, serialize = 0;
  for (auto _ : state) {
    decode = bestSeconds(15, [&] { benchmark::DoNotOptimize(decodeJson<Scene>(text)); });
    parse = bestSeconds(15, [&] {
      boost::json::monotonic_resource resource;
      benchmark::DoNotOptimize(boost::json::parse(text, &resource));
    });
    jansson = bestSeconds(15, [&] { janssonLoad(text); });
    encode = bestSeconds(15, [&] { benchmark::DoNotOptimize(encodeJson(scene)); });
    serialize = bestSeconds(15, [&] { benchmark::DoNotOptimize(boost::json::serialize(tree)); });
  }
  state.counters["decode_vs_boost_parse"] = decode / parse;
  state.counters["jansson_vs_decode"] = jansson / decode;
  state.counters["encode_vs_boost_serialize"] = encode / serialize;
  state.counters["document_MB"] = static_cast<double>(text.size()) / 1e6;
}
BENCHMARK(BM_Ratios)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tav::bench

BENCHMARK_MAIN();
