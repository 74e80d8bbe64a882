#include "tav/scene/scene_dimension.hpp"

namespace tav {

SceneDimension JsonCoder<SceneDimension>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneDimension dimension;
  dimension.value = reader.required<double>("value");
  dimension.unit = reader.required<SceneDimension::Unit>("unit");
  return dimension;
}

void JsonCoder<SceneDimension>::encode(JsonWriter& w, const SceneDimension& v) {
  w.beginObject();
  w.field("value", v.value);
  w.field("unit", v.unit);
  w.endObject();
}

}  // namespace tav
