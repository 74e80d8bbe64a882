#include "tav/scene/element_image_settings.hpp"

namespace tav {

void SceneElementImageSettings::merge(const SceneElementImageSettings& incoming) {
  if (incoming.image) image = incoming.image;
  if (incoming.isAnimated) isAnimated = incoming.isAnimated;
  if (incoming.imageScaling) imageScaling = incoming.imageScaling;
  if (incoming.originalWidth) originalWidth = incoming.originalWidth;
  if (incoming.originalHeight) originalHeight = incoming.originalHeight;
  if (incoming.variable) variable = incoming.variable;
  if (incoming.looping) looping = incoming.looping;
  if (incoming.fileName) fileName = incoming.fileName;
  // The flag is a one-shot command: it wins over a variable in the same update and is not kept.
  if (incoming.clearVariable == true) {
    variable.reset();
    clearVariable = false;
  }
}

SceneElementImageSettings JsonCoder<SceneElementImageSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementImageSettings s;
  s.image = reader.optional<TransferAssetReference>("image");
  s.isAnimated = reader.optional<bool>("isAnimated");
  s.imageScaling = reader.optional<ScaleMode>("imageScaling");
  s.stockImage = reader.optional<std::string>("stockImage");
  s.originalWidth = reader.optional<double>("originalWidth");
  s.originalHeight = reader.optional<double>("originalHeight");
  s.variable = reader.optional<std::string>("variable");
  s.clearVariable = reader.optional<bool>("clearVariable");
  s.looping = reader.optional<Looping>("looping");
  s.fileName = reader.optional<std::string>("fileName");
  return s;
}

void JsonCoder<SceneElementImageSettings>::encode(JsonWriter& w, const SceneElementImageSettings& v) {
  w.beginObject();
  w.optionalField("image", v.image);
  w.optionalField("isAnimated", v.isAnimated);
  w.optionalField("imageScaling", v.imageScaling);
  w.optionalField("stockImage", v.stockImage);
  w.optionalField("originalWidth", v.originalWidth);
  w.optionalField("originalHeight", v.originalHeight);
  w.optionalField("variable", v.variable);
  w.optionalField("clearVariable", v.clearVariable);
  w.optionalField("looping", v.looping);
  w.optionalField("fileName", v.fileName);
  w.endObject();
}

}  // namespace tav
