// A length in a frame layout: points on the reference canvas, a percentage of the parent, or automatic.
#pragma once

#include "tav/contracts/enum_table.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

struct SceneDimension {
  enum class Unit { point, percent, auto_ };

  double value = 0;
  Unit unit = Unit::point;

  /// Value 0, unit `auto_`: let the layout decide.
  static SceneDimension auto_() { return SceneDimension{0, Unit::auto_}; }

  friend bool operator==(const SceneDimension&, const SceneDimension&) = default;
};

template <>
struct EnumTraits<SceneDimension::Unit> {
  using U = SceneDimension::Unit;
  static constexpr std::array cases{EnumCase<U>{U::point, "point"}, EnumCase<U>{U::percent, "percent"},
                                    EnumCase<U>{U::auto_, "auto"}};
};

/// {"value": number, "unit": text}, both required.
template <>
struct JsonCoder<SceneDimension> {
  static SceneDimension decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneDimension& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneDimension> {
  std::size_t operator()(const tav::SceneDimension& d) const noexcept { return tav::hashValues(d.value, d.unit); }
};
