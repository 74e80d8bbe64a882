#include "tav/scene/scene_transition.hpp"

#include <gtest/gtest.h>

#include "tav/scene/scene.hpp"

namespace tav {
namespace {

using T = SceneTransitionType;
using List = std::vector<SceneTransitionType>;

TEST(SceneTransitionType, NoneIsStoredAsCut) {
  EXPECT_EQ(decodeJson<T>(R"("cut")"), T::none);
  EXPECT_THROW(decodeJson<T>(R"("none")"), DecodingError);
  EXPECT_EQ(encodeJson(T::none), R"("cut")");
  EXPECT_EQ(encodeJson(T::pageCurl), R"("pageCurl")");
  EXPECT_EQ(std::tuple(allCases<T>().size(), allCases<T>().back()), std::tuple(23u, T::reveal));
}

TEST(SceneTransitionType, DisplayNamesDefaultToEnglishTitles) {
  EXPECT_EQ((std::vector{displayName(T::none), displayName(T::fadeBlack), displayName(T::noiseDissolve),
                         displayName(T::tileFlip)}),
            (std::vector<std::string>{"None", "Fade Through Black", "Noise Dissolve", "Tile Flip"}));
}

TEST(SceneTransitionConfig, TypeRequiredDurationOptional) {
  EXPECT_EQ(encodeJson(SceneTransitionConfig::default_()), R"({"type":"dissolve"})");
  EXPECT_EQ(encodeJson(SceneTransitionConfig{T::wipeLeft, 0.75}), R"({"type":"wipeLeft","duration":0.75})");
  EXPECT_EQ(decodeJson<SceneTransitionConfig>(R"({"duration":1.5,"type":"burn"})"),
            (SceneTransitionConfig{T::burn, 1.5}));
  EXPECT_EQ(decodeJson<SceneTransitionConfig>(R"({"type":"cut"})"), (SceneTransitionConfig{T::none, std::nullopt}));
  EXPECT_THROW(decodeJson<SceneTransitionConfig>(R"({"duration":1})"), DecodingError);
  EXPECT_THROW(decodeJson<SceneTransitionConfig>(R"({"type":"sparkle"})"), DecodingError);
  EXPECT_NE(std::hash<SceneTransitionConfig>()({T::burn, 1.5}), std::hash<SceneTransitionConfig>()({T::burn, 2.0}));
}

TEST(SceneTransitionConfig, SceneWithoutOneHasNoneAndWritesNone) {
  auto scene = decodeJson<Scene>(R"({"id":"S","name":"N","isTemplate":false})");
  EXPECT_EQ(scene.transitionConfig(), std::nullopt);
  EXPECT_EQ(encodeJson(scene).find("transitionConfig"), std::string::npos);

  scene.setTransitionConfig(SceneTransitionConfig{T::fadeBlack, 0.75});
  auto back = decodeJson<Scene>(encodeJson(scene));
  EXPECT_EQ(back.transitionConfig(), (SceneTransitionConfig{T::fadeBlack, 0.75}));
  // An unknown kind has no fallback: the document fails.
  try {
    decodeJson<Scene>(R"({"id":"S","name":"N","isTemplate":false,"transitionConfig":{"type":"none"}})");
    FAIL() << "\"none\" is not a stored transition kind";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "transitionConfig.type");
  }
}

TEST(SceneTransitionConfig, FormattedDurations) {
  // 30 hundredths is a whole tenth; 1.0000001 rounds to 100 hundredths.
  const std::pair<double, const char*> cases[] = {{0.25, "0.25s"}, {1.25, "1.25s"}, {0.5, "0.5s"},
                                                  {1.5, "1.5s"},   {2.0, "2.0s"},   {0.3, "0.3s"},
                                                  {1.0000001, "1.0s"}, {1.26, "1.26s"}};
  for (const auto& [seconds, text] : cases) {
    EXPECT_EQ(SceneTransitionConfig::formattedDuration(seconds), text) << seconds;
  }
  // Beyond any whole number of hundredths the text is still whole, never cut short.
  EXPECT_EQ(SceneTransitionConfig::formattedDuration(1e300).back(), 's');
  EXPECT_EQ(SceneTransitionConfig::formattedDuration(1e300).size(), 304u);  // 301 digits, ".0", "s"
  EXPECT_EQ(SceneTransitionConfig::availableDurations, (std::array<double, 6>{0.25, 0.5, 0.75, 1.0, 1.5, 2.0}));
}

TEST(SceneTransitionList, NormalisedCutsOrPadsWithCuts) {
  List list{T::dissolve, T::burn};
  EXPECT_EQ(normalised(list, 2), list);
  EXPECT_EQ(normalised(list, 1), (List{T::dissolve}));
  EXPECT_EQ(normalised(list, 4), (List{T::dissolve, T::burn, T::none, T::none}));
  EXPECT_EQ(normalised(list, 0), List{});
}

TEST(SceneTransitionList, ReorderCarriesEachTransitionWithItsClip) {
  // Clips A B C with joins A|B dissolve, B|C burn. Moving A to the end gives B C A: B's burn leads,
  // then C's appended cut, and A's dissolve falls off the end.
  List list{T::dissolve, T::burn};
  EXPECT_EQ(reorderedFollowingClip(list, 0, 2, 3), (List{T::burn, T::none}));
  // Moving C to the front gives C A B: C's cut, then A's dissolve.
  EXPECT_EQ(reorderedFollowingClip(list, 2, 0, 3), (List{T::none, T::dissolve}));
  // A destination past the end is clamped to the end.
  EXPECT_EQ(reorderedFollowingClip(list, 0, 99, 3), (List{T::burn, T::none}));
  EXPECT_EQ(reorderedFollowingClip(list, 1, -5, 3), (List{T::burn, T::dissolve}));
  // A source out of range moves nothing, and the list still fits the clips.
  EXPECT_EQ(reorderedFollowingClip({T::dissolve}, 5, 0, 4), (List{T::dissolve, T::none, T::none}));
  EXPECT_EQ(reorderedFollowingClip({T::dissolve}, -1, 0, 1), List{});
}

TEST(SceneTransitionList, RemovingClipDropsTheTransitionThatFollowedIt) {
  List list{T::dissolve, T::burn};
  EXPECT_EQ(removingClip(list, 0, 2), (List{T::burn}));
  // Removing the last clip removes the appended cut; the list only loses what no longer fits.
  EXPECT_EQ(removingClip(list, 2, 2), (List{T::dissolve}));
  EXPECT_EQ(removingClip(list, 2, 3), (List{T::dissolve, T::burn}));
  EXPECT_EQ(removingClip(list, 1, 2), (List{T::dissolve}));
  EXPECT_EQ(removingClip(list, 7, 1), List{});
}

TEST(CombineTransitionPlanner, OverlapIsHalfTheShorterClipCappedByBase) {
  EXPECT_EQ(CombineTransitionPlanner::clampedOverlapSeconds({4, 1}, {T::dissolve}, 2), (std::vector<double>{0.5}));
  EXPECT_EQ(CombineTransitionPlanner::clampedOverlapSeconds({4, 6}, {T::dissolve}, 1), (std::vector<double>{1}));
  EXPECT_EQ(CombineTransitionPlanner::clampedOverlapSeconds({4, 6}, {T::none}, 1), (std::vector<double>{0}));
  // Joins without an entry are cuts.
  EXPECT_EQ(CombineTransitionPlanner::clampedOverlapSeconds({4, 4, 4}, {T::burn}, 1), (std::vector<double>{1, 0}));
  EXPECT_EQ(CombineTransitionPlanner::clampedOverlapSeconds({4, 4}, {T::burn}, -1), (std::vector<double>{0}));
  EXPECT_EQ(CombineTransitionPlanner::clampedOverlapSeconds({4}, {T::burn}, 1), std::vector<double>{});
}

}  // namespace
}  // namespace tav
