// Reading OBS profile files: the small ini dialect of user.ini and basic.ini, and the two facts the
// import needs from them (which profile is active, and the canvas size).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/geometry.hpp"

namespace tav::OBSProfileConfig {

/// The value of `key` in `[section]` of ini `text`, trimmed of spaces and tabs; the first match wins.
/// Lines split at line feeds (a carriage return before one is trimmed away with the other blanks); a
/// leading byte-order mark is skipped; lines without "=" (comments among them) are skipped. Absent when
/// the key is not in that section.
std::optional<std::string> value(std::string_view key, std::string_view section, std::string_view text);

/// The active profile's directory name from user.ini: "ProfileDir" of [Basic], else "Profile"; absent
/// when the key found is empty.
std::optional<std::string> activeProfileDirectory(std::string_view userINI);

/// BaseCX by BaseCY of [Video] in basic.ini, when both are numbers (the whole value) above 0.
std::optional<Size> canvasSize(std::string_view basicINI);

}  // namespace tav::OBSProfileConfig
