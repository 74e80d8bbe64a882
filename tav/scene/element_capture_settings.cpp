#include "tav/scene/element_capture_settings.hpp"

namespace tav {

SceneElementCaptureSettings::SceneElementCaptureSettings(const CaptureType& captureType_) {
  if (const auto* display = captureType_.displayPayload()) {
    displayID = display->identifier;
    name = display->name;
    displayUUID = display->displayUUID;
  } else if (const auto* window = captureType_.windowPayload()) {
    windowID = window->identifier;
    name = window->name;
    bundleIdentifier = window->appBundleIdentifier;
  } else if (const auto* app = captureType_.appPayload()) {
    bundleIdentifier = app->identifier;
    displayID = app->display;
    name = app->name;
    displayUUID = app->displayUUID;
  }
}

std::optional<CaptureType> SceneElementCaptureSettings::captureType() const {
  if (bundleIdentifier && displayID) {
    return CaptureType::app(*bundleIdentifier, *displayID, name.value_or("Application"), displayUUID);
  }
  if (displayID) return CaptureType::display(*displayID, name.value_or("Display"), displayUUID);
  if (windowID) return CaptureType::window(*windowID, name.value_or("Window"), bundleIdentifier);
  return std::nullopt;
}

void SceneElementCaptureSettings::merge(const SceneElementCaptureSettings& incoming) {
  if (incoming.bundleIdentifier && incoming.displayID &&
      (incoming.displayID != displayID || incoming.bundleIdentifier != bundleIdentifier)) {
    displayID = incoming.displayID;
    bundleIdentifier = incoming.bundleIdentifier;
    windowID.reset();
  } else if (!incoming.bundleIdentifier && incoming.displayID && incoming.displayID != displayID) {
    displayID = incoming.displayID;
    windowID.reset();
    bundleIdentifier.reset();
  } else if (incoming.windowID && incoming.windowID != windowID) {
    windowID = incoming.windowID;
    bundleIdentifier = incoming.bundleIdentifier;
    displayID.reset();
  }
  name = incoming.name;
  displayUUID = incoming.displayUUID;
}

SceneElementCaptureSettings JsonCoder<SceneElementCaptureSettings>::decode(const JsonValue& json,
                                                                           const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementCaptureSettings s;
  s.displayID = reader.optional<std::uint32_t>("displayID");
  s.windowID = reader.optional<std::uint32_t>("windowID");
  s.bundleIdentifier = reader.optional<std::string>("bundleIdentifier");
  s.name = reader.optional<std::string>("name");
  s.displayUUID = reader.optional<std::string>("displayUUID");
  return s;
}

void JsonCoder<SceneElementCaptureSettings>::encode(JsonWriter& w, const SceneElementCaptureSettings& v) {
  w.beginObject();
  w.optionalField("displayID", v.displayID);
  w.optionalField("windowID", v.windowID);
  w.optionalField("bundleIdentifier", v.bundleIdentifier);
  w.optionalField("name", v.name);
  w.optionalField("displayUUID", v.displayUUID);
  w.endObject();
}

}  // namespace tav
