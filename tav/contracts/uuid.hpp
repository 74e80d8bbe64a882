// A 128-bit universally unique identifier, as layers, groups and references are named.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_coder.hpp"

namespace tav {

/// Sixteen bytes with value semantics, ordered and hashable. Written in the standard upper-case form
/// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"; read from that form in either case.
class Uuid {
 public:
  /// The nil UUID (all zero).
  constexpr Uuid() = default;
  explicit constexpr Uuid(const std::array<std::uint8_t, 16>& bytes) : bytes_(bytes) {}

  /// A new random (version 4) UUID. Thread-safe.
  static Uuid random();
  /// Parses the 36-character hyphenated form; absent for anything else.
  static std::optional<Uuid> parse(std::string_view text);

  std::string toString() const;
  /// Writes the 36 characters of toString() to `out`, which must have room for them.
  void writeTo(char* out) const;
  const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

  friend constexpr auto operator<=>(const Uuid&, const Uuid&) = default;
  friend constexpr bool operator==(const Uuid&, const Uuid&) = default;

 private:
  std::array<std::uint8_t, 16> bytes_{};
};

template <>
struct JsonCoder<Uuid> {
  static Uuid decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Uuid& v) {
    char text[36];
    v.writeTo(text);
    w.string(std::string_view(text, sizeof text));
  }
};

}  // namespace tav

template <>
struct std::hash<tav::Uuid> {
  /// Every bit of the id reaches every bit of the hash (ids that differ only in their last bytes are
  /// common in tests and stock content).
  std::size_t operator()(const tav::Uuid& id) const noexcept {
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    for (int i = 0; i < 8; ++i) a = (a << 8) | static_cast<std::uint64_t>(id.bytes()[i]);
    for (int i = 8; i < 16; ++i) b = (b << 8) | static_cast<std::uint64_t>(id.bytes()[i]);
    std::uint64_t h = a ^ (b * 0x9E3779B97F4A7C15ULL) ^ (b >> 29);
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDULL;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ULL;
    h ^= h >> 33;
    return static_cast<std::size_t>(h);
  }
};
