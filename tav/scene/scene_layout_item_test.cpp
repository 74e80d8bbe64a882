#include "tav/scene/scene_layout_item.hpp"

#include <gtest/gtest.h>

#include "tav/scene/scene_frame_settings.hpp"
#include "tav/scene/scene_mask.hpp"

namespace tav {
namespace {

TEST(SceneDimension, AutoIsZeroWithRawTextAuto) {
  EXPECT_EQ(SceneDimension::auto_(), (SceneDimension{0, SceneDimension::Unit::auto_}));
  EXPECT_EQ(encodeJson(SceneDimension::auto_()), R"({"value":0,"unit":"auto"})");
  EXPECT_EQ(decodeJson<SceneDimension>(R"({"value":50,"unit":"percent"})"),
            (SceneDimension{50, SceneDimension::Unit::percent}));
  EXPECT_THROW(decodeJson<SceneDimension>(R"({"value":50,"unit":"em"})"), DecodingError);
  EXPECT_THROW(decodeJson<SceneDimension>(R"({"unit":"point"})"), DecodingError);
}

TEST(SceneEdgeInsets, AllSetsEveryEdgeAndWritesInOrder) {
  SceneEdgeInsets insets = SceneEdgeInsets::all({8, SceneDimension::Unit::point});
  EXPECT_EQ(encodeJson(insets),
            R"({"top":{"value":8,"unit":"point"},"leading":{"value":8,"unit":"point"},)"
            R"("bottom":{"value":8,"unit":"point"},"trailing":{"value":8,"unit":"point"}})");
  EXPECT_EQ(encodeJson(SceneEdgeInsets{}), "{}");
  EXPECT_EQ(decodeJson<SceneEdgeInsets>(R"({"bottom":{"value":1,"unit":"point"}})"),
            (SceneEdgeInsets{std::nullopt, std::nullopt, SceneDimension{1, SceneDimension::Unit::point}, std::nullopt}));
}

TEST(SceneLayoutItem, WritesFieldsInOrderAndRequiresPositionGrowShrink) {
  SceneLayoutItem item;
  item.position = SceneLayoutItem::Position::absolute;
  item.aspectRatio = 1.5;
  item.maxHeight = SceneDimension{100, SceneDimension::Unit::point};
  item.alignSelf = SceneFlexAlign::stretch;
  item.grow = 1;
  item.margin = SceneEdgeInsets{};
  EXPECT_EQ(encodeJson(item),
            R"({"position":"absolute","margin":{},"grow":1,"shrink":0,"alignSelf":"stretch",)"
            R"("maxHeight":{"value":100,"unit":"point"},"aspectRatio":1.5})");
  EXPECT_EQ(decodeJson<SceneLayoutItem>(encodeJson(item)), item);
  EXPECT_THROW(decodeJson<SceneLayoutItem>(R"({"position":"flow","grow":0})"), DecodingError);
  EXPECT_THROW(decodeJson<SceneLayoutItem>(R"({"position":"sticky","grow":0,"shrink":0})"), DecodingError);
}

TEST(SceneFrameSettings, WritesFieldsInOrderAndRefusesUnlistedTexts) {
  SceneFrameSettings frame;
  frame.direction = SceneFlexDirection::column;
  frame.justify = SceneFlexJustify::spaceEvenly;
  frame.align = SceneFlexAlign::center;
  frame.verticalConstraint = SceneFrameConstraint::trailing;
  frame.isCollapsed = false;
  frame.backgroundColor = SceneColor(1, 1, 1, 1);
  frame.gap = SceneDimension{4, SceneDimension::Unit::point};
  EXPECT_EQ(encodeJson(frame),
            R"({"direction":"column","justify":"spaceEvenly","align":"center","gap":{"value":4,"unit":"point"},)"
            R"("backgroundColor":{"_green":1,"_blue":1,"_red":1,"alpha":1},"isCollapsed":false,)"
            R"("verticalConstraint":"trailing"})");
  EXPECT_EQ(decodeJson<SceneFrameSettings>(encodeJson(frame)), frame);
  EXPECT_THROW(decodeJson<SceneFrameSettings>(R"({"direction":"diagonal","justify":"start","align":"start"})"),
               DecodingError);
  EXPECT_THROW(decodeJson<SceneFrameSettings>(R"({"direction":"row","justify":"start"})"), DecodingError);
  EXPECT_EQ(allCases<SceneFlexJustify>().size(), 6u);
}

TEST(SceneMask, AllFieldsOptionalAndWrittenInOrder) {
  SceneMask mask;
  mask.component = SceneMask::Component::luminance;
  mask.layerID = Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  mask.feather = 0.5;
  EXPECT_EQ(encodeJson(mask),
            R"({"layerID":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","feather":0.5,"component":"luminance"})");
  EXPECT_EQ(decodeJson<SceneMask>(encodeJson(mask)), mask);
  EXPECT_EQ(decodeJson<SceneMask>("{}"), SceneMask{});
  EXPECT_THROW(decodeJson<SceneMask>(R"({"component":"red"})"), DecodingError);
}

}  // namespace
}  // namespace tav
