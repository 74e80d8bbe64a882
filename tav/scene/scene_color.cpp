#include "tav/scene/scene_color.hpp"

#include <cmath>
#include <cstdio>

namespace tav {

namespace {

// Matches the platform's colour-to-text conversion bit for bit: the product is narrowed to single
// precision before rounding, so 0.5 * 255 = 127.5 becomes 128 ("80").
unsigned long hexComponent(double component) {
  return static_cast<unsigned long>(std::lround(static_cast<float>(component * 255.0)));
}

}  // namespace

std::string SceneColor::hex() const {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "#%02lX%02lX%02lX", hexComponent(_red), hexComponent(_green),
                hexComponent(_blue));
  return buffer;
}

SceneColor JsonCoder<SceneColor>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneColor color;
  color._green = reader.required<double>("_green");
  color._blue = reader.required<double>("_blue");
  color._red = reader.required<double>("_red");
  color.alpha = reader.required<double>("alpha");
  return color;
}

void JsonCoder<SceneColor>::encode(JsonWriter& w, const SceneColor& v) {
  w.beginObject();
  w.field("_green", v._green);
  w.field("_blue", v._blue);
  w.field("_red", v._red);
  w.field("alpha", v.alpha);
  w.endObject();
}

}  // namespace tav
