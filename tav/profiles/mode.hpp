// The capture modes of the device library, with the texts and grouping the host's mode menu shows.
//
// The device library owns the enumeration; only its order and these texts are ours. The case names
// below stand for the device library's cases, in its order.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/enum_table.hpp"

namespace tav {

enum class Mode { normal, centerStage, studioLight, portrait };

/// A title and whether the feature is in beta, as menus show them.
struct CustomDisplayData {
  std::string title;
  bool isBeta = false;
  friend bool operator==(const CustomDisplayData&, const CustomDisplayData&) = default;
};

/// The menu section a mode is listed under.
enum class ModeBuiltInSection { normal, focus };

template <>
struct EnumTraits<ModeBuiltInSection> {
  using E = ModeBuiltInSection;
  static constexpr std::array cases{EnumCase<E>{E::normal, "normal"}, EnumCase<E>{E::focus, "focus"}};
};

/// The first mode: "Normal" (key "MODE_NORMAL", table "Settings"); the second "?"; the third "Studio
/// Light"; every later one "Portrait" (key "MODE_PORTRAIT_MODE", table "Settings").
std::string humanReadbleString(Mode mode);
/// False for the first mode only.
bool isBeta(Mode mode);
/// The title and isBeta.
CustomDisplayData displayData(Mode mode);
/// normal for the first mode, focus for the others.
ModeBuiltInSection section(Mode mode);

/// The raw string: "normal" or "focus".
inline std::string_view id(ModeBuiltInSection section) { return rawValue(section); }
/// None for normal; "Focus" (not beta) for focus.
std::optional<CustomDisplayData> displayData(ModeBuiltInSection section);

}  // namespace tav
