// Camera settings across the feed layers of a scene's formats: which configuration each camera ends
// up with, and writing one configuration to every feed of a camera.
#include <unordered_set>

#include "tav/scene/scene.hpp"

namespace tav {

std::vector<Scene::EffectiveDeviceConfiguration> Scene::effectiveDeviceConfigurations(
    const std::vector<AspectRatio>& aspects, const std::optional<std::string>& defaultDeviceID) const {
  std::vector<EffectiveDeviceConfiguration> result;
  std::unordered_set<std::string> seen;
  // The layers of the listed aspects are walked as one concatenated list, so a device's first feed in
  // the first listed aspect decides, whatever the map's order.
  for (AspectRatio aspect : aspects) {
    const SceneFormat* aspectFormat = format(aspect);
    if (aspectFormat == nullptr) continue;
    for (const SceneElement& element : aspectFormat->elements) {
      const SceneElementFeedSettings* feed = element.type().feedSettings();
      if (feed == nullptr) continue;
      std::optional<std::string> deviceID = feed->deviceIDWhenDefaultIs(defaultDeviceID);
      if (!deviceID || !seen.insert(*deviceID).second) continue;
      result.push_back(EffectiveDeviceConfiguration{std::move(*deviceID), feed->deviceConfiguration});
    }
  }
  return result;
}

bool Scene::setDeviceConfiguration(const std::optional<DeviceConfiguration>& configuration,
                                   const std::string& deviceID, std::optional<AspectRatio> excluding,
                                   const std::optional<std::string>& defaultDeviceID) {
  // The same update a feed layer would get from the host carrying only this configuration: a present
  // one replaces the stored one as a whole, an absent one leaves it.
  SceneElementFeedSettings update;
  update.deviceConfiguration = configuration;
  const SceneElementType incoming(update);

  bool changed = false;
  for (auto& [aspect, aspectFormat] : formats_) {
    if (aspect == excluding) continue;
    for (SceneElement& element : aspectFormat.elements) {
      const SceneElementFeedSettings* feed = element.type().feedSettings();
      if (feed == nullptr) continue;
      std::optional<std::string> shownDevice = feed->deviceIDWhenDefaultIs(defaultDeviceID);
      if (!shownDevice || *shownDevice != deviceID) continue;
      if (feed->deviceConfiguration == configuration) continue;
      element.type().mergePayload(incoming);
      element.setSettingsUpdated(true);
      changed = true;
    }
  }
  return changed;
}

}  // namespace tav
