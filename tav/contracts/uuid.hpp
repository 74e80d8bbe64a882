// A 128-bit universally unique identifier, as layers, groups and references are named.
#pragma once

#include <array>
#include <bit>
#include <compare>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

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

  /// Byte by byte, as the bytes are written. Ids are compared in every map look-up, so both are done
  /// on two 64-bit words instead of a call to memcmp.
  friend constexpr std::strong_ordering operator<=>(const Uuid& a, const Uuid& b) {
    if (std::is_constant_evaluated()) return a.bytes_ <=> b.bytes_;
    if (const auto order = a.word(0) <=> b.word(0); order != 0) return order;
    return a.word(1) <=> b.word(1);
  }
  friend constexpr bool operator==(const Uuid& a, const Uuid& b) {
    if (std::is_constant_evaluated()) return a.bytes_ == b.bytes_;
    return a.word(0) == b.word(0) && a.word(1) == b.word(1);
  }

 private:
  friend struct std::hash<Uuid>;

  /// Bytes 8 * k to 8 * k + 7 as a big-endian number, so that words order as the bytes do.
  std::uint64_t word(int k) const {
    std::uint64_t value;
    std::memcpy(&value, bytes_.data() + 8 * k, sizeof value);
    if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
    return value;
  }

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
    const std::uint64_t a = id.word(0);
    const std::uint64_t b = id.word(1);
    std::uint64_t h = a ^ (b * 0x9E3779B97F4A7C15ULL) ^ (b >> 29);
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDULL;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ULL;
    h ^= h >> 33;
    return static_cast<std::size_t>(h);
  }
};
