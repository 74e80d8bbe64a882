#include "tav/scene/scene_color.hpp"

#include <gtest/gtest.h>

#include "tav/scene/scene_gradient.hpp"

namespace tav {
namespace {

TEST(SceneColor, HexIgnoresAlphaAndRoundsHalvesUp) {
  EXPECT_EQ(SceneColor(1, 0.5, 0, 1).hex(), "#FF8000");
  EXPECT_EQ(SceneColor(1, 0.5, 0, 0.25).hex(), "#FF8000");
  EXPECT_EQ(SceneColor(0, 0, 0, 1).hex(), "#000000");
  // 0.2 * 255 = 51, 0.1 * 255 = 25.5 -> 26 (single precision 25.5 exactly, away from zero).
  EXPECT_EQ(SceneColor(0.2, 0.1, 1, 1).hex(), "#331AFF");
}

TEST(SceneColor, StoresComponentsGreenBlueRedAlphaAndEqualColoursHashEqually) {
  SceneColor color(0.1, 0.2, 0.3, 0.4);
  EXPECT_EQ(std::tuple(color.red(), color.green(), color.blue()), std::tuple(0.1, 0.2, 0.3));
  EXPECT_EQ(encodeJson(color), R"({"_green":0.2,"_blue":0.3,"_red":0.1,"alpha":0.4})");
  EXPECT_EQ(decodeJson<SceneColor>(R"({"alpha":0.4,"_red":0.1,"_blue":0.3,"_green":0.2})"), color);
  EXPECT_EQ(SceneColor::opaqueBlack(), SceneColor(0, 0, 0, 1));
  EXPECT_EQ(SceneColor(), SceneColor::opaqueBlack());
  EXPECT_EQ(std::hash<SceneColor>()(SceneColor(0.1, 0.2, 0.3, 1)),
            std::hash<SceneColor>()(SceneColor(0.1, 0.2, 0.3, 1)));
  EXPECT_NE(SceneColor(0.1, 0.2, 0.3, 1), SceneColor(0.3, 0.2, 0.1, 1));
}

TEST(SceneColor, MissingComponentFailsNamingItsPath) {
  try {
    decodeJson<SceneGradient>(R"({"stops":[{"location":0,"color":{"_blue":0,"_red":1,"alpha":1}}],"angle":0})");
    FAIL() << "a colour without _green must not read";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "stops[0].color._green");
  }
  EXPECT_THROW(decodeJson<SceneColor>(R"({"_green":"0","_blue":0,"_red":1,"alpha":1})"), DecodingError);
}

}  // namespace
}  // namespace tav
