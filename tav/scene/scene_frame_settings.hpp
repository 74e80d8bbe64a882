// The layout of a frame (a stack of layers): flex direction, justification, alignment, gap, padding,
// background and how the frame hugs its content and is pinned to its parent.
#pragma once

#include <optional>

#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_dimension.hpp"
#include "tav/scene/scene_edge_insets.hpp"
#include "tav/scene/scene_flex.hpp"
#include "tav/scene/scene_gradient.hpp"

namespace tav {

struct SceneFrameSettings {
  SceneFlexDirection direction = SceneFlexDirection::row;
  SceneFlexJustify justify = SceneFlexJustify::start;
  SceneFlexAlign align = SceneFlexAlign::start;
  std::optional<SceneDimension> gap;
  std::optional<SceneEdgeInsets> padding;
  std::optional<SceneColor> backgroundColor;
  std::optional<SceneGradient> backgroundGradient;
  std::optional<bool> widthHugsContent;
  std::optional<bool> heightHugsContent;
  std::optional<bool> isCollapsed;
  std::optional<SceneFrameConstraint> horizontalConstraint;
  std::optional<SceneFrameConstraint> verticalConstraint;

  friend bool operator==(const SceneFrameSettings&, const SceneFrameSettings&) = default;
};

/// Keys in field order; "direction", "justify" and "align" required, the rest written when present.
template <>
struct JsonCoder<SceneFrameSettings> {
  static SceneFrameSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneFrameSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneFrameSettings> {
  std::size_t operator()(const tav::SceneFrameSettings& f) const noexcept {
    return tav::hashValues(f.direction, f.justify, f.align, f.gap, f.padding, f.backgroundColor, f.backgroundGradient,
                           f.widthHugsContent, f.heightHugsContent, f.isCollapsed, f.horizontalConstraint,
                           f.verticalConstraint);
  }
};
