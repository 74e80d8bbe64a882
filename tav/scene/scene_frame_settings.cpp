#include "tav/scene/scene_frame_settings.hpp"

namespace tav {

SceneFrameSettings JsonCoder<SceneFrameSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneFrameSettings frame;
  frame.direction = reader.required<SceneFlexDirection>("direction");
  frame.justify = reader.required<SceneFlexJustify>("justify");
  frame.align = reader.required<SceneFlexAlign>("align");
  frame.gap = reader.optional<SceneDimension>("gap");
  frame.padding = reader.optional<SceneEdgeInsets>("padding");
  frame.backgroundColor = reader.optional<SceneColor>("backgroundColor");
  frame.backgroundGradient = reader.optional<SceneGradient>("backgroundGradient");
  frame.widthHugsContent = reader.optional<bool>("widthHugsContent");
  frame.heightHugsContent = reader.optional<bool>("heightHugsContent");
  frame.isCollapsed = reader.optional<bool>("isCollapsed");
  frame.horizontalConstraint = reader.optional<SceneFrameConstraint>("horizontalConstraint");
  frame.verticalConstraint = reader.optional<SceneFrameConstraint>("verticalConstraint");
  return frame;
}

void JsonCoder<SceneFrameSettings>::encode(JsonWriter& w, const SceneFrameSettings& v) {
  w.beginObject();
  w.field("direction", v.direction);
  w.field("justify", v.justify);
  w.field("align", v.align);
  w.optionalField("gap", v.gap);
  w.optionalField("padding", v.padding);
  w.optionalField("backgroundColor", v.backgroundColor);
  w.optionalField("backgroundGradient", v.backgroundGradient);
  w.optionalField("widthHugsContent", v.widthHugsContent);
  w.optionalField("heightHugsContent", v.heightHugsContent);
  w.optionalField("isCollapsed", v.isCollapsed);
  w.optionalField("horizontalConstraint", v.horizontalConstraint);
  w.optionalField("verticalConstraint", v.verticalConstraint);
  w.endObject();
}

}  // namespace tav
