// A linear gradient of a scene: colour stops along an axis at an angle.
#pragma once

#include <optional>
#include <vector>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_color.hpp"

namespace tav {

struct SceneGradient {
  struct Stop {
    /// Where the stop sits along the gradient, 0 to 1 (values outside are clamped when drawn).
    double location = 0;
    SceneColor color;
    friend bool operator==(const Stop&, const Stop&) = default;
  };

  std::vector<Stop> stops;
  /// In degrees.
  double angle = 0;

  /// Every stop with its location clamped to 0...1, by ascending location; stops of equal location
  /// keep their order.
  std::vector<Stop> sortedStops() const;
  /// The colour of the first sorted stop; absent without stops.
  std::optional<SceneColor> representativeColor() const;
  /// At least two stops and at least two different colours among them.
  bool hasVisibleGradient() const;

  friend bool operator==(const SceneGradient&, const SceneGradient&) = default;
};

/// {"location": number, "color": {...}}, both required.
template <>
struct JsonCoder<SceneGradient::Stop> {
  static SceneGradient::Stop decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneGradient::Stop& v);
};

/// {"stops": [...], "angle": number}, both required.
template <>
struct JsonCoder<SceneGradient> {
  static SceneGradient decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneGradient& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneGradient::Stop> {
  std::size_t operator()(const tav::SceneGradient::Stop& s) const noexcept { return tav::hashValues(s.location, s.color); }
};

template <>
struct std::hash<tav::SceneGradient> {
  std::size_t operator()(const tav::SceneGradient& g) const noexcept { return tav::hashValues(g.stops, g.angle); }
};
