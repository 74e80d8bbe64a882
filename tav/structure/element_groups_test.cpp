#include <stdexcept>

#include <gtest/gtest.h>

#include "tav/structure/folder_group.hpp"
#include "tav/structure/group_member_counts.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

TEST(ElementGroups, AFormatWithoutGroupsAnswersEmpty) {
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2)});
  EXPECT_TRUE(scene.transitiveMemberCounts().empty());
  EXPECT_TRUE(scene.folderGroups().empty());
  EXPECT_FALSE(scene.folderGroupWithID(id(50)));
  EXPECT_FALSE(scene.folderGroupContaining(id(1)));
  EXPECT_TRUE(scene.groupAncestry(id(1)).empty());
  EXPECT_TRUE(scene.groupAncestryByGroupID(id(50)).empty());
  EXPECT_TRUE(scene.elementsRecursive(id(50)).empty());
  EXPECT_FALSE(scene.maskGroupAncestorOfElement(id(1)));
  EXPECT_FALSE(scene.hasMaskLinkOutside({id(1)}));
  EXPECT_FALSE(scene.containsMaskRole({id(1), id(2)}));
}

TEST(ElementGroups, NestedFoldersCountTransitiveMembers) {
  // Folder 50 holds only folder 51, which holds layers 2 and 3; layer 4 is in a split group below 50.
  Scene scene = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 51), inGroup(shapeLayer(3), 51),
                           inGroup(shapeLayer(4), 60, SceneElementGroupRole::splitForeground)},
                          {folder(50), folder(51, 50), [] {
                             auto split = splitGroup(60);
                             split.parentGroupID = id(50);
                             return split;
                           }()});
  EXPECT_FALSE(scene.folderGroupWithID(id(50)));  // no direct members
  const auto counts = scene.transitiveMemberCounts();
  EXPECT_EQ(counts, (std::remove_const_t<decltype(counts)>{{id(50), 3}, {id(51), 2}, {id(60), 1}}));
  EXPECT_EQ(numbers(scene.elementsRecursive(id(50))), (std::vector<unsigned>{2, 3, 4}));
  EXPECT_EQ(scene.nestedFolderIDs(id(50)), std::vector{id(51)});  // the split group is no folder
  EXPECT_EQ(scene.groupAncestry(id(2)), (std::vector{id(51), id(50)}));

  auto inner = scene.folderGroupWithID(id(51));
  ASSERT_TRUE(inner);
  EXPECT_EQ(inner->indexRange, (IndexRange{1, 2}));
  EXPECT_TRUE(inner->contains(id(3)));
  EXPECT_FALSE(inner->contains(id(4)));
  auto outerRange = FolderGroup{scene.groups().at(id(50)), {}, {}}.transitiveIndexRange(scene);
  EXPECT_EQ(outerRange, (IndexRange{1, 3}));
}

TEST(ElementGroups, InterleavedFoldersAreOrderedByTheirFirstIndex) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 71), inGroup(shapeLayer(2), 70), inGroup(shapeLayer(3), 71),
                           shapeLayer(4), inGroup(shapeLayer(5), 70)},
                          {folder(70), folder(71)});
  auto folders = scene.folderGroups();
  ASSERT_EQ(folders.size(), 2u);
  EXPECT_EQ(std::tie(folders[0].group.id, folders[0].indexRange), std::make_tuple(id(71), IndexRange{0, 2}));
  EXPECT_EQ(std::tie(folders[1].group.id, folders[1].indexRange), std::make_tuple(id(70), IndexRange{1, 4}));
  EXPECT_EQ(numbers(folders[1].members), (std::vector<unsigned>{2, 5}));
  EXPECT_EQ(folders[1].memberIDs().size(), 2u);
}

TEST(ElementGroups, AncestryWalksStopAtCyclesAndMissingParents) {
  auto selfParent = folder(50);
  selfParent.parentGroupID = id(50);
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 52)},
                          {selfParent, folder(51, 99), folder(52, 53), folder(53, 52)});
  EXPECT_EQ(scene.groupAncestryByGroupID(id(50)), std::vector{id(50)});
  EXPECT_EQ(scene.groupAncestryByGroupID(id(51)), std::vector{id(51)});
  EXPECT_EQ(scene.groupAncestryByGroupID(id(52)), (std::vector{id(52), id(53)}));
  auto counts = scene.transitiveMemberCounts();
  EXPECT_EQ(std::tuple(counts.at(id(50)), counts.at(id(53))), std::tuple(1, 1));
  EXPECT_FALSE(counts.contains(id(51)));
  EXPECT_EQ(counts.countOf(id(51)), 0);
  EXPECT_THROW(counts.at(id(51)), std::out_of_range);
}

TEST(ElementGroups, MaskGroupQueries) {
  // Mask folder 50 holds 1 (masked by 2) and folder 51 holding 2; layer 3 outside is masked by 4.
  auto maskFolder = folder(50, std::nullopt, true);
  auto falseMask = folder(52);
  falseMask.isMask = false;
  Scene scene = sceneWith({inGroup(maskedBy(shapeLayer(1), 2), 50), inGroup(shapeLayer(2), 51),
                           maskedBy(shapeLayer(3), 4), shapeLayer(4), inGroup(shapeLayer(5), 52)},
                          {maskFolder, folder(51, 50), falseMask});
  EXPECT_EQ(scene.maskGroupAncestorOfElement(id(2)), id(50));
  EXPECT_EQ(scene.maskGroupAncestorOfGroup(id(51)), id(50));
  EXPECT_FALSE(scene.maskGroupAncestorOfElement(id(5)));  // isMask false counts as absent
  EXPECT_NE(falseMask, folder(52));                       // yet the records differ

  EXPECT_FALSE(scene.hasMaskLinkOutside({id(1), id(2)}));
  EXPECT_TRUE(scene.hasMaskLinkOutside({id(1)}));
  EXPECT_TRUE(scene.hasMaskLinkOutside({id(4)}));
  EXPECT_FALSE(scene.hasMaskLinkOutside({id(5)}));

  EXPECT_TRUE(scene.containsMaskRole({id(1)}));   // masks a layer
  EXPECT_TRUE(scene.containsMaskRole({id(2)}));   // is the mask of a layer
  EXPECT_FALSE(scene.containsMaskRole({id(3)}));  // masked, but in no mask folder
  EXPECT_FALSE(scene.containsMaskRole({id(5)}));
}

TEST(ElementGroups, PrimitiveGroupEdits) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51)}, {folder(50), folder(51, 50)});
  auto renamed = folder(50);
  renamed.name = "Renamed";
  scene.addGroup(renamed);
  EXPECT_EQ(scene.groups().at(id(50)).name, "Renamed");
  scene.removeGroup(id(50));
  EXPECT_FALSE(scene.elements()[0].groupMembership());
  EXPECT_TRUE(scene.elements()[1].groupMembership());
  // The child keeps its now dangling parent: removeGroup repairs nothing.
  EXPECT_EQ(scene.groups().at(id(51)).parentGroupID, id(50));
}

TEST(SceneElementGroup, JsonIsStrictAndOrdered) {
  auto group = folder(50, 49, true);
  group.lockAspectRatio = true;
  EXPECT_EQ(encodeJson(group),
            R"({"id":"00000000-0000-4000-8000-000000000032","kind":"folder","name":"Folder 50","isCollapsed":false,)"
            R"("parentGroupID":"00000000-0000-4000-8000-000000000031","lockAspectRatio":true,"isMask":true})");
  EXPECT_EQ(decodeJson<SceneElementGroup>(encodeJson(group)), group);
  EXPECT_THROW(decodeJson<SceneElementGroup>(R"({"id":"00000000-0000-4000-8000-000000000032","kind":"stack","isCollapsed":false})"),
               DecodingError);
  EXPECT_THROW(decodeJson<SceneElementGroupMembership>(R"({"groupID":"00000000-0000-4000-8000-000000000032","role":"middle"})"),
               DecodingError);
  EXPECT_EQ(encodeJson(SceneElementGroupMembership{id(1), SceneElementGroupRole::splitBackground}),
            R"({"groupID":"00000000-0000-4000-8000-000000000001","role":"splitBackground"})");
  auto reborn = group.reborn(id(7), std::nullopt);
  EXPECT_EQ(std::tie(reborn.id, reborn.parentGroupID, reborn.name), std::make_tuple(id(7), std::nullopt, group.name));
}

}  // namespace
}  // namespace tav
