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
  EXPECT_FALSE(collection.name);
  EXPECT_FALSE(collection.version);
  EXPECT_FALSE(collection.resolution);
  EXPECT_TRUE(collection.sources.empty());
  EXPECT_TRUE(collection.groups.empty());
  EXPECT_TRUE(collection.sceneOrder.empty());
  EXPECT_EQ(collection.canvasSize(), (Size{1920, 1080}));
  EXPECT_TRUE(collection.flattenedEntries("anything").empty());
}

TEST(OBSCollection, TopLevelFieldsAreStrictAndListsLenient) {
  const auto c = OBSCollection::decode(
      R"({"name":"Stüdio 😀","version":2.0,"resolution":{"x":0,"y":1080},"scene_order":[{"name":"a"},{},{"name":"b"}],)"
      R"("sources":[{"id":"scene","name":"a"},{"id":"scene","name":"b","uuid":"u"}],"groups":"nope"})");
  EXPECT_EQ(c.name, "Stüdio 😀");
  EXPECT_EQ(c.version, 2);
  EXPECT_EQ(c.resolution, (OBSVec2{0, 1080}));
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
  EXPECT_EQ(a.name, "a");
  EXPECT_TRUE(a.visible);
  EXPECT_FALSE(a.locked);
  EXPECT_EQ(a.align, 5);
  EXPECT_EQ(a.boundsType, 0);
  EXPECT_EQ(a.rot, 0);
  EXPECT_FALSE(a.pos);
  EXPECT_FALSE(a.groupItemBackup);

  c = OBSCollection::decode(sceneWithItems(
      R"([{"name":"b","visible":"yes","locked":1,"align":10.0,"bounds_type":2.5,"rot":45,"crop_left":"x",)"
      R"("crop_top":3,"pos":{"x":1,"y":2.5},"scale_ref":null,"group_item_backup":true}])"));
  const OBSSceneItem& b = c.sources[0].settings->items->at(0);
  EXPECT_TRUE(b.visible);   // unreadable: default
  EXPECT_FALSE(b.locked);   // a number is no Boolean
  EXPECT_EQ(b.align, 10);   // an integral double reads as an integer
  EXPECT_EQ(b.boundsType, 0);
  EXPECT_EQ(b.rot, 45);
  EXPECT_EQ(b.cropLeft, 0);
  EXPECT_EQ(b.cropTop, 3);
  EXPECT_EQ(b.pos, (OBSVec2{1, 2.5}));
  EXPECT_FALSE(b.scaleRef);
  EXPECT_TRUE(b.groupItemBackup);

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
  EXPECT_EQ(s.double_("i"), 5.0);
  EXPECT_EQ(s.double_("f"), 5.5);
  EXPECT_EQ(s.double_("t"), 1.0);
  EXPECT_FALSE(s.double_("s"));
  EXPECT_EQ(s.int_("f"), 5);
  EXPECT_EQ(s.int_("neg"), -2);  // toward zero
  EXPECT_FALSE(s.int_("huge"));
  EXPECT_EQ(s.int_("t"), 1);
  EXPECT_EQ(s.uint32("m"), 0xFFFFFFFFu);
  EXPECT_EQ(s.bool_("i"), true);
  EXPECT_EQ(s.bool_("z"), false);
  EXPECT_EQ(s.bool_("t"), true);
  EXPECT_FALSE(s.bool_("f"));
  EXPECT_FALSE(s.bool_("s"));
  EXPECT_EQ(s.object("s"), nullptr);
  EXPECT_FALSE(s.int_("missing"));
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
