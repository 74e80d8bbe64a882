#include "tav/scene/element_text_settings.hpp"

#include <stdexcept>
#include <utility>

#include "tav/scene/colour_and_gradient.hpp"
#include "tav/scene/text_variable_resolver.hpp"

namespace tav {
namespace {

/// Stored font sizes are in the editor's units; a named font is made at 75 times that size.
constexpr double kNamedFontScale = 75.0;

void requireSupportedAlignment(const std::optional<SceneTextAlignment>& alignment) {
  if (!alignment) return;
  switch (*alignment) {
    case SceneTextAlignment::left:
    case SceneTextAlignment::center:
    case SceneTextAlignment::right:
      return;
  }
  throw std::logic_error("Alignment value not supported.");
}

}  // namespace

FontWeight fontWeightFromName(std::string_view name) {
  return enumFromRawValue<FontWeight>(name).value_or(FontWeight::regular);
}

SceneElementTextSettings::SceneElementTextSettings(std::optional<SceneTextAlignment> alignment_,
                                                   std::optional<std::string> font_,
                                                   std::optional<double> fontSize_,
                                                   std::optional<std::string> fontWeight_,
                                                   std::optional<std::string> text_,
                                                   std::optional<SceneColor> textColor_,
                                                   std::optional<SceneGradient> textGradient_,
                                                   std::optional<SceneColor> backgroundColor_)
    : alignment(alignment_),
      font(std::move(font_)),
      fontSize(fontSize_),
      fontWeight(std::move(fontWeight_)),
      text(std::move(text_)),
      textColor(textColor_),
      textGradient(std::move(textGradient_)),
      backgroundColor(backgroundColor_) {
  requireSupportedAlignment(alignment);
}

SceneElementTextSettings SceneElementTextSettings::withNativeAlignment(
    std::optional<int> nativeAlignment, std::optional<std::string> font_, std::optional<double> fontSize_,
    std::optional<std::string> fontWeight_, std::optional<std::string> text_, std::optional<SceneColor> textColor_,
    std::optional<SceneGradient> textGradient_, std::optional<SceneColor> backgroundColor_) {
  std::optional<SceneTextAlignment> alignment_;
  if (nativeAlignment) alignment_ = fromNative(*nativeAlignment);
  return SceneElementTextSettings(alignment_, std::move(font_), fontSize_, std::move(fontWeight_), std::move(text_),
                                  textColor_, std::move(textGradient_), backgroundColor_);
}

std::optional<std::string> SceneElementTextSettings::resolvedText() const {
  if (!text) return std::nullopt;
  return resolveVariableTokens(*text);
}

AttributedText SceneElementTextSettings::toAttributedString() const {
  AttributedText result;
  result.text = resolvedText().value_or(std::string());
  if (fontSize) {
    AttributedFont attributedFont;
    if (font) {
      attributedFont.name = font;
      attributedFont.pointSize = *fontSize * kNamedFontScale;
      if (fontWeight) attributedFont.weight = fontWeightFromName(*fontWeight);
    } else {
      attributedFont.pointSize = *fontSize;
    }
    result.font = std::move(attributedFont);
  }
  result.foregroundColor = textColor;
  result.alignment = alignment;
  return result;
}

void SceneElementTextSettings::merge(const SceneElementTextSettings& incoming) {
  if (incoming.alignment) alignment = incoming.alignment;
  if (incoming.font) font = incoming.font;
  if (incoming.fontAsset) fontAsset = incoming.fontAsset;
  if (incoming.fontSize) fontSize = incoming.fontSize;
  if (incoming.fontWeight) fontWeight = incoming.fontWeight;
  if (incoming.text) text = incoming.text;
  mergeColourAndGradient(textColor, textGradient, incoming.textColor, incoming.textGradient);
  if (incoming.backgroundColor) backgroundColor = incoming.backgroundColor;
}

SceneElementTextSettings JsonCoder<SceneElementTextSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementTextSettings s;
  s.alignment = reader.optional<SceneTextAlignment>("alignment");
  s.font = reader.optional<std::string>("font");
  s.fontAsset = reader.optional<TransferAssetReference>("fontAsset");
  s.fontSize = reader.optional<double>("fontSize");
  s.fontWeight = reader.optional<std::string>("fontWeight");
  s.text = reader.optional<std::string>("text");
  s.textColor = reader.optional<SceneColor>("textColor");
  s.textGradient = reader.optional<SceneGradient>("textGradient");
  s.backgroundColor = reader.optional<SceneColor>("backgroundColor");
  return s;
}

void JsonCoder<SceneElementTextSettings>::encode(JsonWriter& w, const SceneElementTextSettings& v) {
  w.beginObject();
  w.optionalField("alignment", v.alignment);
  w.optionalField("font", v.font);
  w.optionalField("fontAsset", v.fontAsset);
  w.optionalField("fontSize", v.fontSize);
  w.optionalField("fontWeight", v.fontWeight);
  w.optionalField("text", v.text);
  w.optionalField("textColor", v.textColor);
  w.optionalField("textGradient", v.textGradient);
  w.optionalField("backgroundColor", v.backgroundColor);
  w.endObject();
}

}  // namespace tav
