#include "tav/scene/scene_edge_insets.hpp"

namespace tav {

SceneEdgeInsets JsonCoder<SceneEdgeInsets>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneEdgeInsets insets;
  insets.top = reader.optional<SceneDimension>("top");
  insets.leading = reader.optional<SceneDimension>("leading");
  insets.bottom = reader.optional<SceneDimension>("bottom");
  insets.trailing = reader.optional<SceneDimension>("trailing");
  return insets;
}

void JsonCoder<SceneEdgeInsets>::encode(JsonWriter& w, const SceneEdgeInsets& v) {
  w.beginObject();
  w.optionalField("top", v.top);
  w.optionalField("leading", v.leading);
  w.optionalField("bottom", v.bottom);
  w.optionalField("trailing", v.trailing);
  w.endObject();
}

}  // namespace tav
