#include "tav/structure/selection_pasteboard.hpp"

#include <gtest/gtest.h>

#include <set>

#include "tav/structure/frame_operations.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;
using FolderOperations::copySelection;
using FolderOperations::duplicateSelection;
using FolderOperations::pasteSelection;

/// A frame 1 holding layer 2 and frame 3, which holds layer 4; layer 5 stands free.
Scene nestedFrames() {
  SceneElement member = inFrame(shapeLayer(2), 1);
  member.settings().layout->grow = 2;
  return sceneWith({member, inFrame(shapeLayer(4), 3), inFrame(frameLayer(3), 1), frameLayer(1), shapeLayer(5)});
}

TEST(FolderOperationsCopySelection, FrameAloneBringsItsWholeSubtreeWithLinksToTheCopies) {
  const Scene scene = nestedFrames();
  const auto copy = copySelection({id(1)}, scene, false, std::nullopt);
  ASSERT_EQ(copy.elements.size(), 4u);
  EXPECT_EQ(copy.remap.size(), 4u);
  // Array order of the source: 2, 4, 3, 1.
  const Uuid frame = copy.remap.at(id(1));
  const Uuid inner = copy.remap.at(id(3));
  const auto& e = copy.elements;
  EXPECT_EQ(std::tuple(e[0].id(), e[3].id()), std::tuple(copy.remap.at(id(2)), frame));
  EXPECT_EQ(std::tuple(e[0].frameID(), e[1].frameID(), e[2].frameID(), e[3].frameID()),
            std::tuple(frame, inner, frame, std::nullopt));
  EXPECT_EQ(std::tuple(e[0].settings().layout->grow, e[0].settingsUpdated()), std::tuple(2, true));
  for (unsigned n : {1u, 2u, 3u, 4u}) EXPECT_NE(copy.remap.at(id(n)), id(n));
  EXPECT_TRUE(copy.groups.empty());
  EXPECT_EQ(copy.rebornRootID, std::nullopt);
}

TEST(FolderOperationsCopySelection, SubtreesOfManyFramesAtOnceEqualTheUnionOfEachFramesSubtree) {
  // Frames 1 > 3 > 6, frame 7 on its own with member 8, frames 9 and 10 holding each other (a cycle
  // a damaged document may carry), and a member 11 of a layer that is no frame.
  const std::vector<SceneElement> elements = {
      inFrame(shapeLayer(2), 1), inFrame(frameLayer(3), 1), frameLayer(1), inFrame(shapeLayer(4), 3),
      inFrame(shapeLayer(5), 3), inFrame(frameLayer(6), 3), inFrame(shapeLayer(12), 6), frameLayer(7),
      inFrame(shapeLayer(8), 7), inFrame(frameLayer(9), 10), inFrame(frameLayer(10), 9), inFrame(shapeLayer(11), 2),
      shapeLayer(13)};
  const std::vector<std::vector<unsigned>> selections = {{1}, {3}, {1, 3}, {2}, {7, 6}, {9}, {10, 13}, {13}, {}};
  for (const auto& selection : selections) {
    std::vector<bool> marks(elements.size(), false);
    std::set<unsigned> expected;
    for (unsigned n : selection) {
      expected.insert(n);
      for (std::size_t i = 0; i < elements.size(); ++i) marks[i] = marks[i] || elements[i].id() == id(n);
      for (const Uuid& member : FrameOperations::subtreeIDs(id(n), elements)) {
        expected.insert(number(member));
      }
    }
    detail::addFrameSubtrees(elements, marks);
    std::set<unsigned> actual;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (marks[i]) actual.insert(number(elements[i].id()));
    }
    EXPECT_EQ(actual, expected) << "selection of " << selection.size() << " starting " << (selection.empty() ? 0 : selection[0]);
  }
}

TEST(FolderOperationsCopySelection, MemberWithoutItsFrameJoinsTheSameFrameOnlyWhenKeepingParent) {
  const Scene scene = nestedFrames();
  const auto kept = copySelection({id(2)}, scene, true, std::nullopt);
  ASSERT_EQ(kept.elements.size(), 1u);
  EXPECT_EQ(std::tuple(kept.elements[0].frameID(), kept.elements[0].settings().layout->grow), std::tuple(id(1), 2));
  const auto free = copySelection({id(2)}, scene, false, std::nullopt);
  ASSERT_EQ(free.elements.size(), 1u);
  EXPECT_EQ(free.elements[0].frameID(), std::nullopt);
  EXPECT_FALSE(free.elements[0].settings().layout.has_value());
}

/// Root folder 10 holds layer 1 and folder 11 (layer 2) and folder 12 (layer 3); folder 10 lies in
/// folder 9, which also holds layer 4 directly.
Scene folderTree() {
  return sceneWith({inGroup(shapeLayer(1), 10), inGroup(shapeLayer(2), 11), inGroup(shapeLayer(3), 12),
                    inGroup(shapeLayer(4), 9)},
                   {folder(9), folder(10, 9), folder(11, 10), folder(12, 10)});
}

TEST(FolderOperationsCopySelection, RootFolderCopiesOnlyBranchesHoldingSelectedLayers) {
  const Scene scene = folderTree();
  const auto copy = copySelection({id(1), id(2)}, scene, false, id(10));
  ASSERT_EQ(copy.groups.size(), 2u);  // 10 and 11; 12 holds nothing selected, 9 lies above the root
  ASSERT_TRUE(copy.rebornRootID.has_value());
  const Uuid root = *copy.rebornRootID;
  EXPECT_NE(root, id(10));
  const SceneElementGroup* rootCopy = nullptr;
  const SceneElementGroup* childCopy = nullptr;
  for (const auto& group : copy.groups) (group.id == root ? rootCopy : childCopy) = &group;
  ASSERT_NE(rootCopy, nullptr);
  ASSERT_NE(childCopy, nullptr);
  // Top-level without keepingParent.
  EXPECT_EQ(std::tie(rootCopy->parentGroupID, rootCopy->name), std::make_tuple(std::nullopt, "Folder 10"));
  EXPECT_EQ(childCopy->parentGroupID, root);
  EXPECT_EQ(copy.elements[0].groupMembership()->groupID, root);
  EXPECT_EQ(copy.elements[1].groupMembership()->groupID, childCopy->id);

  const auto kept = copySelection({id(1), id(2)}, scene, true, id(10));
  bool sawRoot = false;
  for (const auto& group : kept.groups) {
    if (group.id != kept.rebornRootID) continue;
    sawRoot = true;
    EXPECT_EQ(group.parentGroupID, id(9));
  }
  EXPECT_TRUE(sawRoot);
}

TEST(FolderOperationsCopySelection, LayerAboveTheRootStaysInItsFolderOnlyWhenKeepingParent) {
  const Scene scene = folderTree();
  const auto kept = copySelection({id(1), id(4)}, scene, true, id(10));
  ASSERT_EQ(kept.elements.size(), 2u);
  EXPECT_EQ(kept.elements[1].groupMembership()->groupID, id(9));
  EXPECT_EQ(kept.groups.size(), 1u);
  const auto free = copySelection({id(1), id(4)}, scene, false, id(10));
  EXPECT_EQ(free.elements[1].groupMembership(), std::nullopt);
}

TEST(FolderOperationsCopySelection, WithoutACopiedRootNoFolderIsCopied) {
  const Scene scene = folderTree();
  const auto kept = copySelection({id(2), id(3)}, scene, true, std::nullopt);
  EXPECT_TRUE(kept.groups.empty());
  EXPECT_EQ(kept.elements[0].groupMembership()->groupID, id(11));
  EXPECT_EQ(kept.elements[1].groupMembership()->groupID, id(12));
  const auto free = copySelection({id(2), id(3)}, scene, false, std::nullopt);
  EXPECT_EQ(free.elements[0].groupMembership(), std::nullopt);
  EXPECT_EQ(free.elements[1].groupMembership(), std::nullopt);

  // A root that holds no selected layer is not copied either.
  const auto outside = copySelection({id(4)}, scene, true, id(12));
  EXPECT_TRUE(outside.groups.empty());
  EXPECT_EQ(outside.rebornRootID, std::nullopt);
}

TEST(FolderOperationsCopySelection, SplitBookendsBecomeOrdinaryLayers) {
  const Scene scene = sceneWith({inGroup(shapeLayer(1), 20, SceneElementGroupRole::splitForeground), shapeLayer(2),
                                 inGroup(shapeLayer(3), 20, SceneElementGroupRole::splitBackground)},
                                {splitGroup(20)});
  const auto copy = copySelection({id(1), id(3)}, scene, true, id(20));
  ASSERT_EQ(copy.elements.size(), 2u);
  EXPECT_EQ(copy.elements[0].groupMembership(), std::nullopt);
  EXPECT_EQ(copy.elements[1].groupMembership(), std::nullopt);
  EXPECT_TRUE(copy.groups.empty());
}

TEST(FolderOperationsCopySelection, MaskInsideTheSelectionFollowsTheCopyAndOneOutsideIsLost) {
  const Scene scene = sceneWith({maskedBy(shapeLayer(1), 2), shapeLayer(2), maskedBy(shapeLayer(3), 4), shapeLayer(4)});
  for (bool keepingParent : {false, true}) {
    const auto copy = copySelection({id(1), id(2), id(3)}, scene, keepingParent, std::nullopt);
    ASSERT_EQ(copy.elements.size(), 3u);
    EXPECT_EQ(copy.elements[0].settings().mask->layerID, copy.remap.at(id(2)));
    EXPECT_EQ(copy.elements[0].settingsUpdated(), true);
    EXPECT_EQ(copy.elements[2].settings().mask, std::nullopt);
  }
}

TEST(FolderOperationsDuplicateSelection, InsertsInFrontOfTheFrontMostSelectedLayer) {
  Scene scene = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 10), inGroup(shapeLayer(3), 10), shapeLayer(4)},
                          {folder(10)});
  const auto result = duplicateSelection({id(3), id(4)}, scene, std::nullopt);
  ASSERT_TRUE(result.newSelection.has_value());
  EXPECT_EQ(result.rebornGroupID, std::nullopt);
  const auto& elements = scene.elements();
  ASSERT_EQ(elements.size(), 6u);
  // The copy of 3 keeps folder 10 and is gathered with it; the copy of 4 follows the block.
  EXPECT_EQ(elements[1].id(), id(2));
  EXPECT_EQ(elements[2].id(), *result.newSelection);
  EXPECT_EQ(elements[2].groupMembership()->groupID, id(10));
  EXPECT_EQ(elements[3].id(), id(3));
  EXPECT_EQ(numbers({elements[0]}), std::vector<unsigned>{1});
  EXPECT_EQ(elements[5].id(), id(4));
  EXPECT_EQ(elements[4].groupMembership(), std::nullopt);
}

TEST(FolderOperationsDuplicateSelection, WithARootStoresTheRebornFoldersAndGathersThem) {
  Scene scene = folderTree();
  const auto result = duplicateSelection({id(2), id(3)}, scene, id(10));
  ASSERT_TRUE(result.rebornGroupID.has_value());
  const auto& groups = scene.groups();
  ASSERT_EQ(groups.size(), 7u);  // 9, 10, 11, 12 and the copies of 10, 11 and 12
  EXPECT_EQ(groups.at(*result.rebornGroupID).parentGroupID, id(9));  // kept: the copy lives beside its source
  // The two copies stand directly in front of layer 2 and form one block under the reborn root.
  const auto& elements = scene.elements();
  ASSERT_EQ(elements.size(), 6u);
  const auto copyIndex = std::find_if(elements.begin(), elements.end(),
                                      [&](const SceneElement& e) { return e.id() == *result.newSelection; }) -
                         elements.begin();
  const auto ancestry = scene.groupAncestry(elements[static_cast<std::size_t>(copyIndex) + 1].id());
  EXPECT_NE(std::find(ancestry.begin(), ancestry.end(), *result.rebornGroupID), ancestry.end());
  EXPECT_EQ(numbers(elements).back(), 4u);
}

TEST(FolderOperationsDuplicateSelection, EmptySelectionChangesNothing) {
  Scene scene = folderTree();
  const Scene before = scene;
  EXPECT_EQ(duplicateSelection({}, scene, std::nullopt), (FolderOperations::SelectionPasteResult{}));
  EXPECT_EQ(duplicateSelection({id(77)}, scene, id(10)), (FolderOperations::SelectionPasteResult{}));
  EXPECT_EQ(scene, before);
}

TEST(FolderOperationsPasteSelection, LinksAreKeptOnlyWhileTheSourceLayersAreThere) {
  const Scene source = nestedFrames();
  Scene target = source;
  const auto result = pasteSelection({id(4)}, source, target, std::nullopt);
  ASSERT_TRUE(result.newSelection.has_value());
  ASSERT_EQ(target.elements().size(), 6u);
  EXPECT_EQ(std::tuple(target.elements()[1].id(), target.elements()[1].frameID()), std::tuple(*result.newSelection, id(3)));

  // Once the layers are gone it pastes as from elsewhere.
  Scene emptied = source;
  emptied.removeElement(id(4));
  const auto again = pasteSelection({id(4)}, source, emptied, std::nullopt);
  ASSERT_TRUE(again.newSelection.has_value());
  EXPECT_EQ(emptied.elements()[0].id(), *again.newSelection);
  EXPECT_EQ(emptied.elements()[0].frameID(), std::nullopt);

  // Another scene: no outside links, at the front, folders carried over.
  Scene other(Scene::Identity{.id = "OTHER"}, "Other");
  other.setElements({shapeLayer(50)});
  const auto pasted = pasteSelection({id(2)}, folderTree(), other, id(11));
  ASSERT_EQ(other.elements().size(), 2u);
  EXPECT_EQ(other.elements()[0].id(), *pasted.newSelection);
  ASSERT_TRUE(pasted.rebornGroupID.has_value());
  EXPECT_EQ(other.groups().at(*pasted.rebornGroupID).parentGroupID, std::nullopt);
  EXPECT_EQ(other.elements()[0].groupMembership()->groupID, *pasted.rebornGroupID);
}

}  // namespace
}  // namespace tav
