// Text from a printf format, for the few places whose output is defined by printf's own rules (zero
// padding, "inf", "%.1f" rounding) rather than by fmt's.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace tav {

/// `format` filled with `arguments` by std::snprintf; empty when the format is invalid. The caller
/// answers for the format matching the arguments, as with printf.
template <class... Arguments>
std::string printfText(const char* format, Arguments... arguments) {
  char buffer[128];
  const int length = std::snprintf(buffer, sizeof buffer, format, arguments...);
  if (length < 0) return {};
  if (static_cast<std::size_t>(length) < sizeof buffer) return std::string(buffer, static_cast<std::size_t>(length));
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), format, arguments...);
  text.pop_back();
  return text;
}

}  // namespace tav
