#include "tav/structure/frame_operations.hpp"

#include <gtest/gtest.h>

#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

SceneElement textLayer(unsigned number) {
  return SceneElement(id(number), SceneElementType(SceneElementTextSettings{}), shapeLayer(number).settings());
}

SceneElement feedLayer(unsigned number) {
  return SceneElement(id(number), SceneElementType(SceneElementFeedSettings{}), shapeLayer(number).settings());
}

std::size_t indexOf(const Scene& scene, const Uuid& layerID) {
  for (std::size_t i = 0; i < scene.elements().size(); ++i) {
    if (scene.elements()[i].id() == layerID) return i;
  }
  throw std::out_of_range("no layer " + layerID.toString());
}

const SceneElement& layer(const Scene& scene, const Uuid& layerID) { return scene.elements()[indexOf(scene, layerID)]; }

SceneDimension points(double value) { return {value, SceneDimension::Unit::point}; }

TEST(FrameOperations, SubtreeIsBreadthFirstWithMembersInArrayOrder) {
  std::vector<SceneElement> elements{inFrame(shapeLayer(4), 3), inFrame(shapeLayer(2), 1), inFrame(frameLayer(3), 1),
                                     inFrame(shapeLayer(5), 1), frameLayer(1), shapeLayer(6)};
  auto ids = FrameOperations::subtreeIDs(id(1), elements);
  EXPECT_EQ(ids, (std::vector<Uuid>{id(1), id(2), id(3), id(5), id(4)}));
  EXPECT_TRUE(FrameOperations::subtreeIDs(id(6), elements).empty());  // not a frame
  EXPECT_TRUE(FrameOperations::subtreeIDs(id(9), elements).empty());

  // Frames that hold each other end the walk rather than loop.
  std::vector<SceneElement> cycle{inFrame(frameLayer(1), 2), inFrame(frameLayer(2), 1)};
  EXPECT_EQ(FrameOperations::subtreeIDs(id(1), cycle), (std::vector<Uuid>{id(1), id(2)}));
}

TEST(FrameOperations, AncestryQueries) {
  std::vector<SceneElement> elements{inFrame(shapeLayer(3), 2), inFrame(frameLayer(2), 1), frameLayer(1),
                                     shapeLayer(4), inFrame(frameLayer(8), 9), inFrame(frameLayer(9), 8)};
  EXPECT_TRUE(FrameOperations::isDescendant(id(3), id(1), elements));
  EXPECT_TRUE(FrameOperations::isDescendant(id(4), id(4), elements));
  EXPECT_FALSE(FrameOperations::isDescendant(id(1), id(3), elements));
  EXPECT_FALSE(FrameOperations::isDescendant(id(4), id(1), elements));
  EXPECT_FALSE(FrameOperations::isDescendant(id(8), id(1), elements));  // a cycle ends after 64 steps

  EXPECT_EQ(FrameOperations::outermost({id(3), id(4), id(1), id(2)}, elements), (std::vector<Uuid>{id(4), id(1)}));
  EXPECT_EQ(FrameOperations::outermost({id(3), id(2)}, elements), (std::vector<Uuid>{id(2)}));
  EXPECT_EQ(FrameOperations::outermost({id(8)}, elements), (std::vector<Uuid>{id(8)}));  // cycle: kept

  EXPECT_EQ(FrameOperations::parentFrameID({id(2)}, elements), id(1));
  EXPECT_EQ(FrameOperations::parentFrameID({id(2), id(3)}, elements), std::nullopt);
  EXPECT_EQ(FrameOperations::parentFrameID({id(1), id(4)}, elements), std::nullopt);

  EXPECT_EQ(FrameOperations::unionRect({}), std::nullopt);
  EXPECT_EQ(FrameOperations::unionRect({Rect(0.5, 0.25, 0.25, 0.25), Rect(0.125, 0.5, 0.125, 0.375)}),
            Rect(0.125, 0.25, 0.625, 0.625));
}

TEST(FrameOperations, DefaultMemberLayoutSizesOnTheReferenceCanvas) {
  SceneLayoutItem text;  // in the flow, not growing, shrinking; a text has no dimensions
  text.shrink = 1;
  EXPECT_EQ(FrameOperations::defaultMemberLayout(textLayer(2)), text);
  SceneLayoutItem shape = text;  // no basis, alignment, margin, inset or aspect ratio either
  shape.width = points(480);     // 0.25 * 1920
  shape.height = points(540);    // 0.5 * 1080
  EXPECT_EQ(FrameOperations::defaultMemberLayout(at(shapeLayer(1), Rect(0, 0, 0.25, 0.5))), shape);

  SceneElement frame = at(frameLayer(3), Rect(0, 0, 0.5, 0.5));
  frame.type().frameSettings()->widthHugsContent = true;
  auto hugging = FrameOperations::defaultMemberLayout(frame);
  EXPECT_EQ(hugging.width, SceneDimension::auto_());
  EXPECT_EQ(hugging.height, points(540));

  SceneElement noWidth = shapeLayer(4);
  noWidth.settings().width.reset();
  EXPECT_EQ(FrameOperations::defaultMemberLayout(noWidth).width, points(0));
}

TEST(FrameOperations, WrapMakesADefaultFrameBehindTheRearmostMember) {
  Scene scene = sceneWith({at(shapeLayer(1), Rect(0.5, 0.25, 0.25, 0.25)), shapeLayer(2),
                           at(feedLayer(3), Rect(0.125, 0.5, 0.125, 0.375)), textLayer(4), shapeLayer(5)});
  scene.routedFormatForEditing().elements[1].settings().width.reset();

  auto frameID = FrameOperations::wrap({id(3), id(1), id(2), id(4)}, scene);
  ASSERT_TRUE(frameID);
  ASSERT_EQ(indexOf(scene, *frameID), 4u);  // just behind layer 4, in front of layer 5
  EXPECT_EQ(numbers(scene.elements()).back(), 5u);

  const SceneElement& frame = layer(scene, *frameID);
  const SceneFrameSettings* stack = frame.type().frameSettings();
  ASSERT_TRUE(stack);
  SceneFrameSettings newStack;  // a row from the start, with nothing else set but these
  newStack.align = SceneFlexAlign::center;
  newStack.gap = points(16);
  newStack.padding = SceneEdgeInsets::all(points(16));
  newStack.widthHugsContent = true;
  newStack.heightHugsContent = true;
  EXPECT_EQ(*stack, newStack);
  // Layer 2 has no width and does not count; layer 4 sits at the origin with half the canvas.
  EXPECT_EQ(frame.settings().rect(), Rect(0, 0, 0.75, 0.875));
  EXPECT_EQ(frame.settings()._cornerRadius, 0);
  EXPECT_EQ(frame.settings().opacity, 1.0);
  EXPECT_EQ(frame.settings().isHidden, false);
  EXPECT_FALSE(frame.settings().isLocked || frame.settings().rotation || frame.settings().layout);
  EXPECT_FALSE(frame.frameID() || frame.groupMembership() || frame.settingsUpdated());

  for (unsigned member : {1u, 2u, 3u, 4u}) {
    const SceneElement& e = layer(scene, id(member));
    EXPECT_EQ(e.frameID(), frameID);
    EXPECT_EQ(e.settingsUpdated(), true);
    ASSERT_TRUE(e.settings().layout);
  }
  EXPECT_EQ(layer(scene, id(2)).settings().layout->width, points(0));
  EXPECT_EQ(layer(scene, id(3)).settings().layout->width, points(240));  // 0.125 * 1920
  EXPECT_EQ(layer(scene, id(3)).settings().lockAspectRatio, false);      // a feed stops keeping its ratio
  EXPECT_EQ(layer(scene, id(4)).settings().lockAspectRatio, std::nullopt);  // a text keeps it
  EXPECT_FALSE(layer(scene, id(5)).frameID());
}

TEST(FrameOperations, WrapRefusesWithoutMembersOrGeometry) {
  SceneElement bare = shapeLayer(1);
  bare.settings().height.reset();
  const Scene before = sceneWith({bare, shapeLayer(2)});
  for (const auto& ids : {std::vector<Uuid>{}, std::vector<Uuid>{id(9)}, std::vector<Uuid>{id(1)}}) {
    Scene scene = before;
    EXPECT_FALSE(FrameOperations::wrap(ids, scene));
    EXPECT_EQ(scene, before);
  }
}

TEST(FrameOperations, WrapNestsOrLiftsByTheMembersParents) {
  // A frame and one of its own members: only the frame is wrapped, the member stays in it.
  Scene own = sceneWith({inFrame(shapeLayer(2), 1), at(frameLayer(1), Rect(0, 0, 1, 1))});
  auto outer = FrameOperations::wrap({id(2), id(1)}, own);
  ASSERT_TRUE(outer);
  EXPECT_EQ(layer(own, id(1)).frameID(), outer);
  EXPECT_EQ(layer(own, id(2)).frameID(), id(1));
  EXPECT_FALSE(layer(own, *outer).frameID());

  // Members of two frames: a top-level frame, and they leave their frames.
  Scene two = sceneWith({inFrame(shapeLayer(2), 1), at(frameLayer(1), Rect(0, 0, 1, 1)), inFrame(shapeLayer(4), 3),
                         at(frameLayer(3), Rect(0, 0, 1, 1))});
  auto top = FrameOperations::wrap({id(2), id(4)}, two);
  ASSERT_TRUE(top);
  EXPECT_FALSE(layer(two, *top).frameID());
  EXPECT_FALSE(layer(two, *top).settings().layout);
  EXPECT_EQ(layer(two, id(2)).frameID(), top);
  EXPECT_EQ(layer(two, id(4)).frameID(), top);

  // All members in one frame: a nested frame that flows without growing.
  Scene one = sceneWith({inFrame(shapeLayer(2), 1), inFrame(shapeLayer(3), 1), at(frameLayer(1), Rect(0, 0, 1, 1))});
  auto nested = FrameOperations::wrap({id(2), id(3)}, one);
  ASSERT_TRUE(nested);
  const SceneElement& frame = layer(one, *nested);
  EXPECT_EQ(frame.frameID(), id(1));
  EXPECT_EQ(frame.settingsUpdated(), true);
  SceneLayoutItem flow;
  flow.grow = 0;
  flow.shrink = 1;
  EXPECT_EQ(frame.settings().layout.toOptional(), flow);
}

TEST(FrameOperations, WrapStripsFolderMembershipsButKeepsSplitBookends) {
  // The folder's only member leaves it, and the clean-up removes the folder.
  Scene folderScene = sceneWith({inGroup(shapeLayer(1), 50), shapeLayer(2)}, {folder(50)});
  auto frameID = FrameOperations::wrap({id(1)}, folderScene);
  ASSERT_TRUE(frameID);
  EXPECT_FALSE(layer(folderScene, id(1)).groupMembership());
  EXPECT_TRUE(folderScene.groups().empty());

  // Ungrouped members run no repair: an empty folder stays.
  Scene plain = sceneWith({shapeLayer(1), shapeLayer(2)}, {folder(60)});
  ASSERT_TRUE(FrameOperations::wrap({id(1)}, plain));
  EXPECT_TRUE(plain.groups().contains(id(60)));

  // The place behind member 3 lies inside the split (bookends at 1 and 4): the frame goes in front of
  // the whole split, at the front-most bookend's index.
  Scene split = sceneWith({shapeLayer(1), inGroup(shapeLayer(2), 70, SceneElementGroupRole::splitForeground),
                           shapeLayer(3), inGroup(shapeLayer(4), 70, SceneElementGroupRole::splitBackground)},
                          {splitGroup(70)});
  auto splitFrame = FrameOperations::wrap({id(2), id(3)}, split);
  ASSERT_TRUE(splitFrame);
  EXPECT_EQ(indexOf(split, *splitFrame), 1u);
  EXPECT_EQ(layer(split, id(2)).groupMembership()->role, SceneElementGroupRole::splitForeground);
  EXPECT_EQ(layer(split, id(2)).frameID(), splitFrame);
}

TEST(FrameOperations, ConvertFolderToStackWrapsDirectMembersOnly) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51), inGroup(shapeLayer(3), 51),
                           inGroup(shapeLayer(4), 50), shapeLayer(5)},
                          {folder(50), folder(51, 50)});
  auto frameID = FrameOperations::convertFolderToStack(id(50), scene);
  ASSERT_TRUE(frameID);
  EXPECT_EQ(layer(scene, id(1)).frameID(), frameID);
  EXPECT_EQ(layer(scene, id(4)).frameID(), frameID);
  EXPECT_FALSE(layer(scene, id(1)).groupMembership());
  EXPECT_FALSE(layer(scene, id(2)).frameID());  // the nested folder moved up, its members stayed out
  EXPECT_FALSE(scene.groups().contains(id(50)));
  ASSERT_TRUE(scene.groups().contains(id(51)));
  EXPECT_FALSE(scene.groups().at(id(51)).parentGroupID);
  EXPECT_EQ(indexOf(scene, *frameID), 4u);

  // A folder in a mask folder, or a mask folder itself, stays as it is.
  const Scene masked = sceneWith({inGroup(shapeLayer(1), 61), inGroup(shapeLayer(2), 61), inGroup(shapeLayer(3), 60)},
                                 {folder(60, std::nullopt, true), folder(61, 60)});
  for (unsigned group : {60u, 61u, 99u}) {
    Scene copy = masked;
    EXPECT_FALSE(FrameOperations::convertFolderToStack(id(group), copy));
    EXPECT_EQ(copy, masked);
  }

  // A nested folder whose parent held nothing else: the parent is left standing empty.
  Scene nested = sceneWith({inGroup(shapeLayer(1), 71), inGroup(shapeLayer(2), 71)}, {folder(70), folder(71, 70)});
  ASSERT_TRUE(FrameOperations::convertFolderToStack(id(71), nested));
  EXPECT_TRUE(nested.groups().contains(id(70)));
  EXPECT_FALSE(layer(nested, id(1)).groupMembership());
}

TEST(FrameOperations, CopySubtreeRemapsFramesAndInnerMasks) {
  std::vector<SceneElement> elements{maskedBy(inFrame(shapeLayer(2), 1), 3), inFrame(shapeLayer(3), 1),
                                     maskedBy(inFrame(shapeLayer(4), 1), 9), inGroup(frameLayer(1), 50), shapeLayer(9)};
  auto clones = FrameOperations::copySubtree(id(1), elements, false);
  ASSERT_EQ(clones.size(), 4u);
  const Uuid root = clones[0].id();
  EXPECT_NE(root, id(1));
  EXPECT_FALSE(clones[0].frameID());
  EXPECT_FALSE(clones[0].groupMembership());
  for (std::size_t i = 1; i < clones.size(); ++i) {
    EXPECT_EQ(clones[i].frameID(), root);
    EXPECT_TRUE(clones[i].settings().layout);
    EXPECT_EQ(clones[i].settingsUpdated(), true);
  }
  ASSERT_TRUE(clones[1].settings().mask);
  EXPECT_EQ(clones[1].settings().mask->layerID, clones[2].id());  // points at the copy of its layer
  EXPECT_FALSE(clones[3].settings().mask);                         // its layer is outside the subtree

  auto kept = FrameOperations::copySubtree(id(1), elements, true);
  EXPECT_EQ(kept[0].groupMembership(), (SceneElementGroupMembership{id(50), std::nullopt}));
  EXPECT_TRUE(FrameOperations::copySubtree(id(9), elements, true).empty());
}

TEST(FrameOperations, DuplicateStaysInTheFolderAndPasteElsewhereStandsAlone) {
  Scene scene = sceneWith({inFrame(shapeLayer(2), 1), inGroup(frameLayer(1), 50), inGroup(shapeLayer(3), 50)},
                          {folder(50)});
  auto copyID = FrameOperations::duplicate(id(1), scene);
  ASSERT_TRUE(copyID);
  ASSERT_EQ(scene.elements().size(), 5u);
  EXPECT_EQ(scene.elements()[1].id(), *copyID);  // the block stands at the source frame's index, frame first
  EXPECT_EQ(scene.elements()[2].frameID(), copyID);
  EXPECT_EQ(layer(scene, *copyID).groupMembership()->groupID, id(50));
  EXPECT_FALSE(scene.elements()[2].groupMembership());
  EXPECT_FALSE(FrameOperations::duplicate(id(3), scene));

  SceneFormat otherFormat;
  otherFormat.elements = {shapeLayer(7)};
  Scene other(Scene::Identity{.id = "OTHER"}, "Other", AspectRatio::landscape, otherFormat);
  auto pastedID = FrameOperations::paste(id(1), scene, other);
  ASSERT_TRUE(pastedID);
  EXPECT_EQ(other.elements()[0].id(), *pastedID);
  EXPECT_FALSE(other.elements()[0].frameID());
  EXPECT_FALSE(other.elements()[0].groupMembership());
  EXPECT_EQ(other.elements()[1].frameID(), pastedID);
  EXPECT_EQ(numbers(other.elements()).back(), 7u);

  // Pasting into the same document keeps the parent and the place.
  Scene same = scene;
  auto again = FrameOperations::paste(id(1), scene, same);
  ASSERT_TRUE(again);
  EXPECT_EQ(indexOf(same, *again), indexOf(scene, id(1)));
  EXPECT_EQ(layer(same, *again).groupMembership()->groupID, id(50));
}

TEST(FrameOperations, BakeAndRemoveFreesMembersAtTheirPlacements) {
  // Frame 2 (rotated 30) inside frame 1 (rotated 60); its members are 3 and 4, and frame 5 with member 6.
  Scene scene = sceneWith({inFrame(shapeLayer(3), 2), rotated(inFrame(shapeLayer(4), 2), 10), inFrame(shapeLayer(6), 5),
                           inFrame(frameLayer(5), 2), rotated(inFrame(frameLayer(2), 1), 30), rotated(frameLayer(1), 60)});
  SceneLayoutPlacements placements{{id(3).toString(), SceneLayoutPlacement(Rect(0.1, 0.2, 0.3, 0.4), 90, 90)},
                                   {id(4).toString(), SceneLayoutPlacement(Rect(0.5, 0.5, 0.25, 0.25), 100, 90)}};
  Scene promoted = scene;
  auto freed = FrameOperations::bakeAndRemove(id(2), placements, true, promoted);
  EXPECT_EQ(freed, (std::vector<Uuid>{id(3), id(4), id(5)}));
  EXPECT_THROW(layer(promoted, id(2)), std::out_of_range);
  const SceneElement& three = layer(promoted, id(3));
  EXPECT_EQ(three.settings().rect(), Rect(0.1, 0.2, 0.3, 0.4));
  EXPECT_EQ(three.frameID(), id(1));
  EXPECT_EQ(three.settings().rotation, 30);  // 90 on screen, 60 of it from frame 1
  ASSERT_TRUE(three.settings().layout);
  EXPECT_EQ(three.settings().layout->width, points(576));  // 0.3 * 1920 after the move
  EXPECT_EQ(layer(promoted, id(4)).settings().rotation, 40);
  EXPECT_EQ(layer(promoted, id(5)).frameID(), id(1));
  EXPECT_EQ(layer(promoted, id(5)).settings().rect(), std::nullopt);  // no placement: geometry kept
  EXPECT_EQ(layer(promoted, id(6)).frameID(), id(5));  // nested frames leave whole

  // Not promoted: everything goes to the top level without a layout.
  Scene top = scene;
  FrameOperations::bakeAndRemove(id(2), placements, false, top);
  EXPECT_FALSE(layer(top, id(3)).frameID());
  EXPECT_FALSE(layer(top, id(3)).settings().layout);
  EXPECT_EQ(layer(top, id(3)).settings().rotation, 90);
  EXPECT_EQ(layer(top, id(5)).settingsUpdated(), true);

  // A placement whose inherited rotation matches the landing leaves the rotation alone.
  Scene matching = scene;
  FrameOperations::bakeAndRemove(id(2), {{id(4).toString(), SceneLayoutPlacement(Rect(0, 0, 1, 1), 100, 60)}}, true,
                                 matching);
  EXPECT_EQ(layer(matching, id(4)).settings().rotation, 10);
}

TEST(FrameOperations, BakingIsThePureGeometryChange) {
  std::vector<SceneElement> elements{rotated(inFrame(shapeLayer(2), 1), 5), inFrame(shapeLayer(3), 1),
                                     rotated(frameLayer(1), 45)};
  SceneLayoutPlacements placements{{id(2).toString(), SceneLayoutPlacement(Rect(0.1, 0.1, 0.2, 0.2), 50, 45)},
                                   {id(3).toString(), SceneLayoutPlacement(Rect(0.3, 0.3, 0.2, 0.2), 45, 45)}};
  EXPECT_EQ(FrameOperations::baking({}, elements, std::nullopt, FrameOperations::RotationLanding::unchanged()),
            elements);

  auto top = FrameOperations::baking(placements, elements, std::nullopt,
                                     FrameOperations::RotationLanding::inside(std::nullopt));
  EXPECT_EQ(top[0].settings().rect(), Rect(0.1, 0.1, 0.2, 0.2));
  EXPECT_EQ(top[0].settings().rotation, 50);
  EXPECT_EQ(top[1].settings().rotation, 45);
  EXPECT_EQ(top[0].frameID(), id(1));  // baking moves nothing between frames
  EXPECT_EQ(top[2], elements[2]);

  auto inside = FrameOperations::baking(placements, elements, std::nullopt,
                                        FrameOperations::RotationLanding::inside(id(1)));
  EXPECT_EQ(inside[0].settings().rotation, 5);  // lands where the same 45 degrees apply

  auto limited = FrameOperations::baking(placements, elements, std::unordered_set<Uuid>{id(3)},
                                         FrameOperations::RotationLanding::unchanged());
  EXPECT_EQ(limited[0], elements[0]);
  EXPECT_EQ(limited[1].settings().rect(), Rect(0.3, 0.3, 0.2, 0.2));
  EXPECT_EQ(limited[1].settingsUpdated(), true);
  EXPECT_EQ(limited[1].settings().rotation, std::nullopt);
  EXPECT_NE(FrameOperations::RotationLanding::inside(id(1)), FrameOperations::RotationLanding::inside(id(2)));
  EXPECT_NE(FrameOperations::RotationLanding::inside(std::nullopt), FrameOperations::RotationLanding::unchanged());
}

}  // namespace
}  // namespace tav
