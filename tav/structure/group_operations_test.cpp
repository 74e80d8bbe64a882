#include "tav/structure/group_operations.hpp"

#include <gtest/gtest.h>

#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

constexpr auto fg = SceneElementGroupRole::splitForeground;
constexpr auto bg = SceneElementGroupRole::splitBackground;

TEST(GroupOperations, HideReachesNestedFoldersAndStoresTheValueEveryTime) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51), shapeLayer(3)},
                          {folder(50), folder(51, 50)});
  auto hidden = GroupOperations::hide(id(50), true, scene);
  ASSERT_TRUE(hidden);
  // Layers 1 and 2, as they stand afterwards.
  EXPECT_EQ(*hidden, (GroupMutationResult{{}, {scene.elements()[0], scene.elements()[1]}, std::nullopt}));
  EXPECT_EQ(scene.elements()[1].settings().isHidden, true);
  EXPECT_EQ(scene.elements()[1].settingsUpdated(), true);
  EXPECT_EQ(scene.elements()[2].settings().isHidden, std::nullopt);

  auto shown = GroupOperations::hide(id(51), false, scene);
  ASSERT_TRUE(shown);
  EXPECT_EQ(scene.elements()[1].settings().isHidden, false);  // stored as false, not cleared
  EXPECT_EQ(scene.elements()[0].settings().isHidden, true);
}

TEST(GroupOperations, LockFalseIsStoredOnLayersThatHadNothing) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 50)}, {folder(50)});
  ASSERT_TRUE(GroupOperations::lock(id(50), false, scene));
  for (const auto& element : scene.elements()) {
    EXPECT_EQ(element.settings().isLocked, false);
    EXPECT_EQ(element.settingsUpdated(), true);
  }
}

TEST(GroupOperations, SplitGroupIncludesTheSandwichedLayers) {
  const Scene before = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 70, fg), inGroup(shapeLayer(3), 50),
                                  shapeLayer(4), inGroup(shapeLayer(5), 70, bg), inGroup(shapeLayer(6), 50)},
                                 {splitGroup(70), folder(50)});
  Scene hidden = before;
  auto result = GroupOperations::hide(id(70), true, hidden);
  ASSERT_TRUE(result);
  EXPECT_EQ(numbers(result->affected), (std::vector<unsigned>{2, 3, 4, 5}));

  Scene deleted = before;
  auto removed = GroupOperations::delete_(id(70), deleted);
  ASSERT_TRUE(removed);
  EXPECT_EQ(numbers(removed->removed), (std::vector<unsigned>{2, 3, 4, 5}));
  EXPECT_TRUE(removed->affected.empty());
  EXPECT_EQ(numbers(deleted.elements()), (std::vector<unsigned>{1, 6}));
  EXPECT_FALSE(deleted.groups().contains(id(70)));
  EXPECT_TRUE(deleted.groups().contains(id(50)));  // layer 6 still holds the folder
}

TEST(GroupOperations, DeleteTakesNestedFoldersAndAnEmptiedParent) {
  Scene scene = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 51), inGroup(shapeLayer(3), 52),
                           maskedBy(inFrame(shapeLayer(4), 5), 2), inGroup(frameLayer(5), 51)},
                          {folder(50), folder(51, 50), folder(52, 51)});
  auto result = GroupOperations::delete_(id(51), scene);
  ASSERT_TRUE(result);
  EXPECT_EQ(numbers(result->removed), (std::vector<unsigned>{2, 3, 5}));
  EXPECT_TRUE(scene.groups().empty());  // 52 below it, 50 left with nothing
  ASSERT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 4}));
  // The frame's member stays; the repair frees it and drops its mask on a removed layer.
  const SceneElement& freed = scene.elements()[1];
  EXPECT_FALSE(freed.frameID());
  EXPECT_FALSE(freed.settings().layout);
  EXPECT_FALSE(freed.settings().mask);
}

TEST(GroupOperations, RefusalsLeaveTheSceneUnchanged) {
  const Scene before = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 70, fg)}, {folder(50), splitGroup(70)});
  Scene scene = before;
  EXPECT_FALSE(GroupOperations::delete_(id(99), scene));
  EXPECT_FALSE(GroupOperations::hide(id(99), true, scene));
  EXPECT_FALSE(GroupOperations::hide(id(50), true, scene));  // a folder with no layer
  EXPECT_FALSE(GroupOperations::lock(id(70), true, scene));  // a split without its background
  EXPECT_FALSE(GroupOperations::delete_(id(50), scene));
  EXPECT_EQ(scene, before);

  // A folder holding only an empty folder still goes, with it.
  Scene empty = sceneWith({shapeLayer(1)}, {folder(50), folder(51, 50)});
  auto result = GroupOperations::delete_(id(50), empty);
  ASSERT_TRUE(result);
  EXPECT_TRUE(result->removed.empty());
  EXPECT_TRUE(empty.groups().empty());
}

}  // namespace
}  // namespace tav
