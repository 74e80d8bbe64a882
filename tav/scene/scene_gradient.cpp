#include "tav/scene/scene_gradient.hpp"

#include <algorithm>

namespace tav {

std::vector<SceneGradient::Stop> SceneGradient::sortedStops() const {
  std::vector<Stop> result = stops;
  for (auto& stop : result) stop.location = std::clamp(stop.location, 0.0, 1.0);
  std::stable_sort(result.begin(), result.end(),
                   [](const Stop& a, const Stop& b) { return a.location < b.location; });
  return result;
}

std::optional<SceneColor> SceneGradient::representativeColor() const {
  if (stops.empty()) return std::nullopt;
  return sortedStops().front().color;
}

bool SceneGradient::hasVisibleGradient() const {
  if (stops.size() < 2) return false;
  const SceneColor& first = stops.front().color;
  return std::any_of(stops.begin() + 1, stops.end(), [&](const Stop& s) { return !(s.color == first); });
}

SceneGradient::Stop JsonCoder<SceneGradient::Stop>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneGradient::Stop stop;
  stop.location = reader.required<double>("location");
  stop.color = reader.required<SceneColor>("color");
  return stop;
}

void JsonCoder<SceneGradient::Stop>::encode(JsonWriter& w, const SceneGradient::Stop& v) {
  w.beginObject();
  w.field("location", v.location);
  w.field("color", v.color);
  w.endObject();
}

SceneGradient JsonCoder<SceneGradient>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneGradient gradient;
  gradient.stops = reader.required<std::vector<SceneGradient::Stop>>("stops");
  gradient.angle = reader.required<double>("angle");
  return gradient;
}

void JsonCoder<SceneGradient>::encode(JsonWriter& w, const SceneGradient& v) {
  w.beginObject();
  w.field("stops", v.stops);
  w.field("angle", v.angle);
  w.endObject();
}

}  // namespace tav
