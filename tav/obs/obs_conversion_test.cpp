#include "tav/obs/obs_conversion.hpp"

#include <cmath>
#include <fstream>
#include <sstream>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace tav {
namespace {

using namespace OBSConversion;

void expectPlacement(const std::optional<Placement>& actual, const Placement& expected) {
  ASSERT_TRUE(actual);
  EXPECT_NEAR(actual->xPosition, expected.xPosition, 1e-12);
  EXPECT_NEAR(actual->yPosition, expected.yPosition, 1e-12);
  EXPECT_NEAR(actual->width, expected.width, 1e-12);
  EXPECT_NEAR(actual->height, expected.height, 1e-12);
  EXPECT_EQ(actual->rotation, expected.rotation);
}

OBSSceneItem absoluteItem(OBSVec2 pos, std::int64_t align = 5, double rot = 0) {
  OBSSceneItem item;
  item.pos = pos;
  item.scale = OBSVec2{1, 1};
  item.align = align;
  item.rot = rot;
  return item;
}

TEST(OBSConversion, AbsoluteItemOnTheCanvas) {
  expectPlacement(resolvedPlacement(absoluteItem({100, 200}), {640, 360}, {}, 1920, 1080),
                  {100.0 / 1920, 200.0 / 1080, 640.0 / 1920, 360.0 / 1080, 0});
}

TEST(OBSConversion, RelativeFormMeasuresBothAxesInCanvasHeights) {
  EXPECT_EQ(absolutePosition({0, 0}, 1920, 1080), (Point{960, 540}));
  EXPECT_EQ(absolutePosition({1, -1}, 1920, 1080), (Point{1500, 0}));  // (1920 + 1080) / 2, (1080 - 1080) / 2
  EXPECT_EQ(absoluteSize({1, 0.5}, 1080), (Size{540, 270}));
  EXPECT_EQ(absoluteScale({1, 2}, 720, 1080), (Vector{1.5, 3}));

  OBSSceneItem item;
  item.align = 0;
  item.posRel = OBSVec2{0, 0};
  item.scaleRel = OBSVec2{1, 1};
  item.scaleRef = OBSVec2{1280, 720};
  item.scale = OBSVec2{9, 9};  // ignored in the relative form
  // scale 1 * 1080 / 720 = 1.5: 640 x 360 shows at 960 x 540, centred on (960, 540)
  expectPlacement(resolvedPlacement(item, {640, 360}, {}, 1920, 1080),
                  {480.0 / 1920, 270.0 / 1080, 960.0 / 1920, 540.0 / 1080, 0});
  EXPECT_EQ(resolvedScale(item, 1080), (Vector{1.5, 1.5}));
  EXPECT_EQ(resolvedTransform(item, {640, 360}, false, 1920, 1080).scale, (Vector{1, 1}));
  item.boundsRel = OBSVec2{2, 1};
  item.boundsType = 1;
  EXPECT_EQ(resolvedTransform(item, {640, 360}, true, 1920, 1080).size, (Size{1080, 540}));
}

TEST(OBSConversion, RotationAboutTheAnchor) {
  // Centred: the centre stays at the anchor and the stored box is the unrotated one around it.
  expectPlacement(placement({500, 400}, {200, 100}, Align{0}, 90, 1920, 1080),
                  {400.0 / 1920, 350.0 / 1080, 200.0 / 1920, 100.0 / 1080, 90});
  // Top-left at (100, 100), 200 x 100, turned 90 degrees: centre (100 - 50, 100 + 100).
  const Point c = rotatedCentre({100, 100}, {200, 100}, Align{5}, 90);
  EXPECT_NEAR(c.x, 50, 1e-12);
  EXPECT_NEAR(c.y, 200, 1e-12);
  EXPECT_FALSE(placement({0, 0}, {1, 1}, Align{0}, std::numeric_limits<double>::infinity(), 1920, 1080));
  EXPECT_FALSE(placement({0, 0}, {1, 1}, Align{0}, 1e12, 1920, 1080));
  EXPECT_EQ(placement({0, 0}, {1, 1}, Align{0}, -2.5, 1920, 1080)->rotation, -3);
}

TEST(OBSConversion, AlignmentOrigin) {
  EXPECT_EQ(alignmentOrigin(Align{0}, 10, 20), (Point{5, 10}));
  EXPECT_EQ(alignmentOrigin(Align{Align::left | Align::top}, 10, 20), (Point{0, 0}));
  EXPECT_EQ(alignmentOrigin(Align{Align::right | Align::bottom}, 10, 20), (Point{10, 20}));
  EXPECT_EQ(alignmentOrigin(Align{15}, 10, 20), (Point{10, 20}));  // right beats left, bottom beats top
}

TEST(OBSConversion, DisplaySizeByBoundsType) {
  const Vector one{1, 1};
  EXPECT_EQ(displaySize(BoundsType::scaleInner, {400, 300}, {640, 360}, one, 0, 0, 0, 0), (Size{400, 300}));
  EXPECT_EQ(imageScaleMode(BoundsType::scaleInner), ScaleMode::aspectFit);
  EXPECT_EQ(displaySize(BoundsType::maxOnly, {1000, 1000}, {640, 360}, one, 0, 0, 0, 0), (Size{640, 360}));
  // min(320 / 640, 360 / 360) = 0.5
  EXPECT_EQ(displaySize(BoundsType::maxOnly, {320, 360}, {640, 360}, one, 0, 0, 0, 0), (Size{320, 180}));
  EXPECT_EQ(displaySize(BoundsType::maxOnly, {0, 100}, {640, 360}, one, 0, 0, 0, 0), (Size{640, 360}));
  EXPECT_EQ(displaySize(BoundsType::none, {}, {640, 360}, {2, -1}, 500, 10, 500, 20), (Size{0, -330}));
  EXPECT_EQ(displaySize(BoundsType::none, {}, {640, 360}, {2, 0.5}, 40, 10, 0, 20), (Size{1200, 165}));

  OBSSceneItem item = absoluteItem({0, 0});
  item.boundsType = 99;  // no bounds type: none
  item.bounds = OBSVec2{10, 10};
  EXPECT_EQ(resolvedTransform(item, {640, 360}, true, 1920, 1080).size, (Size{640, 360}));
  EXPECT_FALSE(boundsTypeFromRawValue(7));
  EXPECT_EQ(boundsTypeFromRawValue(6), BoundsType::maxOnly);
}

OBSGroupContext group(OBSSceneItem item, Size space = {}) { return OBSGroupContext{std::move(item), space}; }

TEST(OBSConversion, GroupsScaleByTheirOwnScaleOrTheirSpace) {
  // No space of its own: the group's scale (2, 2) is the effective scale.
  OBSSceneItem outer = absoluteItem({100, 50});
  outer.scale = OBSVec2{2, 2};
  const OBSSceneItem member = absoluteItem({10, 20});
  // centre (60, 45) -> scaled (120, 90) -> moved (220, 140); 200 x 100
  expectPlacement(resolvedPlacement(member, {100, 50}, {group(outer)}, 1920, 1080),
                  {120.0 / 1920, 90.0 / 1080, 200.0 / 1920, 100.0 / 1080, 0});

  // A custom-size group stretched to bounds 800 x 100 over its 400 x 200 space: e = (2, 0.5).
  OBSSceneItem sized = absoluteItem({40, 60});
  sized.boundsType = 1;
  sized.bounds = OBSVec2{800, 100};
  const OBSSceneItem inner = absoluteItem({0, 0});
  // centre (50, 50) -> (100, 25) -> (140, 85); 200 x 50
  expectPlacement(resolvedPlacement(inner, {100, 100}, {group(sized, {400, 200})}, 1920, 1080),
                  {40.0 / 1920, 60.0 / 1080, 200.0 / 1920, 50.0 / 1080, 0});
  EXPECT_EQ(contentScale(inner, {group(sized, {400, 200})}, 1920, 1080), (Vector{2, 0.5}));
  EXPECT_EQ(contentScale(inner, {group(sized, {400, 200}), group(outer)}, 1920, 1080), (Vector{4, 1}));
}

TEST(OBSConversion, GroupRotationAddsAndIsNotWrapped) {
  OBSSceneItem turned = absoluteItem({960, 540}, 0, 90);
  const OBSSceneItem member = absoluteItem({100, 0}, 0, 269.5);
  // centre (100, 0) turned 90 degrees about the group origin -> (0, 100), moved to (960, 640)
  const auto p = resolvedPlacement(member, {100, 50}, {group(turned)}, 1920, 1080);
  expectPlacement(p, {910.0 / 1920, 615.0 / 1080, 100.0 / 1920, 50.0 / 1080, 360});
  // Nested: the inner group is applied first. Outer moves by (1000, 0), inner by (0, 10) and doubles.
  OBSSceneItem outer = absoluteItem({1000, 0});
  OBSSceneItem inner = absoluteItem({0, 10});
  inner.scale = OBSVec2{2, 2};
  // centre (50, 25) -> (100, 50) -> (100, 60) -> (1100, 60); 200 x 100
  expectPlacement(resolvedPlacement(absoluteItem({0, 0}), {100, 50}, {group(outer), group(inner)}, 1920, 1080),
                  {1000.0 / 1920, 10.0 / 1080, 200.0 / 1920, 100.0 / 1080, 0});
}

TEST(OBSConversion, ColoursFontsScaleModesAndAspects) {
  EXPECT_EQ(rgba(0x11223344u), (RGBA{0x44 / 255.0, 0x33 / 255.0, 0x22 / 255.0, 0x11 / 255.0}));  // ABGR
  EXPECT_DOUBLE_EQ(fontSize(0.05, {1920, 1080}, 1), 0.72);  // 0.05 * 1920 * 0.5625 / 75
  EXPECT_EQ(fontSize(0.05, {0, 1080}, 1), 0);
  EXPECT_EQ(fontSize(0.05, {1920, 1080}, 0), 0);
  EXPECT_EQ(imageScaleMode(BoundsType::none), ScaleMode::stretchFill);
  EXPECT_EQ(imageScaleMode(BoundsType::maxOnly), ScaleMode::stretchFill);
  EXPECT_EQ(imageScaleMode(BoundsType::scaleOuter), ScaleMode::aspectFill);
  EXPECT_EQ(imageScaleMode(BoundsType::scaleToHeight), ScaleMode::aspectFit);
  EXPECT_EQ(snapAspectRatio(1920, 1200), AspectRatio::landscape);
  EXPECT_EQ(snapAspectRatio(1000, 1000), AspectRatio::square);
  EXPECT_EQ(snapAspectRatio(1080, 1920), AspectRatio::portrait);
  EXPECT_EQ(snapAspectRatio(1024, 768), AspectRatio::fourByThree);
  EXPECT_EQ(snapAspectRatio(1920, 0), AspectRatio::landscape);
  EXPECT_EQ(snapAspectRatio(std::numeric_limits<double>::infinity(), 1), AspectRatio::landscape);
}

TEST(OBSSourceKind, ByIdAndScreenCaptureType) {
  auto kind = [](const std::string& json) {
    return obsSourceKindFrom(OBSCollection::decode(R"({"sources":[)" + json + "]}").sources.at(0));
  };
  EXPECT_EQ(kind(R"({"id":"image_source"})"), OBSSourceKind::image);
  EXPECT_EQ(kind(R"({"id":"vlc_source"})"), OBSSourceKind::video);
  EXPECT_EQ(kind(R"({"id":"text_gdiplus_v3"})"), OBSSourceKind::text);
  EXPECT_EQ(kind(R"({"id":"macos-avcapture-fast"})"), OBSSourceKind::camera);
  EXPECT_EQ(kind(R"({"id":"monitor_capture"})"), OBSSourceKind::displayCapture);
  EXPECT_EQ(kind(R"({"id":"pulse_output_capture"})"), OBSSourceKind::audio);
  EXPECT_EQ(kind(R"({"id":"screen_capture","settings":{"type":1}})"), OBSSourceKind::windowCapture);
  EXPECT_EQ(kind(R"({"id":"screen_capture","settings":{"type":2.0}})"), OBSSourceKind::appCapture);
  EXPECT_EQ(kind(R"({"id":"screen_capture","settings":{"type":"2"}})"), OBSSourceKind::displayCapture);
  EXPECT_EQ(kind(R"({"id":"screen_capture"})"), OBSSourceKind::displayCapture);
  EXPECT_EQ(kind(R"({"id":"Image_Source"})"), OBSSourceKind::unknown);
  EXPECT_EQ(kind(R"({"name":"no id"})"), OBSSourceKind::unknown);
  EXPECT_EQ(rawValue(OBSSourceKind::displayCapture), "displayCapture");
}

std::vector<std::string> summary(const std::vector<OBSFlattenedEntry>& entries) {
  std::vector<std::string> out;
  for (const auto& e : entries) {
    std::string line = std::string(rawValue(e.kind())) + ":" + e.sceneItem().name.value_or("-") + "@" +
                       std::to_string(e.depth());
    if (const auto* r = e.resolvedItem()) {
      line += std::string(r->isHidden ? " hidden" : "") + (r->isLocked ? " locked" : "");
    }
    out.push_back(line);
  }
  return out;
}

TEST(OBSFlattening, WalksGroupsSkipsBackupsAndInheritsFlags) {
  const auto c = OBSCollection::decode(R"({
    "sources": [
      {"id": "scene", "name": "Main", "settings": {"items": [
        {"name": "Cam", "source_uuid": "u-cam"},
        {"name": "G", "visible": false},
        {"name": "Cam", "group_item_backup": true},
        {"name": "Missing"},
        {"name": "Other", "source_uuid": "u-other", "locked": true}
      ]}},
      {"id": "dshow_input", "name": "Camera Ü", "uuid": "u-cam"},
      {"id": "image_source", "name": "Logo"},
      {"id": "scene", "name": "Other", "uuid": "u-other", "settings": {}}
    ],
    "groups": [
      {"id": "group", "name": "G", "uuid": "g1", "settings": {"custom_size": true, "cx": 400, "cy": 200,
        "items": [{"name": "Logo", "visible": true}, {"name": "H", "locked": true}]}},
      {"id": "group", "name": "H", "uuid": "g2", "settings": {"items": [{"name": "Logo"}]}}
    ]})");
  const auto entries = c.flattenedEntries("Main");
  EXPECT_EQ(summary(entries), (std::vector<std::string>{"item:Cam@0", "group:G@0", "item:Logo@1 hidden",
                                                        "group:H@1", "item:Logo@2 hidden locked", "unresolved:Missing@0",
                                                        "item:Other@0 locked"}));
  const auto* deep = entries[4].resolvedItem();
  ASSERT_NE(deep, nullptr);
  ASSERT_EQ(deep->groups.size(), 2u);
  EXPECT_EQ(deep->groups[0].item.name, "G");
  EXPECT_EQ(deep->groups[0].space, (Size{400, 200}));
  EXPECT_EQ(deep->groups[1].space, (Size{0, 0}));
  EXPECT_EQ(deep->source->name, "Logo");
  EXPECT_EQ(entries[0].resolvedItem()->source->name, "Camera Ü");  // found by uuid, not by item name
  EXPECT_EQ(entries[0].resolvedItem()->kind, OBSSourceKind::camera);
  EXPECT_EQ(entries[6].resolvedItem()->kind, OBSSourceKind::scene);

  const auto items = c.flattenedItems("Main");
  ASSERT_EQ(items.size(), 4u);
  EXPECT_EQ(items[1], *entries[2].resolvedItem());
  EXPECT_TRUE(c.flattenedEntries("Other").empty());    // a scene without items
  EXPECT_TRUE(c.flattenedEntries("Nowhere").empty());  // no such scene
}

TEST(OBSFlattening, GroupsThatContainThemselvesAreCut) {
  const auto c = OBSCollection::decode(R"({
    "sources": [{"id": "scene", "name": "S", "settings": {"items": [
      {"name": "Self"}, {"name": "A"}, {"name": "Twice"}, {"name": "Twice"}]}},
      {"id": "color_source", "name": "Dot"}],
    "groups": [
      {"id": "group", "name": "Self", "uuid": "self", "settings": {"items": [{"name": "Self"}]}},
      {"id": "group", "name": "A", "uuid": "a", "settings": {"items": [{"name": "B"}]}},
      {"id": "group", "name": "B", "uuid": "b", "settings": {"items": [{"name": "Dot"}, {"source_uuid": "a"}]}},
      {"id": "group", "name": "Twice", "settings": {"items": [{"name": "Dot"}]}}
    ]})");
  EXPECT_EQ(summary(c.flattenedEntries("S")),
            (std::vector<std::string>{"group:Self@0", "cyclicGroup:Self@1", "group:A@0", "group:B@1", "item:Dot@2",
                                      "cyclicGroup:-@2", "group:Twice@0", "item:Dot@1", "group:Twice@0",
                                      "item:Dot@1"}));
}

TEST(OBSFlattening, SampleCollectionInTheShapeOBSWrites) {
  std::ifstream in(std::string(TAV_SOURCE_DIR) + "/data/obs/sample-collection.json", std::ios::binary);
  ASSERT_TRUE(in);
  const auto c = OBSCollection::decode(std::string(std::istreambuf_iterator<char>(in), {}));
  EXPECT_EQ(c.name, "Studio Zoë – Wochenshow");
  EXPECT_EQ(c.sceneOrder, (std::vector<std::string>{"Hauptszene 🎬", "Pause ☕"}));
  const auto entries = c.flattenedEntries("Hauptszene 🎬");
  EXPECT_EQ(summary(entries),
            (std::vector<std::string>{"item:Hintergrund@0", "item:Kamera@0", "group:Bauchbinde@0", "item:Name – Zoë@1",
                                      "item:Balken@1", "item:Logo ★@0", "item:Pause ☕@0 hidden",
                                      "unresolved:Gelöschte Quelle@0", "item:Mikrofon@0"}));
  // The bar sits at (0, 80) in its 800 x 200 group, whose top-left is at (100, 800): its box is
  // 800 x 120 at (100, 880).
  const auto* bar = entries[4].resolvedItem();
  ASSERT_NE(bar, nullptr);
  expectPlacement(resolvedPlacement(bar->item, {800, 120}, bar->groups, 1920, 1080),
                  {100.0 / 1920, 880.0 / 1080, 800.0 / 1920, 120.0 / 1080, 0});
  // The logo is in the relative form: centred at ((1920 + 1.2 * 1080) / 2, (1080 - 0.8 * 1080) / 2)
  // = (1608, 108), scale 0.5 * 1080 / 1080, turned 45 degrees.
  const auto* logo = entries[5].resolvedItem();
  ASSERT_NE(logo, nullptr);
  expectPlacement(resolvedPlacement(logo->item, {200, 100}, logo->groups, 1920, 1080),
                  {1558.0 / 1920, 83.0 / 1080, 100.0 / 1920, 50.0 / 1080, 45});
}

TEST(OBSFlattening, HugeBase64SettingsDecode) {
  const std::string blob(3'000'000, 'Q');
  const auto c = OBSCollection::decode(R"({"sources":[{"id":"image_source","name":"I","settings":{"data":")" + blob +
                                       R"(","items":[]}}]})");
  ASSERT_EQ(c.sources.size(), 1u);
  EXPECT_EQ(c.sources[0].settings->string("data")->size(), 3'000'000u);
  EXPECT_TRUE(c.sources[0].settings->items->empty());
}

/// A scene "S" holding group G0 and a source "Dot", with groups G0 to G(count - 1); `items(i)` lists
/// the items of group Gi.
template <class Items>
std::string chainOfGroups(int count, Items items) {
  std::string json = R"({"sources":[{"id":"scene","name":"S","settings":{"items":[{"name":"G0"}]}},)"
                     R"({"id":"color_source","name":"Dot"}],"groups":[)";
  for (int i = 0; i < count; ++i) {
    json += (i ? "," : "") + std::string(R"({"id":"group","name":"G)") + std::to_string(i) +
            R"(","settings":{"items":[)" + items(i) + "]}}";
  }
  return json + "]}";
}

TEST(OBSFlattening, RepeatedNestingStopsAtTheCeiling) {
  // Each of 24 groups lists the next one twice: 2^24 paths, which the walk cuts at 100,000 entries.
  const std::string json = chainOfGroups(24, [](int i) {
    const std::string next = i == 23 ? "Dot" : "G" + std::to_string(i + 1);
    return R"({"name":")" + next + R"("},{"name":")" + next + R"("})";
  });
  EXPECT_EQ(OBSCollection::decode(json).flattenedEntries("S").size(), 100000u);
}

TEST(OBSFlattening, DeepGroupChainsWalkWithoutRecursionAndShareTheirGroups) {
  // 20,000 groups each inside the one before, each holding a dot beside the next group: far deeper than
  // a recursive walk could go, and each dot's chain of groups is as long as its depth.
  constexpr int kDepth = 20'000;
  const std::string json = chainOfGroups(kDepth, [](int i) {
    return R"({"name":"Dot"})" + (i + 1 < kDepth ? R"(,{"name":"G)" + std::to_string(i + 1) + R"("})" : std::string());
  });
  const auto entries = OBSCollection::decode(json).flattenedEntries("S");
  ASSERT_EQ(entries.size(), 2u * kDepth);
  const OBSResolvedItem* deepest = entries.back().resolvedItem();
  ASSERT_NE(deepest, nullptr);
  EXPECT_EQ(entries.back().depth(), std::size_t{kDepth});
  EXPECT_EQ(deepest->groups.size(), std::size_t{kDepth});
  EXPECT_EQ(deepest->groups[0].item.name, "G0");
  EXPECT_EQ(deepest->groups.innermost().item.name, "G" + std::to_string(kDepth - 1));
  // The dot one level up lies in all but the innermost of those groups, and shares them.
  const OBSResolvedItem* above = entries[entries.size() - 3].resolvedItem();
  ASSERT_NE(above, nullptr);
  EXPECT_EQ(&above->groups.innermost(), &deepest->groups[kDepth - 2]);
}

TEST(OBSFlattening, GroupChainsReadAsTheArrayTheyStandFor) {
  auto named = [](const char* name) {
    OBSSceneItem item;
    item.name = name;
    return item;
  };
  const std::vector<OBSGroupContext> groups{group(named("A")), group(named("B"), {4, 2}), group(named("C"))};
  const OBSGroupChain chain(groups);
  EXPECT_EQ(chain.toVector(), groups);
  EXPECT_EQ(chain.outermostFirst().front().get().item.name, "A");
  std::vector<std::optional<std::string>> names;
  for (const OBSGroupContext& context : chain) names.push_back(context.item.name);
  EXPECT_EQ(names, (std::vector<std::optional<std::string>>{"A", "B", "C"}));
  EXPECT_EQ(chain[1].space, (Size{4, 2}));
  EXPECT_THROW(chain[3], std::out_of_range);
  EXPECT_EQ(chain, OBSGroupChain(groups));
  EXPECT_FALSE(chain == OBSGroupChain(std::vector<OBSGroupContext>(groups.begin(), groups.end() - 1)));
  EXPECT_FALSE(chain == OBSGroupChain(std::vector<OBSGroupContext>{group(named("A")), group(named("B"), {4, 2}),
                                                                  group(named("D"))}));
}

}  // namespace
}  // namespace tav
