#include "tav/scene/element_feed_settings.hpp"

namespace tav {

void SceneElementFeedSettings::merge(const SceneElementFeedSettings& incoming) {
  if (incoming.deviceID) deviceID = incoming.deviceID;
  if (incoming.deviceName) deviceName = incoming.deviceName;
  if (incoming.defaultDevice) defaultDevice = incoming.defaultDevice;
  if (incoming.sourceType) sourceType = incoming.sourceType;
  if (incoming.scaling) scaling = incoming.scaling;
  if (incoming.deviceConfiguration) deviceConfiguration = incoming.deviceConfiguration;
  // The flag is a one-shot command: it wins over a device in the same update and is not kept.
  if (incoming.clearDeviceID == true) {
    deviceID.reset();
    deviceName.reset();
    clearDeviceID = false;
  }
}

SceneElementFeedSettings JsonCoder<SceneElementFeedSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementFeedSettings s;
  s.defaultDevice = reader.optional<bool>("defaultDevice");
  s.deviceName = reader.optional<std::string>("deviceName");
  s.deviceID = reader.optional<std::string>("deviceID");
  s.clearDeviceID = reader.optional<bool>("clearDeviceID");
  s.deviceConfiguration = reader.optional<DeviceConfiguration>("deviceConfiguration");
  s.sourceType = reader.optional<std::string>("sourceType");
  s.position = reader.optional<Position>("position");
  s.scaling = reader.optional<ScaleMode>("scaling");
  return s;
}

void JsonCoder<SceneElementFeedSettings>::encode(JsonWriter& w, const SceneElementFeedSettings& v) {
  w.beginObject();
  w.optionalField("defaultDevice", v.defaultDevice);
  w.optionalField("deviceName", v.deviceName);
  w.optionalField("deviceID", v.deviceID);
  w.optionalField("clearDeviceID", v.clearDeviceID);
  w.optionalField("deviceConfiguration", v.deviceConfiguration);
  w.optionalField("sourceType", v.sourceType);
  w.optionalField("position", v.position);
  w.optionalField("scaling", v.scaling);
  w.endObject();
}

}  // namespace tav
