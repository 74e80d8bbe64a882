#include "tav/scene/scene_enums.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

#include "tav/scene/position.hpp"

namespace tav {
namespace {

TEST(ScaleMode, CodedAsIntegersZeroToTwoWithTitlesAndGravity) {
  EXPECT_EQ(encodeJson(ScaleMode::aspectFit), "2");
  EXPECT_EQ(decodeJson<ScaleMode>("1"), ScaleMode::stretchFill);
  EXPECT_THROW(decodeJson<ScaleMode>("3"), DecodingError);
  EXPECT_THROW(decodeJson<ScaleMode>(R"("aspectFill")"), DecodingError);
  EXPECT_EQ((std::vector{title(ScaleMode::aspectFill), title(ScaleMode::stretchFill), title(ScaleMode::aspectFit)}),
            (std::vector<std::string>{"Aspect Fill", "Stretch Fill", "Aspect Fit"}));
  EXPECT_EQ(rawValue(gravity(ScaleMode::aspectFill)), "AVLayerVideoGravityResizeAspectFill");
  EXPECT_EQ(rawValue(gravity(ScaleMode::stretchFill)), "AVLayerVideoGravityResize");
  EXPECT_EQ(rawValue(gravity(ScaleMode::aspectFit)), "AVLayerVideoGravityResizeAspect");
}

TEST(Looping, RawTextsAndTitles) {
  EXPECT_EQ(encodeJson(Looping::playOnce), R"("playOnce")");
  EXPECT_EQ(decodeJson<Looping>(R"("bounce")"), Looping::bounce);
  EXPECT_THROW(decodeJson<Looping>(R"("forever")"), DecodingError);
  EXPECT_EQ((std::vector{title(Looping::playOnce), title(Looping::loop), title(Looping::bounce)}),
            (std::vector<std::string_view>{"Play once", "Loop", "Bounce"}));
}

TEST(SceneTextAlignment, NativeValuesZeroToTwoOnly) {
  EXPECT_EQ((std::vector{fromNative(0), fromNative(1), fromNative(2)}),
            (std::vector{SceneTextAlignment::left, SceneTextAlignment::center, SceneTextAlignment::right}));
  try {
    fromNative(3);
    FAIL() << "justified text has no alignment here";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "Alignment value not supported.");
  }
  EXPECT_THROW(fromNative(-1), std::logic_error);
  EXPECT_EQ(index(SceneTextAlignment::right), 2u);
  EXPECT_EQ(title(SceneTextAlignment::center), "center");
  EXPECT_EQ(encodeJson(SceneTextAlignment::left), R"("left")");
}

TEST(ThumbnailActor, IntegersZeroToThreeWithTitles) {
  EXPECT_EQ(decodeJson<ThumbnailActor>("3"), ThumbnailActor::d);
  EXPECT_THROW(decodeJson<ThumbnailActor>("4"), DecodingError);
  EXPECT_EQ(encodeJson(ThumbnailActor::b), "1");
  EXPECT_EQ(std::tuple(title(ThumbnailActor::a), title(ThumbnailActor::d)), std::tuple("Actor A", "Actor D"));
}

TEST(CanvasRole, RawTexts) {
  EXPECT_EQ(encodeJson(CanvasRole::secondary), R"("secondary")");
  EXPECT_THROW(decodeJson<CanvasRole>(R"("tertiary")"), DecodingError);
}

TEST(SceneElementPosition, Titles) {
  EXPECT_EQ((std::vector{title(SceneElementPosition::xPosition), title(SceneElementPosition::yPosition),
                         title(SceneElementPosition::width), title(SceneElementPosition::height)}),
            (std::vector<std::string_view>{"X", "Y", "W", "H"}));
}

TEST(Position, IntegersZeroToFourWithTitlesAndSections) {
  EXPECT_EQ(decodeJson<Position>("4"), Position::controlPanel);
  EXPECT_THROW(decodeJson<Position>("5"), DecodingError);
  EXPECT_EQ(encodeJson(Position::audio), "2");
  const struct {
    Position position;
    const char* title;
    int intValue;
    bool isVideo;
  } rows[] = {{Position::primary, "Primary Source", 0, true},
              {Position::secondary, "Secondary Source", 0, true},
              {Position::audio, "Audio", 1, false},
              {Position::background, "Layers", 2, false},
              {Position::controlPanel, "Control Panels", 3, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    EXPECT_EQ(std::tuple(title(row.position), intValue(row.position), isVideo(row.position)),
              std::tuple(row.title, row.intValue, row.isVideo));
  }
}

}  // namespace
}  // namespace tav
