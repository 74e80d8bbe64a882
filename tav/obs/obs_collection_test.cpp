#include "tav/obs/obs_collection.hpp"

#include <string>

#include <gtest/gtest.h>

#include "tav/contracts/decoding_error.hpp"
#include "tav/obs/obs_conversion.hpp"

namespace tav {
namespace {

std::string sceneWithItems(const std::string& items) {
  return R"({"sources":[{"id":"scene","name":"S","settings":{"items":)" + items + "}}]}";
}

TEST(OBSCollection, EmptyObjectDecodesToDefaults) {
  const auto collection = OBSCollection::decode("{}");
  EXPECT_EQ(std::tie(collection.name, collection.version, collection.resolution),
            std::make_tuple(std::nullopt, std::nullopt, std::nullopt));
  EXPECT_EQ(std::tuple(collection.sources.size(), collection.groups.size(), collection.sceneOrder.size()),
            std::tuple(0u, 0u, 0u));
  EXPECT_EQ(collection.canvasSize(), (Size{1920, 1080}));
  EXPECT_TRUE(collection.flattenedEntries("anything").empty());
}

TEST(OBSCollection, TopLevelFieldsAreStrictAndListsLenient) {
  const auto c = OBSCollection::decode(
      R"({"name":"Stüdio 😀","version":2.0,"resolution":{"x":0,"y":1080},"scene_order":[{"name":"a"},{},{"name":"b"}],)"
      R"("sources":[{"id":"scene","name":"a"},{"id":"scene","name":"b","uuid":"u"}],"groups":"nope"})");
  EXPECT_EQ(std::tie(c.name, c.version, c.resolution), std::make_tuple("Stüdio 😀", 2, OBSVec2{0, 1080}));
  EXPECT_EQ(c.canvasSize(), (Size{1920, 1080}));  // a side of 0 falls back
  EXPECT_EQ(c.sceneOrder, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(c.sources.size(), 2u);
  EXPECT_TRUE(c.groups.empty());
  EXPECT_EQ(OBSCollection::decode(R"({"resolution":{"x":1280,"y":720}})").canvasSize(), (Size{1280, 720}));

  // A scene_order record with a name of the wrong type loses the whole order.
  EXPECT_TRUE(OBSCollection::decode(R"({"scene_order":[{"name":"a"},{"name":5}]})").sceneOrder.empty());
  // One bad source loses all sources, silently.
  const auto lost = OBSCollection::decode(R"({"sources":[{"id":"scene","name":"a"},{"id":5}]})");
  EXPECT_TRUE(lost.sources.empty());
  EXPECT_TRUE(OBSCollection::decode(R"({"sources":[{"name":"a","settings":[]}]})").sources.empty());
  EXPECT_TRUE(OBSCollection::decode(R"({"sources":[{"name":"a","versioned_id":false}]})").sources.empty());

  for (const char* bad : {"", "[1]", "{", R"({"name":5})", R"({"version":"2"})", R"({"version":2.5})",
                          R"({"resolution":{"x":1}})", R"({"resolution":"1920x1080"})"}) {
    EXPECT_THROW(OBSCollection::decode(bad), DecodingError) << bad;
  }
  try {
    OBSCollection::decode(R"({"version":"2"})");
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "version");
  }
}

TEST(OBSCollection, ItemDefaultsAndFailures) {
  auto c = OBSCollection::decode(sceneWithItems(R"([{"name":"a"}])"));
  ASSERT_TRUE(c.sources[0].settings->items);
  const OBSSceneItem& a = c.sources[0].settings->items->at(0);
  EXPECT_EQ(std::tie(a.name, a.visible, a.locked, a.align, a.boundsType, a.rot, a.pos, a.groupItemBackup),
            std::make_tuple("a", true, false, 5, 0, 0.0, std::nullopt, false));

  c = OBSCollection::decode(sceneWithItems(
      R"([{"name":"b","visible":"yes","locked":1,"align":10.0,"bounds_type":2.5,"rot":45,"crop_left":"x",)"
      R"("crop_top":3,"pos":{"x":1,"y":2.5},"scale_ref":null,"group_item_backup":true}])"));
  const OBSSceneItem& b = c.sources[0].settings->items->at(0);
  // "visible" unreadable: the default; "locked" a number, which is no Boolean; "align" an integral
  // double, which reads as an integer; "bounds_type" 2.5 and "crop_left" unreadable: defaults.
  EXPECT_EQ(std::tie(b.visible, b.locked, b.align, b.boundsType, b.rot, b.cropLeft, b.cropTop),
            std::make_tuple(true, false, 10, 0, 45.0, 0.0, 3.0));
  EXPECT_EQ(std::tie(b.pos, b.scaleRef, b.groupItemBackup), std::make_tuple(OBSVec2{1, 2.5}, std::nullopt, true));

  // A wrongly typed optional key fails the item, and with it the whole list; the source stays.
  for (const char* items : {R"([{"name":"a"},{"name":"c","pos":5}])", R"([{"name":7}])",
                            R"([{"source_uuid":true}])", R"([{"scale":{"x":1}}])", R"([3])", R"({"name":"a"})"}) {
    c = OBSCollection::decode(sceneWithItems(items));
    ASSERT_EQ(c.sources.size(), 1u) << items;
    ASSERT_TRUE(c.sources[0].settings);
    EXPECT_FALSE(c.sources[0].settings->items) << items;
  }
}

TEST(OBSCollection, SettingsValuesAndTypedLookups) {
  const auto c = OBSCollection::decode(
      R"({"sources":[{"name":"s","settings":{"i":5,"f":5.5,"neg":-2.9,"huge":1e300,"t":true,"z":0,"s":"txt",)"
      R"("o":{"k":[1,"x",null]},"n":null,"m":-1,"items":7}}]})");
  const OBSSettings& s = *c.sources[0].settings;
  EXPECT_FALSE(s.items);
  EXPECT_EQ(s.values.count("items"), 0u);
  EXPECT_EQ(s.values.at("i").kind(), OBSJSONValue::Case::int_);
  EXPECT_EQ(s.values.at("f").kind(), OBSJSONValue::Case::double_);
  EXPECT_TRUE(s.values.at("n").isNull());
  const auto* o = s.object("o");
  ASSERT_NE(o, nullptr);
  const auto* k = o->at("k").array();
  ASSERT_NE(k, nullptr);
  EXPECT_EQ(*k, (OBSJSONValue::Array{OBSJSONValue(std::int64_t{1}), OBSJSONValue(std::string("x")), OBSJSONValue()}));

  EXPECT_EQ(s.string("s"), "txt");
  EXPECT_FALSE(s.string("i"));
  EXPECT_EQ((std::vector{s.double_("i"), s.double_("f"), s.double_("t"), s.double_("s")}),
            (std::vector<std::optional<double>>{5.0, 5.5, 1.0, std::nullopt}));
  // Doubles go toward zero; one too large for an integer reads as none.
  EXPECT_EQ((std::vector{s.int_("f"), s.int_("neg"), s.int_("huge"), s.int_("t"), s.int_("missing")}),
            (std::vector<std::optional<std::int64_t>>{5, -2, std::nullopt, 1, std::nullopt}));
  EXPECT_EQ(s.uint32("m"), 0xFFFFFFFFu);
  EXPECT_EQ((std::vector{s.bool_("i"), s.bool_("z"), s.bool_("t"), s.bool_("f"), s.bool_("s")}),
            (std::vector<std::optional<bool>>{true, false, true, std::nullopt, std::nullopt}));
  EXPECT_EQ(s.object("s"), nullptr);
}

TEST(OBSCollection, GroupSpaceSizeNeedsCustomSizeAndPositiveSides) {
  auto space = [](const char* settings) {
    const auto c = OBSCollection::decode(std::string(R"({"groups":[{"id":"group","settings":)") + settings + "}]}");
    return OBSCollection::groupSpaceSize(c.groups.at(0));
  };
  EXPECT_EQ(space(R"({"custom_size":true,"cx":400,"cy":300.5})"), (Size{400, 300.5}));
  EXPECT_EQ(space(R"({"custom_size":1,"cx":400,"cy":300})"), (Size{400, 300}));
  EXPECT_EQ(space(R"({"custom_size":0,"cx":400,"cy":300})"), (Size{0, 0}));
  EXPECT_EQ(space(R"({"custom_size":"true","cx":400,"cy":300})"), (Size{0, 0}));
  EXPECT_EQ(space(R"({"custom_size":true,"cx":true,"cy":true})"), (Size{1, 1}));  // true reads as 1.0
  EXPECT_EQ(space(R"({"custom_size":true,"cx":0,"cy":300})"), (Size{0, 0}));
  EXPECT_EQ(space("null"), (Size{0, 0}));
}

TEST(OBSCollection, SourceIndexLetsGroupsOverrideSourcesOfTheSameName) {
  const auto c = OBSCollection::decode(
      R"({"sources":[{"id":"image_source","name":"X","uuid":"1"},{"id":"scene","name":"X","uuid":"2"}],)"
      R"("groups":[{"id":"group","name":"X","uuid":"3"}]})");
  const auto index = c.sourceIndex();
  EXPECT_EQ(index.byName.at("X")->uuid, "3");
  EXPECT_EQ(index.byUUID.at("1")->id, "image_source");
  EXPECT_EQ(index.byUUID.size(), 3u);
}

TEST(DynamicKey, ReachesAnyKeyByText) {
  EXPECT_FALSE(DynamicKey("x").intValue);
  EXPECT_EQ(DynamicKey(3).stringValue, "3");
}

}  // namespace
}  // namespace tav
