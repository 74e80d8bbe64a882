#include "tav/scene/scene_gradient.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

const SceneColor kRed(1, 0, 0, 1);
const SceneColor kBlue(0, 0, 1, 1);
const SceneColor kGreen(0, 1, 0, 1);

TEST(SceneGradient, SortedStopsClampAndKeepOrderOfTiesAndTheFirstRepresentsTheGradient) {
  SceneGradient gradient{{{2, kRed}, {-1, kBlue}, {0.5, kGreen}, {0, kGreen}}, 90};
  auto sorted = gradient.sortedStops();
  // -1 -> 0 and the original 0 tie; the clamped one came first in the list.
  EXPECT_EQ(sorted, (std::vector<SceneGradient::Stop>{{0, kBlue}, {0, kGreen}, {0.5, kGreen}, {1, kRed}}));
  EXPECT_EQ(gradient.representativeColor(), kBlue);
  EXPECT_EQ(SceneGradient{}.representativeColor(), std::nullopt);
}

TEST(SceneGradient, VisibleOnlyWithTwoDifferentColours) {
  EXPECT_FALSE((SceneGradient{{{0, kRed}, {1, kRed}}, 0}.hasVisibleGradient()));
  EXPECT_FALSE((SceneGradient{{{0, kRed}}, 0}.hasVisibleGradient()));
  EXPECT_TRUE((SceneGradient{{{0, kRed}, {0.5, kRed}, {1, kBlue}}, 0}.hasVisibleGradient()));
  // Alpha alone makes a different colour.
  EXPECT_TRUE((SceneGradient{{{0, kRed}, {1, SceneColor(1, 0, 0, 0.5)}}, 0}.hasVisibleGradient()));
}

TEST(SceneGradient, JsonKeysInOrderAndAllRequired) {
  SceneGradient gradient{{{0.25, kRed}}, 45};
  EXPECT_EQ(encodeJson(gradient),
            R"({"stops":[{"location":0.25,"color":{"_green":0,"_blue":0,"_red":1,"alpha":1}}],"angle":45})");
  EXPECT_EQ(decodeJson<SceneGradient>(encodeJson(gradient)), gradient);
  EXPECT_THROW(decodeJson<SceneGradient>(R"({"stops":[]})"), DecodingError);
  EXPECT_THROW(decodeJson<SceneGradient>(R"({"stops":[{"location":0}],"angle":0})"), DecodingError);
}

}  // namespace
}  // namespace tav
