// One aspect ratio's arrangement of a scene: the layers front to back, the groups that tie them, and
// the background.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/scene/background.hpp"
#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_element.hpp"
#include "tav/scene/scene_element_group.hpp"
#include "tav/scene/scene_enums.hpp"
#include "tav/scene/scene_gradient.hpp"

namespace tav {

/// Groups of a format by id; iterates in ascending id order.
using SceneElementGroupMap = std::map<Uuid, SceneElementGroup>;

/// A plain value; equality covers every field. The default value is the empty format: no layers, no
/// groups, every optional absent.
struct SceneFormat {
  /// Front to back: index 0 is the front-most layer.
  std::vector<SceneElement> elements;
  SceneElementGroupMap groups;
  std::optional<Background> background;
  std::optional<Looping> backgroundLooping;
  std::optional<SceneColor> _backgroundColor;
  std::optional<ScaleMode> backgroundScaling;
  std::optional<double> backgroundOpacity;
  std::optional<SceneGradient> _backgroundGradient;
  /// JSON keys of a format that this version doesn't know; empty when none.
  JsonObject additionalProperties;

  /// `_backgroundColor`, else opaque black.
  SceneColor backgroundColor() const { return _backgroundColor.value_or(SceneColor::opaqueBlack()); }

  friend bool operator==(const SceneFormat&, const SceneFormat&) = default;
};

/// Group maps are written as one array alternating the id's text and its group record, the generic
/// form of a map whose keys aren't text.
template <>
struct JsonCoder<SceneElementGroupMap> {
  static SceneElementGroupMap decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementGroupMap& groups);
};

/// The JSON object of a format under "formats": "elements" always, "groups" when not empty, the six
/// background keys when present, then unknown keys. Every key is optional on reading.
template <>
struct JsonCoder<SceneFormat> {
  static SceneFormat decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneFormat& format);

  /// The members shared with the top level of a scene document: "elements" to "backgroundGradient".
  static void encodeLayout(JsonWriter& w, const SceneFormat& format);
  /// Reads those members from `in`; other members are left to the caller.
  static SceneFormat decodeLayout(const JsonObjectReader& in);
};

}  // namespace tav
