#include <gtest/gtest.h>

#include "tav/scene/scene.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using testing::id;
using testing::numbers;
using testing::sceneWith;
using testing::shapeLayer;
using Effective = Scene::EffectiveDeviceConfiguration;

DeviceConfiguration withFilter(std::string filter) {
  DeviceConfiguration config;
  config.filter = OptionalUpdate<std::string>::some(std::move(filter));
  return config;
}

SceneElement feedLayer(unsigned number, std::optional<std::string> deviceID, bool followsDefault = false,
                       std::optional<DeviceConfiguration> config = std::nullopt) {
  SceneElementFeedSettings feed;
  feed.deviceID = std::move(deviceID);
  if (followsDefault) feed.defaultDevice = true;
  feed.deviceName = "Camera " + std::to_string(number);
  feed.deviceConfiguration = std::move(config);
  return SceneElement(id(number), SceneElementType(feed), SceneElementSettings{});
}

const std::optional<DeviceConfiguration>& configurationOf(const SceneElement& element) {
  return element.type().feedSettings()->deviceConfiguration;
}

/// Landscape: CAM-A (noir), a shape, a feed with no device. Portrait: CAM-B (no configuration), CAM-A (sepia).
Scene twoAspectScene() {
  Scene scene = sceneWith({feedLayer(1, "CAM-A", false, withFilter("noir")), shapeLayer(2), feedLayer(3, std::nullopt)});
  SceneFormat portrait;
  portrait.elements = {feedLayer(4, "CAM-B"), feedLayer(5, "CAM-A", false, withFilter("sepia"))};
  scene.setFormat(portrait, AspectRatio::portrait);
  return scene;
}

TEST(SceneDeviceConfiguration, FirstFeedOfADeviceInTheListedAspectOrderWins) {
  Scene scene = twoAspectScene();
  EXPECT_EQ(scene.effectiveDeviceConfigurations({AspectRatio::landscape, AspectRatio::portrait}, std::nullopt),
            (std::vector<Effective>{{"CAM-A", withFilter("noir")}, {"CAM-B", std::nullopt}}));
  // The list's order counts, not the order of the formats in the scene.
  EXPECT_EQ(scene.effectiveDeviceConfigurations({AspectRatio::portrait, AspectRatio::landscape}, std::nullopt),
            (std::vector<Effective>{{"CAM-B", std::nullopt}, {"CAM-A", withFilter("sepia")}}));
  EXPECT_EQ(scene.effectiveDeviceConfigurations({AspectRatio::square, AspectRatio::landscape}, std::nullopt),
            (std::vector<Effective>{{"CAM-A", withFilter("noir")}}));
  EXPECT_TRUE(scene.effectiveDeviceConfigurations({AspectRatio::square}, "CAM-A").empty());
  EXPECT_TRUE(scene.effectiveDeviceConfigurations({}, "CAM-A").empty());
}

TEST(SceneDeviceConfiguration, FeedsFollowingTheDefaultShowTheDefaultDevice) {
  // Layer 2 follows the default and still stores the id of another camera: it counts as the default.
  Scene scene = sceneWith({feedLayer(1, std::nullopt, true, withFilter("noir")),
                           feedLayer(2, "CAM-B", true, withFilter("sepia")), feedLayer(3, "CAM-C")});
  EXPECT_EQ(scene.effectiveDeviceConfigurations({AspectRatio::landscape}, "CAM-A"),
            (std::vector<Effective>{{"CAM-A", withFilter("noir")}, {"CAM-C", std::nullopt}}));
  // With no default device known, layers that follow it show nothing, whatever id they store.
  EXPECT_EQ(scene.effectiveDeviceConfigurations({AspectRatio::landscape}, std::nullopt),
            (std::vector<Effective>{{"CAM-C", std::nullopt}}));
}

TEST(SceneDeviceConfiguration, SetReachesEveryFeedShowingTheDeviceAndMarksIt) {
  Scene scene = sceneWith({feedLayer(1, "CAM-A"), feedLayer(2, std::nullopt, true), feedLayer(3, "CAM-B", true),
                           feedLayer(4, "CAM-B"), shapeLayer(5)});
  ASSERT_TRUE(scene.setDeviceConfiguration(withFilter("mono"), "CAM-A", std::nullopt, "CAM-A"));
  const auto& elements = scene.elements();
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(configurationOf(elements[i]), withFilter("mono")) << i;
    EXPECT_EQ(elements[i].settingsUpdated(), true) << i;
  }
  EXPECT_EQ(std::tuple(configurationOf(elements[3]), elements[3].settingsUpdated(), elements[4].settingsUpdated()),
            std::tuple(std::nullopt, std::nullopt, std::nullopt));
  // Only the configuration changes: the device fields stay as they were.
  EXPECT_EQ(elements[2].type().feedSettings()->deviceID, "CAM-B");
  EXPECT_EQ(elements[0].type().feedSettings()->deviceName, "Camera 1");
  EXPECT_EQ(numbers(elements), (std::vector<unsigned>{1, 2, 3, 4, 5}));

  // Without the default device id, feeds that follow the default are out of reach.
  Scene noDefault = sceneWith({feedLayer(1, std::nullopt, true), feedLayer(2, "CAM-A", true)});
  EXPECT_FALSE(noDefault.setDeviceConfiguration(withFilter("mono"), "CAM-A", std::nullopt, std::nullopt));
}

TEST(SceneDeviceConfiguration, SetLeavesTheExcludedAspectAlone) {
  Scene scene = twoAspectScene();
  ASSERT_TRUE(scene.setDeviceConfiguration(withFilter("mono"), "CAM-A", AspectRatio::portrait, std::nullopt));
  EXPECT_EQ(configurationOf(scene.elements(AspectRatio::landscape)[0]), withFilter("mono"));
  EXPECT_EQ(configurationOf(scene.elements(AspectRatio::portrait)[1]), withFilter("sepia"));
  EXPECT_EQ(scene.elements(AspectRatio::portrait)[1].settingsUpdated(), std::nullopt);

  ASSERT_TRUE(scene.setDeviceConfiguration(withFilter("mono"), "CAM-A", std::nullopt, std::nullopt));
  EXPECT_EQ(configurationOf(scene.elements(AspectRatio::portrait)[1]), withFilter("mono"));
  // Excluding an aspect the scene doesn't have excludes nothing; the square format isn't created.
  EXPECT_TRUE(scene.setDeviceConfiguration(withFilter("warm"), "CAM-A", AspectRatio::square, std::nullopt));
  EXPECT_EQ(scene.supportedAspects(), (std::vector<AspectRatio>{AspectRatio::landscape, AspectRatio::portrait}));
}

TEST(SceneDeviceConfiguration, SetReturnsFalseWhenNothingChangedButAnAbsentOneMarksTheFeed) {
  Scene scene = twoAspectScene();
  const Scene before = scene;
  // Every CAM-A feed already has its configuration: nothing changes, nothing is marked.
  Scene landscapeOnly = sceneWith({feedLayer(1, "CAM-A", false, withFilter("noir"))});
  const Scene landscapeBefore = landscapeOnly;
  EXPECT_FALSE(landscapeOnly.setDeviceConfiguration(withFilter("noir"), "CAM-A", std::nullopt, std::nullopt));
  EXPECT_EQ(landscapeOnly, landscapeBefore);
  EXPECT_EQ(landscapeOnly.elements()[0].settingsUpdated(), std::nullopt);
  // Both absent counts as equal.
  EXPECT_FALSE(scene.setDeviceConfiguration(std::nullopt, "CAM-B", std::nullopt, std::nullopt));
  // A device no feed shows.
  EXPECT_FALSE(scene.setDeviceConfiguration(withFilter("noir"), "CAM-Z", std::nullopt, std::nullopt));
  EXPECT_EQ(scene, before);

  // An absent configuration cannot clear a stored one, yet it counts as a change and marks the feed.
  EXPECT_TRUE(landscapeOnly.setDeviceConfiguration(std::nullopt, "CAM-A", std::nullopt, std::nullopt));
  EXPECT_EQ(configurationOf(landscapeOnly.elements()[0]), withFilter("noir"));
  EXPECT_EQ(landscapeOnly.elements()[0].settingsUpdated(), true);
}

TEST(SceneDeviceConfiguration, PresentConfigurationReplacesTheStoredOneWhole) {
  DeviceConfiguration stored = withFilter("noir");
  stored.spotlight = OptionalUpdate<bool>::some(true);
  Scene scene = sceneWith({feedLayer(1, "CAM-A", false, stored)});
  DeviceConfiguration incoming;
  incoming.retouch = OptionalUpdate<bool>::some(true);
  incoming.background = OptionalUpdate<std::string>::clear();
  ASSERT_TRUE(scene.setDeviceConfiguration(incoming, "CAM-A", std::nullopt, std::nullopt));
  // Not a field merge: the filter and spotlight are gone, and the clear is kept for the device.
  EXPECT_EQ(configurationOf(scene.elements()[0]), incoming);
}

TEST(SceneDeviceConfiguration, EffectiveEntriesCompareAndHashByBothFields) {
  Effective a{"CAM-A", withFilter("noir")};
  Effective b{"CAM-A", withFilter("noir")};
  EXPECT_EQ(a, b);
  EXPECT_EQ(std::hash<Effective>()(a), std::hash<Effective>()(b));
  EXPECT_NE(a, (Effective{"CAM-A", std::nullopt}));
  EXPECT_NE(a, (Effective{"CAM-B", withFilter("noir")}));
}

}  // namespace
}  // namespace tav
