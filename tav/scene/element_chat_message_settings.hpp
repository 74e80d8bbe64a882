// The settings of a chat-message layer: an overlay of live chat messages in one of eight looks.
#pragma once

#include <array>
#include <optional>

#include "tav/contracts/enum_table.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

/// The look of a chat overlay. Read leniently: a text that names no theme (one from a later version)
/// reads as `minimal`, so such a layer still shows chat.
enum class ChatLayerTheme { minimal, boldPop, neonTerminal, editorial, arcade, stickyNotes, brutalist, ticker };

template <>
struct EnumTraits<ChatLayerTheme> {
  using T = ChatLayerTheme;
  static constexpr std::array cases{EnumCase<T>{T::minimal, "minimal"},
                                    EnumCase<T>{T::boldPop, "boldPop"},
                                    EnumCase<T>{T::neonTerminal, "neonTerminal"},
                                    EnumCase<T>{T::editorial, "editorial"},
                                    EnumCase<T>{T::arcade, "arcade"},
                                    EnumCase<T>{T::stickyNotes, "stickyNotes"},
                                    EnumCase<T>{T::brutalist, "brutalist"},
                                    EnumCase<T>{T::ticker, "ticker"}};
};

/// The theme of a new chat layer, and of one whose theme is unset.
inline constexpr ChatLayerTheme defaultChatLayerTheme = ChatLayerTheme::minimal;

/// All eight themes in the order the host offers them.
inline constexpr std::array<ChatLayerTheme, 8> chatLayerThemePresets() { return allCases<ChatLayerTheme>(); }

/// Written as its raw text. A text that names no theme reads as `minimal`; a value that is not a
/// text fails.
template <>
struct JsonCoder<ChatLayerTheme> {
  static ChatLayerTheme decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, ChatLayerTheme value) { w.string(rawValue(value)); }
};

/// Every field is optional; an absent one leaves the choice to the renderer's default (or, in an
/// update, leaves the stored value alone).
struct SceneElementChatMessageSettings {
  /// An inclusive range of scales.
  struct ScaleRange {
    double lowerBound = 0;
    double upperBound = 0;

    constexpr double clamp(double value) const {
      return value < lowerBound ? lowerBound : (value > upperBound ? upperBound : value);
    }
    friend bool operator==(const ScaleRange&, const ScaleRange&) = default;
  };

  std::optional<ChatLayerTheme> theme;
  std::optional<bool> showAvatar;
  std::optional<bool> showServiceBadge;
  std::optional<bool> showPlaceholderMessages;
  std::optional<double> scale;

  static constexpr double defaultScale = 3.0;
  static constexpr ScaleRange scaleRange{1.0, 5.0};

  /// `theme`, else `minimal`.
  ChatLayerTheme resolvedTheme() const { return theme.value_or(defaultChatLayerTheme); }
  /// `scale`, else 3.0, clamped to 1.0...5.0.
  double resolvedScale() const { return scaleRange.clamp(scale.value_or(defaultScale)); }

  /// Takes every field that `incoming` has; leaves the others as they are.
  void merge(const SceneElementChatMessageSettings& incoming);

  friend bool operator==(const SceneElementChatMessageSettings&, const SceneElementChatMessageSettings&) = default;
};

/// {"theme", "showAvatar", "showServiceBadge", "showPlaceholderMessages", "scale"}, each written only
/// when present and optional on reading.
template <>
struct JsonCoder<SceneElementChatMessageSettings> {
  static SceneElementChatMessageSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementChatMessageSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementChatMessageSettings> {
  std::size_t operator()(const tav::SceneElementChatMessageSettings& s) const noexcept {
    return tav::hashValues(s.theme, s.showAvatar, s.showServiceBadge, s.showPlaceholderMessages, s.scale);
  }
};
