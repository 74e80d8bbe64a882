#include "tav/scene/element_web_settings.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(PageSize, TitlesAndCustomPresets) {
  EXPECT_EQ((std::vector{PageSize::matchProfile().title(), PageSize::p1920x1080().title(), PageSize::preset(1000, 500).title()}),
            (std::vector<std::string>{"Match profile", "1920 x 1080", "1000 x 500"}));
  EXPECT_EQ((std::vector<bool>{PageSize::p854x480().isCustom(), PageSize::preset(1280, 720).isCustom(),
                               PageSize::matchProfile().isCustom(), PageSize::preset(720, 1280).isCustom()}),
            (std::vector<bool>{false, false, false, true}));
}

TEST(PageSize, MatchProfileAsksTheInstalledProvider) {
  EXPECT_EQ(PageSize::preset(854, 480).size(), (Size{854, 480}));
  EXPECT_FALSE(PageSize::matchProfile().size().has_value());
  setActiveProfileSizeProvider([] { return std::optional<Size>(Size{2560, 1440}); });
  EXPECT_EQ(PageSize::matchProfile().size(), (Size{2560, 1440}));
  EXPECT_EQ(PageSize::p1280x720().size(), (Size{1280, 720}));
  setActiveProfileSizeProvider({});
  EXPECT_FALSE(PageSize::matchProfile().size().has_value());
}

TEST(PageSize, JsonNeedsExactlyOneCase) {
  EXPECT_EQ(encodeJson(PageSize::p1920x1080()), R"({"preset":{"width":1920,"height":1080}})");
  EXPECT_EQ(encodeJson(PageSize::matchProfile()), R"({"matchProfile":{}})");
  EXPECT_EQ(decodeJson<PageSize>(R"({"preset":{"width":640,"height":360}})"), PageSize::preset(640, 360));
  EXPECT_EQ(decodeJson<PageSize>(R"({"matchProfile":{}})"), PageSize::matchProfile());

  for (const char* text : {R"({})", R"({"preset":{"width":1,"height":1},"matchProfile":{}})", R"({"fit":{}})"}) {
    try {
      decodeJson<PageSize>(text);
      ADD_FAILURE() << text << " must not read";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), "Invalid number of keys found, expected one.") << text;
    }
  }
  try {
    decodeJson<PageSize>(R"({"preset":{"width":640}})");
    FAIL() << "a preset needs its height";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "preset.height");
  }
}

TEST(SceneElementWebSettings, AudioRemovedIsAlwaysWrittenAndDefaultsToFalse) {
  SceneElementWebSettings s;
  EXPECT_EQ(encodeJson(s), R"({"audioRemoved":false})");
  s.url = Url::parse("https://example.com/chat");
  s.pageSize = PageSize::matchProfile();
  s.audioRemoved = true;
  EXPECT_EQ(encodeJson(s), R"({"url":"https://example.com/chat","pageSize":{"matchProfile":{}},"audioRemoved":true})");
  EXPECT_EQ(decodeJson<SceneElementWebSettings>(encodeJson(s)), s);
  auto read = decodeJson<SceneElementWebSettings>(R"({"url":"https://example.com"})");
  EXPECT_EQ(std::tie(read.audioRemoved, read.pageSize), std::make_tuple(false, std::nullopt));
  EXPECT_THROW(decodeJson<SceneElementWebSettings>(R"({"audioRemoved":"no"})"), DecodingError);
}

}  // namespace
}  // namespace tav
