// New scenes: a document from its parts, the stock scene of an aspect, and copies of a scene or a
// template under new identities.
#include <exception>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/localizer.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/scene/scene.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("Scene");
  return instance;
}

/// The first feed layer of `elements`, else null.
template <class Elements>
auto firstFeed(Elements& elements) -> decltype(&elements.front()) {
  for (auto& element : elements) {
    if (element.type().isFeed()) return &element;
  }
  return nullptr;
}

}  // namespace

Scene Scene::withElements(std::string id, std::optional<TransferAssetReference> thumbnail, std::string name,
                          AspectRatio aspectRatio, std::vector<SceneElement> elements) {
  SceneFormat format;
  format.elements = std::move(elements);
  format._backgroundColor = SceneColor::opaqueBlack();
  Scene scene(Identity{.id = std::move(id)}, std::move(name), aspectRatio, std::move(format));
  scene.thumbnail_ = std::move(thumbnail);
  scene.version_ = currentSceneVersion;
  scene.shouldAutoUpdateThumbnail_ = true;
  scene.thumbnailActor_ = randomThumbnailActor();
  return scene;
}

Scene Scene::defaultScene(AspectRatio aspect) {
  return withElements("DEFAULT_SCENE_" + std::string(rawValue(aspect)), std::nullopt,
                      localizedText("DEFAULT_SCENE_TITLE", "Default"), aspect,
                      {SceneElement::fromDevice(std::nullopt, true, 1.0)});
}

Scene Scene::copyOf(const Scene& instance) { return copyOf(instance, std::nullopt, true, std::nullopt); }

Scene Scene::copyOf(const Scene& instance, std::optional<std::string> templateID, bool resetID,
                    const std::optional<Scene>& override) {
  Scene copy = instance;
  if (override) {
    copy.identity_.id = override->id();
  } else if (resetID) {
    copy.identity_.id = Uuid::random().toString();
  }

  std::optional<TransferAssetReference> thumbnail = instance.thumbnail();
  if (resetID && thumbnail) {
    try {
      thumbnail = HostTransferAssetManager::shared().duplicate(*thumbnail, copy.identity_.id);
    } catch (const std::exception& error) {
      // Both scenes then show one thumbnail file until the copy takes a new one.
      logger().error("Could not copy the thumbnail of scene {}: {}", instance.id(), error.what());
    }
  }
  copy.thumbnail_ = std::move(thumbnail);
  copy.identity_.templateID = std::move(templateID);

  for (auto& [aspect, format] : copy.formats_) format = copyFormat(format, aspect, aspect);
  copy.activeAspect_.reset();

  if (!override) return copy;
  const SceneElement* feed = firstFeed(override->elements());
  if (feed == nullptr || !feed->type().feedSettings()->deviceID) return copy;
  SceneElementFeedSettings device;
  device.defaultDevice = false;
  device.deviceID = feed->type().feedSettings()->deviceID;
  const SceneElementType update(device);
  for (auto& [aspect, format] : copy.formats_) {
    if (SceneElement* target = firstFeed(format.elements)) target->update(std::nullopt, update);
  }
  return copy;
}

}  // namespace tav
