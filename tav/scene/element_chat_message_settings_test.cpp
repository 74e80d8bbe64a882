#include "tav/scene/element_chat_message_settings.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(SceneElementChatMessageSettings, ResolvedScaleIsClampedWithADefault) {
  SceneElementChatMessageSettings s;
  EXPECT_EQ(s.resolvedScale(), 3.0);
  s.scale = 9.0;
  EXPECT_EQ(s.resolvedScale(), 5.0);
  s.scale = 0.5;
  EXPECT_EQ(s.resolvedScale(), 1.0);
  s.scale = 2.5;
  EXPECT_EQ(s.resolvedScale(), 2.5);
  EXPECT_EQ(s.resolvedTheme(), ChatLayerTheme::minimal);
  s.theme = ChatLayerTheme::ticker;
  EXPECT_EQ(s.resolvedTheme(), ChatLayerTheme::ticker);
}

TEST(SceneElementChatMessageSettings, UnknownThemeReadsAsMinimal) {
  auto s = decodeJson<SceneElementChatMessageSettings>(R"({"theme":"holographic","scale":2})");
  EXPECT_EQ(s.theme, ChatLayerTheme::minimal);
  EXPECT_EQ(encodeJson(s), R"({"theme":"minimal","scale":2})");
  EXPECT_EQ(decodeJson<ChatLayerTheme>(R"("stickyNotes")"), ChatLayerTheme::stickyNotes);
  EXPECT_THROW(decodeJson<SceneElementChatMessageSettings>(R"({"theme":3})"), DecodingError);
}

TEST(SceneElementChatMessageSettings, PresetsInOrder) {
  auto presets = chatLayerThemePresets();
  ASSERT_EQ(presets.size(), 8u);
  EXPECT_EQ(presets.front(), ChatLayerTheme::minimal);
  EXPECT_EQ(rawValue(presets[1]), "boldPop");
  EXPECT_EQ(rawValue(presets[5]), "stickyNotes");
  EXPECT_EQ(presets.back(), ChatLayerTheme::ticker);
  EXPECT_EQ(defaultChatLayerTheme, ChatLayerTheme::minimal);
}

}  // namespace
}  // namespace tav
