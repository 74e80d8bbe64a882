// The settings of a camera (feed) layer: which device it shows, how, and in which slot.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/device_configuration.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/position.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

struct SceneElementFeedSettings {
  /// True when the layer follows whatever camera is the default device.
  std::optional<bool> defaultDevice;
  std::optional<std::string> deviceName;
  std::optional<std::string> deviceID;
  /// In an update: a command to forget the device. Never kept as true by a merge.
  std::optional<bool> clearDeviceID;
  std::optional<DeviceConfiguration> deviceConfiguration;
  std::optional<std::string> sourceType;
  /// The host's slot for this source.
  std::optional<Position> position;
  std::optional<ScaleMode> scaling;

  /// The device this layer shows: `defaultDeviceID` when the layer follows the default device,
  /// else its own `deviceID`, absent or not.
  std::optional<std::string> deviceIDWhenDefaultIs(const std::optional<std::string>& defaultDeviceID) const {
    if (defaultDevice == true) return defaultDeviceID;
    return deviceID;
  }

  /// Takes deviceID, deviceName, defaultDevice, sourceType and scaling when `incoming` has them; a
  /// present deviceConfiguration replaces the stored one as a whole. `position` never changes. An
  /// incoming `clearDeviceID` of true then removes deviceID and deviceName (even ones the same update
  /// brought) and leaves `clearDeviceID` false; otherwise the stored flag stays.
  void merge(const SceneElementFeedSettings& incoming);

  friend bool operator==(const SceneElementFeedSettings&, const SceneElementFeedSettings&) = default;
};

/// {"defaultDevice", "deviceName", "deviceID", "clearDeviceID", "deviceConfiguration", "sourceType",
/// "position", "scaling"}, each written only when present and optional on reading.
template <>
struct JsonCoder<SceneElementFeedSettings> {
  static SceneElementFeedSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementFeedSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementFeedSettings> {
  std::size_t operator()(const tav::SceneElementFeedSettings& s) const noexcept {
    return tav::hashValues(s.defaultDevice, s.deviceName, s.deviceID, s.clearDeviceID, s.deviceConfiguration,
                           s.sourceType, s.position, s.scaling);
  }
};
