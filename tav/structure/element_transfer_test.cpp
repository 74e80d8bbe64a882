#include <gtest/gtest.h>

#include <algorithm>

#include "tav/scene/element_placement.hpp"
#include "tav/scene/scene.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

SceneElement locked(SceneElement element) {
  element.settings().isLocked = true;
  return element;
}

const auto noGeometry = std::unordered_map<Uuid, Rect>{};
const auto translatedPlacement = Scene::TransferPlacement::translated();

/// A translated copy (or move) out of landscape with no root folder and no resolved geometry.
std::vector<Uuid> transfer(Scene& scene, const std::unordered_set<Uuid>& ids, AspectRatio to, bool move = false) {
  return scene.transferElements(ids, AspectRatio::landscape, to, translatedPlacement, move, std::nullopt, noGeometry);
}

// --- newElementPlacement

TEST(SceneNewElementPlacement, IdMissingFromTheRoutedFormatGivesNoPlacement) {
  Scene scene = sceneWith({shapeLayer(1)});
  scene.updateFormat(AspectRatio::portrait, [](SceneFormat& f) { f.elements = {shapeLayer(2)}; });
  EXPECT_EQ(scene.newElementPlacement(id(2)), std::nullopt);
  EXPECT_EQ(scene.newElementPlacement(std::nullopt), std::nullopt);
  EXPECT_EQ(scene.newElementPlacement(id(1)), ElementPlacement(0, std::nullopt, std::nullopt));
  EXPECT_EQ(scene.withActiveAspect(AspectRatio::portrait).newElementPlacement(id(2)),
            ElementPlacement(0, std::nullopt, std::nullopt));
}

TEST(SceneNewElementPlacement, NextToASplitLandsBetweenTheBookends) {
  // Bookends at 2 and 6.
  const Scene scene = sceneWith({shapeLayer(1), shapeLayer(2), inGroup(shapeLayer(3), 20, SceneElementGroupRole::splitForeground),
                                 shapeLayer(4), shapeLayer(5), shapeLayer(6),
                                 inGroup(shapeLayer(7), 20, SceneElementGroupRole::splitBackground), shapeLayer(8)},
                                {splitGroup(20)});
  // Next to the foreground: just behind it; next to the background: just in front of it; among the
  // sandwiched: at the sibling.
  const auto index = [&](unsigned number) { return scene.newElementPlacement(id(number))->index; };
  EXPECT_EQ((std::vector{index(3), index(7), index(5), index(8)}), (std::vector<std::size_t>{3, 6, 4, 7}));
  EXPECT_EQ(scene.newElementPlacement(id(3))->membership, std::nullopt);
}

TEST(SceneNewElementPlacement, FrameWinsOverFolderAndAGoneFrameFallsBack) {
  const Scene scene = sceneWith({inGroup(inFrame(shapeLayer(1), 5), 10), inGroup(shapeLayer(2), 10), frameLayer(5),
                                 inGroup(inFrame(shapeLayer(3), 9), 10), inFrame(shapeLayer(4), 9)},
                                {folder(10)});
  EXPECT_EQ(scene.newElementPlacement(id(1)), ElementPlacement(0, std::nullopt, id(5)));
  EXPECT_EQ(scene.newElementPlacement(id(2)),
            ElementPlacement(1, SceneElementGroupMembership{id(10), std::nullopt}, std::nullopt));
  // Frame 9 no longer exists: the folder placement, or a plain one.
  EXPECT_EQ(scene.newElementPlacement(id(3)),
            ElementPlacement(3, SceneElementGroupMembership{id(10), std::nullopt}, std::nullopt));
  EXPECT_EQ(scene.newElementPlacement(id(4)), ElementPlacement(4, std::nullopt, std::nullopt));
}

// --- ElementPlacement::applied

TEST(ElementPlacement, WithoutAFrameOnlyTheMembershipChanges) {
  SceneElement element = inFrame(shapeLayer(1), 5);
  element.settings().lockAspectRatio = true;
  element.setGroupMembership(SceneElementGroupMembership{id(10), std::nullopt});
  const SceneElement placed = ElementPlacement(0, std::nullopt, std::nullopt).applied(element, SceneLayoutItem{});
  EXPECT_EQ(std::tuple(placed.groupMembership(), placed.frameID(), placed.settingsUpdated()),
            std::tuple(std::nullopt, id(5), std::nullopt));
  EXPECT_EQ(std::tie(placed.settings().layout, placed.settings().lockAspectRatio),
            std::make_tuple(element.settings().layout, true));
}

TEST(ElementPlacement, DefaultLayoutSizesByTheReferenceCanvasAndUnlocksTheRatio) {
  SceneElement shape = layerAt(1, 0, 0, 0.25, 0.5);
  shape.settings().lockAspectRatio = true;
  const ElementPlacement placement(0, std::nullopt, id(5));
  const SceneElement placed = placement.applied(shape, std::nullopt);
  EXPECT_EQ(placed.frameID(), id(5));
  ASSERT_TRUE(placed.settings().layout.has_value());
  const SceneLayoutItem& layout = *placed.settings().layout;
  // 0.25 * 1920 wide and 0.5 * 1080 high.
  EXPECT_EQ(std::tie(layout.position, layout.grow, layout.shrink, layout.width, layout.height),
            std::make_tuple(SceneLayoutItem::Position::flow, 0, 1, SceneDimension{480, SceneDimension::Unit::point},
                            SceneDimension{540, SceneDimension::Unit::point}));
  EXPECT_EQ(std::tuple(placed.settings().lockAspectRatio, placed.settingsUpdated()), std::tuple(false, true));

  // Text keeps its lock and gets no size; a hugging frame sizes itself.
  SceneElement text(id(2), SceneElementType(SceneElementTextSettings{}), SceneElementSettings{});
  text.settings().lockAspectRatio = true;
  const SceneElement placedText = placement.applied(text, std::nullopt);
  EXPECT_EQ(placedText.settings().lockAspectRatio, true);
  EXPECT_EQ(placedText.settings().layout->width, std::nullopt);
  SceneElement frame = frameLayer(3);
  frame.type().frameSettings()->widthHugsContent = true;
  const SceneElement placedFrame = placement.applied(frame, std::nullopt);
  EXPECT_EQ(placedFrame.settings().layout->width, SceneDimension::auto_());
  EXPECT_EQ(placedFrame.settings().layout->height, (SceneDimension{0, SceneDimension::Unit::point}));
  EXPECT_EQ(placedFrame.settings().lockAspectRatio, std::nullopt);
}

TEST(ElementPlacement, GivenLayoutThenOwnLayoutComeBeforeTheDefault) {
  SceneLayoutItem given;
  given.grow = 3;
  SceneElement element = layerAt(1, 0, 0, 0.25, 0.5);
  element.settings().lockAspectRatio = true;
  const ElementPlacement placement(2, SceneElementGroupMembership{id(10), std::nullopt}, id(5));
  const SceneElement placed = placement.applied(element, given);
  EXPECT_EQ(std::tie(placed.settings().layout, placed.settings().lockAspectRatio), std::make_tuple(given, true));
  EXPECT_EQ(placed.groupMembership(), (SceneElementGroupMembership{id(10), std::nullopt}));
  SceneLayoutItem own;
  own.shrink = 4;
  element.settings().layout = own;
  const SceneElementSettings ownPlaced = placement.applied(element, std::nullopt).settings();
  EXPECT_EQ(std::tie(ownPlaced.layout, ownPlaced.lockAspectRatio), std::make_tuple(own, true));
}

// --- transferElements

TEST(SceneTransferElements, SameAspectOrMissingSourceDoesNothing) {
  Scene scene = sceneWith({shapeLayer(1)});
  const Scene before = scene;
  EXPECT_TRUE(scene.transferElements({id(1)}, AspectRatio::landscape, AspectRatio::landscape,
                                     Scene::TransferPlacement::anchored({0.5, 0.5}, {0.5, 0.5}), true, id(10),
                                     {{id(1), Rect(0, 0, 1, 1)}})
                  .empty());
  EXPECT_TRUE(scene.transferElements({id(1)}, AspectRatio::square, AspectRatio::portrait, translatedPlacement, true,
                                     std::nullopt, noGeometry)
                  .empty());
  EXPECT_TRUE(transfer(scene, {id(77)}, AspectRatio::portrait, true).empty());
  EXPECT_EQ(scene, before);
  EXPECT_FALSE(scene.hasFormat(AspectRatio::portrait));
}

TEST(SceneTransferElements, CopiesGoInFrontTranslatedWithNewIdsAndTheActiveAspectIsKept) {
  Scene scene = sceneWith({layerAt(1, 0, 0, 0.25, 0.25), shapeLayer(2)});
  scene.setActiveAspect(AspectRatio::square);
  const auto copied = transfer(scene, {id(1)}, AspectRatio::portrait);
  ASSERT_EQ(copied.size(), 1u);
  EXPECT_NE(copied[0], id(1));
  EXPECT_EQ(scene.activeAspect(), AspectRatio::square);
  EXPECT_FALSE(scene.hasFormat(AspectRatio::square));
  const auto& target = scene.elements(AspectRatio::portrait);
  ASSERT_EQ(target.size(), 1u);
  EXPECT_DOUBLE_EQ(target[0].settings().width.value(), 0.25 * 1920 / 1080);
  EXPECT_EQ(scene.backgroundColor(AspectRatio::portrait), SceneColor::opaqueBlack());
  EXPECT_EQ(scene.elements(AspectRatio::landscape).size(), 2u);

  // A second transfer lands in front of the first.
  const auto again = transfer(scene, {id(2)}, AspectRatio::portrait);
  ASSERT_EQ(again.size(), 1u);
  EXPECT_EQ(scene.elements(AspectRatio::portrait)[0].id(), again[0]);
  EXPECT_EQ(scene.elements(AspectRatio::portrait)[1].id(), copied[0]);
}

TEST(SceneTransferElements, LockedLayersStayUnlessAPartnerBringsThem) {
  Scene scene = sceneWith({locked(shapeLayer(1)), shapeLayer(2), locked(shapeLayer(3)), maskedBy(shapeLayer(4), 3)});
  EXPECT_TRUE(transfer(scene, {id(1)}, AspectRatio::portrait).empty());
  EXPECT_FALSE(scene.hasFormat(AspectRatio::portrait));
  const auto copied = transfer(scene, {id(1), id(2), id(4)}, AspectRatio::portrait);
  // 2 and 4 selected; locked 3 comes as the layer that masks 4; locked 1 stays.
  ASSERT_EQ(copied.size(), 3u);
  const auto& target = scene.elements(AspectRatio::portrait);
  EXPECT_EQ(std::tie(target[0].settings().name, target[1].settings().name, target[2].settings().name),
            std::make_tuple("Layer 2", "Layer 3", "Layer 4"));
  EXPECT_EQ(target[2].settings().mask->layerID, target[1].id());
}

TEST(SceneTransferElements, LockedSplitPartnersAndFrameMembersComeWithTheirSelectedPartner) {
  Scene scene = sceneWith({locked(inGroup(shapeLayer(1), 20, SceneElementGroupRole::splitForeground)),
                           locked(shapeLayer(2)), inGroup(shapeLayer(3), 20, SceneElementGroupRole::splitBackground),
                           locked(inFrame(shapeLayer(4), 5)), frameLayer(5)},
                          {splitGroup(20)});
  const auto copied = transfer(scene, {id(3), id(5), id(2)}, AspectRatio::portrait);
  // Locked 2 was selected and is left out of the selection, yet it comes back sandwiched in the split.
  ASSERT_EQ(copied.size(), 5u);
  const auto& target = scene.elements(AspectRatio::portrait);
  std::vector<std::string> names;
  for (const auto& e : target) names.push_back(e.settings().name.value_or("frame"));
  EXPECT_EQ(names, (std::vector<std::string>{"Layer 1", "Layer 2", "Layer 3", "Layer 4", "frame"}));
  EXPECT_EQ(std::tuple(target[3].frameID(), target[3].settings().isLocked), std::tuple(target[4].id(), true));
}

TEST(SceneTransferElements, MaskPartnersGoTogetherWhicheverIsSelected) {
  for (unsigned selected : {1u, 2u}) {
    Scene scene = sceneWith({maskedBy(shapeLayer(1), 2), shapeLayer(2), shapeLayer(3)});
    const auto copied = transfer(scene, {id(selected)}, AspectRatio::square);
    ASSERT_EQ(copied.size(), 2u) << "selected " << selected;
    const auto& target = scene.elements(AspectRatio::square);
    EXPECT_EQ(target[0].settings().mask->layerID, target[1].id());
  }
}

TEST(SceneTransferElements, OneBookendBringsTheWholeSplitUnderANewGroup) {
  Scene scene = sceneWith({shapeLayer(9), inGroup(shapeLayer(1), 20, SceneElementGroupRole::splitForeground),
                           shapeLayer(2), inGroup(shapeLayer(3), 20, SceneElementGroupRole::splitBackground),
                           shapeLayer(4)},
                          {splitGroup(20)});
  const auto copied = transfer(scene, {id(3)}, AspectRatio::portrait);
  ASSERT_EQ(copied.size(), 3u);
  const auto& target = scene.elements(AspectRatio::portrait);
  const auto& groups = scene.groups(AspectRatio::portrait);
  ASSERT_EQ(groups.size(), 1u);
  const Uuid newGroup = groups.begin()->first;
  EXPECT_NE(newGroup, id(20));
  EXPECT_EQ(groups.begin()->second.id, newGroup);
  EXPECT_EQ(groups.begin()->second.kind, SceneElementGroupKind::splitVideo);
  EXPECT_EQ(target[0].groupMembership(), (SceneElementGroupMembership{newGroup, SceneElementGroupRole::splitForeground}));
  EXPECT_EQ(std::tuple(target[1].groupMembership(), target[1].settings().name), std::tuple(std::nullopt, "Layer 2"));
  EXPECT_EQ(target[2].groupMembership(), (SceneElementGroupMembership{newGroup, SceneElementGroupRole::splitBackground}));
}

TEST(SceneTransferElements, FrameMemberBringsNothingButAFrameBringsItsSubtree) {
  Scene scene = sceneWith({inFrame(shapeLayer(2), 1), inFrame(shapeLayer(3), 1), frameLayer(1), shapeLayer(4)});
  auto copied = transfer(scene, {id(1)}, AspectRatio::portrait);
  ASSERT_EQ(copied.size(), 3u);
  const auto& target = scene.elements(AspectRatio::portrait);
  EXPECT_EQ(std::tuple(target[0].frameID(), target[1].frameID()), std::tuple(target[2].id(), target[2].id()));
  EXPECT_TRUE(target[2].type().isFrame());
  // A member alone arrives free of the frame it left behind.
  copied = transfer(scene, {id(2)}, AspectRatio::square);
  ASSERT_EQ(copied.size(), 1u);
  EXPECT_EQ(scene.elements(AspectRatio::square)[0].frameID(), std::nullopt);
}

TEST(SceneTransferElements, MoveTakesTheClosureOutOfTheSourceAndDropsEmptiedGroups) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 10), inGroup(shapeLayer(2), 10), maskedBy(shapeLayer(3), 1),
                           inGroup(shapeLayer(4), 11), inGroup(shapeLayer(5), 11)},
                          {folder(10), folder(11)});
  // 3 brings 1, the layer that masks it; with 2 and 4 the whole of folder 10 leaves, and one of 11.
  const auto moved = transfer(scene, {id(3), id(2), id(4)}, AspectRatio::portrait, true);
  ASSERT_EQ(moved.size(), 4u);
  EXPECT_EQ(numbers(scene.elements(AspectRatio::landscape)), (std::vector<unsigned>{5}));
  const auto& groups = scene.groups(AspectRatio::landscape);
  EXPECT_FALSE(groups.contains(id(10)));
  EXPECT_TRUE(groups.contains(id(11)));
  EXPECT_EQ(scene.elements(AspectRatio::portrait).size(), 4u);
  EXPECT_EQ(scene.activeAspect(), std::nullopt);
}

TEST(SceneTransferElements, RootFolderComesAlongAndResolvedGeometryIsTranslated) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 10), inGroup(shapeLayer(2), 10), shapeLayer(3)}, {folder(10)});
  const auto copied = scene.transferElements({id(1), id(2)}, AspectRatio::landscape, AspectRatio::portrait,
                                             translatedPlacement, false, id(10),
                                             {{id(1), Rect(0, 0, 0.25, 0.25)}});
  ASSERT_EQ(copied.size(), 2u);
  const auto& groups = scene.groups(AspectRatio::portrait);
  ASSERT_EQ(groups.size(), 1u);
  EXPECT_EQ(groups.begin()->second.name, "Folder 10");
  const auto& target = scene.elements(AspectRatio::portrait);
  EXPECT_EQ(target[0].groupMembership()->groupID, groups.begin()->first);
  EXPECT_EQ(target[1].groupMembership()->groupID, groups.begin()->first);
  EXPECT_DOUBLE_EQ(target[0].settings().width.value(), 0.25 * 1920 / 1080);
  // Layer 2 kept its own geometry, 0.5 wide, which still fits the portrait canvas after translation.
  EXPECT_DOUBLE_EQ(target[1].settings().width.value(), 0.5 * 1920 / 1080);
}

TEST(SceneTransferElements, AnchoredBlockIsCentredAndClampedPerAxis) {
  // Two layers whose translated box spans x 0 to 0.8 and y 0 to 0.4 on the square canvas:
  // landscape 0.45 wide is 0.8 of the square (1920 / 1080 scale), 0.4 high stays 0.4.
  Scene scene = sceneWith({layerAt(1, 0, 0, 0.225, 0.2), layerAt(2, 0.225, 0.2, 0.225, 0.2)});
  auto copied = scene.transferElements({id(1), id(2)}, AspectRatio::landscape, AspectRatio::square,
                                       Scene::TransferPlacement::anchored({0.5, 0.5}, {0.5, 0.5}), false,
                                       std::nullopt, noGeometry);
  ASSERT_EQ(copied.size(), 2u);
  const auto& target = scene.elements(AspectRatio::square);
  const auto box = [&] {
    double minX = 9, minY = 9, maxX = -9, maxY = -9;
    for (const auto& e : target) {
      const Rect r = e.settings().rect().value();
      minX = std::min(minX, r.minX());
      minY = std::min(minY, r.minY());
      maxX = std::max(maxX, r.maxX());
      maxY = std::max(maxY, r.maxY());
    }
    return Rect(minX, minY, maxX - minX, maxY - minY);
  }();
  EXPECT_NEAR(box.midX(), 0.5, 1e-12);
  EXPECT_NEAR(box.midY(), 0.5, 1e-12);
  EXPECT_EQ(target[0].settingsUpdated(), true);

  // Wider than the canvas: x follows the anchor unclamped; y is clamped on its own.
  Scene wide = sceneWith({layerAt(1, -0.25, 0.25, 1.5, 0.5)});
  copied = wide.transferElements({id(1)}, AspectRatio::landscape, AspectRatio::portrait,
                                 Scene::TransferPlacement::anchored({0.5, 0.5}, {0.5, 0.95}), false, std::nullopt,
                                 noGeometry);
  ASSERT_EQ(copied.size(), 1u);
  const auto& moved = wide.elements(AspectRatio::portrait)[0].settings();
  EXPECT_DOUBLE_EQ(moved.width.value(), 1.5 * 16 / 9);
  EXPECT_DOUBLE_EQ(moved.xPosition.value(), 0.5 - 1.5 * 16 / 9 / 2);
  EXPECT_DOUBLE_EQ(moved.yPosition.value(), 1 - 0.5 * 9 / 16);  // 0.95 - 0.140625 clamped to 1 - h
}

}  // namespace
}  // namespace tav
