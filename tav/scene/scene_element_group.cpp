#include "tav/scene/scene_element_group.hpp"

namespace tav {

SceneElementGroupMembership JsonCoder<SceneElementGroupMembership>::decode(const JsonValue& json,
                                                                           const JsonPath& path) {
  JsonObjectReader in(json, path);
  return {in.required<Uuid>("groupID"), in.optional<SceneElementGroupRole>("role")};
}

void JsonCoder<SceneElementGroupMembership>::encode(JsonWriter& w, const SceneElementGroupMembership& v) {
  w.beginObject();
  w.field("groupID", v.groupID);
  w.optionalField("role", v.role);
  w.endObject();
}

SceneElementGroup JsonCoder<SceneElementGroup>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader in(json, path);
  SceneElementGroup group;
  group.id = in.required<Uuid>("id");
  group.kind = in.required<SceneElementGroupKind>("kind");
  group.name = in.optional<std::string>("name");
  group.isCollapsed = in.required<bool>("isCollapsed");
  group.parentGroupID = in.optional<Uuid>("parentGroupID");
  group.lockAspectRatio = in.optional<bool>("lockAspectRatio");
  group.isMask = in.optional<bool>("isMask");
  return group;
}

void JsonCoder<SceneElementGroup>::encode(JsonWriter& w, const SceneElementGroup& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("kind", v.kind);
  w.optionalField("name", v.name);
  w.field("isCollapsed", v.isCollapsed);
  w.optionalField("parentGroupID", v.parentGroupID);
  w.optionalField("lockAspectRatio", v.lockAspectRatio);
  w.optionalField("isMask", v.isMask);
  w.endObject();
}

}  // namespace tav
