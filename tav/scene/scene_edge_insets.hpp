// Insets on the four edges of a frame or a layout item, each an optional dimension.
#pragma once

#include <optional>

#include "tav/scene/scene_dimension.hpp"

namespace tav {

struct SceneEdgeInsets {
  std::optional<SceneDimension> top;
  std::optional<SceneDimension> leading;
  std::optional<SceneDimension> bottom;
  std::optional<SceneDimension> trailing;

  /// All four edges set to `dimension`.
  static SceneEdgeInsets all(const SceneDimension& dimension) {
    return SceneEdgeInsets{dimension, dimension, dimension, dimension};
  }

  friend bool operator==(const SceneEdgeInsets&, const SceneEdgeInsets&) = default;
};

/// {"top", "leading", "bottom", "trailing"}, each written when present and optional on reading.
template <>
struct JsonCoder<SceneEdgeInsets> {
  static SceneEdgeInsets decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneEdgeInsets& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneEdgeInsets> {
  std::size_t operator()(const tav::SceneEdgeInsets& e) const noexcept {
    return tav::hashValues(e.top, e.leading, e.bottom, e.trailing);
  }
};
