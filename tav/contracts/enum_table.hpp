// Enumerations driven by one constexpr table each.
//
// An enumeration E becomes codable and gains rawValue(E), enumFromRawValue<E>(raw), allCases<E>() and
// caseIndex(E) by specialising EnumTraits:
//
//   template <> struct EnumTraits<Looping> {
//     static constexpr std::array cases{EnumCase<Looping>{Looping::playOnce, "playOnce"}, ...};
//   };
//
// Raw values are texts by default; EnumCase<E, int> gives integer raw values, coded as JSON integers.
// An enumeration whose traits name `static constexpr E unknownCase` reads any raw value that names no
// case as that case (the OptionalDecodableEnum rule); every other enumeration refuses it.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tav/contracts/json_coder.hpp"

namespace tav {

template <class E, class Raw = std::string_view>
struct EnumCase {
  E value;
  Raw raw;
};

template <class E>
struct EnumTraits;

template <class E>
concept TableEnum = std::is_enum_v<E> && requires { EnumTraits<E>::cases; };

/// Text-valued enumerations with an `unknown` case that absorbs what a later version may add.
template <class E>
concept OptionalDecodableEnum = TableEnum<E> && requires { EnumTraits<E>::unknownCase; };

template <TableEnum E>
using EnumRawType = decltype(EnumTraits<E>::cases[0].raw);

/// The position of `value` in its table, which is the order of `allCases`.
template <TableEnum E>
constexpr std::size_t caseIndex(E value) {
  const auto& cases = EnumTraits<E>::cases;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    if (cases[i].value == value) return i;
  }
  return 0;
}

template <TableEnum E>
constexpr EnumRawType<E> rawValue(E value) {
  return EnumTraits<E>::cases[caseIndex(value)].raw;
}

/// The case whose raw value is `raw`; absent when none matches (no `unknown` fallback here).
template <TableEnum E>
constexpr std::optional<E> enumFromRawValue(EnumRawType<E> raw) {
  for (const auto& c : EnumTraits<E>::cases) {
    if (c.raw == raw) return c.value;
  }
  return std::nullopt;
}

/// Every case in table order.
template <TableEnum E>
constexpr auto allCases() {
  constexpr auto& cases = EnumTraits<E>::cases;
  std::array<E, cases.size()> result{};
  for (std::size_t i = 0; i < cases.size(); ++i) result[i] = cases[i].value;
  return result;
}

/// Every case but `unknown`, in table order.
template <OptionalDecodableEnum E>
std::vector<E> allNonunknownCases() {
  std::vector<E> result;
  for (const auto& c : EnumTraits<E>::cases) {
    if (c.value != EnumTraits<E>::unknownCase) result.push_back(c.value);
  }
  return result;
}

template <TableEnum E>
struct JsonCoder<E> {
  static E decode(const JsonValue& json, const JsonPath& path) {
    if constexpr (std::is_same_v<EnumRawType<E>, std::string_view>) {
      if (!json.is_string()) detail::throwExpected(path, "a string");
      const auto& s = json.get_string();
      std::string_view text(s.data(), s.size());
      if (auto value = enumFromRawValue<E>(text)) return *value;
      if constexpr (OptionalDecodableEnum<E>) {
        return EnumTraits<E>::unknownCase;
      } else {
        throw DecodingError(path, "unknown value \"" + std::string(text) + "\"");
      }
    } else {
      auto raw = JsonCoder<EnumRawType<E>>::decode(json, path);
      if (auto value = enumFromRawValue<E>(raw)) return *value;
      if constexpr (OptionalDecodableEnum<E>) {
        return EnumTraits<E>::unknownCase;
      } else {
        throw DecodingError(path, "unknown value " + std::to_string(raw));
      }
    }
  }
  static void encode(JsonWriter& w, E value) {
    if constexpr (std::is_same_v<EnumRawType<E>, std::string_view>) {
      w.string(rawValue(value));
    } else {
      w.integer(rawValue(value));
    }
  }
};

}  // namespace tav
