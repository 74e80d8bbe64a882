#include "tav/contracts/uuid.hpp"

#include <array>
#include <mutex>
#include <random>

namespace tav {
namespace {

// Hex digit values by character, -1 for anything else: documents hold many ids, so this is hot.
constexpr std::array<std::int8_t, 256> kHexValues = [] {
  std::array<std::int8_t, 256> table{};
  table.fill(-1);
  for (int c = '0'; c <= '9'; ++c) table[static_cast<std::size_t>(c)] = static_cast<std::int8_t>(c - '0');
  for (int c = 'a'; c <= 'f'; ++c) table[static_cast<std::size_t>(c)] = static_cast<std::int8_t>(c - 'a' + 10);
  for (int c = 'A'; c <= 'F'; ++c) table[static_cast<std::size_t>(c)] = static_cast<std::int8_t>(c - 'A' + 10);
  return table;
}();

// Where each byte's two digits start in "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX".
constexpr std::array<std::uint8_t, 16> kDigitOffsets = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

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
  if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
    return std::nullopt;
  }
  std::array<std::uint8_t, 16> bytes{};
  int invalid = 0;
  for (std::size_t i = 0; i < 16; ++i) {
    int high = kHexValues[static_cast<unsigned char>(text[kDigitOffsets[i]])];
    int low = kHexValues[static_cast<unsigned char>(text[kDigitOffsets[i] + 1])];
    invalid |= high | low;
    bytes[i] = static_cast<std::uint8_t>((high << 4) | (low & 0xF));
  }
  if (invalid < 0) return std::nullopt;
  return Uuid(bytes);
}

void Uuid::writeTo(char* out) const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (std::size_t i = 0, at = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out[at++] = '-';
    out[at++] = kHex[bytes_[i] >> 4];
    out[at++] = kHex[bytes_[i] & 0xF];
  }
}

std::string Uuid::toString() const {
  std::string out(36, '\0');
  writeTo(out.data());
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
