// Partial updates to a camera's settings, carried by a feed layer and merged on the way to the device.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/device_types.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/optional_update.hpp"

namespace tav {

/// Each field says what to do with one device setting: `some` sets it, `none` leaves it alone,
/// `clear` removes it. All fields start `none`.
struct DeviceConfiguration {
  OptionalUpdate<BackgroundMode> backgroundMode;
  OptionalUpdate<double> portraitIntensity;
  OptionalUpdate<std::string> background;
  OptionalUpdate<bool> spotlight;
  OptionalUpdate<double> spotlightIntensity;
  OptionalUpdate<TrackingMode> trackingMode;
  OptionalUpdate<std::string> filter;
  OptionalUpdate<double> filterIntensity;
  OptionalUpdate<bool> retouch;
  OptionalUpdate<double> retouchIntensity;

  /// A setting that has a value becomes `some` of it; one that hasn't becomes `none`.
  static DeviceConfiguration fromSettings(const DeviceSettings& settings);

  /// Merges `other` into this one: each field of `other` that is `some` or `clear` replaces ours, a
  /// `none` leaves ours. So a `clear` travels through the merge to the device, which removes the setting.
  void apply(const DeviceConfiguration& other);

  friend bool operator==(const DeviceConfiguration&, const DeviceConfiguration&) = default;
};

/// The configuration one camera ends up with across some formats of a scene: that of the first feed
/// layer showing the device. Scene::EffectiveDeviceConfiguration names it beside its operations.
struct EffectiveDeviceConfiguration {
  std::string deviceID;
  std::optional<DeviceConfiguration> configuration;

  friend bool operator==(const EffectiveDeviceConfiguration&, const EffectiveDeviceConfiguration&) = default;
};

/// One object, keys in field order. Only `some` fields are written: `none` and `clear` are left out.
/// Every key is optional on reading, and a missing key, a null or a value of the wrong type reads as
/// `none`. The key "backgroundColor" of older documents is ignored and not written back.
template <>
struct JsonCoder<DeviceConfiguration> {
  static DeviceConfiguration decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const DeviceConfiguration& v);
};

}  // namespace tav

template <>
struct std::hash<tav::DeviceConfiguration> {
  std::size_t operator()(const tav::DeviceConfiguration& c) const noexcept {
    return tav::hashValues(c.backgroundMode, c.portraitIntensity, c.background, c.spotlight, c.spotlightIntensity,
                           c.trackingMode, c.filter, c.filterIntensity, c.retouch, c.retouchIntensity);
  }
};

template <>
struct std::hash<tav::EffectiveDeviceConfiguration> {
  std::size_t operator()(const tav::EffectiveDeviceConfiguration& e) const noexcept {
    return tav::hashValues(e.deviceID, e.configuration);
  }
};
