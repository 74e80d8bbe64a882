#include "tav/foundation/time_text.hpp"

#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace tav {

std::optional<std::string> humanReadable(double seconds) {
  if (!std::isfinite(seconds)) return std::nullopt;
  const double whole = std::trunc(seconds);
  if (std::fabs(whole) > static_cast<double>(std::numeric_limits<int>::max())) return std::nullopt;
  const int total = static_cast<int>(whole);
  const int hours = total / 3600;
  const int minutes = total % 3600 / 60;
  const int secs = total % 60;
  if (total < 3600) return fmt::format("{:02}:{:02}", total / 60, secs);
  return fmt::format("{}:{:02}:{:02}", hours, minutes, secs);
}

}  // namespace tav
