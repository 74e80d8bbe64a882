#include "tav/contracts/uuid.hpp"

#include <mutex>
#include <random>

namespace tav {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isHyphenPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

Uuid Uuid::random() {
  static std::mutex mutex;
  static std::mt19937_64 engine{[] {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }()};
  std::array<std::uint8_t, 16> bytes{};
  {
    std::lock_guard lock(mutex);
    std::uint64_t high = engine();
    std::uint64_t low = engine();
    for (int i = 0; i < 8; ++i) {
      bytes[i] = static_cast<std::uint8_t>(high >> (56 - 8 * i));
      bytes[8 + i] = static_cast<std::uint8_t>(low >> (56 - 8 * i));
    }
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  std::array<std::uint8_t, 16> bytes{};
  std::size_t byte = 0;
  for (std::size_t i = 0; i < 36;) {
    if (isHyphenPosition(i)) {
      if (text[i] != '-') return std::nullopt;
      ++i;
      continue;
    }
    int high = hexValue(text[i]);
    int low = hexValue(text[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes[byte++] = static_cast<std::uint8_t>(high << 4 | low);
    i += 2;
  }
  return Uuid(bytes);
}

std::string Uuid::toString() const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(36);
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
    out += kHex[bytes_[i] >> 4];
    out += kHex[bytes_[i] & 0xF];
  }
  return out;
}

Uuid JsonCoder<Uuid>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_string()) detail::throwExpected(path, "a UUID string");
  const auto& s = json.get_string();
  auto id = Uuid::parse(std::string_view(s.data(), s.size()));
  if (!id) throw DecodingError(path, "\"" + std::string(s.data(), s.size()) + "\" is not a UUID");
  return *id;
}

}  // namespace tav
