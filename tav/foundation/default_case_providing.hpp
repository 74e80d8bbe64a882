// DefaultCaseProviding: enumerations whose stored form needs a fallback case, for a value written by
// a later version or damaged. Nothing in the library conforms; a host declares the case it falls back
// to and reads stored texts through `enumFromRawValueOrDefaultCase`.
#pragma once

#include <concepts>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// A type gives its fallback either as a static member `T::defaultCase` (class types) or, for an
/// enumeration, as `EnumTraits<T>::defaultCase` beside its table of cases.
template <class T>
concept DefaultCaseProviding = requires {
  { T::defaultCase } -> std::convertible_to<T>;
} || requires {
  { EnumTraits<T>::defaultCase } -> std::convertible_to<T>;
};

/// The fallback case of T.
template <DefaultCaseProviding T>
constexpr T defaultCase() {
  if constexpr (requires { T::defaultCase; }) {
    return T::defaultCase;
  } else {
    return EnumTraits<T>::defaultCase;
  }
}

/// The case whose raw value is `raw`, else the default case.
template <class E>
  requires DefaultCaseProviding<E> && TableEnum<E>
constexpr E enumFromRawValueOrDefaultCase(EnumRawType<E> raw) {
  if (auto value = enumFromRawValue<E>(raw)) return *value;
  return defaultCase<E>();
}

}  // namespace tav
