#include "tav/scene/element_text_settings.hpp"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/scene/text_variable_resolver.hpp"

namespace tav {
namespace {

TEST(SceneElementTextSettings, NamedFontIsScaledBy75AndWeighted) {
  SceneElementTextSettings s;
  s.text = "Hello";
  s.font = "Avenir Next";
  s.fontSize = 0.4;
  s.fontWeight = "semibold";
  s.textColor = SceneColor(1, 1, 1, 1);
  s.alignment = SceneTextAlignment::right;
  // 0.4 * 75 points.
  EXPECT_EQ(s.toAttributedString(), (AttributedText{"Hello", AttributedFont{"Avenir Next", 30.0, FontWeight::semibold},
                                                    SceneColor(1, 1, 1, 1), SceneTextAlignment::right}));

  s.fontWeight = "extra-bold";
  EXPECT_EQ(s.toAttributedString().font->weight, FontWeight::regular);
  // Only the lower-case names count; anything else draws regular.
  EXPECT_EQ(fontWeightFromName("ultralight"), FontWeight::ultralight);
  EXPECT_EQ(fontWeightFromName("black"), FontWeight::black);
  EXPECT_EQ(fontWeightFromName("Bold"), FontWeight::regular);
  EXPECT_EQ(fontWeightFromName(""), FontWeight::regular);
}

TEST(SceneElementTextSettings, SystemFontKeepsTheStoredSizeAndNoWeight) {
  SceneElementTextSettings s;
  s.fontSize = 24;
  s.fontWeight = "bold";
  EXPECT_EQ(s.toAttributedString(),
            (AttributedText{"", AttributedFont{std::nullopt, 24, std::nullopt}, std::nullopt, std::nullopt}));

  s.fontSize.reset();
  s.font = "Avenir Next";
  EXPECT_FALSE(s.toAttributedString().font.has_value());
}

TEST(SceneElementTextSettings, DrawnTextHasItsTokensResolved) {
  SceneElementTextSettings s;
  s.text = "Score: {{home}}";
  setTextVariableResolver([](std::string_view) { return std::string("Score: 3"); });
  EXPECT_EQ(s.toAttributedString().text, "Score: 3");
  EXPECT_EQ(s.text, "Score: {{home}}");
  setTextVariableResolver({});
  EXPECT_EQ(s.toAttributedString().text, "Score: {{home}}");
}

TEST(SceneElementTextSettings, InitialiserRefusesAlignmentsOutsideItsCases) {
  auto make = [](std::optional<SceneTextAlignment> alignment) {
    return SceneElementTextSettings(alignment, "Font", 12.0, "bold", "Hi", std::nullopt, std::nullopt, std::nullopt);
  };
  SceneElementTextSettings s = make(SceneTextAlignment::center);
  EXPECT_EQ(s.alignment, SceneTextAlignment::center);
  EXPECT_EQ(s.fontWeight, "bold");
  EXPECT_FALSE(s.fontAsset.has_value());
  EXPECT_FALSE(make(std::nullopt).alignment.has_value());
  // An alignment outside the cases is refused.
  EXPECT_THAT([&] { (void)make(static_cast<SceneTextAlignment>(7)); },
              ::testing::ThrowsMessage<std::logic_error>(::testing::StrEq("Alignment value not supported.")));

  auto native = SceneElementTextSettings::withNativeAlignment(2, std::nullopt, std::nullopt, std::nullopt, "Hi",
                                                              std::nullopt, std::nullopt, std::nullopt);
  EXPECT_EQ(native.alignment, SceneTextAlignment::right);
  EXPECT_THROW(SceneElementTextSettings::withNativeAlignment(4, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                                                             std::nullopt, std::nullopt, std::nullopt),
               std::logic_error);
}

TEST(SceneElementTextSettings, JsonInFieldOrder) {
  SceneElementTextSettings s;
  s.backgroundColor = SceneColor(0, 0, 0, 0.5);
  s.text = "Hi";
  s.fontSize = 0.5;
  s.alignment = SceneTextAlignment::center;
  std::string json = encodeJson(s);
  EXPECT_EQ(json, R"({"alignment":"center","fontSize":0.5,"text":"Hi",)"
                  R"("backgroundColor":{"_green":0,"_blue":0,"_red":0,"alpha":0.5}})");
  EXPECT_EQ(decodeJson<SceneElementTextSettings>(json), s);
  EXPECT_THROW(decodeJson<SceneElementTextSettings>(R"({"alignment":"justified"})"), DecodingError);
}

}  // namespace
}  // namespace tav
