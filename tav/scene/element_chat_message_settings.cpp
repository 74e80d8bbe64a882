#include "tav/scene/element_chat_message_settings.hpp"

namespace tav {

ChatLayerTheme JsonCoder<ChatLayerTheme>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_string()) detail::throwExpected(path, "a string");
  const auto& text = json.get_string();
  return enumFromRawValue<ChatLayerTheme>(std::string_view(text.data(), text.size())).value_or(defaultChatLayerTheme);
}

void SceneElementChatMessageSettings::merge(const SceneElementChatMessageSettings& incoming) {
  if (incoming.theme) theme = incoming.theme;
  if (incoming.showAvatar) showAvatar = incoming.showAvatar;
  if (incoming.showServiceBadge) showServiceBadge = incoming.showServiceBadge;
  if (incoming.showPlaceholderMessages) showPlaceholderMessages = incoming.showPlaceholderMessages;
  if (incoming.scale) scale = incoming.scale;
}

SceneElementChatMessageSettings JsonCoder<SceneElementChatMessageSettings>::decode(const JsonValue& json,
                                                                                   const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementChatMessageSettings settings;
  settings.theme = reader.optional<ChatLayerTheme>("theme");
  settings.showAvatar = reader.optional<bool>("showAvatar");
  settings.showServiceBadge = reader.optional<bool>("showServiceBadge");
  settings.showPlaceholderMessages = reader.optional<bool>("showPlaceholderMessages");
  settings.scale = reader.optional<double>("scale");
  return settings;
}

void JsonCoder<SceneElementChatMessageSettings>::encode(JsonWriter& w, const SceneElementChatMessageSettings& v) {
  w.beginObject();
  w.optionalField("theme", v.theme);
  w.optionalField("showAvatar", v.showAvatar);
  w.optionalField("showServiceBadge", v.showServiceBadge);
  w.optionalField("showPlaceholderMessages", v.showPlaceholderMessages);
  w.optionalField("scale", v.scale);
  w.endObject();
}

}  // namespace tav
