#include "tav/scene/scene_element_settings.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

SceneElementSettings fullSettings() {
  SceneElementSettings s;
  s.setRect(Rect(0.1, 0.2, 0.5, 0.25));
  s._cornerRadius = 50;
  s.borderWidth = 2;
  s._borderColor = SceneColor(1, 0, 0, 1);
  s.isLocked = true;
  s.isHidden = false;
  s.lockAspectRatio = true;
  s.opacity = 0.8;
  s.rotation = -45;
  s.name = "Logo";
  SceneLayoutItem layout;
  layout.position = SceneLayoutItem::Position::absolute;
  layout.grow = 1;
  s.layout = layout;
  SceneMask mask;
  mask.layerID = Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  mask.component = SceneMask::Component::luminance;
  s.mask = mask;
  return s;
}

TEST(SceneElementSettings, CornerRadiusStoresTruncatedHundredths) {
  SceneElementSettings s;
  s.setCornerRadius(0.257);
  EXPECT_EQ(std::tuple(s._cornerRadius, s.cornerRadius()), std::tuple(25, 0.25));
  s.setCornerRadius(-0.019);  // toward zero, not down
  EXPECT_EQ(s._cornerRadius, -1);
  s.setCornerRadius(std::nullopt);
  EXPECT_FALSE(s._cornerRadius.has_value());
  EXPECT_FALSE(s.cornerRadius().has_value());
}

TEST(SceneElementSettings, RectNeedsAllFourGeometryFields) {
  SceneElementSettings s;
  s.xPosition = 0.1;
  s.yPosition = 0.2;
  s.width = 0.3;
  EXPECT_FALSE(s.rect().has_value());
  s.height = 0.4;
  EXPECT_EQ(s.rect(), Rect(0.1, 0.2, 0.3, 0.4));

  // A rectangle of negative width is stored by its minimum x and its (positive) width.
  s.setRect(Rect(0.5, 0.1, -0.25, 0.5));
  EXPECT_EQ(std::tie(s.xPosition, s.width, s.yPosition, s.height), std::make_tuple(0.25, 0.25, 0.1, 0.5));
}

TEST(SceneElementSettings, BorderColourAndPositionSettings) {
  SceneElementSettings s;
  EXPECT_EQ(s.borderColor(), SceneColor(0, 0, 0, 1));
  s._borderColor = SceneColor(0, 1, 0, 0.5);
  EXPECT_EQ(s.borderColor(), SceneColor(0, 1, 0, 0.5));

  s.xPosition = 0.1;
  s.height = 0.4;
  EXPECT_EQ(s.getPositionSetting(SceneElementPosition::xPosition), 0.1);
  EXPECT_EQ(s.getPositionSetting(SceneElementPosition::height), 0.4);
  EXPECT_FALSE(s.getPositionSetting(SceneElementPosition::width).has_value());
}

TEST(SceneElementSettings, UpdateWithTheStoredValuesChangesNothing) {
  SceneElementSettings stored = fullSettings();
  EXPECT_FALSE(stored.applyUpdate(fullSettings()));
  EXPECT_FALSE(stored.applyUpdate(SceneElementSettings()));
  EXPECT_EQ(stored, fullSettings());

  // Without a stored border colour, opaque black is what the layer already has.
  SceneElementSettings plain;
  SceneElementSettings black;
  black._borderColor = SceneColor(0, 0, 0, 1);
  EXPECT_FALSE(plain.applyUpdate(black));
  EXPECT_FALSE(plain._borderColor.has_value());
}

TEST(SceneElementSettings, UpdateTakesPresentFieldsThatDiffer) {
  SceneElementSettings stored = fullSettings();
  SceneElementSettings incoming;
  incoming.width = 0.75;
  incoming._cornerRadius = 10;
  incoming._borderColor = SceneColor(0, 0, 0, 1);
  EXPECT_TRUE(stored.applyUpdate(incoming));
  EXPECT_EQ(std::tie(stored.width, stored._cornerRadius, stored._borderColor, stored.xPosition, stored.name),
            std::make_tuple(0.75, 10, SceneColor(0, 0, 0, 1), 0.1, "Logo"));

  // A field the layer doesn't have yet is always taken.
  SceneElementSettings empty;
  SceneElementSettings layout;
  layout.layout = SceneLayoutItem();
  EXPECT_TRUE(empty.applyUpdate(layout));
  EXPECT_EQ(empty.layout, SceneLayoutItem());
  EXPECT_FALSE(empty.applyUpdate(layout));

  SceneElementSettings radius;
  radius._cornerRadius = 0;
  EXPECT_TRUE(empty.applyUpdate(radius));
  EXPECT_EQ(empty._cornerRadius, 0);
}

TEST(SceneElementSettings, WritesKeysInDocumentOrder) {
  EXPECT_EQ(encodeJson(fullSettings()),
            R"({"name":"Logo","xPosition":0.1,"yPosition":0.2,"width":0.5,"height":0.25,"borderWidth":2,)"
            R"("borderColor":{"_green":0,"_blue":0,"_red":1,"alpha":1},"cornerRadius":50,"isHidden":false,)"
            R"("lockAspectRatio":true,"opacity":0.8,"rotation":-45,"isLocked":true,)"
            R"("layout":{"position":"absolute","grow":1,"shrink":0},)"
            R"("mask":{"layerID":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","component":"luminance"}})");
  EXPECT_EQ(encodeJson(SceneElementSettings()), "{}");
  EXPECT_EQ(decodeJson<SceneElementSettings>(encodeJson(fullSettings())), fullSettings());
}

TEST(SceneElementSettings, ReadsMissingKeysAsAbsentAndRefusesWrongTypes) {
  auto settings = decodeJson<SceneElementSettings>(R"({"cornerRadius":50,"opacity":null,"futureKey":[1]})");
  EXPECT_EQ(settings.cornerRadius(), 0.5);
  EXPECT_FALSE(settings.opacity.has_value());

  auto document = decodeJson<AnyCodable>(R"({"settings":{"cornerRadius":12.5}})");
  JsonPath root = JsonPath::root();
  JsonPath settingsPath = root.key("settings");
  try {
    JsonCoder<SceneElementSettings>::decode(document.at("settings"), settingsPath);
    FAIL() << "a fractional corner radius must not read";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "settings.cornerRadius: expected an integer");
  }
  EXPECT_THROW(decodeJson<SceneElementSettings>(R"({"name":3})"), DecodingError);
  EXPECT_THROW(decodeJson<SceneElementSettings>(R"({"isHidden":"yes"})"), DecodingError);
}

}  // namespace
}  // namespace tav
