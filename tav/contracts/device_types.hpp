// The camera and audio device vocabulary shared with the device library: background modes, tracking
// modes, how a device is attached, and the settings record a device reports.
//
// These are "open" enumerations: documents written by other versions of the device library may hold
// texts we don't list, and a document must read back as it was written. So each value keeps the raw
// text it was made from; the known cases are named constants, and `caseIndex()` tells where a value
// stands in our own list (absent for a text we don't know).
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tav/contracts/json_coder.hpp"

namespace tav {

/// Base of the open enumerations. `Derived` lists its known raw texts, in case order, as
/// `static constexpr std::array<std::string_view, N> knownRawValues`.
template <class Derived>
class OpenEnumValue {
 public:
  /// A value of any raw text, known or not.
  explicit OpenEnumValue(std::string rawValue) : rawValue_(std::move(rawValue)) {}

  const std::string& rawValue() const { return rawValue_; }

  /// The position of this value among the known cases; absent for a text we don't know.
  std::optional<std::size_t> caseIndex() const {
    const auto& known = Derived::knownRawValues;
    for (std::size_t i = 0; i < known.size(); ++i) {
      if (known[i] == rawValue_) return i;
    }
    return std::nullopt;
  }
  bool isKnown() const { return caseIndex().has_value(); }

  /// The known cases, in order.
  static std::vector<Derived> allCases() {
    std::vector<Derived> result;
    for (std::string_view raw : Derived::knownRawValues) result.push_back(Derived(std::string(raw)));
    return result;
  }

  friend bool operator==(const OpenEnumValue&, const OpenEnumValue&) = default;

 private:
  std::string rawValue_;
};

/// What the camera does with the background behind a person.
class BackgroundMode : public OpenEnumValue<BackgroundMode> {
 public:
  using OpenEnumValue::OpenEnumValue;
  static constexpr std::array<std::string_view, 5> knownRawValues{"off", "blur", "portrait", "replace", "remove"};

  static const BackgroundMode off;       ///< The background as the camera sees it.
  static const BackgroundMode blur;      ///< Blurred evenly.
  static const BackgroundMode portrait;  ///< Blurred by depth, with an intensity.
  static const BackgroundMode replace;   ///< Replaced by an image or video background.
  static const BackgroundMode remove;    ///< Removed: transparent behind the person.
};

inline const BackgroundMode BackgroundMode::off{"off"};
inline const BackgroundMode BackgroundMode::blur{"blur"};
inline const BackgroundMode BackgroundMode::portrait{"portrait"};
inline const BackgroundMode BackgroundMode::replace{"replace"};
inline const BackgroundMode BackgroundMode::remove{"remove"};

/// How the camera follows people in its frame.
class TrackingMode : public OpenEnumValue<TrackingMode> {
 public:
  using OpenEnumValue::OpenEnumValue;
  static constexpr std::array<std::string_view, 5> knownRawValues{"off", "face", "upperBody", "fullBody", "group"};

  static const TrackingMode off;        ///< A fixed frame.
  static const TrackingMode face;       ///< Keeps one face centred, closely framed.
  static const TrackingMode upperBody;  ///< Head and shoulders.
  static const TrackingMode fullBody;   ///< The whole person.
  static const TrackingMode group;      ///< Everyone in view.
};

inline const TrackingMode TrackingMode::off{"off"};
inline const TrackingMode TrackingMode::face{"face"};
inline const TrackingMode TrackingMode::upperBody{"upperBody"};
inline const TrackingMode TrackingMode::fullBody{"fullBody"};
inline const TrackingMode TrackingMode::group{"group"};

/// How a device reaches the computer. The case order matters: a source's icon is chosen by it.
class ConnectionType : public OpenEnumValue<ConnectionType> {
 public:
  using OpenEnumValue::OpenEnumValue;
  static constexpr std::array<std::string_view, 11> knownRawValues{
      "continuityCamera", "mobilePhone", "builtIn", "usb",         "phoneApp", "bluetooth",
      "captureCard",      "mediaFile",   "virtual", "systemAudio", "network"};

  static const ConnectionType continuityCamera;  ///< 0: a smartphone used directly as a camera.
  static const ConnectionType mobilePhone;       ///< 1: a phone that isn't a smartphone camera.
  static const ConnectionType builtIn;           ///< 2: the computer's own camera or microphone.
  static const ConnectionType usb;               ///< 3: a USB device.
  static const ConnectionType phoneApp;          ///< 4: a smartphone through the companion app.
  static const ConnectionType bluetooth;         ///< 5: a wireless audio device.
  static const ConnectionType captureCard;       ///< 6: a capture card or HDMI input.
  static const ConnectionType mediaFile;         ///< 7: a media file played as a source.
  static const ConnectionType virtual_;          ///< 8: a virtual device of another program.
  static const ConnectionType systemAudio;       ///< 9: the computer's own sound output.
  static const ConnectionType network;           ///< 10: a stream over the network.
};

inline const ConnectionType ConnectionType::continuityCamera{"continuityCamera"};
inline const ConnectionType ConnectionType::mobilePhone{"mobilePhone"};
inline const ConnectionType ConnectionType::builtIn{"builtIn"};
inline const ConnectionType ConnectionType::usb{"usb"};
inline const ConnectionType ConnectionType::phoneApp{"phoneApp"};
inline const ConnectionType ConnectionType::bluetooth{"bluetooth"};
inline const ConnectionType ConnectionType::captureCard{"captureCard"};
inline const ConnectionType ConnectionType::mediaFile{"mediaFile"};
inline const ConnectionType ConnectionType::virtual_{"virtual"};
inline const ConnectionType ConnectionType::systemAudio{"systemAudio"};
inline const ConnectionType ConnectionType::network{"network"};

/// A camera's current settings as the device library reports them; a field without a value is one the
/// device doesn't have or hasn't set.
struct DeviceSettings {
  std::optional<BackgroundMode> backgroundMode;
  std::optional<double> portraitIntensity;
  std::optional<std::string> background;
  std::optional<bool> spotlight;
  std::optional<double> spotlightIntensity;
  std::optional<TrackingMode> trackingMode;
  std::optional<std::string> filter;
  std::optional<double> filterIntensity;
  std::optional<bool> retouch;
  std::optional<double> retouchIntensity;

  friend bool operator==(const DeviceSettings&, const DeviceSettings&) = default;
};

/// Open enumerations are written as their raw text; any text reads, known or not.
template <class T>
  requires std::is_base_of_v<OpenEnumValue<T>, T>
struct JsonCoder<T> {
  static T decode(const JsonValue& json, const JsonPath& path) { return T(JsonCoder<std::string>::decode(json, path)); }
  static void encode(JsonWriter& w, const T& v) { w.string(v.rawValue()); }
};

}  // namespace tav

template <>
struct std::hash<tav::BackgroundMode> {
  std::size_t operator()(const tav::BackgroundMode& v) const noexcept { return std::hash<std::string>()(v.rawValue()); }
};
template <>
struct std::hash<tav::TrackingMode> {
  std::size_t operator()(const tav::TrackingMode& v) const noexcept { return std::hash<std::string>()(v.rawValue()); }
};
template <>
struct std::hash<tav::ConnectionType> {
  std::size_t operator()(const tav::ConnectionType& v) const noexcept { return std::hash<std::string>()(v.rawValue()); }
};
