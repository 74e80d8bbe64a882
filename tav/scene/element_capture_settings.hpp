// The settings of a screen-capture layer: what it captures, flattened into optional fields.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/capture_type.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

/// A flattened CaptureType: an application on a display (bundleIdentifier and displayID), a display
/// (displayID alone) or a window (windowID, with its application's bundleIdentifier when known).
struct SceneElementCaptureSettings {
  std::optional<std::uint32_t> displayID;
  std::optional<std::uint32_t> windowID;
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> name;
  std::optional<std::string> displayUUID;

  SceneElementCaptureSettings() = default;
  /// The fields of `captureType`; `unknown` sets none.
  explicit SceneElementCaptureSettings(const CaptureType& captureType);

  /// With bundleIdentifier and displayID: `app` (name defaulting to "Application"). With displayID
  /// only: `display` ("Display"). With windowID and no displayID: `window` ("Window"), its application
  /// the bundleIdentifier. Absent with neither displayID nor windowID.
  std::optional<CaptureType> captureType() const;

  /// Takes the target of `incoming` so that the result points at exactly one thing:
  /// 1. an application on a display that differs from the stored one: displayID and bundleIdentifier
  ///    from `incoming`, no windowID;
  /// 2. else a display (no bundleIdentifier) that differs from the stored one: its displayID, no
  ///    windowID or bundleIdentifier;
  /// 3. else a window that differs from the stored one: windowID and bundleIdentifier (perhaps none)
  ///    from `incoming`, no displayID;
  /// 4. else the stored target stays.
  /// `name` and `displayUUID` are always those of `incoming`, absent or not.
  void merge(const SceneElementCaptureSettings& incoming);

  friend bool operator==(const SceneElementCaptureSettings&, const SceneElementCaptureSettings&) = default;
};

/// {"displayID", "windowID", "bundleIdentifier", "name", "displayUUID"}, each written only when present
/// and optional on reading.
template <>
struct JsonCoder<SceneElementCaptureSettings> {
  static SceneElementCaptureSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementCaptureSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementCaptureSettings> {
  std::size_t operator()(const tav::SceneElementCaptureSettings& s) const noexcept {
    return tav::hashValues(s.displayID, s.windowID, s.bundleIdentifier, s.name, s.displayUUID);
  }
};
