#include "tav/scene/scene.hpp"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tav/contracts/localizer.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using testing::id;
using testing::numbers;
using testing::sceneWith;
using testing::shapeLayer;

Scene decode(std::string_view text) { return decodeJson<Scene>(text); }

JsonValue encodedTree(const Scene& scene) { return parseJson(encodeJson(scene)); }

std::string errorOf(std::string_view text) {
  try {
    decode(text);
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "decoded";
}

constexpr const char* kMinimal = R"({"id":"S","name":"N","isTemplate":false})";

TEST(SceneDecoding, MinimalDocumentHasOneEmptyLandscapeFormat) {
  Scene scene = decode(kMinimal);
  EXPECT_EQ(scene.supportedAspects(), std::vector{AspectRatio::landscape});
  EXPECT_EQ(scene.primaryAspect(), AspectRatio::landscape);
  EXPECT_EQ(*scene.format(AspectRatio::landscape), SceneFormat{});
  EXPECT_TRUE(scene.shouldAutoUpdateThumbnail());
  EXPECT_TRUE(scene.thumbnailActor().has_value());
  EXPECT_FALSE(scene.activeAspect().has_value());
  EXPECT_FALSE(scene.version().has_value());
  EXPECT_TRUE(scene.additionalProperties().empty());
  EXPECT_EQ(encodeJson(scene).substr(0, 61), R"({"id":"S","name":"N","elements":[],"aspectRatio":"landscape",)");
}

TEST(SceneDecoding, TopLevelFormatWinsOverTheSameAspectUnderFormats) {
  Scene scene = decode(R"({"id":"S","name":"N","isTemplate":false,"aspectRatio":"square",
    "backgroundOpacity":0.5,
    "formats":{"square":{"backgroundOpacity":0.25},"portrait":{"backgroundOpacity":0.75},
               "wide":{"backgroundOpacity":0.1},"unknown":{}}})");
  EXPECT_EQ(scene.primaryAspect(), AspectRatio::square);
  EXPECT_EQ(scene.format(AspectRatio::square)->backgroundOpacity, 0.5);
  EXPECT_EQ(scene.format(AspectRatio::portrait)->backgroundOpacity, 0.75);
  // "wide" names no aspect and is dropped; "unknown" is an aspect of its own.
  EXPECT_EQ(scene.supportedAspects(),
            (std::vector{AspectRatio::portrait, AspectRatio::square, AspectRatio::unknown}));
}

TEST(SceneDecoding, UnknownAspectTextReadsAsUnknownAndWritesBackAsUnknown) {
  Scene scene = decode(R"({"id":"S","name":"N","isTemplate":false,"aspectRatio":"wide"})");
  EXPECT_EQ(scene.primaryAspect(), AspectRatio::unknown);
  EXPECT_EQ(encodedTree(scene).at("aspectRatio"), "unknown");
}

TEST(SceneDecoding, LayerKindsThisVersionCannotReadPassThrough) {
  Scene scene = decode(R"({"id":"S","name":"N","isTemplate":false,"elements":[
    {"id":"00000000-0000-4000-8000-000000000001","settings":{},"type":{"hologram":{"_0":{"depth":3}}}},
    {"id":"00000000-0000-4000-8000-000000000002","settings":{}},
    {"id":"00000000-0000-4000-8000-000000000003","settings":{},"type":{"unknown":{}}},
    {"id":"00000000-0000-4000-8000-000000000004","settings":{},"type":{"text":{"_0":{}},"shape":{"_0":{}}}},
    {"id":"00000000-0000-4000-8000-000000000005","settings":{},"type":{"shape":{"_0":{"shape":"hexagon"}}}},
    {"id":"00000000-0000-4000-8000-000000000006","settings":{},"type":null}]})");
  const auto& elements = scene.elements();
  for (const auto& element : elements) EXPECT_TRUE(element.type().isUnknown());
  auto written = encodedTree(scene).at("elements").as_array();
  EXPECT_EQ(written[0].at("type"), parseJson(R"({"hologram":{"_0":{"depth":3}}})"));
  EXPECT_FALSE(written[1].as_object().contains("type"));
  EXPECT_FALSE(written[2].as_object().contains("type"));
  EXPECT_EQ(written[3].at("type"), parseJson(R"({"text":{"_0":{}},"shape":{"_0":{}}})"));
  EXPECT_EQ(written[4].at("type"), parseJson(R"({"shape":{"_0":{"shape":"hexagon"}}})"));
  EXPECT_FALSE(written[5].as_object().contains("type"));
  // The raw type is written last, after the keys this version knows.
  EXPECT_EQ(encodeJson(elements[0]).rfind(R"("type":{"hologram")"), encodeJson(elements[0]).find(R"("type")"));
}

TEST(SceneDecoding, UnknownKeysAreKeptAtEveryLevelAndNullsAreDropped) {
  Scene scene = decode(R"({"id":"S","name":"N","isTemplate":false,
    "future":{"b":1,"a":[1.5,"x",null]},"gone":null,"stockImageName":"old","additionalProperties":{"x":1},
    "elements":[{"id":"00000000-0000-4000-8000-000000000001","settings":{},"layerExtra":7,"nothing":null,
                 "additionalProperties":{"y":2},"type":{"shape":{"_0":{}}}}],
    "formats":{"portrait":{"formatExtra":"p","empty":null,"additionalProperties":3}}})");
  EXPECT_EQ(scene.additionalProperties().size(), 1u);
  EXPECT_EQ(scene.additionalProperties().at("future"), parseJson(R"({"b":1,"a":[1.5,"x",null]})"));
  EXPECT_EQ(scene.elements()[0].additionalProperties().size(), 1u);
  EXPECT_EQ(scene.elements()[0].additionalProperties().at("layerExtra"), 7);
  EXPECT_EQ(scene.format(AspectRatio::portrait)->additionalProperties.size(), 1u);

  std::string text = encodeJson(scene);
  EXPECT_NE(text.find(R"("future":{"b":1,"a":[1.5,"x",null]})"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("layerExtra":7)"), std::string::npos);
  EXPECT_NE(text.find(R"("formatExtra":"p")"), std::string::npos);
  for (const char* dropped : {"gone", "stockImageName", "additionalProperties", "nothing", "empty"}) {
    EXPECT_EQ(text.find(std::string("\"") + dropped + "\""), std::string::npos) << dropped;
  }
  EXPECT_EQ(decode(text), scene);
}

TEST(SceneDecoding, ThumbnailFallsBackToTheOlderReference) {
  Scene scene = decode(R"({"id":"S","name":"N","isTemplate":false,"reference":{"name":"thumb","extension":"png"}})");
  ASSERT_TRUE(scene.thumbnail());
  EXPECT_EQ(scene.thumbnail()->name, "thumb");
  EXPECT_FALSE(scene._thumbnail());
  auto tree = encodedTree(scene);
  EXPECT_EQ(tree.at("reference"), tree.at("thumbnail"));
  Scene again = decode(encodeJson(scene));
  ASSERT_TRUE(again._thumbnail());
  EXPECT_EQ(again._thumbnail()->name, "thumb");

  again.updateAssetReference();
  EXPECT_FALSE(again._reference());
  EXPECT_EQ(again._thumbnail()->name, "thumb");
}

TEST(SceneDecoding, FailuresNameTheJsonPath) {
  // A document with the three required keys and `rest`.
  const auto with = [](std::string_view rest) {
    return R"({"id":"S","name":"N","isTemplate":false,)" + std::string(rest) + "}";
  };
  EXPECT_EQ(errorOf(R"({"name":"N","isTemplate":false})"), "id: missing required key");
  EXPECT_EQ(errorOf(R"({"id":"S","isTemplate":false})"), "name: missing required key");
  EXPECT_EQ(errorOf(R"({"id":"S","name":"N"})"), "isTemplate: missing required key");
  EXPECT_EQ(errorOf(R"({"id":"S","name":"N","isTemplate":"no"})"), "isTemplate: expected a Boolean");
  EXPECT_EQ(errorOf(with(R"("version":"6")")), "version: expected an integer");
  EXPECT_EQ(errorOf(with(R"("backgroundScaling":3)")), "backgroundScaling: unknown value 3");
  EXPECT_EQ(errorOf(with(R"("thumbnailActor":4)")), "thumbnailActor: unknown value 4");
  EXPECT_EQ(errorOf(with(R"("elements":[{"id":"00000000-0000-4000-8000-000000000001","settings":{}},
    {"id":"00000000-0000-4000-8000-000000000002","settings":{"cornerRadius":0.5}}])")),
            "elements[1].settings.cornerRadius: expected an integer");
  EXPECT_EQ(errorOf(with(R"("elements":[{"id":"nope","settings":{}}])")), "elements[0].id: \"nope\" is not a UUID");
  // A bad format fails the document even under a key that names no aspect.
  EXPECT_EQ(errorOf(with(R"("formats":{"wide":{"elements":{}}})")), "formats.wide.elements: expected an array");
  EXPECT_EQ(errorOf(with(R"("groups":["00000000-0000-4000-8000-000000000009",
    {"id":"00000000-0000-4000-8000-000000000009","kind":"folder"}])")),
            "groups[1].isCollapsed: missing required key");
  EXPECT_EQ(errorOf(with(R"("groups":["00000000-0000-4000-8000-000000000009"])")),
            "groups: expected alternating group ids and groups, found an odd number of values");
  EXPECT_EQ(errorOf("[]"), "(document): expected an object");
}

TEST(SceneDecoding, MendsDanglingMasksAndFramesButLeavesGroupsAlone) {
  using namespace testing;
  Scene built = sceneWith({maskedBy(shapeLayer(1), 99), inFrame(shapeLayer(2), 3), shapeLayer(3),
                           inGroup(shapeLayer(4), 50)},
                          {folder(50), folder(51)});
  Scene scene = decode(encodeJson(built));
  const auto& e = scene.elements();
  EXPECT_FALSE(e[0].settings().mask);
  EXPECT_EQ(e[0].settingsUpdated(), true);
  // Layer 3 is no frame: layer 2 is released and loses its layout with it.
  EXPECT_EQ(std::tuple(e[1].frameID(), e[1].settings().layout, e[1].settingsUpdated()),
            std::tuple(std::nullopt, std::nullopt, true));
  // Decoding runs no orphan clean-up: the empty folder 51 stays.
  EXPECT_EQ(scene.groups().size(), 2u);
  EXPECT_FALSE(scene.activeAspect());
}

TEST(SceneEncoding, WritesKeysInDocumentOrder) {
  Scene scene = decode(R"({"transitionConfig":{"duration":1,"type":"cut"},"webOverlayID":"W",
    "audioConfiguration":{"outputVolume":1,"outputMuted":false,"outputChannels":2,"outputAudioDelay":0,"sampleRate":48000,"sources":[]},
    "templateID":"T","thumbnailActor":3,"shouldAutoUpdateThumbnail":false,"thumbnail":{"name":"t"},
    "hasLocalisedName":false,"isTemplate":true,"version":6,"formats":{"portrait":{}},"aspectRatio":"landscape",
    "backgroundGradient":{"stops":[],"angle":90},"backgroundOpacity":1,"backgroundScaling":2,
    "backgroundColor":{"_green":0,"_blue":0,"_red":0,"alpha":1},"backgroundLooping":"loop",
    "background":{"id":"B","name":"Beach","mediaType":"image"},
    "groups":["00000000-0000-4000-8000-000000000009",{"id":"00000000-0000-4000-8000-000000000009","kind":"folder","isCollapsed":true}],
    "elements":[{"id":"00000000-0000-4000-8000-000000000001","settings":{},"groupMembership":{"groupID":"00000000-0000-4000-8000-000000000009"},"type":{"shape":{"_0":{}}}}],
    "name":"N","reference":{"name":"r"},"id":"S","zExtra":1})");
  auto tree = encodedTree(scene);
  std::vector<std::string> keys;
  for (const auto& member : tree.as_object()) keys.emplace_back(member.key());
  EXPECT_EQ(keys, (std::vector<std::string>{
                      "id", "reference", "name", "elements", "groups", "background", "backgroundLooping",
                      "backgroundColor", "backgroundScaling", "backgroundOpacity", "backgroundGradient",
                      "aspectRatio", "formats", "version", "isTemplate", "hasLocalisedName", "thumbnail",
                      "shouldAutoUpdateThumbnail", "thumbnailActor", "templateID", "audioConfiguration",
                      "webOverlayID", "transitionConfig", "zExtra"}));
  EXPECT_EQ(tree.at("groups").as_array().size(), 2u);
  EXPECT_EQ(tree.at("groups").at(0), "00000000-0000-4000-8000-000000000009");
  EXPECT_EQ(tree.at("transitionConfig"), parseJson(R"({"type":"cut","duration":1})"));
  EXPECT_EQ(decode(encodeJson(scene)), scene);
}

TEST(SceneEncoding, PrimaryFormatsOwnUnknownKeysAreNotWrittenAtTheTop) {
  SceneFormat format;
  format.additionalProperties["kept"] = 1;
  Scene scene(Scene::Identity{.id = "S"}, "N", AspectRatio::landscape, format);
  EXPECT_EQ(encodedTree(scene).as_object().count("kept"), 0u);
  scene.setFormat(format, AspectRatio::portrait);
  EXPECT_EQ(encodedTree(scene).at("formats").at("portrait").at("kept"), 1);
}

TEST(SceneFormats, RemovingFormatsKeepsAtLeastOneAndMovesThePrimary) {
  Scene scene = sceneWith({shapeLayer(1)});
  scene.removeFormat(AspectRatio::landscape);
  EXPECT_TRUE(scene.hasFormat(AspectRatio::landscape));

  SceneFormat portrait;
  portrait.elements = {shapeLayer(2)};
  scene.setFormat(portrait, AspectRatio::portrait);
  scene.setActiveAspect(AspectRatio::landscape);
  scene.removeFormat(AspectRatio::landscape);
  EXPECT_EQ(scene.primaryAspect(), AspectRatio::portrait);
  EXPECT_FALSE(scene.activeAspect());
  auto tree = encodedTree(scene);
  EXPECT_EQ(tree.at("aspectRatio"), "portrait");
  EXPECT_EQ(tree.at("elements").at(0).at("id"), JsonValue(id(2).toString()));
  EXPECT_FALSE(tree.as_object().contains("formats"));
}

TEST(SceneRouting, AccessorsFollowTheActiveAspectAndWritesCreateFormats) {
  Scene scene = sceneWith({shapeLayer(1)});
  scene.setActiveAspect(AspectRatio::square);
  EXPECT_TRUE(scene.elements().empty());
  EXPECT_EQ(scene.backgroundColor(), SceneColor::opaqueBlack());
  EXPECT_FALSE(scene.hasFormat(AspectRatio::square));

  scene.setBackgroundOpacity(0.5);
  EXPECT_TRUE(scene.hasFormat(AspectRatio::square));
  EXPECT_EQ(scene.supportedAspects(), (std::vector{AspectRatio::landscape, AspectRatio::square}));
  EXPECT_EQ(scene.elements(AspectRatio::landscape).size(), 1u);
  EXPECT_EQ(encodedTree(scene).at("formats").at("square").at("backgroundOpacity"), 0.5);

  // The routed aspect is never stored, and takes no part in equality.
  EXPECT_EQ(scene, scene.withActiveAspect(std::nullopt));
  EXPECT_EQ(scene.withActiveAspect(AspectRatio::landscape).elements().size(), 1u);
  EXPECT_EQ(scene.aspectRatio(), AspectRatio::square);
}

TEST(SceneElements, AddUsesWholeRecordEqualityAndHonoursIndices) {
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2)});
  scene.addElement(shapeLayer(1), 0, false);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2}));

  SceneElement sameIdOtherSettings = shapeLayer(1);
  sameIdOtherSettings.settings().opacity = 0.5;
  scene.addElement(sameIdOtherSettings, 1, false);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 1, 2}));

  scene.addElement(shapeLayer(3), std::nullopt, true);
  scene.addElement(shapeLayer(4), 0, false);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{4, 1, 1, 2, 3}));
  EXPECT_THROW(scene.addElement(shapeLayer(5), 9, false), std::out_of_range);
}

TEST(SceneElements, ReorderMoveUpdateAndRemove) {
  using namespace testing;
  Scene scene = sceneWith({shapeLayer(1), shapeLayer(2), shapeLayer(3), shapeLayer(4)});
  SceneElement changed = shapeLayer(1);
  changed.settings().opacity = 0.25;
  scene.reorder(changed, 0);  // not equal to any layer: nothing happens
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{1, 2, 3, 4}));
  scene.reorder(shapeLayer(1), 3);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{2, 3, 4, 1}));
  scene.move(0, 2);
  EXPECT_EQ(numbers(scene.elements()), (std::vector<unsigned>{3, 4, 2, 1}));
  scene.update(0, changed);
  EXPECT_EQ(scene.elements()[0], changed);
  EXPECT_THROW(scene.update(4, changed), std::out_of_range);

  // Removing a layer takes the groups it leaves empty with it.
  Scene grouped = sceneWith({inGroup(shapeLayer(1), 50), inGroup(shapeLayer(2), 51), inGroup(shapeLayer(2), 51)},
                            {folder(50), folder(51)});
  grouped.removeElement(id(2));
  EXPECT_EQ(numbers(grouped.elements()), (std::vector<unsigned>{1}));
  EXPECT_EQ(grouped.groups().size(), 1u);
  EXPECT_TRUE(grouped.groups().contains(id(50)));
}

// The index check of update and move wrapped around on an empty list and let the access through.
TEST(SceneElements, IndicesIntoAnEmptyFormatAreRefused) {
  Scene scene = sceneWith({});
  EXPECT_THROW(scene.update(0, shapeLayer(1)), std::out_of_range);
  EXPECT_THROW(scene.move(0, 0), std::out_of_range);
  EXPECT_TRUE(scene.elements().empty());
  scene.addElement(shapeLayer(1), 0, false);
  EXPECT_EQ(numbers(scene.elements()), std::vector<unsigned>{1});
}

TEST(SceneName, LocalisedNamesAreLookedUpByKeyAndTable) {
  auto dir = std::filesystem::temp_directory_path() / ("tav-scene-name-" + Uuid::random().toString());
  std::filesystem::create_directories(dir);
  std::ofstream(dir / "Scenes.json") << R"({"MORNING_SHOW":"Morning Show"})";
  std::ofstream(dir / "Localizable.json") << R"({"MORNING_SHOW":"Default table"})";
  Localizer::setMainBundleDirectory(dir, "en");

  Scene scene(Scene::Identity{.id = "DEFAULT_SCENE_1", .hasLocalisedName = true}, "MORNING_SHOW:Scenes:ignored");
  EXPECT_EQ(scene.name(), "Morning Show");
  scene.renameOverlay("MORNING_SHOW");
  EXPECT_EQ(scene.name(), "Default table");
  scene.renameOverlay("MISSING_KEY");
  EXPECT_EQ(scene.name(), "MISSING_KEY");
  EXPECT_TRUE(scene.isDefault());
  Scene plain(Scene::Identity{.id = "S"}, "MORNING_SHOW:Scenes");
  EXPECT_EQ(plain.name(), "MORNING_SHOW:Scenes");
  EXPECT_FALSE(plain.isDefault());

  Localizer::setMainBundleDirectory({});
  std::filesystem::remove_all(dir);
}

TEST(SceneEquality, PrivateFieldsTakePartAndHashesAgree) {
  SceneElement a = shapeLayer(1);
  SceneElement b = shapeLayer(1);
  EXPECT_EQ(a, b);
  b.setSettingsUpdated(false);
  EXPECT_NE(a, b);

  Scene x = sceneWith({shapeLayer(1)});
  Scene y = x.withActiveAspect(AspectRatio::portrait);
  EXPECT_EQ(x, y);
  EXPECT_EQ(std::hash<Scene>()(x), std::hash<Scene>()(y));
  y.updateVersion(Scene::currentSceneVersion);
  EXPECT_NE(x, y);
}

TEST(SceneElement, CopyOfGetsANewIdentityWithoutStructure) {
  using namespace testing;
  SceneElement source = inFrame(maskedBy(inGroup(shapeLayer(1), 50), 2), 3);
  source.setSettingsUpdated(true);
  SceneElement copy = SceneElement::copyOf(source);
  EXPECT_NE(copy.id(), source.id());
  EXPECT_FALSE(copy.groupMembership());
  EXPECT_FALSE(copy.frameID());
  EXPECT_FALSE(copy.settingsUpdated());
  EXPECT_FALSE(copy.settings().layout);
  EXPECT_FALSE(copy.settings().mask);
  EXPECT_EQ(copy.settings().name, source.settings().name);
}

TEST(SceneElement, UpdateReportsChangesAndKeepsTheKind) {
  SceneElement element = shapeLayer(1);
  SceneElementSettings same = element.settings();
  EXPECT_FALSE(element.update(same, std::nullopt));
  EXPECT_EQ(element.settingsUpdated(), false);

  SceneElementSettings moved;
  moved.xPosition = 0.25;
  EXPECT_TRUE(element.update(moved, std::nullopt));
  EXPECT_EQ(std::tuple(element.settings().xPosition, element.settings().width), std::tuple(0.25, 0.5));

  EXPECT_TRUE(element.update(std::nullopt, SceneElementType(SceneElementTextSettings{})));
  EXPECT_TRUE(element.type().isShape());
  EXPECT_FALSE(element.update(std::nullopt, SceneElementType::unknown()));
}

}  // namespace
}  // namespace tav
