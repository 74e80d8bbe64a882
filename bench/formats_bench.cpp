// Seeding a format from another and transferring layers between formats run on whole formats, so
// both must stay close to linear in the number of layers. Each is timed on generated formats of 1,000
// and 10,000 layers (folders nested four deep, split groups, frames with members, masks), and
// BM_FormatsScaling reports time(10,000) / time(1,000) per operation: target at most 15. The copies are
// made through a store whose video copies always succeed, so no failure is logged per layer.
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_support.hpp"
#include "generated_scene.hpp"
#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

namespace tav::bench {
namespace {

/// A store in which every copy succeeds at once, as a real store's would: the benchmark measures
/// the document work, not a store's file copies nor the logging of copies that fail.
class CopyingAssetStore final : public HostTransferAssetManager {
 public:
  TransferAssetReference makeFromBytes(std::string_view, std::optional<std::string> ownerID,
                                       std::optional<std::string> pathExtension) override {
    return TransferAssetReference::newAsset(std::move(ownerID), std::move(pathExtension));
  }
  TransferAssetReference makeForFile(const Url&, const std::string& ownerID) override {
    return TransferAssetReference::newAsset(ownerID, std::nullopt);
  }
  TransferAssetReference duplicate(const TransferAssetReference& reference, const std::string& newOwnerID) override {
    return TransferAssetReference::newAsset(newOwnerID, reference.pathExtension);
  }
  std::string read(const TransferAssetReference&) override { throw std::runtime_error("not stored"); }
  std::optional<Url> locate(const TransferAssetReference&) override { return std::nullopt; }
  std::optional<Url> thumbnail(const TransferAssetReference&) override { return std::nullopt; }
  std::optional<Url> playableFile(const TransferAssetReference&) override { return std::nullopt; }
};

struct FormatsFixture {
  Scene scene;
  /// Every layer id of the landscape format: a transfer of the whole format.
  std::unordered_set<Uuid> everyLayer;
};

FormatsFixture makeFixture(std::size_t layers) {
  HostTransferAssetManager::setShared(std::make_shared<CopyingAssetStore>());
  FormatsFixture fixture{decodeJson<Scene>(generateSceneDocument({.formats = 1, .layersPerFormat = layers})), {}};
  for (const auto& element : fixture.scene.elements(AspectRatio::landscape)) fixture.everyLayer.insert(element.id());
  return fixture;
}

const FormatsFixture& fixture(std::size_t layers) { return fixtureOfSize<FormatsFixture, makeFixture>(layers); }

const std::unordered_map<Uuid, Rect> kNoGeometry;

const bool registered = registerScalingSuite<FormatsFixture>(
    "BM_Formats", "BM_FormatsScaling",
    {
        // Not an operation: a plain copy of the layer array, the floor that every operation making
        // new layers stands on. Its own ratio shows how much of the others' is the allocator's and
        // the memory's, not the algorithm's.
        {"elementArrayCopy",
         [](Scene& scene, const FormatsFixture&) {
           auto copy = scene.elements(AspectRatio::landscape);
           benchmark::DoNotOptimize(copy);
         }},
        {"copyFormat",
         [](Scene& scene, const FormatsFixture&) {
           benchmark::DoNotOptimize(
               Scene::copyFormat(*scene.format(AspectRatio::landscape), AspectRatio::landscape, AspectRatio::portrait));
         }},
        {"ensureFormat",
         [](Scene& scene, const FormatsFixture&) {
           expectDone(scene.ensureFormat(AspectRatio::portrait, AspectRatio::landscape));
         }},
        {"transferElements",
         [](Scene& scene, const FormatsFixture& f) {
           expectDone(!scene.transferElements(f.everyLayer, AspectRatio::landscape, AspectRatio::portrait,
                                              Scene::TransferPlacement::translated(), false, std::nullopt, kNoGeometry)
                           .empty());
         }},
        {"transferElementsMoving",
         [](Scene& scene, const FormatsFixture& f) {
           expectDone(!scene.transferElements(f.everyLayer, AspectRatio::landscape, AspectRatio::portrait,
                                              Scene::TransferPlacement::anchored({0.5, 0.5}, {0.5, 0.5}), true,
                                              std::nullopt, kNoGeometry)
                           .empty());
         }},
    },
    &fixture);

}  // namespace
}  // namespace tav::bench
