#include <gtest/gtest.h>

#include <set>

#include "tav/structure/group_member_counts.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

/// The numbers of the groups `scene` stores.
std::set<unsigned> groupNumbers(const Scene& scene) {
  std::set<unsigned> numbers;
  for (const auto& [groupID, group] : scene.groups()) numbers.insert(number(groupID));
  return numbers;
}

/// The frame each layer stands in, in order.
std::vector<std::optional<Uuid>> frameIDs(const std::vector<SceneElement>& elements) {
  std::vector<std::optional<Uuid>> ids;
  for (const auto& element : elements) ids.push_back(element.frameID());
  return ids;
}

/// Whether each layer has a mask, in order.
std::vector<bool> masked(const std::vector<SceneElement>& elements) {
  std::vector<bool> result;
  for (const auto& element : elements) result.push_back(element.settings().mask.has_value());
  return result;
}

TEST(CleanupOrphanGroups, FoldersNeedEnoughTransitiveMembers) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51),
                           inGroup(shapeLayer(3), 52), inGroup(shapeLayer(4), 54)},
                          {folder(50),                    // plain, one member: stays
                           folder(51, std::nullopt, true),  // mask folder, one member: goes
                           folder(53),                    // only member moved into nested 52: stays
                           folder(52, 53), folder(55, std::nullopt, true), folder(54, 55), folder(56, 55)});
  // Mask folder 55: no direct member, one in 54: removed, while 54 survives and is lifted to the top.
  scene.cleanupOrphanGroups();
  ASSERT_EQ(groupNumbers(scene), (std::set<unsigned>{50, 52, 53, 54}));
  EXPECT_FALSE(scene.groups().at(id(54)).parentGroupID);
  EXPECT_FALSE(scene.elements()[1].groupMembership());
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 3, 4}));

  // A mask folder with one direct member and one in a nested plain folder has its two and stays.
  Scene nested = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51)},
                           {folder(50, std::nullopt, true), folder(51, 50)});
  nested.cleanupOrphanGroups();
  EXPECT_EQ(nested.groups().size(), 2u);
}

TEST(CleanupOrphanGroups, ParentsOutliveChildrenRemovedInTheSameSweep) {
  // Mask folder 51 inside 50 has one member: 51 goes, but 50 counted that member and stays, empty.
  Scene scene = sceneWith({inGroup(shapeLayer(1), 51)}, {folder(50), folder(51, 50, true)});
  scene.cleanupOrphanGroups();
  EXPECT_EQ(groupNumbers(scene), std::set<unsigned>{50});
  scene.cleanupOrphanGroups();
  EXPECT_TRUE(scene.groups().empty());
}

TEST(CleanupOrphanGroups, SplitGroupsNeedBothBookends) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 60, SceneElementGroupRole::splitForeground),
                           inGroup(shapeLayer(2), 60, SceneElementGroupRole::splitForeground),
                           inGroup(shapeLayer(3), 61, SceneElementGroupRole::splitForeground),
                           inGroup(shapeLayer(4), 61, SceneElementGroupRole::splitBackground)},
                          {splitGroup(60), splitGroup(61)});
  scene.cleanupOrphanGroups();
  EXPECT_EQ(groupNumbers(scene), std::set<unsigned>{61});
  EXPECT_FALSE(scene.elements()[0].groupMembership());
  EXPECT_FALSE(scene.elements()[1].groupMembership());

  // Removing one bookend dissolves the group and frees the other in one pass.
  scene.removeElement(id(3));
  EXPECT_TRUE(scene.groups().empty());
  EXPECT_FALSE(scene.elements().back().groupMembership());
}

TEST(RepairMaskReferences, DanglingMasksAndCyclesLoseTheirMasks) {
  SceneMask noLayer;
  noLayer.invert = true;
  SceneElement keepsEmptyMask = shapeLayer(6);
  keepsEmptyMask.settings().mask = noLayer;
  // 1 <-> 2 is a cycle; 3 leads into it and keeps its link; 4 masks a deleted layer; 5 masks itself.
  Scene scene = sceneWith({maskedBy(shapeLayer(1), 2), maskedBy(shapeLayer(2), 1), maskedBy(shapeLayer(3), 1),
                           maskedBy(shapeLayer(4), 99), maskedBy(shapeLayer(5), 5), keepsEmptyMask});
  scene.repairMaskReferences();
  const auto& e = scene.elements();
  ASSERT_EQ(masked(e), (std::vector<bool>{false, false, true, false, false, true}));
  EXPECT_EQ(e[2].settings().mask->layerID, id(1));
  EXPECT_FALSE(e[2].settingsUpdated());
  EXPECT_EQ(e[3].settingsUpdated(), true);
  EXPECT_EQ(e[5].settings().mask, noLayer);
}

TEST(RepairMaskReferences, GivesUpOnChainsLongerThanSixtyFourLinks) {
  auto ring = [](unsigned length) {
    std::vector<SceneElement> layers;
    for (unsigned i = 1; i <= length; ++i) layers.push_back(maskedBy(shapeLayer(i), i % length + 1));
    return sceneWith(layers);
  };
  Scene long65 = ring(65);
  long65.repairMaskReferences();
  EXPECT_EQ(masked(long65.elements()), std::vector<bool>(65, true));
  Scene long64 = ring(64);
  long64.repairMaskReferences();
  EXPECT_EQ(masked(long64.elements()), std::vector<bool>(64, false));
}

TEST(RepairFrameMembership, ReleasesLayersOfMissingFramesNonFramesAndCycles) {
  // 1 names a non-frame, 2 names a missing id, 3 sits in frame 4 properly.
  Scene scene = sceneWith({inFrame(shapeLayer(1), 5), inFrame(shapeLayer(2), 99), inFrame(shapeLayer(3), 4),
                           frameLayer(4), shapeLayer(5)});
  scene.repairFrameMembership();
  const auto& e = scene.elements();
  EXPECT_EQ(frameIDs(e), (std::vector<std::optional<Uuid>>{std::nullopt, std::nullopt, id(4), std::nullopt, std::nullopt}));
  EXPECT_FALSE(e[0].settings().layout);
  EXPECT_EQ(e[0].settingsUpdated(), true);
  EXPECT_TRUE(e[2].settings().layout);
  EXPECT_FALSE(e[2].settingsUpdated());

  // Frames 10 -> 11 -> 12 -> 10: the cycle opens at its first layer in array order only.
  Scene cycle = sceneWith({inFrame(frameLayer(11), 12), inFrame(frameLayer(10), 11), inFrame(frameLayer(12), 10)});
  cycle.repairFrameMembership();
  EXPECT_EQ(frameIDs(cycle.elements()), (std::vector<std::optional<Uuid>>{std::nullopt, id(11), id(10)}));
}

TEST(ReleaseMaskLinksAcrossGroups, LinksMayNotCrossAMaskFolderEdge) {
  // Mask folder 50: 1, 2; mask folder 51: 3; 4 and 5 ordinary.
  Scene scene = sceneWith({inGroup(maskedBy(shapeLayer(1), 2), 50), inGroup(maskedBy(shapeLayer(2), 3), 50),
                           inGroup(shapeLayer(3), 51), maskedBy(shapeLayer(4), 5), maskedBy(shapeLayer(5), 1),
                           maskedBy(shapeLayer(6), 99)},
                          {folder(50, std::nullopt, true), folder(51, std::nullopt, true)});
  scene.releaseMaskLinksAcrossGroups();
  // Kept within folder 50, not from 50 to 51, kept from ordinary to ordinary, not from ordinary into
  // 50; a missing layer is outside every mask folder.
  EXPECT_EQ(masked(scene.elements()), (std::vector<bool>{true, false, false, true, false, true}));
}

TEST(NormaliseGroupContiguity, GathersAtTheFrontMostMemberOuterFoldersFirstThenInnerBlocksInsideThem) {
  Scene single = sceneWith({shapeLayer(0), shapeLayer(1), inGroup(shapeLayer(2), 50), shapeLayer(3), shapeLayer(4),
                            inGroup(shapeLayer(5), 50)},
                           {folder(50)});
  single.normaliseGroupContiguity();
  EXPECT_EQ(numbers(single.elements()), (std::vector<unsigned>{0, 1, 2, 5, 3, 4}));

  // Outer 50: 1 and (via inner 51) 3 and 6; split bookends of 60 under 50 stay put.
  auto split = splitGroup(60);
  split.parentGroupID = id(50);
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), shapeLayer(2), inGroup(shapeLayer(3), 51), shapeLayer(4),
                           inGroup(shapeLayer(5), 60, SceneElementGroupRole::splitForeground),
                           inGroup(shapeLayer(6), 51), inGroup(shapeLayer(7), 50)},
                          {folder(50), folder(51, 50), split});
  scene.normaliseGroupContiguity();
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 3, 6, 7, 2, 4, 5}));

  Scene contiguous = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 50), shapeLayer(3)}, {folder(50)});
  Scene before = contiguous;
  contiguous.normaliseGroupContiguity();
  EXPECT_EQ(contiguous, before);
}

TEST(FrameRenderOrder, PutsEachSubtreeDirectlyInFrontOfItsFrame) {
  std::vector<SceneElement> noFrames = {shapeLayer(1), shapeLayer(2)};
  EXPECT_EQ(Scene::frameRenderOrder(noFrames), noFrames);

  std::vector<SceneElement> layers = {frameLayer(1), shapeLayer(2), shapeLayer(3), inFrame(shapeLayer(4), 1)};
  EXPECT_EQ(numbers(Scene::frameRenderOrder(layers)), (std::vector<unsigned>{4, 1, 2, 3}));

  // Nested: 5 in frame 6, frame 6 in frame 7; 8 names a missing frame and is a root.
  std::vector<SceneElement> nested = {frameLayer(7), inFrame(shapeLayer(8), 99), inFrame(frameLayer(6), 7),
                                      inFrame(shapeLayer(5), 6)};
  EXPECT_EQ(numbers(Scene::frameRenderOrder(nested)), (std::vector<unsigned>{5, 6, 7, 8}));

  // A cycle of frame links can't be reached from a root: its layers come last, in array order.
  std::vector<SceneElement> cycle = {inFrame(frameLayer(10), 11), shapeLayer(12), inFrame(frameLayer(11), 10)};
  EXPECT_EQ(numbers(Scene::frameRenderOrder(cycle)), (std::vector<unsigned>{12, 10, 11}));

  // Frame 20 holds nothing and no link names it: it stays a root where it stands.
  std::vector<SceneElement> lone = {inFrame(shapeLayer(2), 1), frameLayer(20), frameLayer(1)};
  EXPECT_EQ(numbers(Scene::frameRenderOrder(lone)), (std::vector<unsigned>{20, 2, 1}));

  Scene scene = sceneWith(layers);
  scene.normaliseFrameContiguity();
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{4, 1, 2, 3}));
}

// A damaged document may store a group under another id than its record's own; everything goes by
// the id it is stored under.
TEST(CleanupOrphanGroups, GroupsStoredUnderAnotherIdThanTheirOwnAreLookedUpByTheirKey) {
  Scene scene = decodeJson<Scene>(R"({"id":"S","name":"N","isTemplate":false,
    "elements":[{"id":"00000000-0000-4000-8000-000000000001","settings":{},
                 "groupMembership":{"groupID":"00000000-0000-4000-8000-000000000009"}}],
    "groups":["00000000-0000-4000-8000-000000000009",
              {"id":"00000000-0000-4000-8000-000000000008","kind":"folder","isCollapsed":false,
               "parentGroupID":"00000000-0000-4000-8000-000000000007"}]})");
  EXPECT_EQ(scene.transitiveMemberCounts().at(id(9)), 1);
  EXPECT_EQ(numbers(scene.elementsRecursive(id(9))), std::vector<unsigned>{1});
  scene.cleanupOrphanGroups();
  ASSERT_TRUE(scene.groups().contains(id(9)));
  EXPECT_FALSE(scene.groups().at(id(9)).parentGroupID);  // its parent names no group
  EXPECT_TRUE(scene.elements()[0].groupMembership());
}

}  // namespace
}  // namespace tav
