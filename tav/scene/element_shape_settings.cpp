#include "tav/scene/element_shape_settings.hpp"

#include "tav/contracts/localizer.hpp"
#include "tav/scene/colour_and_gradient.hpp"

namespace tav {

std::string title(ShapeElementType shape) {
  switch (shape) {
    case ShapeElementType::rectangle:
      return localizedText("ELEMENT_RECTANGLE_TITLE", "Rectangle");
    case ShapeElementType::circle:
      return localizedText("ELEMENT_CIRCLE_TITLE", "Circle");
  }
  return localizedText("ELEMENT_RECTANGLE_TITLE", "Rectangle");
}

void SceneElementShapeSettings::merge(const SceneElementShapeSettings& incoming) {
  mergeColourAndGradient(backgroundColor, backgroundGradient, incoming.backgroundColor, incoming.backgroundGradient);
}

SceneElementShapeSettings JsonCoder<SceneElementShapeSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementShapeSettings settings;
  settings.shape = reader.optional<ShapeElementType>("shape");
  settings.backgroundColor = reader.optional<SceneColor>("backgroundColor");
  settings.backgroundGradient = reader.optional<SceneGradient>("backgroundGradient");
  return settings;
}

void JsonCoder<SceneElementShapeSettings>::encode(JsonWriter& w, const SceneElementShapeSettings& v) {
  w.beginObject();
  w.optionalField("shape", v.shape);
  w.optionalField("backgroundColor", v.backgroundColor);
  w.optionalField("backgroundGradient", v.backgroundGradient);
  w.endObject();
}

}  // namespace tav
