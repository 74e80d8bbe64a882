// Reading a 5 MB OBS scene collection (200 scenes, each with a group holding a nested group, the
// groups' backup items, a nested scene and a missing source), written as OBS writes it: keys sorted,
// four-space indentation, every source with its mixer, hotkey and filter keys. Measured against
// jansson's json_loads (the JSON library OBS Studio itself reads collections with) on the same bytes
// in the same run; target: decode at least 6x faster.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <cstdint>
#include <random>
#include <iterator>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/json.hpp>
#include <jansson.h>

#include "bench_support.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/obs/obs_conversion.hpp"
#include "tav/obs/obs_import.hpp"

namespace tav::bench {
namespace {

namespace json = boost::json;

json::object vec(double x, double y) { return {{"x", x}, {"y", y}}; }

json::object sceneItem(const std::string& name, const std::string& uuid, std::int64_t id, std::mt19937& rng,
                       bool backup = false) {
  std::uniform_real_distribution<double> pos(0, 1600);
  std::uniform_real_distribution<double> scale(0.25, 1.5);
  const double s = scale(rng);
  return {{"align", 5},
          {"blend_method", "default"},
          {"blend_type", "normal"},
          {"bounds", vec(0, 0)},
          {"bounds_align", 0},
          {"bounds_type", static_cast<std::int64_t>(rng() % 3)},
          {"crop_bottom", 0},
          {"crop_left", static_cast<std::int64_t>(rng() % 40)},
          {"crop_right", 0},
          {"crop_top", 0},
          {"group_item_backup", backup},
          {"id", id},
          {"locked", rng() % 7 == 0},
          {"name", name},
          {"pos", vec(pos(rng), pos(rng) * 0.6)},
          {"private_settings", json::object()},
          {"rot", static_cast<double>(rng() % 4 == 0 ? 90 : 0)},
          {"scale", vec(s, s)},
          {"scale_filter", "disable"},
          {"source_uuid", uuid},
          {"visible", rng() % 9 != 0}};
}

json::object source(const std::string& name, const std::string& id, const std::string& uuid, json::object settings) {
  json::object result{{"balance", 0.5},
          {"deinterlace_field_order", 0},
          {"deinterlace_mode", 0},
          {"enabled", true},
          {"flags", 0},
          {"hotkeys", {{"libobs.mute", json::array()}, {"libobs.unmute", json::array()}}},
          {"id", id},
          {"mixers", 255},
          {"monitoring_type", 0},
          {"muted", false},
          {"name", name},
          {"prev_ver", 503316482},
          {"private_settings", json::object()},
          {"push-to-mute", false},
          {"push-to-mute-delay", 0},
          {"push-to-talk", false},
          {"push-to-talk-delay", 0},
          {"settings", std::move(settings)},
          {"sync", 0},
          {"uuid", uuid},
          {"versioned_id", id},
          {"volume", 1.0}};
  // Cameras and media files carry a colour filter, as they often do.
  if (id == "av_capture_input" || id == "ffmpeg_source") {
    result["filters"] = json::array{json::object{{"id", "color_filter_v2"},
                                                 {"name", "Farbkorrektur"},
                                                 {"settings", {{"brightness", 0.05}, {"contrast", 0.1}}},
                                                 {"enabled", true}}};
  }
  return result;
}

// Four-space indentation and sorted keys, as OBS writes its files.
void pretty(const json::value& v, std::string& out, int depth) {
  const std::string pad(static_cast<std::size_t>(depth + 1) * 4, ' ');
  const std::string closePad(static_cast<std::size_t>(depth) * 4, ' ');
  if (v.is_object()) {
    const auto& o = v.get_object();
    if (o.empty()) {
      out += "{}";
      return;
    }
    std::vector<const json::key_value_pair*> members;
    for (const auto& m : o) members.push_back(&m);
    std::sort(members.begin(), members.end(), [](auto* a, auto* b) { return a->key() < b->key(); });
    out += "{\n";
    for (std::size_t i = 0; i < members.size(); ++i) {
      out += pad + json::serialize(json::value(members[i]->key())) + ": ";
      pretty(members[i]->value(), out, depth + 1);
      out += i + 1 < members.size() ? ",\n" : "\n";
    }
    out += closePad + "}";
  } else if (v.is_array()) {
    const auto& a = v.get_array();
    if (a.empty()) {
      out += "[]";
      return;
    }
    out += "[\n";
    for (std::size_t i = 0; i < a.size(); ++i) {
      out += pad;
      pretty(a[i], out, depth + 1);
      out += i + 1 < a.size() ? ",\n" : "\n";
    }
    out += closePad + "]";
  } else {
    out += json::serialize(v);
  }
}

// The extra sources a scene of the import benchmark holds, of the kinds a Linux collection has.
constexpr const char* kExtraKinds[] = {"v4l2_input", "xshm_input", "text_pango_source", "slideshow",
                                       "color_source", "image_source", "pipewire-window-capture-source", "ffmpeg_source"};

json::object extraSettings(const std::string& kind, const std::string& tag) {
  if (kind == "color_source") return {{"color", 4278190335u}, {"width", 640}, {"height", 360}};
  if (kind == "text_pango_source") {
    return {{"text", "Gleich geht's weiter" + tag}, {"color", 4294967295u},
            {"font", {{"face", "Noto Sans"}, {"size", 48}, {"style", "Bold"}, {"flags", 1}}}};
  }
  if (kind == "slideshow") {
    json::array files;
    for (int i = 0; i < 6; ++i) files.push_back(json::object{{"value", "/home/zoe/Bilder/dia" + tag + "-" + std::to_string(i) + ".jpg"}, {"selected", false}, {"hidden", false}});
    return {{"files", std::move(files)}, {"slide_time", 8000}, {"transition", "fade"}};
  }
  if (kind == "image_source") return {{"file", "/home/zoe/Bilder/logo" + tag + ".png"}};
  if (kind == "ffmpeg_source") return {{"local_file", "/home/zoe/Videos/intro" + tag + ".mp4"}, {"looping", true}};
  if (kind == "v4l2_input") return {{"device_id", "/dev/video0"}, {"input", 0}, {"pixelformat", 1196444237}, {"resolution", 83886800}};
  return {{"show_cursor", true}};
}

/// `sceneCount` scenes as above, each with `extraPerScene` more items of the kinds of kExtraKinds.
std::string generateCollection(std::size_t sceneCount, std::size_t extraPerScene = 0) {
  std::mt19937 rng(7);
  json::array sources;
  json::array groups;
  json::array order;
  auto uuid = [](const char* kind, std::size_t scene, std::size_t n) {
    char text[40];
    std::snprintf(text, sizeof text, "%08zx-%04zx-4000-8000-%012zx", scene, n, std::hash<std::string>()(kind) & 0xFFFFFFFFFFFF);
    return std::string(text);
  };
  for (std::size_t s = 0; s < sceneCount; ++s) {
    const std::string tag = " " + std::to_string(s);
    const std::string sceneName = "Szene" + tag + " – Übersicht";
    order.push_back(json::object{{"name", sceneName}});
    json::array items;
    std::int64_t id = 1;
    // Five plain sources of assorted kinds.
    const std::string kinds[] = {"image_source", "text_ft2_source", "color_source", "browser_source",
                                 "av_capture_input"};
    for (const std::string& kind : kinds) {
      const std::string name = kind + tag;
      const std::string u = uuid(kind.c_str(), s, 0);
      json::object settings;
      if (kind == "color_source") settings = {{"color", 4281545523u}, {"width", 1920}, {"height", 1080}};
      if (kind == "browser_source") {
        settings = {{"url", "https://example.com/overlay/" + std::to_string(s)}, {"width", 800}, {"height", 600},
                    {"css", "body { background-color: rgba(0, 0, 0, 0); margin: 0px auto; overflow: hidden; }"}};
      }
      if (kind == "text_ft2_source") {
        settings = {{"text", "Willkommen, Zoë! 🎉"},
                    {"font", {{"face", "Helvetica"}, {"size", 64}, {"style", "Regular"}, {"flags", 0}}}};
      }
      if (kind == "image_source") settings = {{"file", "/home/zoe/Bilder/hintergrund" + tag + ".png"}, {"unload", false}};
      sources.push_back(source(name, kind, u, std::move(settings)));
      items.push_back(sceneItem(name, u, id++, rng));
    }
    // A group holding two members and a nested group, saved twice as OBS does (backup items).
    const std::string inner = "Innen" + tag;
    const std::string outer = "Bauchbinde" + tag;
    const std::string m1 = "text_ft2_source" + tag;
    const std::string m2 = "color_source" + tag;
    json::array innerItems{sceneItem(m2, uuid("color_source", s, 0), 1, rng)};
    json::array outerItems{sceneItem(m1, uuid("text_ft2_source", s, 0), 1, rng),
                           sceneItem(inner, uuid("inner", s, 0), 2, rng)};
    groups.push_back(source(inner, "group", uuid("inner", s, 0),
                            {{"custom_size", true}, {"cx", 400}, {"cy", 120}, {"id_counter", 1}, {"items", innerItems}}));
    groups.push_back(source(outer, "group", uuid("outer", s, 0),
                            {{"custom_size", true}, {"cx", 800}, {"cy", 200}, {"id_counter", 2}, {"items", outerItems}}));
    items.push_back(sceneItem(outer, uuid("outer", s, 0), id++, rng));
    items.push_back(sceneItem(m1, uuid("text_ft2_source", s, 0), id++, rng, true));
    items.push_back(sceneItem(inner, uuid("inner", s, 0), id++, rng, true));
    // The previous scene nested as a source, and a source that is gone.
    if (s > 0) items.push_back(sceneItem("Szene " + std::to_string(s - 1) + " – Übersicht", uuid("scene", s - 1, 0), id++, rng));
    items.push_back(sceneItem("Gelöscht" + tag, uuid("gone", s, 0), id++, rng));
    for (std::size_t e = 0; e < extraPerScene; ++e) {
      const std::string kind = kExtraKinds[e % std::size(kExtraKinds)];
      const std::string name = kind + tag + "." + std::to_string(e);
      const std::string u = uuid(name.c_str(), s, e + 1);
      sources.push_back(source(name, kind, u, extraSettings(kind, tag)));
      json::object item = sceneItem(name, u, id++, rng);
      if (e % 2 == 0) item["bounds"] = vec(480, 270);
      items.push_back(std::move(item));
    }
    sources.push_back(source(sceneName, "scene", uuid("scene", s, 0),
                             {{"custom_size", false}, {"id_counter", id}, {"items", std::move(items)}}));
  }
  json::object collection{{"current_scene", "Szene 0 – Übersicht"},
                          {"current_program_scene", "Szene 0 – Übersicht"},
                          {"groups", std::move(groups)},
                          {"modules", {{"scripts-tool", json::array()}}},
                          {"name", "Benchmark – Sammlung"},
                          {"scene_order", std::move(order)},
                          {"sources", std::move(sources)},
                          {"transition_duration", 300},
                          {"transitions", json::array()}};
  std::string out;
  pretty(collection, out, 0);
  out += '\n';
  return out;
}

const std::string& collectionText() {
  static const std::string text = generateCollection(200);
  return text;
}

void BM_OBSCollectionDecode(benchmark::State& state) {
  const auto& text = collectionText();
  for (auto _ : state) benchmark::DoNotOptimize(OBSCollection::decode(text));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
  state.counters["bytes"] = static_cast<double>(text.size());
}
BENCHMARK(BM_OBSCollectionDecode)->Unit(benchmark::kMillisecond);

std::size_t flattenAll(const OBSCollection& collection) {
  // One index for the whole collection, as an import of every scene makes it.
  const auto index = collection.sourceIndex();
  std::size_t entries = 0;
  for (const auto& scene : collection.sceneOrder) entries += collection.flattenedEntries(scene, index).size();
  return entries;
}

void BM_OBSCollectionFlatten(benchmark::State& state) {
  const OBSCollection collection = OBSCollection::decode(collectionText());
  std::size_t entries = 0;
  for (auto _ : state) benchmark::DoNotOptimize(entries = flattenAll(collection));
  state.counters["entries"] = static_cast<double>(entries);
}
BENCHMARK(BM_OBSCollectionFlatten)->Unit(benchmark::kMillisecond);

void BM_OBSJanssonLoads(benchmark::State& state) {
  const auto& text = collectionText();
  for (auto _ : state) janssonLoad(text);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_OBSJanssonLoads)->Unit(benchmark::kMillisecond);

/// jansson_vs_decode (target >= 6) by wall time and by CPU time, measured back to back on the same
/// bytes, best of 15 each.
void BM_OBSRatios(benchmark::State& state) {
  const auto& text = collectionText();
  BestTimes decode, jansson, flatten;
  const OBSCollection collection = OBSCollection::decode(text);
  for (auto _ : state) {
    auto none = [] { return 0; };
    decode = bestTimes(15, none, [&](int) { benchmark::DoNotOptimize(OBSCollection::decode(text)); });
    jansson = bestTimes(15, none, [&](int) { janssonLoad(text); });
    flatten = bestTimes(15, none, [&](int) { benchmark::DoNotOptimize(flattenAll(collection)); });
  }
  state.counters["jansson_vs_decode"] = jansson.wall / decode.wall;
  state.counters["jansson_vs_decode_cpu"] = jansson.cpu / decode.cpu;
  state.counters["decode_ms"] = decode.wall * 1e3;
  state.counters["jansson_ms"] = jansson.wall * 1e3;
  state.counters["flatten_ms"] = flatten.wall * 1e3;
  state.counters["collection_MB"] = static_cast<double>(text.size()) / 1e6;
}
BENCHMARK(BM_OBSRatios)->Iterations(1)->Unit(benchmark::kMillisecond);

// Importing a whole collection the way "tavo obs import" does, end to end: decode, index, then per
// scene flatten, place, build the document with its folders, and encode it. 36 scenes of 22 to 24 items
// (about 830 in all, nested groups and Linux sources among them), about 2 MB. Target: well under 100 ms.
// No picture or movie file exists here, so no file is read, as on a machine the collection was not
// made on.
const std::string& importCollectionText() {
  static const std::string text = generateCollection(36, 12);
  return text;
}

std::size_t importAll(const std::string& text) {
  const OBSCollection collection = OBSCollection::decode(text);
  const auto index = collection.sourceIndex();
  OBSImportOptions options;
  options.canvas = collection.canvasSize();
  std::size_t bytes = 0;
  for (const std::string& scene : collection.sceneOrder) {
    bytes += encodeJson(importOBSScene(collection, index, scene, options).scene).size();
  }
  return bytes;
}

void BM_OBSImport(benchmark::State& state) {
  const auto& text = importCollectionText();
  std::size_t written = 0;
  for (auto _ : state) benchmark::DoNotOptimize(written = importAll(text));
  const OBSCollection collection = OBSCollection::decode(text);
  std::size_t items = 0;
  std::size_t placed = 0;
  for (const std::string& scene : collection.sceneOrder) {
    items += collection.flattenedEntries(scene).size();
    placed += collection.flattenedItems(scene).size();
  }
  state.counters["collection_MB"] = static_cast<double>(text.size()) / 1e6;
  state.counters["scenes"] = static_cast<double>(collection.sceneOrder.size());
  state.counters["items"] = static_cast<double>(items);
  state.counters["resolved_items"] = static_cast<double>(placed);
  state.counters["documents_kB"] = static_cast<double>(written) / 1e3;
}
BENCHMARK(BM_OBSImport)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tav::bench
