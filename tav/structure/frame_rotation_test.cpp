#include "tav/structure/frame_rotation.hpp"

#include <gtest/gtest.h>

#include "tav/structure/member_sizing.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

void expectRectNear(const Rect& actual, const Rect& expected) {
  EXPECT_NEAR(actual.origin.x, expected.origin.x, 1e-12);
  EXPECT_NEAR(actual.origin.y, expected.origin.y, 1e-12);
  EXPECT_NEAR(actual.size.width, expected.size.width, 1e-12);
  EXPECT_NEAR(actual.size.height, expected.size.height, 1e-12);
}

const Size canvas{1920, 1080};

TEST(FrameRotation, FoldsWholeDegreesIntoMinus180To180) {
  const std::pair<int, int> cases[] = {{181, -179}, {180, 180}, {-180, -180}, {-181, 179},
                                       {540, 180},  {450, 90},  {-450, -90},  {0, 0}};
  for (const auto& [degrees, folded] : cases) EXPECT_EQ(FrameRotation::folded(degrees), folded) << degrees;
}

TEST(FrameRotation, InheritedRotationSumsTheFrameChain) {
  std::vector<SceneElement> elements{rotated(inFrame(frameLayer(2), 1), 200), rotated(frameLayer(1), 450),
                                     inFrame(shapeLayer(3), 2)};
  EXPECT_EQ(FrameRotation::inheritedRotation(std::nullopt, elements), 0);
  EXPECT_EQ(FrameRotation::inheritedRotation(id(1), elements), 90);
  // 200 + 90 = 290, folded to -70.
  EXPECT_EQ(FrameRotation::inheritedRotation(id(2), elements), -70);
  EXPECT_EQ(FrameRotation::inheritedRotation(id(9), elements), 0);

  // A frame that is its own parent stops after 64 steps: 64 * 10 = 640, folded to -80.
  std::vector<SceneElement> cycle{rotated(inFrame(frameLayer(5), 5), 10)};
  EXPECT_EQ(FrameRotation::inheritedRotation(id(5), cycle), -80);
}

TEST(FrameRotation, UnrotatedFrameKeepsItsMembersWhereTheyWereResolved) {
  std::vector<SceneElement> elements{rotated(inFrame(shapeLayer(2), 1), 30), frameLayer(1)};
  ResolvedLayoutRects resolved{{id(1).toString(), Rect(0.1, 0.1, 0.5, 0.5)},
                               {id(2).toString(), Rect(0.2, 0.25, 0.125, 0.25)}};
  auto placements = FrameRotation::placements(resolved, elements, canvas);
  ASSERT_EQ(placements.size(), 2u);
  const auto& member = placements.at(id(2).toString());
  expectRectNear(member.rect, Rect(0.2, 0.25, 0.125, 0.25));
  EXPECT_EQ(member.rotation, 30);
  EXPECT_EQ(member.inheritedRotation, 0);
  const auto& root = placements.at(id(1).toString());
  expectRectNear(root.rect, Rect(0.1, 0.1, 0.5, 0.5));
  EXPECT_EQ(root.rotation, 0);
  EXPECT_EQ(root.inheritedRotation, 0);
}

TEST(FrameRotation, QuarterTurnCarriesAMemberCentreAroundTheFrameCentre) {
  // Frame (480, 270, 960, 540) on the canvas, centre (960, 540). The member is 96 by 108 with its
  // centre 192 to the left of the frame's centre: (768, 540), so origin (720, 486).
  for (int frameRotation : {90, 450}) {
    std::vector<SceneElement> elements{inFrame(shapeLayer(2), 1), rotated(frameLayer(1), frameRotation)};
    ResolvedLayoutRects resolved{{id(1).toString(), Rect(0.25, 0.25, 0.5, 0.5)},
                                 {id(2).toString(), Rect(720.0 / 1920, 486.0 / 1080, 0.05, 0.1)}};
    auto placements = FrameRotation::placements(resolved, elements, canvas);
    const auto& member = placements.at(id(2).toString());
    // (-192, 0) turned by 90 degrees is (0, -192): the centre lands at (960, 348), the size stays.
    expectRectNear(member.rect, Rect((960.0 - 48) / 1920, (348.0 - 54) / 1080, 0.05, 0.1));
    EXPECT_EQ(member.rotation, 90);
    EXPECT_EQ(member.inheritedRotation, 90);
    EXPECT_EQ(placements.at(id(1).toString()).rotation, 90);
  }
}

TEST(FrameRotation, NestedRotationsAreSummedThenFolded) {
  std::vector<SceneElement> elements{rotated(inFrame(shapeLayer(3), 2), 100), rotated(inFrame(frameLayer(2), 1), 100),
                                     rotated(frameLayer(1), 100)};
  ResolvedLayoutRects resolved{{id(1).toString(), Rect(0, 0, 1, 1)},
                               {id(2).toString(), Rect(0.25, 0.25, 0.5, 0.5)},
                               {id(3).toString(), Rect(0.4, 0.4, 0.2, 0.2)}};
  auto placements = FrameRotation::placements(resolved, elements, canvas);
  EXPECT_EQ(placements.at(id(3).toString()).rotation, -60);  // folded(300)
  EXPECT_EQ(placements.at(id(3).toString()).inheritedRotation, -160);  // folded(200)
  EXPECT_EQ(placements.at(id(2).toString()).rotation, -160);
  EXPECT_EQ(placements.at(id(2).toString()).inheritedRotation, 100);
  // Everything is centred on the canvas centre, which the rotations leave in place.
  expectRectNear(placements.at(id(3).toString()).rect, Rect(0.4, 0.4, 0.2, 0.2));
}

TEST(FrameRotation, RootFrameFallsBackToItsSettingsAndLeavesOutWhatNothingPlaces) {
  // The root is missing from the resolved rectangles: its members are placed from its own geometry
  // and it gets no placement itself.
  std::vector<SceneElement> elements{inFrame(shapeLayer(2), 1), inFrame(shapeLayer(3), 1),
                                     rotated(at(frameLayer(1), Rect(0.25, 0.25, 0.5, 0.5)), 180),
                                     inFrame(shapeLayer(5), 4), frameLayer(4), inFrame(shapeLayer(7), 6),
                                     shapeLayer(8)};
  ResolvedLayoutRects resolved{{id(2).toString(), Rect(0.25, 0.25, 0.25, 0.5)},
                               {id(5).toString(), Rect(0, 0, 0.1, 0.1)},
                               {id(7).toString(), Rect(0, 0, 0.1, 0.1)},
                               {id(8).toString(), Rect(0, 0, 0.1, 0.1)}};
  auto placements = FrameRotation::placements(resolved, elements, canvas);
  ASSERT_EQ(placements.size(), 1u);
  // A half turn about (960, 540) takes the centre (720, 540) to (1200, 540).
  const auto& member = placements.at(id(2).toString());
  expectRectNear(member.rect, Rect(0.5, 0.25, 0.25, 0.5));
  EXPECT_EQ(member.rotation, 180);
  // Layer 3 has no rectangle; frame 4 has neither one nor geometry; frame 6 does not exist; layer 8
  // is in no frame.
}

TEST(FrameRotation, EmptyResolvedOrFlatCanvasPlacesNothing) {
  std::vector<SceneElement> elements{inFrame(shapeLayer(2), 1), at(frameLayer(1), Rect(0, 0, 1, 1))};
  ResolvedLayoutRects resolved{{id(1).toString(), Rect(0, 0, 1, 1)}, {id(2).toString(), Rect(0, 0, 1, 1)}};
  EXPECT_TRUE(FrameRotation::placements({}, elements, canvas).empty());
  EXPECT_TRUE(FrameRotation::placements(resolved, elements, Size{0, 1080}).empty());
  EXPECT_TRUE(FrameRotation::placements(resolved, elements, Size{1920, -1}).empty());
}

TEST(MemberSizing, ReferenceCanvasAndMainAxis) {
  EXPECT_EQ(MemberSizing::reference(SceneLayoutAxis::width), 1920.0);
  EXPECT_EQ(MemberSizing::reference(SceneLayoutAxis::height), 1080.0);
  EXPECT_TRUE(MemberSizing::isMainAxis(SceneLayoutAxis::width, SceneFlexDirection::row));
  EXPECT_FALSE(MemberSizing::isMainAxis(SceneLayoutAxis::height, SceneFlexDirection::row));
  EXPECT_TRUE(MemberSizing::isMainAxis(SceneLayoutAxis::height, SceneFlexDirection::column));
  EXPECT_FALSE(MemberSizing::isMainAxis(SceneLayoutAxis::width, SceneFlexDirection::column));
}

TEST(MemberSizing, ModeReadsGrowOnTheMainAxisAndStretchOnTheCrossAxis) {
  using enum SceneSizeMode;
  const auto row = SceneFlexDirection::row;
  const auto width = SceneLayoutAxis::width;
  const auto height = SceneLayoutAxis::height;
  EXPECT_EQ(MemberSizing::mode(std::nullopt, width, row), hug);

  SceneLayoutItem text;  // A text member: no dimensions.
  EXPECT_EQ(MemberSizing::mode(text, width, row), hug);

  SceneLayoutItem stretched;
  stretched.alignSelf = SceneFlexAlign::stretch;
  stretched.width = SceneDimension{200, SceneDimension::Unit::point};
  EXPECT_EQ(MemberSizing::mode(stretched, width, row), fixed);  // stretch counts only across
  EXPECT_EQ(MemberSizing::mode(stretched, height, row), fill);

  SceneLayoutItem growing;
  growing.grow = 0.5;
  growing.height = SceneDimension::auto_();
  EXPECT_EQ(MemberSizing::mode(growing, width, row), fill);
  EXPECT_EQ(MemberSizing::mode(growing, height, row), hug);
  EXPECT_EQ(MemberSizing::mode(growing, width, SceneFlexDirection::column), hug);
}

TEST(MemberSizing, ApplyWritesEachModeIntoTheFlexFields) {
  using enum SceneSizeMode;
  SceneLayoutItem item;
  item.grow = 2;
  item.alignSelf = SceneFlexAlign::stretch;
  item.width = SceneDimension{10, SceneDimension::Unit::percent};

  SceneLayoutItem fillMain = item;
  MemberSizing::apply(fill, SceneLayoutAxis::width, SceneFlexDirection::row, 300, fillMain);
  EXPECT_EQ(fillMain.grow, 1.0);
  EXPECT_FALSE(fillMain.width);
  EXPECT_EQ(fillMain.alignSelf, SceneFlexAlign::stretch);  // alignSelf stays on the main axis

  SceneLayoutItem hugCross = item;
  MemberSizing::apply(hug, SceneLayoutAxis::width, SceneFlexDirection::column, 300, hugCross);
  EXPECT_EQ(hugCross.width, SceneDimension::auto_());
  EXPECT_FALSE(hugCross.alignSelf);
  EXPECT_EQ(hugCross.grow, 2);  // grow stays on the cross axis

  SceneLayoutItem fixedMain = item;
  MemberSizing::applyFixedSize(300, SceneLayoutAxis::height, SceneFlexDirection::column, fixedMain);
  EXPECT_EQ(fixedMain.height, (SceneDimension{300, SceneDimension::Unit::point}));
  EXPECT_EQ(fixedMain.grow, 0);
  EXPECT_EQ(fixedMain.width, item.width);

  SceneLayoutItem fillCross;
  fillCross.alignSelf = SceneFlexAlign::end;
  MemberSizing::apply(fill, SceneLayoutAxis::height, SceneFlexDirection::row, 0, fillCross);
  EXPECT_EQ(fillCross.alignSelf, SceneFlexAlign::stretch);
  SceneLayoutItem fixedCross = fillCross;
  fixedCross.alignSelf = SceneFlexAlign::end;
  MemberSizing::apply(fixed, SceneLayoutAxis::height, SceneFlexDirection::row, 50, fixedCross);
  EXPECT_EQ(fixedCross.alignSelf, SceneFlexAlign::end);  // only a stretch is cleared
}

TEST(MemberSizing, MigratingKeepsEachAxisModeAcrossADirectionChange) {
  SceneLayoutItem item;
  item.grow = 1;
  item.shrink = 0.5;
  item.width = SceneDimension{640, SceneDimension::Unit::point};
  item.height = SceneDimension{360, SceneDimension::Unit::point};
  item.aspectRatio = 1.5;

  SceneLayoutItem migrated = item;  // the height, shrink and aspect ratio stay
  migrated.alignSelf = SceneFlexAlign::stretch;  // width filled the row; it stretches across
  migrated.grow = 0;                              // height was fixed; it no longer grows
  migrated.width.reset();
  EXPECT_EQ(MemberSizing::migrating(item, SceneFlexDirection::row, SceneFlexDirection::column), migrated);

  SceneLayoutItem hugging;
  hugging.alignSelf = SceneFlexAlign::stretch;  // height fills the row's cross axis
  SceneLayoutItem back;  // no alignSelf and no height
  back.grow = 1.0;
  back.width = SceneDimension::auto_();
  EXPECT_EQ(MemberSizing::migrating(hugging, SceneFlexDirection::row, SceneFlexDirection::column), back);

  EXPECT_EQ(MemberSizing::migrating(item, SceneFlexDirection::row, SceneFlexDirection::row), item);
  EXPECT_EQ(MemberSizing::migrating(std::nullopt, SceneFlexDirection::row, SceneFlexDirection::column), std::nullopt);
}

TEST(SceneElementSettings, BakeRotationRebasesOntoTheLandingRotation) {
  SceneElementSettings settings;
  settings.rotation = 5;
  settings.bakeRotation(SceneLayoutPlacement(Rect(), 120, 90), 90);
  EXPECT_EQ(settings.rotation, 5);  // same inherited rotation: nothing changes
  settings.bakeRotation(SceneLayoutPlacement(Rect(), 120, 90), 0);
  EXPECT_EQ(settings.rotation, 120);
  settings.bakeRotation(SceneLayoutPlacement(Rect(), 170, 100), -20);
  EXPECT_EQ(settings.rotation, -170);  // 190 is 181 or more
  settings.bakeRotation(SceneLayoutPlacement(Rect(), -170, 10), 20);
  EXPECT_EQ(settings.rotation, 170);  // -190 is below -180
}

}  // namespace
}  // namespace tav
