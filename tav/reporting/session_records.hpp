// The report of one use of the studio, sent as the payload of a sessionEnded event: what was recorded
// or streamed, with which sources, scenes, audio devices and settings, and for how long.
//
// Plain values the host fills in; equal and hashed by all fields. Keys are written as declared, in the
// order declared (the service's requestor turns them into snake case on the wire); absent optionals are
// left out and read as absent; everything else is required when reading, and lists are always written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/service_date.hpp"
#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav {

enum class SessionType { recording, stream };

template <>
struct EnumTraits<SessionType> {
  static constexpr std::array cases{EnumCase<SessionType>{SessionType::recording, "recording"},
                                    EnumCase<SessionType>{SessionType::stream, "stream"}};
};

/// A background or filter in use: one of the application's own by name, or one the user brought.
/// Its JSON is one string: the name, or "custom". Reading "custom" gives custom, so a bundled asset
/// named "custom" reads back as custom.
class SettingAssetType {
 public:
  static SettingAssetType bundled(std::string name) { return SettingAssetType(std::move(name)); }
  static SettingAssetType custom() { return SettingAssetType(std::nullopt); }

  bool isCustom() const { return !name_; }
  /// The name of a bundled asset; null for custom.
  const std::string* bundledName() const { return name_ ? &*name_ : nullptr; }

  friend bool operator==(const SettingAssetType&, const SettingAssetType&) = default;

 private:
  explicit SettingAssetType(std::optional<std::string> name) : name_(std::move(name)) {}
  std::optional<std::string> name_;
};

struct SettingsInfo {
  struct AudioSettings {
    bool enabled = false;
    bool audioDelayEnabled = false;
    friend bool operator==(const AudioSettings&, const AudioSettings&) = default;
  };
  struct VideoSettings {
    std::vector<int> resolution;
    bool mirrorVideoEnabled = false;
    double effectiveFPS = 0;
    std::optional<bool> stabilisationEnabled;
    std::optional<bool> videoDelayEnabled;
    friend bool operator==(const VideoSettings&, const VideoSettings&) = default;
  };
  struct HardwareSettings {
    int focusMode = 0;
    bool exposureEnabled = false;
    std::string exposureMode;
    bool torchEnabled = false;
    bool whiteBalanceEnabled = false;
    std::optional<std::string> hdrMode;
    bool noiseReduction2dEnabled = false;
    bool noiseReduction3dEnabled = false;
    friend bool operator==(const HardwareSettings&, const HardwareSettings&) = default;
  };
  struct PostProcessingSettings {
    std::string framingMode;
    bool zoomEnabled = false;
    bool rotationEnabled = false;
    std::optional<bool> brightnessEnabled;
    std::optional<bool> hueEnabled;
    std::optional<bool> saturationEnabled;
    std::optional<bool> vibranceEnabled;
    std::optional<bool> contrastEnabled;
    std::optional<bool> gammaEnabled;
    std::optional<bool> sharpnessEnabled;
    friend bool operator==(const PostProcessingSettings&, const PostProcessingSettings&) = default;
  };
  struct EnhancementSettings {
    std::string backgroundMode;
    std::optional<SettingAssetType> background;
    bool chromaKeyEnabled = false;
    bool spotlightEnabled = false;
    std::optional<double> spotlight;
    bool retouchEnabled = false;
    /// The retouch strength, written under "reoutch" (letters in that order) on the field and the wire.
    std::optional<double> reoutch;
    std::optional<SettingAssetType> filter;
    std::optional<std::string> arMode;
    friend bool operator==(const EnhancementSettings&, const EnhancementSettings&) = default;
  };

  std::optional<AudioSettings> audioSettings;
  VideoSettings videoSettings;
  std::optional<HardwareSettings> hardwareSettings;
  PostProcessingSettings postProcessingSettings;
  EnhancementSettings enhancementSettings;
  friend bool operator==(const SettingsInfo&, const SettingsInfo&) = default;
};

struct StreamDeckInfo {
  std::string model;
  std::int64_t duration = 0;
  friend bool operator==(const StreamDeckInfo&, const StreamDeckInfo&) = default;
};

struct SourceInfo {
  std::string sourceType;
  std::string sourceVersion;
  std::string deviceType;
  std::optional<std::string> connectionType;
  std::optional<std::string> deviceModel;
  std::optional<std::string> deviceOSVersion;
  std::optional<int> devicePID;
  std::optional<int> deviceVID;
  std::int64_t duration = 0;

  /// Replaces the time in use, as the host brings it up to date while the source stays in use.
  void updateDuration(std::int64_t newDuration) { duration = newDuration; }
  friend bool operator==(const SourceInfo&, const SourceInfo&) = default;
};

struct AudioInfo {
  std::string deviceType;
  std::string deviceName;
  std::int64_t duration = 0;

  void updateDuration(std::int64_t newDuration) { duration = newDuration; }
  friend bool operator==(const AudioInfo&, const AudioInfo&) = default;
};

struct DestinationInfo {
  SessionType destinationType = SessionType::recording;
  std::optional<std::string> destinationID;
  friend bool operator==(const DestinationInfo&, const DestinationInfo&) = default;
};

struct SceneInfo {
  std::optional<std::string> sceneID;
  std::optional<std::string> primarySourceType;
  std::optional<SettingsInfo> primarySettingsInfo;
  std::optional<std::string> secondarySourceType;
  std::optional<SettingsInfo> secondarySettingsInfo;
  std::optional<std::string> backgroundColour;
  std::optional<SettingAssetType> backgroundMedia;
  std::vector<int> outputResolution;
  double outputFPS = 0;
  std::optional<bool> audioToSpeakers;
  std::optional<int> cameraSources;
  std::optional<int> captureSources;
  std::optional<int> webSources;
  std::optional<int> chatSources;
  std::optional<std::string> transition;
  std::optional<double> transitionDuration;
  std::int64_t duration = 0;
  friend bool operator==(const SceneInfo&, const SceneInfo&) = default;
};

struct NQSTavoSession {
  Uuid id;
  ServiceDate dateStarted;
  ServiceDate dateEnded;
  std::optional<std::string> consumerID;
  MediaType mediaType = MediaType::unknown;
  std::optional<DestinationInfo> destinationInfo;
  std::optional<SettingsInfo> settingsInfo;
  std::vector<SourceInfo> sourceInfo;
  std::vector<SceneInfo> sceneInfo;
  std::vector<AudioInfo> audioInfo;
  std::optional<std::string> streamDeck;
  std::vector<StreamDeckInfo> streamDeckInfo;
  friend bool operator==(const NQSTavoSession&, const NQSTavoSession&) = default;
};

template <>
struct JsonCoder<SettingAssetType> {
  static SettingAssetType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingAssetType& v);
};
template <>
struct JsonCoder<SettingsInfo::AudioSettings> {
  static SettingsInfo::AudioSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingsInfo::AudioSettings& v);
};
template <>
struct JsonCoder<SettingsInfo::VideoSettings> {
  static SettingsInfo::VideoSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingsInfo::VideoSettings& v);
};
template <>
struct JsonCoder<SettingsInfo::HardwareSettings> {
  static SettingsInfo::HardwareSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingsInfo::HardwareSettings& v);
};
template <>
struct JsonCoder<SettingsInfo::PostProcessingSettings> {
  static SettingsInfo::PostProcessingSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingsInfo::PostProcessingSettings& v);
};
template <>
struct JsonCoder<SettingsInfo::EnhancementSettings> {
  static SettingsInfo::EnhancementSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingsInfo::EnhancementSettings& v);
};
template <>
struct JsonCoder<SettingsInfo> {
  static SettingsInfo decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SettingsInfo& v);
};
template <>
struct JsonCoder<StreamDeckInfo> {
  static StreamDeckInfo decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamDeckInfo& v);
};
template <>
struct JsonCoder<SourceInfo> {
  static SourceInfo decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SourceInfo& v);
};
template <>
struct JsonCoder<AudioInfo> {
  static AudioInfo decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const AudioInfo& v);
};
template <>
struct JsonCoder<DestinationInfo> {
  static DestinationInfo decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const DestinationInfo& v);
};
template <>
struct JsonCoder<SceneInfo> {
  static SceneInfo decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneInfo& v);
};
template <>
struct JsonCoder<NQSTavoSession> {
  static NQSTavoSession decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const NQSTavoSession& v);
};

}  // namespace tav

// Hashes over all fields, agreeing with ==.
template <>
struct std::hash<tav::SettingAssetType> {
  std::size_t operator()(const tav::SettingAssetType& v) const noexcept;
};
template <>
struct std::hash<tav::SettingsInfo::AudioSettings> {
  std::size_t operator()(const tav::SettingsInfo::AudioSettings& v) const noexcept;
};
template <>
struct std::hash<tav::SettingsInfo::VideoSettings> {
  std::size_t operator()(const tav::SettingsInfo::VideoSettings& v) const noexcept;
};
template <>
struct std::hash<tav::SettingsInfo::HardwareSettings> {
  std::size_t operator()(const tav::SettingsInfo::HardwareSettings& v) const noexcept;
};
template <>
struct std::hash<tav::SettingsInfo::PostProcessingSettings> {
  std::size_t operator()(const tav::SettingsInfo::PostProcessingSettings& v) const noexcept;
};
template <>
struct std::hash<tav::SettingsInfo::EnhancementSettings> {
  std::size_t operator()(const tav::SettingsInfo::EnhancementSettings& v) const noexcept;
};
template <>
struct std::hash<tav::SettingsInfo> {
  std::size_t operator()(const tav::SettingsInfo& v) const noexcept;
};
template <>
struct std::hash<tav::StreamDeckInfo> {
  std::size_t operator()(const tav::StreamDeckInfo& v) const noexcept;
};
template <>
struct std::hash<tav::SourceInfo> {
  std::size_t operator()(const tav::SourceInfo& v) const noexcept;
};
template <>
struct std::hash<tav::AudioInfo> {
  std::size_t operator()(const tav::AudioInfo& v) const noexcept;
};
template <>
struct std::hash<tav::DestinationInfo> {
  std::size_t operator()(const tav::DestinationInfo& v) const noexcept;
};
template <>
struct std::hash<tav::SceneInfo> {
  std::size_t operator()(const tav::SceneInfo& v) const noexcept;
};
template <>
struct std::hash<tav::NQSTavoSession> {
  std::size_t operator()(const tav::NQSTavoSession& v) const noexcept;
};
