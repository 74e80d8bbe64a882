#include "tav/recording/isolated_seconds_text.hpp"

#include <array>
#include <charconv>
#include <string_view>

namespace tav::detail {

std::string isolatedSecondsText(double seconds) {
  std::array<char, 64> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), seconds);
  std::string text(buffer.data(), result.ptr);
  if (text.find_first_of(".en") == std::string::npos) text += ".0";  // not for "inf", "nan" or "1e+20"
  return text;
}

}  // namespace tav::detail
