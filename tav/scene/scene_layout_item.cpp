#include "tav/scene/scene_layout_item.hpp"

namespace tav {

SceneLayoutItem JsonCoder<SceneLayoutItem>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneLayoutItem item;
  item.position = reader.required<SceneLayoutItem::Position>("position");
  item.inset = reader.optional<SceneEdgeInsets>("inset");
  item.margin = reader.optional<SceneEdgeInsets>("margin");
  item.grow = reader.required<double>("grow");
  item.shrink = reader.required<double>("shrink");
  item.basis = reader.optional<SceneDimension>("basis");
  item.alignSelf = reader.optional<SceneFlexAlign>("alignSelf");
  item.width = reader.optional<SceneDimension>("width");
  item.height = reader.optional<SceneDimension>("height");
  item.minWidth = reader.optional<SceneDimension>("minWidth");
  item.maxWidth = reader.optional<SceneDimension>("maxWidth");
  item.minHeight = reader.optional<SceneDimension>("minHeight");
  item.maxHeight = reader.optional<SceneDimension>("maxHeight");
  item.aspectRatio = reader.optional<double>("aspectRatio");
  return item;
}

void JsonCoder<SceneLayoutItem>::encode(JsonWriter& w, const SceneLayoutItem& v) {
  w.beginObject();
  w.field("position", v.position);
  w.optionalField("inset", v.inset);
  w.optionalField("margin", v.margin);
  w.field("grow", v.grow);
  w.field("shrink", v.shrink);
  w.optionalField("basis", v.basis);
  w.optionalField("alignSelf", v.alignSelf);
  w.optionalField("width", v.width);
  w.optionalField("height", v.height);
  w.optionalField("minWidth", v.minWidth);
  w.optionalField("maxWidth", v.maxWidth);
  w.optionalField("minHeight", v.minHeight);
  w.optionalField("maxHeight", v.maxHeight);
  w.optionalField("aspectRatio", v.aspectRatio);
  w.endObject();
}

}  // namespace tav
