#include "tav/scene/element_capture_settings.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(SceneElementCaptureSettings, CaptureTypeFromTheFlattenedFields) {
  SceneElementCaptureSettings s;
  EXPECT_FALSE(s.captureType().has_value());
  s.bundleIdentifier = "com.example.editor";
  EXPECT_FALSE(s.captureType().has_value());
  s.windowID = 9;
  EXPECT_EQ(s.captureType(), CaptureType::window(9, "Window", "com.example.editor"));
  s.displayID = 2;
  s.displayUUID = "UUID-2";
  EXPECT_EQ(s.captureType(), CaptureType::app("com.example.editor", 2, "Application", "UUID-2"));
  s.bundleIdentifier.reset();
  s.name = "Studio display";
  EXPECT_EQ(s.captureType(), CaptureType::display(2, "Studio display", "UUID-2"));
}

TEST(SceneElementCaptureSettings, InitialiserIsTheReverseMapping) {
  for (const CaptureType& type : {CaptureType::display(1, "Main", "U-1"), CaptureType::window(5, "Notes", "com.x"),
                                  CaptureType::window(6, "Other"), CaptureType::app("com.y", 3, "Player", "U-3")}) {
    EXPECT_EQ(SceneElementCaptureSettings(type).captureType(), type);
  }
  EXPECT_EQ(SceneElementCaptureSettings(CaptureType::unknown()), SceneElementCaptureSettings());
  SceneElementCaptureSettings window(CaptureType::window(5, "Notes", "com.x"));
  EXPECT_EQ(window.bundleIdentifier, "com.x");
  EXPECT_FALSE(window.displayID.has_value());
}

TEST(SceneElementCaptureSettings, JsonInFieldOrder) {
  SceneElementCaptureSettings s(CaptureType::app("com.y", 3, "Player", "U-3"));
  EXPECT_EQ(encodeJson(s), R"({"displayID":3,"bundleIdentifier":"com.y","name":"Player","displayUUID":"U-3"})");
  EXPECT_EQ(decodeJson<SceneElementCaptureSettings>(encodeJson(s)), s);
  EXPECT_THROW(decodeJson<SceneElementCaptureSettings>(R"({"windowID":-1})"), DecodingError);
}

}  // namespace
}  // namespace tav
