#include "tav/structure/split_video_operations.hpp"

#include <gtest/gtest.h>

#include <set>

#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

constexpr auto kForeground = SceneElementGroupRole::splitForeground;
constexpr auto kBackground = SceneElementGroupRole::splitBackground;

SceneElement named(SceneElement element, std::string name) {
  element.settings().name = std::move(name);
  return element;
}

/// The ids of `elements`, in order.
std::vector<Uuid> ids(const std::vector<SceneElement>& elements) {
  std::vector<Uuid> result;
  for (const auto& element : elements) result.push_back(element.id());
  return result;
}

/// The layer with `elementID`; fails the test when there is none.
const SceneElement& layer(const Scene& scene, const Uuid& elementID) {
  for (const auto& element : scene.elements()) {
    if (element.id() == elementID) return element;
  }
  ADD_FAILURE() << "no layer " << elementID.toString();
  return scene.elements().front();
}

// 1, [fg 11, 2, 3, bg 12], 4: a split with two sandwiched layers.
Scene sandwichScene() {
  return sceneWith({shapeLayer(1), inGroup(named(shapeLayer(11), "Front copy"), 60, kForeground), shapeLayer(2),
                    shapeLayer(3), inGroup(named(shapeLayer(12), "Back copy"), 60, kBackground), shapeLayer(4)},
                   {splitGroup(60)});
}

TEST(SplitVideoGroup, ResolvesBookendsAndSandwichedLayers) {
  const Scene scene = sandwichScene();
  auto split = splitVideoGroupWithID(scene, id(60));
  ASSERT_TRUE(split);
  EXPECT_EQ(split->group, splitGroup(60));
  EXPECT_EQ(std::tuple(split->foreground.id(), split->background.id()), std::tuple(id(11), id(12)));
  EXPECT_EQ(std::tie(split->foregroundIndex, split->backgroundIndex), std::make_tuple(1u, 4u));
  EXPECT_EQ(split->indexRange(), (IndexRange{1, 4}));
  EXPECT_EQ(numbers(split->sandwiched), (std::vector<unsigned>{2, 3}));
  EXPECT_EQ(numbers(split->allElements()), (std::vector<unsigned>{11, 2, 3, 12}));
  EXPECT_EQ(split->allIDs(), (std::unordered_set<Uuid>{id(11), id(2), id(3), id(12)}));
  EXPECT_EQ(split->memberCount(), 4u);

  EXPECT_TRUE(split->contains(id(2)));
  EXPECT_FALSE(split->role(id(2)));  // sandwiched: contained, but no role
  EXPECT_FALSE(split->contains(id(1)));
  EXPECT_EQ(std::tuple(split->role(id(11)), split->role(id(12))), std::tuple(kForeground, kBackground));
  EXPECT_EQ(std::tuple(split->partner(id(11))->id(), split->partner(id(12))->id()), std::tuple(id(12), id(11)));
  EXPECT_FALSE(split->partner(id(2)));

  // Adjacent bookends sandwich nothing.
  const Scene adjacent = sceneWith({inGroup(shapeLayer(11), 60, kForeground), inGroup(shapeLayer(12), 60, kBackground)},
                                   {splitGroup(60)});
  auto pair = splitVideoGroupWithID(adjacent, id(60));
  ASSERT_TRUE(pair);
  EXPECT_TRUE(pair->sandwiched.empty());
  EXPECT_EQ(pair->memberCount(), 2u);
}

TEST(SplitVideoGroup, ResolvesAfterAReorderPutsTheBackgroundInFront) {
  Scene scene = sandwichScene();
  scene.move(4, 0);  // background to the very front: bg 12, 1, fg 11, 2, 3, 4
  auto split = splitVideoGroupWithID(scene, id(60));
  ASSERT_TRUE(split);
  EXPECT_EQ(std::tie(split->foregroundIndex, split->backgroundIndex), std::make_tuple(2u, 0u));
  EXPECT_EQ(split->indexRange(), (IndexRange{0, 2}));
  EXPECT_EQ(numbers(split->sandwiched), (std::vector<unsigned>{1}));
  EXPECT_EQ(splitVideoGroupContaining(scene, id(1)), split);
  EXPECT_FALSE(splitVideoGroupContaining(scene, id(2)));
}

TEST(SplitVideoGroup, QueriesRefuseWhatDoesNotResolve) {
  const Scene scene = sceneWith({inGroup(shapeLayer(11), 60, kForeground), inGroup(shapeLayer(1), 50),
                                 inGroup(shapeLayer(13), 61, kForeground), shapeLayer(2),
                                 inGroup(shapeLayer(12), 60, kBackground)},
                                {splitGroup(60), splitGroup(61), folder(50)});
  EXPECT_FALSE(splitVideoGroupWithID(scene, id(61)));  // lost its background
  EXPECT_FALSE(splitVideoGroupWithID(scene, id(50)));  // a folder
  EXPECT_FALSE(splitVideoGroupWithID(scene, id(77)));
  // A bookend of a broken split gets no answer, though a whole split encloses it.
  EXPECT_FALSE(splitVideoGroupContaining(scene, id(13)));
  // A folder member between bookends is sandwiched, and so contained.
  auto containing = splitVideoGroupContaining(scene, id(1));
  ASSERT_TRUE(containing);
  EXPECT_EQ(containing->group.id, id(60));
  EXPECT_EQ(numbers(containing->sandwiched), (std::vector<unsigned>{1, 13, 2}));
  EXPECT_FALSE(splitVideoGroupContaining(scene, id(77)));
  EXPECT_EQ(splitVideoGroups(scene).size(), 1u);
}

TEST(SplitVideoGroup, ALaterLayerOfTheSameRoleCounts) {
  const Scene scene = sceneWith({inGroup(shapeLayer(11), 60, kForeground), inGroup(shapeLayer(13), 60, kForeground),
                                 inGroup(shapeLayer(12), 60, kBackground)},
                                {splitGroup(60)});
  auto split = splitVideoGroupWithID(scene, id(60));
  ASSERT_TRUE(split);
  EXPECT_EQ(std::tuple(split->foreground.id(), split->foregroundIndex), std::tuple(id(13), 1u));
}

TEST(SplitVideoGroup, SplitsAreListedByForegroundIndexAndTheOuterOneContainsFirst) {
  // Group 61 (smaller id, listed first in the map) stands inside 62; 62's foreground is in front.
  const Scene scene = sceneWith({inGroup(shapeLayer(21), 62, kForeground), inGroup(shapeLayer(11), 61, kForeground),
                                 shapeLayer(1), inGroup(shapeLayer(12), 61, kBackground),
                                 inGroup(shapeLayer(22), 62, kBackground)},
                                {splitGroup(61), splitGroup(62)});
  auto all = splitVideoGroups(scene);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(std::tuple(all[0].group.id, all[1].group.id), std::tuple(id(62), id(61)));
  EXPECT_EQ(splitVideoGroupContaining(scene, id(1))->group.id, id(62));
  // A bookend answers with its own split, not the one around it.
  EXPECT_EQ(splitVideoGroupContaining(scene, id(11))->group.id, id(61));
}

TEST(SplitVideoOperations, SplitOfTheOnlyLayer) {
  Scene scene = sceneWith({named(shapeLayer(1), "Camera")});
  auto result = SplitVideoOperations::split(id(1), scene);
  ASSERT_TRUE(result);
  ASSERT_EQ(scene.elements().size(), 2u);
  const auto& foreground = scene.elements()[0];
  const auto& background = scene.elements()[1];
  EXPECT_EQ((std::set<Uuid>{foreground.id(), background.id(), id(1)}).size(), 3u);  // two new ids
  EXPECT_EQ(foreground.settings().name, "Camera");
  EXPECT_EQ(background.type(), shapeLayer(1).type());

  ASSERT_EQ(scene.groups().size(), 1u);
  const auto& group = scene.groups().begin()->second;
  EXPECT_EQ(group, splitGroup(0).reborn(group.id, std::nullopt));  // a bare split group: no name, parent or flags
  EXPECT_EQ(foreground.groupMembership(), (SceneElementGroupMembership{group.id, kForeground}));
  EXPECT_EQ(background.groupMembership(), (SceneElementGroupMembership{group.id, kBackground}));

  EXPECT_EQ(*result, (SplitVideoOperations::Result{{foreground, background}, {named(shapeLayer(1), "Camera")},
                                                   foreground.id()}));
  auto split = splitVideoGroupWithID(scene, group.id);
  ASSERT_TRUE(split);
  EXPECT_EQ(std::tie(split->foregroundIndex, split->backgroundIndex), std::make_tuple(0u, 1u));
}

TEST(SplitVideoOperations, SplitPutsTheCopiesWhereTheSourceStood) {
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2), shapeLayer(3)});
  auto result = SplitVideoOperations::split(id(2), scene);
  ASSERT_TRUE(result);
  EXPECT_EQ(ids(scene.elements()), (std::vector<Uuid>{id(1), result->added[0].id(), result->added[1].id(), id(3)}));
  EXPECT_EQ(result->newSelection, result->added[0].id());
  EXPECT_EQ(numbers(result->removed), (std::vector<unsigned>{2}));
  ASSERT_TRUE(result->groupID);
  EXPECT_EQ(result->added[0].groupMembership()->groupID, *result->groupID);
}

TEST(SplitVideoOperations, SplitTakesAnIdReadFromTheSceneItself) {
  // The id lives in the array that the split edits; the operation must not read it after the edit.
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2)});
  auto result = SplitVideoOperations::split(scene.elements()[0].id(), scene);
  ASSERT_TRUE(result);
  EXPECT_EQ(numbers(result->removed), (std::vector<unsigned>{1}));
  EXPECT_EQ(ids(scene.elements()), (std::vector<Uuid>{result->added[0].id(), result->added[1].id(), id(2)}));
}

TEST(SplitVideoOperations, SplitMovesMasksToTheForegroundCopy) {
  SceneElement masked = maskedBy(shapeLayer(2), 1);
  masked.settings().mask->invert = true;
  Scene scene = sceneWith({shapeLayer(1), masked, maskedBy(shapeLayer(3), 2)});
  auto result = SplitVideoOperations::split(id(1), scene);
  ASSERT_TRUE(result);
  const auto& after = layer(scene, id(2)).settings().mask;
  ASSERT_TRUE(after);
  EXPECT_EQ(std::tuple(after->layerID, after->invert), std::tuple(result->added[0].id(), true));
  EXPECT_EQ(layer(scene, id(3)).settings().mask->layerID, id(2));
}

TEST(SplitVideoOperations, SplitCopiesLeaveFoldersAndFrames) {
  {
    // The last member of a folder: the copies are top-level and the source is gone, so is the folder.
    Scene scene = sceneWith({shapeLayer(1), inGroup(maskedBy(shapeLayer(2), 1), 50)}, {folder(50)});
    auto result = SplitVideoOperations::split(id(2), scene);
    ASSERT_TRUE(result);
    EXPECT_FALSE(scene.groups().contains(id(50)));
    EXPECT_EQ(scene.groups().size(), 1u);
    EXPECT_FALSE(result->added[0].settings().mask);  // the copies lose the source's mask
  }
  {
    // A frame member: the copies stand outside the frame, without layout.
    Scene scene = sceneWith({inFrame(shapeLayer(1), 5), inFrame(shapeLayer(2), 5), frameLayer(5)});
    auto result = SplitVideoOperations::split(id(1), scene);
    ASSERT_TRUE(result);
    for (const auto& copy : result->added) {
      EXPECT_FALSE(copy.frameID());
      EXPECT_FALSE(copy.settings().layout);
    }
    EXPECT_EQ(layer(scene, id(2)).frameID(), id(5));
  }
  {
    // A frame layer: its members stay behind and are released, layout and all.
    Scene scene = sceneWith({inFrame(shapeLayer(1), 5), frameLayer(5)});
    auto result = SplitVideoOperations::split(id(5), scene);
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->added[0].type().isFrame());
    EXPECT_EQ(scene.elements()[0].id(), id(1));
    EXPECT_FALSE(scene.elements()[0].frameID());
    EXPECT_FALSE(scene.elements()[0].settings().layout);
    EXPECT_EQ(scene.elements()[0].settingsUpdated(), true);
  }
}

TEST(SplitVideoOperations, SplitOfAFolderMemberLeavesTheCopiesOutsideAndDoesNotGather) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 50), inGroup(shapeLayer(3), 50)},
                          {folder(50)});
  auto result = SplitVideoOperations::split(id(2), scene);
  ASSERT_TRUE(result);
  ASSERT_EQ(ids(scene.elements()), (std::vector<Uuid>{id(1), result->added[0].id(), result->added[1].id(), id(3)}));
  EXPECT_NE(scene.elements()[1].groupMembership()->groupID, id(50));
  // The folder keeps its other two members around the new split: its block now has a gap.
  auto folder50 = scene.folderGroupWithID(id(50));
  ASSERT_TRUE(folder50);
  EXPECT_EQ(numbers(folder50->members), (std::vector<unsigned>{1, 3}));
  EXPECT_EQ(folder50->indexRange, (IndexRange{0, 3}));
}

TEST(SplitVideoOperations, SplitOfABookendFreesItsPartner) {
  Scene scene = sandwichScene();
  auto result = SplitVideoOperations::split(id(11), scene);
  ASSERT_TRUE(result);
  EXPECT_FALSE(scene.groups().contains(id(60)));
  EXPECT_FALSE(layer(scene, id(12)).groupMembership());
  EXPECT_EQ(splitVideoGroups(scene).size(), 1u);
  EXPECT_EQ(result->added[0].settings().name, "Front copy");
}

TEST(SplitVideoOperations, SplitAndUnsplitRefuseWithoutChange) {
  const Scene before = sceneWith({inGroup(shapeLayer(11), 60, kForeground), shapeLayer(2),
                                  inGroup(shapeLayer(12), 60, kBackground), inGroup(shapeLayer(13), 61, kForeground),
                                  inGroup(shapeLayer(3), 50)},
                                 {splitGroup(60), splitGroup(61), folder(50)});
  Scene scene = before;
  // Group then layer: sandwiched, not a bookend; another split's bookend; no such layer; a split that lost
  // its background; a folder; no such group.
  for (const auto& [group, layer] : std::initializer_list<std::pair<unsigned, unsigned>>{
           {60, 2}, {60, 13}, {60, 77}, {61, 13}, {50, 3}, {77, 11}}) {
    EXPECT_FALSE(SplitVideoOperations::unsplit(id(group), id(layer), scene)) << group << " " << layer;
  }
  EXPECT_FALSE(SplitVideoOperations::split(id(77), scene));  // no such layer
  EXPECT_EQ(scene, before);
}

TEST(SplitVideoOperations, UnsplitMergesIntoACloneOfTheTriggeringBookend) {
  SceneElement maskedByForeground = maskedBy(shapeLayer(2), 11);
  maskedByForeground.settings().mask->feather = 0.25;
  Scene scene = sceneWith({shapeLayer(1), inGroup(named(shapeLayer(11), "Front copy"), 60, kForeground),
                           maskedByForeground, maskedBy(shapeLayer(3), 12),
                           inGroup(named(shapeLayer(12), "Back copy"), 60, kBackground), maskedBy(shapeLayer(4), 1)},
                          {splitGroup(60)});
  const auto split = splitVideoGroupWithID(scene, id(60));
  auto result = SplitVideoOperations::unsplit(id(60), id(12), scene);
  ASSERT_TRUE(result);
  EXPECT_TRUE(scene.groups().empty());

  ASSERT_EQ(scene.elements().size(), 5u);
  const SceneElement& merged = scene.elements()[1];  // at the old foreground index
  EXPECT_EQ(numbers({scene.elements()[0], scene.elements()[2], scene.elements()[3], scene.elements()[4]}),
            (std::vector<unsigned>{1, 2, 3, 4}));
  EXPECT_NE(merged.id(), id(11));
  EXPECT_NE(merged.id(), id(12));
  EXPECT_EQ(merged.settings().name, "Back copy");
  EXPECT_FALSE(merged.groupMembership());
  EXPECT_EQ(merged.settingsUpdated(), true);

  EXPECT_EQ(*result, (SplitVideoOperations::Result{{merged}, {split->foreground, split->background}, merged.id()}));

  // Masks on either bookend now use the merged layer, the rest of each mask kept.
  const auto& second = scene.elements()[2].settings().mask;
  ASSERT_TRUE(second);
  EXPECT_EQ(std::tuple(second->layerID, second->feather), std::tuple(merged.id(), 0.25));
  EXPECT_EQ(scene.elements()[2].settingsUpdated(), true);
  EXPECT_EQ(scene.elements()[3].settings().mask->layerID, merged.id());
  EXPECT_EQ(scene.elements()[4].settings().mask->layerID, id(1));
  EXPECT_FALSE(scene.elements()[4].settingsUpdated());
}

TEST(SplitVideoOperations, UnsplitPastTheNewEndLandsAtTheEnd) {
  // Background in front of the foreground: fg index 2 is past the end once both bookends are gone.
  Scene scene = sceneWith({shapeLayer(1), inGroup(shapeLayer(12), 60, kBackground), inGroup(shapeLayer(11), 60, kForeground)},
                          {splitGroup(60)});
  auto result = SplitVideoOperations::unsplit(id(60), id(11), scene);
  ASSERT_TRUE(result);
  EXPECT_EQ(ids(scene.elements()), (std::vector<Uuid>{id(1), result->added[0].id()}));
  EXPECT_EQ(result->newSelection, scene.elements()[1].id());
}

TEST(SplitVideoOperations, ToggleSplitsASandwichedLayerAndUnsplitsABookend) {
  Scene scene = sandwichScene();
  auto inner = SplitVideoOperations::toggle(id(2), scene);
  ASSERT_TRUE(inner);
  EXPECT_EQ(numbers(inner->removed), (std::vector<unsigned>{2}));
  // A split inside the split: the outer one now sandwiches both copies and layer 3.
  auto outer = splitVideoGroupWithID(scene, id(60));
  ASSERT_TRUE(outer);
  EXPECT_EQ(ids(outer->sandwiched), (std::vector<Uuid>{inner->added[0].id(), inner->added[1].id(), id(3)}));
  EXPECT_EQ(splitVideoGroups(scene).size(), 2u);

  // On a bookend: an unsplit, and the merged layer takes the triggering bookend's settings.
  auto merged = SplitVideoOperations::toggle(id(11), scene);
  ASSERT_TRUE(merged);
  EXPECT_EQ(merged->added[0].settings().name, "Front copy");
  EXPECT_EQ(numbers(merged->removed), (std::vector<unsigned>{11, 12}));
  EXPECT_FALSE(scene.groups().contains(id(60)));
  EXPECT_EQ(scene.elements()[1].id(), merged->added[0].id());
  EXPECT_EQ(splitVideoGroups(scene).size(), 1u);

  const Scene before = scene;
  EXPECT_FALSE(SplitVideoOperations::toggle(id(77), scene));
  EXPECT_EQ(scene, before);
}

}  // namespace
}  // namespace tav
