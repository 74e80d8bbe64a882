#include "tav/scene/scene_format.hpp"

#include <array>
#include <string_view>

namespace tav {
namespace {

constexpr std::array<std::string_view, 9> kFormatKeys = {
    "elements",          "groups",          "background",         "backgroundLooping",   "backgroundColor",
    "backgroundScaling", "backgroundOpacity", "backgroundGradient", "additionalProperties"};

bool isFormatKey(std::string_view key) {
  for (auto known : kFormatKeys) {
    if (key == known) return true;
  }
  return false;
}

}  // namespace

SceneElementGroupMap JsonCoder<SceneElementGroupMap>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_array()) detail::throwExpected(path, "an array of alternating group ids and groups");
  const auto& array = json.get_array();
  if (array.size() % 2 != 0) {
    throw DecodingError(path, "expected alternating group ids and groups, found an odd number of values");
  }
  SceneElementGroupMap groups;
  for (std::size_t i = 0; i < array.size(); i += 2) {
    Uuid id = JsonCoder<Uuid>::decode(array[i], path.index(i));
    groups.insert_or_assign(id, JsonCoder<SceneElementGroup>::decode(array[i + 1], path.index(i + 1)));
  }
  return groups;
}

void JsonCoder<SceneElementGroupMap>::encode(JsonWriter& w, const SceneElementGroupMap& groups) {
  w.beginArray();
  for (const auto& [id, group] : groups) {
    w.value(id);
    w.value(group);
  }
  w.endArray();
}

SceneFormat JsonCoder<SceneFormat>::decodeLayout(const JsonObjectReader& in) {
  SceneFormat format;
  format.elements = in.valueOr<std::vector<SceneElement>>("elements", {});
  format.groups = in.valueOr<SceneElementGroupMap>("groups", {});
  format.background = in.optional<Background>("background");
  format.backgroundLooping = in.optional<Looping>("backgroundLooping");
  format._backgroundColor = in.optional<SceneColor>("backgroundColor");
  format.backgroundScaling = in.optional<ScaleMode>("backgroundScaling");
  format.backgroundOpacity = in.optional<double>("backgroundOpacity");
  format._backgroundGradient = in.optional<SceneGradient>("backgroundGradient");
  return format;
}

void JsonCoder<SceneFormat>::encodeLayout(JsonWriter& w, const SceneFormat& format) {
  w.field("elements", format.elements);
  if (!format.groups.empty()) w.field("groups", format.groups);
  w.optionalField("background", format.background);
  w.optionalField("backgroundLooping", format.backgroundLooping);
  w.optionalField("backgroundColor", format._backgroundColor);
  w.optionalField("backgroundScaling", format.backgroundScaling);
  w.optionalField("backgroundOpacity", format.backgroundOpacity);
  w.optionalField("backgroundGradient", format._backgroundGradient);
}

SceneFormat JsonCoder<SceneFormat>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader in(json, path);
  SceneFormat format = decodeLayout(in);
  for (const auto& member : in.object()) {
    std::string_view key(member.key().data(), member.key().size());
    if (isFormatKey(key) || member.value().is_null()) continue;
    format.additionalProperties[key] = keepJson(member.value());
  }
  return format;
}

void JsonCoder<SceneFormat>::encode(JsonWriter& w, const SceneFormat& format) {
  w.beginObject();
  encodeLayout(w, format);
  w.members(format.additionalProperties);
  w.endObject();
}

}  // namespace tav
