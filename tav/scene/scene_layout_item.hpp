// How one layer sits inside a frame's flex layout: in the flow or absolutely placed, with its growth,
// shrinking, basis and size limits.
#pragma once

#include <optional>

#include "tav/contracts/enum_table.hpp"
#include "tav/scene/scene_dimension.hpp"
#include "tav/scene/scene_edge_insets.hpp"
#include "tav/scene/scene_flex.hpp"

namespace tav {

struct SceneLayoutItem {
  enum class Position { flow, absolute };

  Position position = Position::flow;
  std::optional<SceneEdgeInsets> inset;
  std::optional<SceneEdgeInsets> margin;
  double grow = 0;
  double shrink = 0;
  std::optional<SceneDimension> basis;
  std::optional<SceneFlexAlign> alignSelf;
  std::optional<SceneDimension> width;
  std::optional<SceneDimension> height;
  std::optional<SceneDimension> minWidth;
  std::optional<SceneDimension> maxWidth;
  std::optional<SceneDimension> minHeight;
  std::optional<SceneDimension> maxHeight;
  std::optional<double> aspectRatio;

  friend bool operator==(const SceneLayoutItem&, const SceneLayoutItem&) = default;
};

template <>
struct EnumTraits<SceneLayoutItem::Position> {
  using E = SceneLayoutItem::Position;
  static constexpr std::array cases{EnumCase<E>{E::flow, "flow"}, EnumCase<E>{E::absolute, "absolute"}};
};

/// Keys in field order; "position", "grow" and "shrink" required, the rest written when present.
template <>
struct JsonCoder<SceneLayoutItem> {
  static SceneLayoutItem decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneLayoutItem& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneLayoutItem> {
  std::size_t operator()(const tav::SceneLayoutItem& i) const noexcept {
    return tav::hashValues(i.position, i.inset, i.margin, i.grow, i.shrink, i.basis, i.alignSelf, i.width, i.height,
                           i.minWidth, i.maxWidth, i.minHeight, i.maxHeight, i.aspectRatio);
  }
};
