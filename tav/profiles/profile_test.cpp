#include "tav/profiles/profile.hpp"

#include <gtest/gtest.h>

#include "tav/profiles/aspect_resolutions.hpp"
#include "tav/profiles/mode.hpp"

namespace tav {
namespace {

using R = Profile::Resolution;
using AR = AspectRatio;

TEST(ProfileResolution, ConvertsToEachAspect) {
  struct Case {
    R from;
    AR target;
    R expected;
  };
  const Case cases[] = {
      {{1920, 1080}, AR::portrait, {1080, 1920}},     // opposites rotate
      {{1080, 1920}, AR::landscape, {1920, 1080}},
      {{1920, 1080}, AR::square, {1080, 1080}},
      {{640, 480}, AR::square, {720, 720}},           // no side in the square list
      {{1080, 1080}, AR::landscape, {1920, 1080}},
      {{1080, 1080}, AR::fourByThree, {640, 480}},    // no 4:3 entry has height 1080
      {{1920, 1440}, AR::landscape, {1920, 1080}},
      {{1440, 1920}, AR::landscape, {2560, 1440}},
      {{1000, 1000}, AR::landscape, {1280, 720}},
      {{1080, 1080}, AR::square, {1080, 1080}},       // square to square: rotated, the same
      {{1280, 720}, AR::fourByThree, {1280, 960}},
      {{1920, 1080}, AR::threeByFour, {1440, 1920}},  // entry whose height is 1920
      {{1234, 567}, AR::portrait, {567, 1234}},       // reads as 16:9, so rotated; pixels not compared
      {{1000, 1000}, AR::portrait, {720, 1280}},      // no counterpart: the last entry
      {{1920, 1080}, AR::unknown, {1920, 1080}},
      {{1080, 1920}, AR::unknown, {1920, 1080}},      // unknown compares like landscape
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.from.converted(c.target), c.expected)
        << c.from.width << "x" << c.from.height << " to " << rawValue(c.target);
  }
}

TEST(ProfileResolution, AspectTitlesAndArithmetic) {
  EXPECT_EQ((R{1234, 567}).aspectRatio(), AR::landscape);
  EXPECT_EQ((R{1234, 567}).title(), "1234x567 16:9");
  EXPECT_EQ((R{720, 1280}).title(), "720p 9:16 (HD)");
  EXPECT_EQ((R{2160, 3840}).title(), "4K 9:16 (UHD)");
  EXPECT_EQ((R{2560, 1440}).title(), "1440p 16:9 (QHD)");
  EXPECT_EQ((R{1920, 1080}).title(), "1080p 16:9 (FHD)");
  EXPECT_EQ((R{640, 480}).title(), "640x480 4:3");
  EXPECT_EQ((R{1440, 1920}).aspectRatio(), AR::threeByFour);
  EXPECT_EQ((R{720, 720}).aspectRatio(), AR::square);
  EXPECT_EQ((R{3840, 2160}).pixels(), 8294400);
  EXPECT_EQ((R{3840, 2160}).rotated(), (R{2160, 3840}));
  EXPECT_EQ((R{3840, 2160}).size(), (Size{3840, 2160}));
}

TEST(ProfileFrameRate, TitlesAndTiming) {
  EXPECT_EQ(Profile::FrameRate{29.97}.title(), "29.97");
  EXPECT_EQ(Profile::FrameRate{30}.title(), "30");
  EXPECT_EQ(Profile::FrameRate{59.94}.title(), "59.94");
  EXPECT_EQ(Profile::FrameRate{29.97}.cmTimeTimescale(), 29);
  EXPECT_DOUBLE_EQ(Profile::FrameRate{25}.interval(), 0.04);
  ASSERT_EQ(Profile::FrameRate::options().size(), 11u);
  EXPECT_EQ(Profile::FrameRate::options()[5].value, 29.97);
  EXPECT_EQ(Profile::FrameRate::options().back().value, 120);
}

TEST(Profile, TemplatesTitlesAndUpdate) {
  std::vector<Profile> templates = Profile::templates();
  ASSERT_EQ(templates.size(), 6u);
  EXPECT_EQ(templates[0], (Profile("DEFAULT_PROFILE_1080_30", "Meetings HD", {1920, 1080}, {30}, true)));
  EXPECT_EQ(templates[2], (Profile("DEFAULT_PROFILE_1080_60", "Streaming", {1920, 1080}, {60}, true)));
  EXPECT_EQ(templates[5], (Profile("DEFAULT_PROFILE_1280_30", "Vertical", {720, 1280}, {30}, true)));
  EXPECT_EQ(templates[0].subtitle(), "1080p 16:9 (FHD) - 30 fps");
  EXPECT_EQ(templates[0].buttonTitle(), "1080p 30");

  Profile copy = templates[3];
  copy.update();
  EXPECT_EQ(copy, templates[3]);
  copy.update(std::nullopt, R{1280, 720});
  EXPECT_EQ(copy.name, "4K");
  EXPECT_EQ(copy.resolution, (R{1280, 720}));
}

TEST(Profile, NewProfileForAnAspect) {
  Profile portrait(AR::portrait);
  EXPECT_EQ(portrait, Profile(portrait.id, "9:16", {720, 1280}, {30}, false));
  EXPECT_EQ(portrait.id.size(), 36u);
  EXPECT_NE(portrait.id, Profile(AR::portrait).id);
  EXPECT_EQ(Profile(AR::threeByFour).resolution, (R{480, 640}));
  EXPECT_EQ(Profile(AR::unknown).name, "16:9");
  EXPECT_EQ(Profile(AR::unknown).resolution, (R{1280, 720}));
}

TEST(Profile, JsonWithAndWithoutTemplateFlag) {
  Profile stored = decodeJson<Profile>(
      R"({"name":"Mine","id":"X","frameRate":{"value":29.97},"resolution":{"height":1080,"width":1920}})");
  EXPECT_TRUE(stored.isTemplate());  // absent counts as a template
  EXPECT_EQ(stored._isTemplate, std::nullopt);
  EXPECT_EQ(encodeJson(stored), R"({"id":"X","name":"Mine","resolution":{"width":1920,"height":1080},"frameRate":{"value":29.97}})");
  stored._isTemplate = false;
  EXPECT_EQ(decodeJson<Profile>(encodeJson(stored)), stored);
  EXPECT_FALSE(decodeJson<Profile>(encodeJson(stored)).isTemplate());
  EXPECT_THROW(decodeJson<Profile>(R"({"id":"X","name":"n","resolution":{"width":1},"frameRate":{"value":1}})"),
               DecodingError);
}

TEST(AspectResolutions, ListsPerAspect) {
  EXPECT_EQ(resolutions(AR::unknown), (std::vector<R>{{3840, 2160}, {2560, 1440}, {1920, 1080}, {1280, 720}}));
  EXPECT_EQ(resolutions(AR::fourByThree), (std::vector<R>{{1920, 1440}, {1280, 960}, {640, 480}}));
  EXPECT_EQ(resolutions(AR::square), (std::vector<R>{{1440, 1440}, {1080, 1080}, {720, 720}}));
  EXPECT_EQ(resolutions(AR::portrait), (std::vector<R>{{2160, 3840}, {1440, 2560}, {1080, 1920}, {720, 1280}}));
  EXPECT_EQ(resolutions(AR::threeByFour), (std::vector<R>{{1440, 1920}, {960, 1280}, {480, 640}}));
}

TEST(Mode, TextsAndSections) {
  EXPECT_EQ(displayData(Mode::normal), (CustomDisplayData{"Normal", false}));
  EXPECT_EQ(displayData(Mode::centerStage), (CustomDisplayData{"?", true}));
  EXPECT_EQ(displayData(Mode::studioLight), (CustomDisplayData{"Studio Light", true}));
  EXPECT_EQ(humanReadbleString(Mode::portrait), "Portrait");
  EXPECT_EQ(section(Mode::normal), ModeBuiltInSection::normal);
  EXPECT_EQ(section(Mode::portrait), ModeBuiltInSection::focus);
  EXPECT_EQ(id(ModeBuiltInSection::focus), "focus");
  EXPECT_EQ(displayData(ModeBuiltInSection::normal), std::nullopt);
  EXPECT_EQ(displayData(ModeBuiltInSection::focus)->title, "Focus");
}

}  // namespace
}  // namespace tav
