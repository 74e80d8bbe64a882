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
  EXPECT_EQ(title(ScaleMode::aspectFill), "Aspect Fill");
  EXPECT_EQ(title(ScaleMode::stretchFill), "Stretch Fill");
  EXPECT_EQ(title(ScaleMode::aspectFit), "Aspect Fit");
  EXPECT_EQ(rawValue(gravity(ScaleMode::aspectFill)), "AVLayerVideoGravityResizeAspectFill");
  EXPECT_EQ(rawValue(gravity(ScaleMode::stretchFill)), "AVLayerVideoGravityResize");
  EXPECT_EQ(rawValue(gravity(ScaleMode::aspectFit)), "AVLayerVideoGravityResizeAspect");
}

TEST(Looping, RawTextsAndTitles) {
  EXPECT_EQ(encodeJson(Looping::playOnce), R"("playOnce")");
  EXPECT_EQ(decodeJson<Looping>(R"("bounce")"), Looping::bounce);
  EXPECT_THROW(decodeJson<Looping>(R"("forever")"), DecodingError);
  EXPECT_EQ(title(Looping::playOnce), "Play once");
  EXPECT_EQ(title(Looping::loop), "Loop");
  EXPECT_EQ(title(Looping::bounce), "Bounce");
}

TEST(SceneTextAlignment, NativeValuesZeroToTwoOnly) {
  EXPECT_EQ(fromNative(0), SceneTextAlignment::left);
  EXPECT_EQ(fromNative(1), SceneTextAlignment::center);
  EXPECT_EQ(fromNative(2), SceneTextAlignment::right);
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
  EXPECT_EQ(title(ThumbnailActor::a), "Actor A");
  EXPECT_EQ(title(ThumbnailActor::d), "Actor D");
}

TEST(CanvasRole, RawTexts) {
  EXPECT_EQ(encodeJson(CanvasRole::secondary), R"("secondary")");
  EXPECT_THROW(decodeJson<CanvasRole>(R"("tertiary")"), DecodingError);
}

TEST(SceneElementPosition, Titles) {
  EXPECT_EQ(title(SceneElementPosition::xPosition), "X");
  EXPECT_EQ(title(SceneElementPosition::yPosition), "Y");
  EXPECT_EQ(title(SceneElementPosition::width), "W");
  EXPECT_EQ(title(SceneElementPosition::height), "H");
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
    EXPECT_EQ(title(row.position), row.title);
    EXPECT_EQ(intValue(row.position), row.intValue);
    EXPECT_EQ(isVideo(row.position), row.isVideo);
  }
}

}  // namespace
}  // namespace tav
