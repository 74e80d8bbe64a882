#include "tav/foundation/hexadecimal.hpp"

namespace tav {

namespace {
int digitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
}  // namespace

std::optional<std::vector<std::uint8_t>> hexadecimal(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  std::size_t i = 0;
  while (i < text.size()) {
    int high = digitValue(text[i]);
    if (high < 0) {
      ++i;
      continue;
    }
    // A match takes at most two digits, greedily: a third digit starts the next byte.
    int low = i + 1 < text.size() ? digitValue(text[i + 1]) : -1;
    if (low < 0) {
      bytes.push_back(static_cast<std::uint8_t>(high));
      i += 1;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
      i += 2;
    }
  }
  if (bytes.empty()) return std::nullopt;
  return bytes;
}

std::string lowercaseHex(const std::uint8_t* bytes, std::size_t count) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(count * 2);
  for (std::size_t i = 0; i < count; ++i) {
    text.push_back(digits[bytes[i] >> 4]);
    text.push_back(digits[bytes[i] & 0x0F]);
  }
  return text;
}

}  // namespace tav
