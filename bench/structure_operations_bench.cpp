// The folder and split operations run on every user edit and each ends with whole-format passes, so
// each must stay close to linear in the number of layers. Each is timed on generated formats of 1,000
// and 10,000 layers (folders nested four deep and not contiguous, split groups, frames, masks), acting
// on layers and groups from the middle of the array, and BM_StructureOperationsScaling reports
// time(10,000) / time(1,000) per operation: target at most 15.
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

#include "bench_support.hpp"
#include "generated_scene.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"
#include "tav/structure/folder_operations.hpp"
#include "tav/structure/split_video_operations.hpp"

namespace tav::bench {
namespace {

/// The layers and groups the operations act on, chosen from the middle of the generated array. Video
/// layers are passed over where a layer is cloned: their clones ask the asset store for a copy of the
/// file, which is the store's cost, not the structure's.
struct Picks {
  std::vector<Uuid> scattered;  // three layers a few places apart, for a new folder
  Uuid plainLayer;              // a layer in no group
  Uuid folderMember;            // a layer in a folder of a generated chain
  Uuid folder;                  // that layer's folder
  Uuid chainTop;                // the outermost folder of that chain
  Uuid firstChainTop;           // the outermost folder of the front-most chain
  Uuid split;                   // a split group made of a plain layer
  Uuid splitForeground;         // its foreground bookend
  Uuid sandwiched;              // a layer between the bookends of a generated split
};

bool isVideo(const SceneElement& element) { return element.type().videoSettings() != nullptr; }

struct Fixture {
  Scene scene;
  Picks picks;
};

Picks pick(const Scene& scene) {
  const auto& elements = scene.elements();
  const std::size_t middle = elements.size() / 2;
  Picks picks;
  picks.scattered = {elements[middle].id(), elements[middle + 3].id(), elements[middle + 6].id()};
  auto outermost = [&](const Uuid& groupID) { return scene.groupAncestryByGroupID(groupID).back(); };
  bool plain = false, member = false, split = false;
  for (std::size_t i = middle; i < elements.size() && !(plain && member && split); ++i) {
    const auto& membership = elements[i].groupMembership();
    if (!membership) {
      if (!plain && !elements[i].frameID() && !isVideo(elements[i])) {
        plain = true;
        picks.plainLayer = elements[i].id();
      }
    } else if (!membership->role && !member) {
      member = true;
      picks.folderMember = elements[i].id();
      picks.folder = membership->groupID;
      picks.chainTop = outermost(membership->groupID);
    } else if (membership->role == SceneElementGroupRole::splitForeground && !split && !isVideo(elements[i + 1])) {
      split = true;
      picks.sandwiched = elements[i + 1].id();
    }
  }
  for (const auto& element : elements) {
    if (element.groupMembership() && !element.groupMembership()->role) {
      picks.firstChainTop = outermost(element.groupMembership()->groupID);
      break;
    }
  }
  if (!plain || !member || !split) std::abort();
  return picks;
}

/// The generated format with one more split, of a plain layer a little behind the middle, for unsplit.
Fixture makeFixture(std::size_t layers) {
  Scene scene = decodeJson<Scene>(generateSceneDocument({.formats = 1, .layersPerFormat = layers}));
  Picks picks = pick(scene);
  const auto& elements = scene.elements();
  auto plain = std::find_if(elements.begin() + static_cast<std::ptrdiff_t>(elements.size() / 2 + 30), elements.end(),
                            [](const SceneElement& e) { return !e.groupMembership() && !e.frameID() && !isVideo(e); });
  if (plain == elements.end()) std::abort();
  auto made = SplitVideoOperations::split(plain->id(), scene);
  if (!made) std::abort();
  picks.split = made->added[0].groupMembership()->groupID;
  picks.splitForeground = made->added[0].id();
  return Fixture{std::move(scene), std::move(picks)};
}

const std::vector<ScalingOperation<Fixture>>& operations() {
  static const std::vector<ScalingOperation<Fixture>> list = {
      {"create", [](Scene& s, const Fixture& f) { expectDone(FolderOperations::create(f.picks.scattered, "Bench", false, s).has_value()); }},
      {"addToFolder", [](Scene& s, const Fixture& f) { expectDone(FolderOperations::addToFolder(f.picks.plainLayer, f.picks.folder, s).has_value()); }},
      {"removeFromFolder", [](Scene& s, const Fixture& f) { expectDone(FolderOperations::removeFromFolder(f.picks.folderMember, s).has_value()); }},
      {"ungroup", [](Scene& s, const Fixture& f) { expectDone(FolderOperations::ungroup(f.picks.folder, s).has_value()); }},
      {"nestFolder", [](Scene& s, const Fixture& f) { expectDone(FolderOperations::nestFolder(f.picks.chainTop, f.picks.firstChainTop, s).has_value()); }},
      {"split", [](Scene& s, const Fixture& f) { expectDone(SplitVideoOperations::split(f.picks.plainLayer, s).has_value()); }},
      {"unsplit", [](Scene& s, const Fixture& f) { expectDone(SplitVideoOperations::unsplit(f.picks.split, f.picks.splitForeground, s).has_value()); }},
      {"toggle", [](Scene& s, const Fixture& f) { expectDone(SplitVideoOperations::toggle(f.picks.sandwiched, s).has_value()); }},
      {"splitVideoGroups", [](Scene& s, const Fixture&) { benchmark::DoNotOptimize(splitVideoGroups(s)); }},
      {"splitVideoGroupWithID", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(splitVideoGroupWithID(s, f.picks.split)); }},
      {"splitVideoGroupContaining", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(splitVideoGroupContaining(s, f.picks.sandwiched)); }},
  };
  return list;
}

[[maybe_unused]] const bool registered = registerScalingSuite(
    "BM_StructureOperation", "BM_StructureOperationsScaling", operations(),
    &fixtureOfSize<Fixture, makeFixture>);

}  // namespace
}  // namespace tav::bench
