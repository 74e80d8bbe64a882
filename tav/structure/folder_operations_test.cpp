#include "tav/structure/folder_operations.hpp"

#include <gtest/gtest.h>

#include "tav/structure/folder_group.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

/// True when every folder's layers (nested folders included) stand at consecutive indices.
::testing::AssertionResult foldersContiguous(const Scene& scene) {
  for (const auto& [groupID, group] : scene.groups()) {
    if (group.kind != SceneElementGroupKind::folder) continue;
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < scene.elements().size(); ++i) {
      const auto ancestry = scene.groupAncestry(scene.elements()[i].id());
      if (std::find(ancestry.begin(), ancestry.end(), groupID) != ancestry.end()) indices.push_back(i);
    }
    if (!indices.empty() && indices.back() - indices.front() != indices.size() - 1) {
      return ::testing::AssertionFailure() << "folder " << groupID.toString() << " is not contiguous";
    }
  }
  return ::testing::AssertionSuccess();
}

/// The id of the one group of `scene` that is not among `known`.
Uuid newGroupID(const Scene& scene, const std::vector<unsigned>& known) {
  for (const auto& [groupID, group] : scene.groups()) {
    bool old = false;
    for (unsigned k : known) old = old || groupID == id(k);
    if (!old) return groupID;
  }
  ADD_FAILURE() << "no new group";
  return Uuid();
}

SceneElementGroupMembership member(const Uuid& groupID) { return {groupID, std::nullopt}; }

// Every refusal leaves the scene exactly as it was: nested folders 50 > 51 > 52 and split 60.
TEST(FolderOperations, RefusalsChangeNothing) {
  const Scene before = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51), inGroup(shapeLayer(3), 52),
                                  inGroup(shapeLayer(4), 60, SceneElementGroupRole::splitForeground), shapeLayer(6),
                                  inGroup(shapeLayer(5), 60, SceneElementGroupRole::splitBackground)},
                                 {folder(50), folder(51, 50), folder(52, 51), splitGroup(60)});
  Scene scene = before;
  EXPECT_FALSE(FolderOperations::create({}, "New", false, scene));
  EXPECT_FALSE(FolderOperations::create({id(7), id(8)}, "New", false, scene));  // no id names a layer
  EXPECT_FALSE(FolderOperations::addToFolder(id(6), id(77), scene));  // no such group
  EXPECT_FALSE(FolderOperations::addToFolder(id(6), id(60), scene));  // not a folder
  EXPECT_FALSE(FolderOperations::addToFolder(id(9), id(50), scene));  // no such layer
  EXPECT_FALSE(FolderOperations::removeFromFolder(id(6), scene));  // in no group
  EXPECT_FALSE(FolderOperations::removeFromFolder(id(9), scene));  // no such layer
  EXPECT_FALSE(FolderOperations::ungroup(id(60), scene));
  EXPECT_FALSE(FolderOperations::ungroup(id(77), scene));
  EXPECT_FALSE(FolderOperations::nestFolder(id(50), id(50), scene));  // under itself
  EXPECT_FALSE(FolderOperations::nestFolder(id(50), id(51), scene));  // under its child
  EXPECT_FALSE(FolderOperations::nestFolder(id(50), id(52), scene));  // under a grandchild
  EXPECT_FALSE(FolderOperations::nestFolder(id(60), id(50), scene));  // not a folder
  EXPECT_FALSE(FolderOperations::nestFolder(id(52), id(60), scene));  // under a split group
  EXPECT_FALSE(FolderOperations::nestFolder(id(77), std::nullopt, scene));
  EXPECT_FALSE(FolderOperations::nestFolder(id(52), id(77), scene));
  EXPECT_EQ(scene, before);

  // A top-level folder moved to the top level: nothing changes.
  EXPECT_EQ(FolderOperations::nestFolder(id(50), std::nullopt, scene), GroupMutationResult{});
  EXPECT_EQ(scene, before);
}

TEST(FolderOperations, CreateGathersMembersAtTheFrontMostIndex) {
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2), shapeLayer(3), shapeLayer(4), shapeLayer(5), shapeLayer(6)});
  // Members at indices 1 and 4; the selection's order and an id naming nothing do not matter.
  auto result = FolderOperations::create({id(5), id(99), id(2)}, "Lower thirds", false, scene);
  ASSERT_TRUE(result);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 5, 3, 4, 6}));

  ASSERT_EQ(scene.groups().size(), 1u);
  const SceneElementGroup& group = scene.groups().begin()->second;
  // An expanded top-level folder; lockAspectRatio and isMask absent, not false.
  EXPECT_EQ(group, (SceneElementGroup{group.id, SceneElementGroupKind::folder, "Lower thirds", false, std::nullopt,
                                      std::nullopt, std::nullopt}));

  EXPECT_TRUE(result->removed.empty());
  EXPECT_EQ(numbers(result->affected), (std::vector<unsigned>{2, 5}));
  for (const auto& element : result->affected) EXPECT_EQ(element.groupMembership(), member(group.id));
  EXPECT_EQ(result->newSelection, id(2));
  EXPECT_EQ(result->groupID, group.id);
  EXPECT_EQ(std::vector(scene.elements().begin() + 1, scene.elements().begin() + 3), result->affected);
  EXPECT_FALSE(scene.elements()[3].groupMembership());
  EXPECT_TRUE(foldersContiguous(scene));
}

TEST(FolderOperations, CreateNestsOnlyASelectionWhollyInsideOneFolder) {
  const Scene before = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 50), inGroup(shapeLayer(3), 50),
                                  shapeLayer(4), inGroup(shapeLayer(5), 51)},
                                 {folder(50), folder(51)});
  {
    Scene scene = before;
    ASSERT_TRUE(FolderOperations::create({id(1), id(3)}, std::nullopt, false, scene));
    const Uuid inner = newGroupID(scene, {50, 51});
    EXPECT_EQ(scene.groups().at(inner).parentGroupID, id(50));
    EXPECT_FALSE(scene.groups().at(inner).name);
    EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 3, 2, 4, 5}));
    EXPECT_EQ(scene.elements()[2].groupMembership(), member(id(50)));
    EXPECT_TRUE(foldersContiguous(scene));
  }
  {
    // An id that names nothing is ignored for the members but still makes the folder top-level.
    Scene scene = before;
    ASSERT_TRUE(FolderOperations::create({id(1), id(3), id(99)}, std::nullopt, false, scene));
    EXPECT_FALSE(scene.groups().at(newGroupID(scene, {50, 51})).parentGroupID);
  }
  {
    // One member of a folder and one ungrouped layer: a top-level folder; folder 51 lost its only member.
    Scene scene = before;
    ASSERT_TRUE(FolderOperations::create({id(5), id(4)}, std::nullopt, false, scene));
    const Uuid made = newGroupID(scene, {50, 51});
    EXPECT_FALSE(scene.groups().at(made).parentGroupID);
    EXPECT_TRUE(scene.groups().contains(id(50)));
    EXPECT_FALSE(scene.groups().contains(id(51)));
  }
  {
    // Members of two different folders: top level, and folder 50 survives with its other members.
    Scene scene = before;
    ASSERT_TRUE(FolderOperations::create({id(2), id(5)}, std::nullopt, false, scene));
    const Uuid made = newGroupID(scene, {50, 51});
    EXPECT_FALSE(scene.groups().at(made).parentGroupID);
    EXPECT_TRUE(scene.groups().contains(id(50)));
    EXPECT_FALSE(scene.groups().contains(id(51)));
    EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 5, 3, 4}));
  }
}

TEST(FolderOperations, CreateMaskFolderNeedsTwoMembers) {
  {
    Scene scene = sceneWith({shapeLayer(1), shapeLayer(2)});
    auto result = FolderOperations::create({id(2)}, "Mask", true, scene);
    ASSERT_TRUE(result);
    // The folder was removed again within the call, and its member freed; the result still shows the
    // membership the member was given.
    EXPECT_TRUE(scene.groups().empty());
    EXPECT_FALSE(scene.elements()[1].groupMembership());
    ASSERT_EQ(result->affected.size(), 1u);
    ASSERT_TRUE(result->affected[0].groupMembership());
    EXPECT_FALSE(result->affected[0].groupMembership()->role);
    EXPECT_EQ(result->newSelection, id(2));
  }
  {
    Scene scene = sceneWith({shapeLayer(1), shapeLayer(2)});
    ASSERT_TRUE(FolderOperations::create({id(1), id(2)}, "Mask", true, scene));
    ASSERT_EQ(scene.groups().size(), 1u);
    EXPECT_EQ(scene.groups().begin()->second.isMask, true);
  }
}

TEST(FolderOperations, CreateWithBothBookendsDissolvesTheSplit) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 60, SceneElementGroupRole::splitForeground), shapeLayer(2),
                           inGroup(shapeLayer(3), 60, SceneElementGroupRole::splitBackground)},
                          {splitGroup(60)});
  auto result = FolderOperations::create({id(1), id(3)}, std::nullopt, false, scene);
  ASSERT_TRUE(result);
  EXPECT_FALSE(scene.groups().contains(id(60)));
  ASSERT_EQ(scene.groups().size(), 1u);
  const auto& made = scene.groups().begin()->second;
  // The selection was wholly in the split group, so the folder was made under it and lifted to the top
  // when the split dissolved.
  EXPECT_FALSE(made.parentGroupID);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 3, 2}));
  EXPECT_EQ(scene.elements()[0].groupMembership(), member(made.id));
  EXPECT_EQ(scene.elements()[1].groupMembership(), member(made.id));
  EXPECT_EQ(numbers(result->affected), (std::vector<unsigned>{1, 3}));
}

TEST(FolderOperations, AddToFolderGathersTheFolder) {
  {
    Scene scene = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 50), inGroup(shapeLayer(3), 50), shapeLayer(4),
                             shapeLayer(5)},
                            {folder(50)});
    auto result = FolderOperations::addToFolder(id(5), id(50), scene);
    ASSERT_TRUE(result);
    EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 3, 5, 4}));
    EXPECT_EQ(*result, (GroupMutationResult{{}, {scene.elements()[3]}, std::nullopt}));
    EXPECT_EQ(result->affected[0].groupMembership(), member(id(50)));
    EXPECT_TRUE(foldersContiguous(scene));
  }
  {
    // A layer in front of every member: the block forms at the layer's old index.
    Scene scene = sceneWith({shapeLayer(1), shapeLayer(2), inGroup(shapeLayer(3), 50), shapeLayer(4),
                             inGroup(shapeLayer(5), 50)},
                            {folder(50)});
    ASSERT_TRUE(FolderOperations::addToFolder(id(1), id(50), scene));
    EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 3, 5, 2, 4}));
    EXPECT_TRUE(foldersContiguous(scene));
  }
}

TEST(FolderOperations, AddToFolderTakesIdsReadFromTheSceneAndTwiceChangesNothingTheSecondTime) {
  // The gathering moves the layer whose id was passed by reference into the array.
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), shapeLayer(2), shapeLayer(3)}, {folder(50)});
  auto result = FolderOperations::addToFolder(scene.elements()[2].id(), scene.groups().begin()->first, scene);
  ASSERT_TRUE(result);
  EXPECT_EQ(numbers(result->affected), (std::vector<unsigned>{3}));
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 3, 2}));
  const Scene once = scene;
  auto again = FolderOperations::addToFolder(id(3), id(50), scene);
  ASSERT_TRUE(again);
  EXPECT_EQ(scene, once);
  EXPECT_EQ(*again, (GroupMutationResult{{}, {scene.elements()[1]}, std::nullopt}));
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 3, 2}));
}

TEST(FolderOperations, AddToFolderOfABookendFreesTheOtherBookend) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 60, SceneElementGroupRole::splitForeground),
                           shapeLayer(3), inGroup(shapeLayer(4), 60, SceneElementGroupRole::splitBackground)},
                          {folder(50), splitGroup(60)});
  auto result = FolderOperations::addToFolder(id(4), id(50), scene);
  ASSERT_TRUE(result);
  EXPECT_FALSE(scene.groups().contains(id(60)));
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 4, 2, 3}));
  EXPECT_FALSE(scene.elements()[2].groupMembership());
  EXPECT_EQ(scene.elements()[1].groupMembership(), member(id(50)));
  EXPECT_EQ(result->affected, std::vector<SceneElement>{scene.elements()[1]});
}

TEST(FolderOperations, RemoveFromFolderKeepsTheIndex) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 50), inGroup(shapeLayer(3), 50),
                           shapeLayer(4)},
                          {folder(50)});
  EXPECT_EQ(FolderOperations::removeFromFolder(id(2), scene), (GroupMutationResult{{}, {shapeLayer(2)}, std::nullopt}));
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 3, 4}));
  EXPECT_FALSE(scene.elements()[1].groupMembership());
  // The folder now has a hole: removal does not gather.
  auto folder50 = scene.folderGroupWithID(id(50));
  ASSERT_TRUE(folder50);
  EXPECT_EQ(folder50->indexRange, (IndexRange{0, 2}));
  EXPECT_EQ(folder50->members.size(), 2u);
}

TEST(FolderOperations, RemoveFromFolderLetsTheCleanupRemoveFolders) {
  {
    Scene scene = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 50)}, {folder(50)});
    ASSERT_TRUE(FolderOperations::removeFromFolder(id(2), scene));
    EXPECT_TRUE(scene.groups().empty());
  }
  {
    Scene scene = sceneWith({inGroup(shapeLayer(1), 55), inGroup(shapeLayer(2), 55)}, {folder(55, std::nullopt, true)});
    auto result = FolderOperations::removeFromFolder(id(1), scene);
    ASSERT_TRUE(result);
    EXPECT_TRUE(scene.groups().empty());
    EXPECT_FALSE(scene.elements()[1].groupMembership());
    // Only the layer asked for is reported, though its partner was freed too.
    EXPECT_EQ(numbers(result->affected), (std::vector<unsigned>{1}));
  }
  {
    // A mask folder with one direct member and one in a nested plain folder: taking the direct member
    // out leaves one transitive member, so the mask folder goes and the nested folder moves to the top.
    Scene scene = sceneWith({inGroup(shapeLayer(1), 55), inGroup(shapeLayer(2), 56)},
                            {folder(55, std::nullopt, true), folder(56, 55)});
    ASSERT_TRUE(FolderOperations::removeFromFolder(id(1), scene));
    EXPECT_FALSE(scene.groups().contains(id(55)));
    ASSERT_TRUE(scene.groups().contains(id(56)));
    EXPECT_FALSE(scene.groups().at(id(56)).parentGroupID);
    EXPECT_EQ(scene.elements()[1].groupMembership(), member(id(56)));
  }
  {
    // A bookend can be taken out too; its split dissolves.
    Scene scene = sceneWith({inGroup(shapeLayer(1), 60, SceneElementGroupRole::splitForeground),
                             inGroup(shapeLayer(2), 60, SceneElementGroupRole::splitBackground)},
                            {splitGroup(60)});
    ASSERT_TRUE(FolderOperations::removeFromFolder(id(2), scene));
    EXPECT_TRUE(scene.groups().empty());
    EXPECT_FALSE(scene.elements()[0].groupMembership());
  }
}

TEST(FolderOperations, UngroupHandsMembersAndChildFoldersToTheParent) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51), inGroup(shapeLayer(3), 52),
                           inGroup(shapeLayer(4), 51), shapeLayer(5)},
                          {folder(50), folder(51, 50), folder(52, 51)});
  EXPECT_EQ(FolderOperations::ungroup(id(51), scene),
            (GroupMutationResult{{}, {inGroup(shapeLayer(2), 50), inGroup(shapeLayer(4), 50)}, std::nullopt}));
  EXPECT_FALSE(scene.groups().contains(id(51)));
  EXPECT_EQ(scene.groups().at(id(52)).parentGroupID, id(50));
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 3, 4, 5}));
  EXPECT_EQ(scene.elements()[1].groupMembership(), member(id(50)));
  EXPECT_EQ(scene.elements()[3].groupMembership(), member(id(50)));
  EXPECT_EQ(scene.elements()[2].groupMembership(), member(id(52)));
  EXPECT_TRUE(foldersContiguous(scene));

  // A top-level folder frees its members, and its child folders move to the top.
  auto top = FolderOperations::ungroup(id(50), scene);
  ASSERT_TRUE(top);
  EXPECT_EQ(numbers(top->affected), (std::vector<unsigned>{1, 2, 4}));
  for (const auto& element : top->affected) EXPECT_FALSE(element.groupMembership());
  EXPECT_EQ(scene.groups().size(), 1u);
  EXPECT_FALSE(scene.groups().at(id(52)).parentGroupID);
}

TEST(FolderOperations, UngroupOfANestedFolderKeepsItsMaskParentsCount) {
  // Mask folder 55 holds nested folder 56 with one layer and one direct layer; dissolving 56 hands its
  // layer to 55, which keeps two members and stays.
  Scene scene = sceneWith({inGroup(shapeLayer(1), 56), inGroup(shapeLayer(2), 55)},
                          {folder(55, std::nullopt, true), folder(56, 55)});
  ASSERT_TRUE(FolderOperations::ungroup(id(56), scene));
  EXPECT_EQ(scene.groups().size(), 1u);
  EXPECT_EQ(scene.elements()[0].groupMembership(), member(id(55)));
}

TEST(FolderOperations, NestFolderGathersEveryFolder) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 50), shapeLayer(3),
                           inGroup(shapeLayer(4), 51), shapeLayer(5)},
                          {folder(50), folder(51)});
  EXPECT_EQ(FolderOperations::nestFolder(id(51), id(50), scene), GroupMutationResult{});
  EXPECT_EQ(scene.groups().at(id(51)).parentGroupID, id(50));
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 4, 3, 5}));
  EXPECT_TRUE(foldersContiguous(scene));

  // And back to the top: the array is already gathered, so only the parent changes.
  ASSERT_TRUE(FolderOperations::nestFolder(id(51), std::nullopt, scene));
  EXPECT_FALSE(scene.groups().at(id(51)).parentGroupID);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 4, 3, 5}));
}

TEST(FolderOperations, NestFolderRunsNoCleanup) {
  // An empty folder survives a nesting (no cleanup runs), and a mask folder of one member too.
  Scene scene = sceneWith({inGroup(shapeLayer(1), 55)}, {folder(50), folder(55, std::nullopt, true)});
  ASSERT_TRUE(FolderOperations::nestFolder(id(55), id(50), scene));
  EXPECT_EQ(scene.groups().size(), 2u);
}

TEST(FolderOperations, RefusalsOnASceneWithoutTheRoutedFormatAddNoFormat) {
  Scene before = sceneWith({shapeLayer(1)});
  before.setActiveAspect(AspectRatio::portrait);
  Scene scene = before;
  EXPECT_FALSE(FolderOperations::create({id(1)}, std::nullopt, false, scene));
  EXPECT_FALSE(FolderOperations::addToFolder(id(1), id(50), scene));
  EXPECT_FALSE(FolderOperations::removeFromFolder(id(1), scene));
  EXPECT_FALSE(FolderOperations::ungroup(id(50), scene));
  EXPECT_FALSE(FolderOperations::nestFolder(id(50), std::nullopt, scene));
  EXPECT_EQ(scene, before);
  EXPECT_FALSE(scene.hasFormat(AspectRatio::portrait));
}

}  // namespace
}  // namespace tav
