// Durations as the clock text people read: "01:05" or "1:02:05".
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/cm_time.hpp"

namespace tav {

/// `seconds` cut to whole seconds: under an hour "MM:SS" ("%02i:%02i"), from 3600 on "H:MM:SS"
/// ("%i:%02i:%02i", hours with as many digits as they need). Absent for a time that is not a number
/// (or not finite, or past what an int holds). A CMTime is converted with its seconds.
std::optional<std::string> humanReadable(double seconds);
/// humanReadable of the time's seconds; absent for an invalid or indefinite time.
inline std::optional<std::string> humanReadable(const CMTime& time) { return humanReadable(time.seconds()); }

}  // namespace tav
