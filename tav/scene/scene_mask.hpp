// A layer's mask: which layer masks it, and how (inverted, feathered, by alpha or luminance).
#pragma once

#include <optional>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

struct SceneMask {
  enum class Component { alpha, luminance };

  /// The layer whose content masks this one. Scene repair keeps it pointing at an existing layer.
  std::optional<Uuid> layerID;
  std::optional<bool> invert;
  std::optional<double> feather;
  std::optional<Component> component;

  friend bool operator==(const SceneMask&, const SceneMask&) = default;
};

template <>
struct EnumTraits<SceneMask::Component> {
  using E = SceneMask::Component;
  static constexpr std::array cases{EnumCase<E>{E::alpha, "alpha"}, EnumCase<E>{E::luminance, "luminance"}};
};

/// {"layerID", "invert", "feather", "component"}, each written when present and optional on reading.
template <>
struct JsonCoder<SceneMask> {
  static SceneMask decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneMask& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneMask> {
  std::size_t operator()(const tav::SceneMask& m) const noexcept {
    return tav::hashValues(m.layerID, m.invert, m.feather, m.component);
  }
};
