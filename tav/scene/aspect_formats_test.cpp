#include <gtest/gtest.h>

#include <set>

#include "tav/contracts/in_memory_transfer_asset_manager.hpp"
#include "tav/scene/scene.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

struct Geometry {
  double x, y, w, h;
};

Geometry geometryOf(const SceneElement& element) {
  const auto& s = element.settings();
  return {s.xPosition.value(), s.yPosition.value(), s.width.value(), s.height.value()};
}

Geometry translatedGeometry(const SceneElement& element, AspectRatio from, AspectRatio to) {
  return geometryOf(Scene::translated(element, from, to));
}

TEST(SceneTranslated, QuarterLayerAtOriginKeepsItsPointSizeFromLandscapeToPortrait) {
  const SceneElement moved = Scene::translated(layerAt(1, 0, 0, 0.25, 0.25), AspectRatio::landscape,
                                               AspectRatio::portrait);
  const Geometry g = geometryOf(moved);
  EXPECT_DOUBLE_EQ(g.w, 0.25 * 1920 / 1080);
  EXPECT_DOUBLE_EQ(g.h, 0.25 * 1080 / 1920);
  // Anchored left and top: the gaps of 0 stay 0.
  EXPECT_EQ(std::tie(g.x, g.y), std::make_tuple(0.0, 0.0));
  EXPECT_EQ(std::tuple(moved.settingsUpdated(), moved.id()), std::tuple(true, id(1)));
}

TEST(SceneTranslated, FullCanvasLayerStaysFullInEveryAspect) {
  for (AspectRatio from : allCases<AspectRatio>()) {
    for (AspectRatio to : allCases<AspectRatio>()) {
      const Geometry g = geometryOf(Scene::translated(layerAt(1, 0, 0, 1, 1), from, to));
      EXPECT_EQ(std::tie(g.x, g.y, g.w, g.h), std::make_tuple(0.0, 0.0, 1.0, 1.0))
          << rawValue(from) << " to " << rawValue(to);
    }
  }
}

TEST(SceneTranslated, AnchorsByThirdsWithCentreOnTheBoundariesCentred) {
  // Portrait to landscape: a width keeps its points at 1080 / 1920 = 0.5625 of its fraction.
  // Centre exactly 1/3: centred, so the centre stays at 1/3 (left would give 0).
  Geometry g = translatedGeometry(layerAt(1, 0, 0, 2.0 / 3.0, 0.1), AspectRatio::portrait, AspectRatio::landscape);
  EXPECT_DOUBLE_EQ(g.w, 0.375);  // 2/3 * 0.5625
  EXPECT_DOUBLE_EQ(g.x, 1.0 / 3.0 - 0.1875);
  // Centre exactly 2/3: centred (right would give 1 - 0.375 - 0 = 0.625).
  g = translatedGeometry(layerAt(1, 1.0 / 3.0, 0, 2.0 / 3.0, 0.1), AspectRatio::portrait, AspectRatio::landscape);
  EXPECT_DOUBLE_EQ(g.x, 2.0 / 3.0 - 0.1875);
  // Centre 0.3: left, the gap of 0.1 becomes 0.1 * 0.5625.
  g = translatedGeometry(layerAt(1, 0.1, 0, 0.4, 0.1), AspectRatio::portrait, AspectRatio::landscape);
  EXPECT_DOUBLE_EQ(g.x, 0.05625);
  // Vertically the top gap 0 stays 0, and the height keeps its points: 0.1 * 1920 / 1080.
  EXPECT_EQ(g.y, 0);
  EXPECT_DOUBLE_EQ(g.h, 0.1 * 1920 / 1080);
}

TEST(SceneTranslated, RightAndBottomAnchorsKeepTheGapToTheFarEdge) {
  // Landscape to portrait, centre at 0.8 and 0.85: right and bottom.
  const Geometry g = translatedGeometry(layerAt(1, 0.7, 0.8, 0.2, 0.1), AspectRatio::landscape, AspectRatio::portrait);
  // x: 1 - nw - gap * 16/9 with nw = 0.2 * 16/9 and the right gap 0.1.
  EXPECT_NEAR(g.x, 1 - 0.2 * 16 / 9 - 0.1 * 16 / 9, 1e-12);
  // y: 1 - nh - gap * 9/16 with nh = 0.1 * 9/16 and the bottom gap 0.1.
  EXPECT_NEAR(g.y, 1 - 0.1 * 9 / 16 - 0.1 * 9 / 16, 1e-12);
}

TEST(SceneTranslated, FitsALayerThatFittedTheSourceOrNearlyKeepingItsProportions) {
  // Landscape to portrait: 0.9 wide becomes 1.6, so both sides shrink by 1 / 1.6 = 0.625.
  const Geometry g = translatedGeometry(layerAt(1, 0.05, 0.05, 0.9, 0.9),
                                        AspectRatio::landscape, AspectRatio::portrait);
  EXPECT_DOUBLE_EQ(g.w, 1.0);
  EXPECT_DOUBLE_EQ(g.h, 0.31640625);  // 0.9 * 9/16 * 0.625
  EXPECT_NEAR(g.x, 0, 1e-12);         // centred: 0.5 - 1 / 2
  EXPECT_DOUBLE_EQ(g.y, 0.341796875);  // centred: 0.5 - 0.31640625 / 2

  // A nearly full side counts as full.
  EXPECT_EQ(translatedGeometry(layerAt(1, 0, 0, 0.9995, 0.5), AspectRatio::landscape, AspectRatio::square).w, 1);
}

TEST(SceneTranslated, OversizedLayerIsNeitherFittedNorClampedInX) {
  const Geometry g = translatedGeometry(layerAt(1, -0.25, 0.25, 1.5, 0.5),
                                        AspectRatio::landscape, AspectRatio::portrait);
  EXPECT_DOUBLE_EQ(g.w, 1.5 * 16 / 9);
  EXPECT_DOUBLE_EQ(g.h, 0.5 * 9 / 16);
  EXPECT_DOUBLE_EQ(g.x, 0.5 - 1.5 * 16 / 9 / 2);  // centred, left of the canvas
  EXPECT_DOUBLE_EQ(g.y, 0.5 - 0.5 * 9 / 16 / 2);
}

TEST(SceneTranslated, ClampsALayerThatWouldLeaveTheCanvas) {
  // Landscape to portrait, centre 0.6 (centred): nw = 0.7 * 16/9 = 1.244 is fitted to 1, and the
  // centre 0.6 would put x at 0.1, past 1 - 1 = 0, so x is clamped to 0.
  const Geometry g = translatedGeometry(layerAt(1, 0.25, 0, 0.7, 0.1), AspectRatio::landscape, AspectRatio::portrait);
  EXPECT_DOUBLE_EQ(g.w, 1);
  EXPECT_NEAR(g.x, 0, 1e-12);
  // Right anchored (centre 0.7): the right gap of 0.1 keeps its points.
  const Geometry right = translatedGeometry(layerAt(2, 0.5, 0, 0.4, 0.1),
                                            AspectRatio::landscape, AspectRatio::portrait);
  EXPECT_DOUBLE_EQ(right.w, 0.4 * 16 / 9);
  EXPECT_NEAR(right.x, 1 - 0.4 * 16 / 9 - 0.1 * 16 / 9, 1e-12);  // 0.111..., still on the canvas
}

TEST(SceneTranslated, FrameConstraintOverridesTheThirds) {
  SceneElement frame = at(frameLayer(1), Rect(0, 0, 0.25, 0.25));
  frame.type().frameSettings()->horizontalConstraint = SceneFrameConstraint::trailing;
  frame.type().frameSettings()->verticalConstraint = SceneFrameConstraint::center;
  const Geometry g = translatedGeometry(frame, AspectRatio::portrait, AspectRatio::landscape);
  // Right: 1 - 0.25 * 0.5625 - (1 - 0 - 0.25) * 0.5625.
  EXPECT_DOUBLE_EQ(g.x, 0.4375);
  // Centred: 0.125 - 0.25 * 1920 / 1080 / 2 is below 0, clamped to 0.
  EXPECT_EQ(g.y, 0);
  frame.settings().yPosition = 0.5;
  const Geometry h = translatedGeometry(frame, AspectRatio::portrait, AspectRatio::landscape);
  // Centre 0.625 (a middle third anyway) stays: 0.625 - 0.25 * 1920 / 1080 / 2.
  EXPECT_DOUBLE_EQ(h.y, 0.625 - 0.25 * 1920 / 1080 / 2);
  // Leading on a layer centred in the right third still keeps the left gap.
  frame.type().frameSettings()->horizontalConstraint = SceneFrameConstraint::leading;
  frame.settings().xPosition = 0.7;
  EXPECT_DOUBLE_EQ(translatedGeometry(frame, AspectRatio::portrait, AspectRatio::landscape).x, 0.7 * 0.5625);
}

TEST(SceneTranslated, LayerWithoutGeometryOrSameAspectIsUnchanged) {
  SceneElement element = shapeLayer(1);
  element.settings().width.reset();
  element.setSettingsUpdated(false);
  const SceneElement same = Scene::translated(element, AspectRatio::landscape, AspectRatio::portrait);
  EXPECT_EQ(std::tuple(same, same.settingsUpdated()), std::tuple(element, false));
  const SceneElement full = layerAt(2, 0.1, 0.2, 0.3, 0.4);
  EXPECT_EQ(Scene::translated(full, AspectRatio::square, AspectRatio::square), full);
}

TEST(SceneEnsureFormat, ExistingAspectReturnsFalseAndChangesNothingEvenWithASeed) {
  Scene scene = sceneWith({layerAt(1, 0, 0, 0.5, 0.5)});
  scene.setFormat(SceneFormat{}, AspectRatio::portrait);
  const Scene before = scene;
  EXPECT_FALSE(scene.ensureFormat(AspectRatio::portrait, AspectRatio::landscape));
  EXPECT_FALSE(scene.ensureFormat(AspectRatio::landscape, std::nullopt));
  EXPECT_EQ(scene, before);
}

TEST(SceneEnsureFormat, MissingSeedMakesAnEmptyBlackFormat) {
  Scene scene = sceneWith({layerAt(1, 0, 0, 0.5, 0.5)});
  EXPECT_TRUE(scene.ensureFormat(AspectRatio::square, AspectRatio::portrait));
  const SceneFormat* made = scene.format(AspectRatio::square);
  ASSERT_NE(made, nullptr);
  SceneFormat expected;
  expected._backgroundColor = SceneColor::opaqueBlack();
  EXPECT_EQ(*made, expected);
  EXPECT_EQ(std::tuple(scene.primaryAspect(), scene.activeAspect()), std::tuple(AspectRatio::landscape, std::nullopt));
}

TEST(SceneEnsureFormat, SeedIsCopiedWithNewIdsAndTranslatedGeometry) {
  Scene scene = sceneWith({inGroup(layerAt(1, 0, 0, 0.25, 0.25), 10), inGroup(layerAt(2, 0, 0, 1, 1), 11)},
                          {folder(10), folder(11, 10)});
  scene.setBackgroundColor(SceneColor::opaqueBlack());
  EXPECT_TRUE(scene.ensureFormat(AspectRatio::portrait, AspectRatio::landscape));
  const auto& copies = scene.elements(AspectRatio::portrait);
  ASSERT_EQ(copies.size(), 2u);
  EXPECT_NE(copies[0].id(), id(1));
  EXPECT_NE(copies[1].id(), id(2));
  EXPECT_DOUBLE_EQ(copies[0].settings().width.value(), 0.25 * 1920 / 1080);
  // Folder 11 nested in 10: the copies keep the shape under new ids.
  const auto& groups = scene.groups(AspectRatio::portrait);
  ASSERT_EQ(groups.size(), 2u);
  const Uuid outer = copies[0].groupMembership().value().groupID;
  const Uuid inner = copies[1].groupMembership().value().groupID;
  EXPECT_FALSE(groups.contains(id(10)) || groups.contains(id(11)));
  ASSERT_TRUE(groups.contains(outer) && groups.contains(inner));
  EXPECT_EQ(std::tie(groups.at(outer).id, groups.at(outer).parentGroupID), std::make_tuple(outer, std::nullopt));
  EXPECT_EQ(std::tie(groups.at(inner).parentGroupID, groups.at(inner).name), std::make_tuple(outer, "Folder 11"));
  EXPECT_EQ(scene.backgroundColor(AspectRatio::portrait), SceneColor::opaqueBlack());
  // The seed is untouched.
  EXPECT_EQ(scene.elements(AspectRatio::landscape)[0].id(), id(1));
}

TEST(SceneEnsureFormat, NoIdentityIsSharedWithTheSeed) {
  Scene scene = sceneWith({inGroup(shapeLayer(1), 20, SceneElementGroupRole::splitForeground), inFrame(shapeLayer(2), 3),
                           frameLayer(3), inGroup(shapeLayer(4), 20, SceneElementGroupRole::splitBackground),
                           inGroup(maskedBy(shapeLayer(5), 6), 11), inGroup(shapeLayer(6), 11)},
                          {splitGroup(20), folder(10), folder(11, 10)});
  ASSERT_TRUE(scene.ensureFormat(AspectRatio::square, AspectRatio::landscape));
  const std::set<Uuid> seedIDs{id(1), id(2), id(3), id(4), id(5), id(6), id(10), id(11), id(20)};
  std::vector<Uuid> referenced;
  for (const auto& e : scene.elements(AspectRatio::square)) {
    referenced.push_back(e.id());
    if (e.groupMembership()) referenced.push_back(e.groupMembership()->groupID);
    if (e.frameID()) referenced.push_back(*e.frameID());
    if (e.settings().mask && e.settings().mask->layerID) referenced.push_back(*e.settings().mask->layerID);
  }
  for (const auto& [key, group] : scene.groups(AspectRatio::square)) {
    referenced.push_back(key);
    if (group.parentGroupID) referenced.push_back(*group.parentGroupID);
  }
  // 6 layers, 4 memberships, 1 frame, 1 mask, 3 groups and 1 parent.
  EXPECT_EQ(referenced.size(), 16u);
  for (const Uuid& seen : referenced) EXPECT_FALSE(seedIDs.contains(seen)) << seen.toString();
}

TEST(SceneCopyFormat, RemapsFramesAndMasksInsideAndDropsLinksLeavingTheFormat) {
  SceneFormat format;
  SceneElement frame = frameLayer(1);
  SceneElement member = inFrame(maskedBy(layerAt(2, 0, 0, 0.5, 0.5), 3), 1);
  SceneElement mask = layerAt(3, 0, 0, 0.5, 0.5);
  SceneElement stray = inFrame(maskedBy(layerAt(4, 0, 0, 0.5, 0.5), 99), 98);
  stray.setGroupMembership(SceneElementGroupMembership{id(97), std::nullopt});
  format.elements = {member, frame, mask, stray};
  const SceneFormat copy = Scene::copyFormat(format, AspectRatio::landscape, AspectRatio::landscape);
  ASSERT_EQ(copy.elements.size(), 4u);
  std::set<Uuid> ids;
  for (const auto& e : copy.elements) ids.insert(e.id());
  for (unsigned n : {1u, 2u, 3u, 4u}) EXPECT_FALSE(ids.contains(id(n)));
  EXPECT_EQ(copy.elements[0].frameID(), copy.elements[1].id());
  EXPECT_EQ(copy.elements[0].settings().mask.value().layerID, copy.elements[2].id());
  // The member keeps its layout in its frame.
  EXPECT_TRUE(copy.elements[0].settings().layout.has_value());
  EXPECT_EQ(copy.elements[3].frameID(), std::nullopt);
  EXPECT_EQ(copy.elements[3].settings().mask, std::nullopt);
  EXPECT_EQ(copy.elements[3].groupMembership(), std::nullopt);
  EXPECT_EQ(copy.elements[0].settingsUpdated(), std::nullopt);  // same aspect: not translated
}

TEST(SceneCopyFormat, DuplicatesVideoFilesForTheCopiesAndDropsUnreadableTypes) {
  auto store = std::make_shared<InMemoryTransferAssetManager>();
  HostTransferAssetManager::setShared(store);
  struct Uninstall {
    ~Uninstall() { HostTransferAssetManager::setShared(nullptr); }
  } uninstall;
  const TransferAssetReference reference = store->makeFromBytes("frames", std::string("owner"), std::string("mov"));
  SceneElementVideoSettings video;
  video.reference = reference;
  SceneFormat format;
  format.elements.emplace_back(id(1), SceneElementType(video), SceneElementSettings{});
  const SceneFormat copy = Scene::copyFormat(format, AspectRatio::landscape, AspectRatio::portrait);
  const auto& copied = copy.elements.at(0).type().videoSettings()->reference.value();
  EXPECT_NE(copied, reference);
  EXPECT_EQ(copied.ownerID, copy.elements[0].id().toString());
  EXPECT_EQ(store->read(copied), "frames");

  // A layer of a kind this version can't read comes along without the raw kind it kept.
  SceneFormat withUnreadable;
  withUnreadable.elements.push_back(decodeJson<SceneElement>(
      R"({"id":"00000000-0000-4000-8000-000000000001","settings":{},"type":{"hologram":{}}})"));
  ASSERT_FALSE(withUnreadable.elements[0].unknownTypeStorage().empty());
  const SceneFormat unreadable = Scene::copyFormat(withUnreadable, AspectRatio::landscape, AspectRatio::portrait);
  EXPECT_TRUE(unreadable.elements.at(0).unknownTypeStorage().empty());
}

TEST(SceneTranslatingGeometry, TranslatesTheRoutedFormatInPlaceOfItsAspect) {
  Scene scene = sceneWith({layerAt(1, 0, 0, 0.25, 0.25)});
  const Scene preview = scene.translatingGeometry(AspectRatio::portrait);
  EXPECT_FALSE(preview.hasFormat(AspectRatio::portrait));
  ASSERT_EQ(preview.elements(AspectRatio::landscape).size(), 1u);
  const SceneElement& moved = preview.elements(AspectRatio::landscape)[0];
  EXPECT_EQ(moved.id(), id(1));
  EXPECT_DOUBLE_EQ(moved.settings().width.value(), 0.25 * 1920 / 1080);
  EXPECT_EQ(std::tuple(preview.primaryAspect(), preview.activeAspect()), std::tuple(AspectRatio::landscape, std::nullopt));

  // No format at the routed aspect: an equal scene.
  scene.setActiveAspect(AspectRatio::square);
  EXPECT_EQ(scene.translatingGeometry(AspectRatio::portrait), scene);
  EXPECT_EQ(scene.translatingGeometry(AspectRatio::portrait).activeAspect(), AspectRatio::square);
}

}  // namespace
}  // namespace tav
