#include "tav/scene/scene_mask.hpp"

namespace tav {

SceneMask JsonCoder<SceneMask>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneMask mask;
  mask.layerID = reader.optional<Uuid>("layerID");
  mask.invert = reader.optional<bool>("invert");
  mask.feather = reader.optional<double>("feather");
  mask.component = reader.optional<SceneMask::Component>("component");
  return mask;
}

void JsonCoder<SceneMask>::encode(JsonWriter& w, const SceneMask& v) {
  w.beginObject();
  w.optionalField("layerID", v.layerID);
  w.optionalField("invert", v.invert);
  w.optionalField("feather", v.feather);
  w.optionalField("component", v.component);
  w.endObject();
}

}  // namespace tav
