// The settings of a text layer, and the styled text that a renderer draws from them.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_enums.hpp"
#include "tav/scene/scene_gradient.hpp"

namespace tav {

/// The weights a text layer can name. Any other name is `regular`.
enum class FontWeight { ultralight, thin, light, regular, medium, semibold, bold, heavy, black };

template <>
struct EnumTraits<FontWeight> {
  using E = FontWeight;
  static constexpr std::array cases{EnumCase<E>{E::ultralight, "ultralight"}, EnumCase<E>{E::thin, "thin"},
                                    EnumCase<E>{E::light, "light"},           EnumCase<E>{E::regular, "regular"},
                                    EnumCase<E>{E::medium, "medium"},         EnumCase<E>{E::semibold, "semibold"},
                                    EnumCase<E>{E::bold, "bold"},             EnumCase<E>{E::heavy, "heavy"},
                                    EnumCase<E>{E::black, "black"}};
};

/// The weight of a stored weight name ("ultralight" ... "black"); `regular` for any other text.
FontWeight fontWeightFromName(std::string_view name);

/// The font of a styled text, as a renderer should make it.
struct AttributedFont {
  /// The font's name; absent means the system font.
  std::optional<std::string> name;
  /// The size in points. When the named font cannot be made, the renderer falls back to the system
  /// font of this same size.
  double pointSize = 0;
  /// A weight trait to add to the named font; never set for the system font.
  std::optional<FontWeight> weight;

  friend bool operator==(const AttributedFont&, const AttributedFont&) = default;
};

/// A text with one style over its whole length: this platform's stand-in for an attributed string.
struct AttributedText {
  std::string text;
  /// No font attribute when absent: the renderer's default applies.
  std::optional<AttributedFont> font;
  /// No foreground colour when absent.
  std::optional<SceneColor> foregroundColor;
  /// The paragraph alignment; absent means the paragraph style's default (natural) alignment.
  std::optional<SceneTextAlignment> alignment;

  friend bool operator==(const AttributedText&, const AttributedText&) = default;
};

struct SceneElementTextSettings {
  std::optional<SceneTextAlignment> alignment;
  /// The font's name.
  std::optional<std::string> font;
  /// A font file the scene carries with it.
  std::optional<TransferAssetReference> fontAsset;
  std::optional<double> fontSize;
  /// A weight name such as "bold"; see fontWeightFromName.
  std::optional<std::string> fontWeight;
  std::optional<std::string> text;
  std::optional<SceneColor> textColor;
  std::optional<SceneGradient> textGradient;
  std::optional<SceneColor> backgroundColor;

  SceneElementTextSettings() = default;
  /// The host's initialiser; `fontAsset` starts absent. An alignment outside its three cases (a value
  /// cast into the enumeration) is a programming error: throws std::logic_error("Alignment value not
  /// supported.").
  SceneElementTextSettings(std::optional<SceneTextAlignment> alignment, std::optional<std::string> font,
                           std::optional<double> fontSize, std::optional<std::string> fontWeight,
                           std::optional<std::string> text, std::optional<SceneColor> textColor,
                           std::optional<SceneGradient> textGradient, std::optional<SceneColor> backgroundColor);
  /// The same from the platform's text alignment value (0 left, 1 center, 2 right), as an editor
  /// hands it over; any other value throws std::logic_error("Alignment value not supported.").
  static SceneElementTextSettings withNativeAlignment(std::optional<int> nativeAlignment,
                                                      std::optional<std::string> font, std::optional<double> fontSize,
                                                      std::optional<std::string> fontWeight,
                                                      std::optional<std::string> text,
                                                      std::optional<SceneColor> textColor,
                                                      std::optional<SceneGradient> textGradient,
                                                      std::optional<SceneColor> backgroundColor);

  /// `text` with its scene-variable tokens resolved; absent when `text` is.
  std::optional<std::string> resolvedText() const;

  /// The text as drawn: the resolved text (empty without one) in one style. With `fontSize`: the named
  /// `font` at fontSize * 75.0 with the weight of `fontWeight` when that is set, or without a `font`
  /// the system font at `fontSize` itself, unweighted. Without `fontSize` no font is set. `textColor`
  /// becomes the foreground colour; `alignment` the paragraph alignment.
  AttributedText toAttributedString() const;

  /// Takes every field that `incoming` has, except that the text colour and gradient go together
  /// (see mergeColourAndGradient). `fontAsset` follows the general rule.
  void merge(const SceneElementTextSettings& incoming);

  friend bool operator==(const SceneElementTextSettings&, const SceneElementTextSettings&) = default;
};

/// {"alignment", "font", "fontAsset", "fontSize", "fontWeight", "text", "textColor", "textGradient",
/// "backgroundColor"}, each written only when present and optional on reading.
template <>
struct JsonCoder<SceneElementTextSettings> {
  static SceneElementTextSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementTextSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementTextSettings> {
  std::size_t operator()(const tav::SceneElementTextSettings& s) const noexcept {
    return tav::hashValues(s.alignment, s.font, s.fontAsset, s.fontSize, s.fontWeight, s.text, s.textColor,
                           s.textGradient, s.backgroundColor);
  }
};
