// The frame and group-state operations run on user edits and the frame placement on every layout
// pass, so each must stay close to linear in the number of layers. Each is timed on generated formats
// of 1,000 and 10,000 layers (a frame with members every fifty layers, folders nested four deep,
// splits, masks), acting on a frame, layers and folders from the middle of the array, and
// BM_FrameOperationsScaling reports time(10,000) / time(1,000) per operation: target at most 15.
#include <cstdlib>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_support.hpp"
#include "generated_scene.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/structure/frame_operations.hpp"
#include "tav/structure/frame_rotation.hpp"
#include "tav/structure/group_operations.hpp"

namespace tav::bench {
namespace {

struct Picks {
  Uuid frame;                  // a frame with members and no video among them
  Uuid member;                 // one of its members
  std::vector<Uuid> loose;     // three layers in no group or frame, a few places apart
  std::vector<Uuid> allIDs;    // every layer
  Uuid folder;                 // a folder with direct members, outside any mask folder
  Uuid chainTop;               // the outermost folder of that folder's chain
  ResolvedLayoutRects resolved;       // every layer's own rectangle, as a layout pass would give
  SceneLayoutPlacements placements;   // where those rectangles land
};

struct Fixture {
  Scene scene;
  Picks picks;
};

bool isVideo(const SceneElement& element) { return element.type().videoSettings() != nullptr; }

Fixture makeFixture(std::size_t layers) {
  Scene scene = decodeJson<Scene>(generateSceneDocument({.formats = 1, .layersPerFormat = layers}));
  const auto& elements = scene.elements();
  const std::size_t middle = elements.size() / 2;
  Picks picks;
  bool frame = false, folder = false;
  for (std::size_t i = middle; i < elements.size() && !(frame && folder && picks.loose.size() == 3); ++i) {
    const SceneElement& element = elements[i];
    if (!frame && element.type().isFrame() && !element.frameID()) {
      auto subtree = FrameOperations::subtreeIDs(element.id(), elements);
      bool hasVideo = false;
      for (const auto& e : elements) hasVideo = hasVideo || (isVideo(e) && e.frameID() == element.id());
      if (subtree.size() > 1 && !hasVideo) {
        frame = true;
        picks.frame = element.id();
        picks.member = subtree[1];
      }
    }
    const auto& membership = element.groupMembership();
    if (!folder && membership && !membership->role && !scene.maskGroupAncestorOfGroup(membership->groupID)) {
      folder = true;
      picks.folder = membership->groupID;
      picks.chainTop = scene.groupAncestryByGroupID(membership->groupID).back();
    }
    if (!membership && !element.frameID() && element.settings().rect() && i % 3 == 0 && picks.loose.size() < 3) {
      picks.loose.push_back(element.id());
    }
  }
  if (!frame || !folder || picks.loose.size() < 3) std::abort();
  for (const auto& element : elements) {
    picks.allIDs.push_back(element.id());
    if (auto rect = element.settings().rect()) picks.resolved.emplace(element.id().toString(), *rect);
  }
  picks.placements = FrameRotation::placements(picks.resolved, elements, Size{1920, 1080});
  return Fixture{std::move(scene), std::move(picks)};
}

const std::vector<ScalingOperation<Fixture>>& operations() {
  using namespace FrameOperations;
  static const std::vector<ScalingOperation<Fixture>> list = {
      {"subtreeIDs", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(subtreeIDs(f.picks.frame, s.elements())); }},
      {"outermost", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(outermost(f.picks.allIDs, s.elements())); }},
      {"isDescendant", [](Scene& s, const Fixture& f) { expectDone(isDescendant(f.picks.member, f.picks.frame, s.elements())); }},
      {"parentFrameID", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(parentFrameID(f.picks.loose, s.elements())); }},
      {"inheritedRotation", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(FrameRotation::inheritedRotation(f.picks.frame, s.elements())); }},
      {"placements", [](Scene& s, const Fixture& f) { expectDone(!FrameRotation::placements(f.picks.resolved, s.elements(), Size{1920, 1080}).empty()); }},
      {"wrap", [](Scene& s, const Fixture& f) { expectDone(wrap(f.picks.loose, s).has_value()); }},
      {"convertFolderToStack", [](Scene& s, const Fixture& f) { expectDone(convertFolderToStack(f.picks.folder, s).has_value()); }},
      {"copySubtree", [](Scene& s, const Fixture& f) { expectDone(!copySubtree(f.picks.frame, s.elements(), true).empty()); }},
      {"duplicate", [](Scene& s, const Fixture& f) { expectDone(duplicate(f.picks.frame, s).has_value()); }},
      {"paste", [](Scene& s, const Fixture& f) { expectDone(paste(f.picks.frame, f.scene, s).has_value()); }},
      {"bakeAndRemove", [](Scene& s, const Fixture& f) { expectDone(!bakeAndRemove(f.picks.frame, f.picks.placements, true, s).empty()); }},
      {"baking", [](Scene& s, const Fixture& f) { benchmark::DoNotOptimize(baking(f.picks.placements, s.elements(), std::nullopt, RotationLanding::inside(std::nullopt))); }},
      {"hide", [](Scene& s, const Fixture& f) { expectDone(GroupOperations::hide(f.picks.chainTop, true, s).has_value()); }},
      {"lock", [](Scene& s, const Fixture& f) { expectDone(GroupOperations::lock(f.picks.chainTop, true, s).has_value()); }},
      {"delete", [](Scene& s, const Fixture& f) { expectDone(GroupOperations::delete_(f.picks.chainTop, s).has_value()); }},
  };
  return list;
}

[[maybe_unused]] const bool registered =
    registerScalingSuite("BM_FrameOperation", "BM_FrameOperationsScaling", operations(),
    &fixtureOfSize<Fixture, makeFixture>);

}  // namespace
}  // namespace tav::bench
