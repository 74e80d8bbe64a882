#include "tav/scene/device_configuration.hpp"

namespace tav {

namespace {

template <class T>
OptionalUpdate<T> fromSetting(const std::optional<T>& setting) {
  return setting ? OptionalUpdate<T>::some(*setting) : OptionalUpdate<T>::none();
}

template <class T>
void mergeField(OptionalUpdate<T>& stored, const OptionalUpdate<T>& incoming) {
  if (!incoming.isNone()) stored = incoming;
}

template <class T>
OptionalUpdate<T> readField(const JsonObjectReader& reader, std::string_view key) {
  return readOptionalUpdateField<T>(reader, key, OptionalUpdateNull::none);
}

template <class T>
void writeField(JsonWriter& w, std::string_view key, const OptionalUpdate<T>& update) {
  writeOptionalUpdateField(w, key, update, OptionalUpdateClear::omit);
}

}  // namespace

DeviceConfiguration DeviceConfiguration::fromSettings(const DeviceSettings& settings) {
  DeviceConfiguration c;
  c.backgroundMode = fromSetting(settings.backgroundMode);
  c.portraitIntensity = fromSetting(settings.portraitIntensity);
  c.background = fromSetting(settings.background);
  c.spotlight = fromSetting(settings.spotlight);
  c.spotlightIntensity = fromSetting(settings.spotlightIntensity);
  c.trackingMode = fromSetting(settings.trackingMode);
  c.filter = fromSetting(settings.filter);
  c.filterIntensity = fromSetting(settings.filterIntensity);
  c.retouch = fromSetting(settings.retouch);
  c.retouchIntensity = fromSetting(settings.retouchIntensity);
  return c;
}

void DeviceConfiguration::apply(const DeviceConfiguration& other) {
  mergeField(backgroundMode, other.backgroundMode);
  mergeField(portraitIntensity, other.portraitIntensity);
  mergeField(background, other.background);
  mergeField(spotlight, other.spotlight);
  mergeField(spotlightIntensity, other.spotlightIntensity);
  mergeField(trackingMode, other.trackingMode);
  mergeField(filter, other.filter);
  mergeField(filterIntensity, other.filterIntensity);
  mergeField(retouch, other.retouch);
  mergeField(retouchIntensity, other.retouchIntensity);
}

DeviceConfiguration JsonCoder<DeviceConfiguration>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  DeviceConfiguration c;
  c.backgroundMode = readField<BackgroundMode>(reader, "backgroundMode");
  c.portraitIntensity = readField<double>(reader, "portraitIntensity");
  c.background = readField<std::string>(reader, "background");
  c.spotlight = readField<bool>(reader, "spotlight");
  c.spotlightIntensity = readField<double>(reader, "spotlightIntensity");
  c.trackingMode = readField<TrackingMode>(reader, "trackingMode");
  c.filter = readField<std::string>(reader, "filter");
  c.filterIntensity = readField<double>(reader, "filterIntensity");
  c.retouch = readField<bool>(reader, "retouch");
  c.retouchIntensity = readField<double>(reader, "retouchIntensity");
  // "backgroundColor" of older documents is deliberately not read: the device layer no longer takes it.
  return c;
}

void JsonCoder<DeviceConfiguration>::encode(JsonWriter& w, const DeviceConfiguration& v) {
  w.beginObject();
  writeField(w, "backgroundMode", v.backgroundMode);
  writeField(w, "portraitIntensity", v.portraitIntensity);
  writeField(w, "background", v.background);
  writeField(w, "spotlight", v.spotlight);
  writeField(w, "spotlightIntensity", v.spotlightIntensity);
  writeField(w, "trackingMode", v.trackingMode);
  writeField(w, "filter", v.filter);
  writeField(w, "filterIntensity", v.filterIntensity);
  writeField(w, "retouch", v.retouch);
  writeField(w, "retouchIntensity", v.retouchIntensity);
  w.endObject();
}

}  // namespace tav
