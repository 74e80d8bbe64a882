// The audio mix of a scene: the output's level, mute, channels and delay, and one entry per source.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/application_icon_provider.hpp"
#include "tav/contracts/device_types.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/capture_type.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

/// Effects applied to one audio source.
struct AudioEffects {
  struct NoiseReduction {
    bool isEnabled = false;
    friend bool operator==(const NoiseReduction&, const NoiseReduction&) = default;
  };

  NoiseReduction noiseReduction;

  friend bool operator==(const AudioEffects&, const AudioEffects&) = default;
};

/// The settings of an audio format as the platform's audio APIs take them. Every format of this
/// library is 32-bit float, non-interleaved, little-endian linear PCM.
struct AudioFormatSettings {
  /// The format id: "lpcm", linear PCM.
  std::string formatID = "lpcm";
  double sampleRate = 0;
  int numberOfChannels = 0;
  int linearPCMBitDepth = 32;
  bool linearPCMIsNonInterleaved = true;
  bool linearPCMIsFloat = true;
  bool linearPCMIsBigEndian = false;

  friend bool operator==(const AudioFormatSettings&, const AudioFormatSettings&) = default;
};

struct AudioConfiguration {
  struct Source {
    /// Identifies the source within the mix; not meant to change once the source is added.
    std::string id;
    std::string name;
    /// How the device is attached; not meant to change.
    ConnectionType type = ConnectionType::builtIn;
    /// What a screen-capture source captures; not meant to change.
    std::optional<CaptureType> captureType;
    float volume = 1;
    bool isMuted = false;
    int channels = 2;
    float audioDelay = 0;
    double sampleRate = 48000;
    AudioEffects effects;

    /// Each present argument replaces its field.
    void update(std::optional<std::string> name = std::nullopt, std::optional<float> volume = std::nullopt,
                std::optional<bool> isMuted = std::nullopt, std::optional<int> channels = std::nullopt,
                std::optional<float> audioDelay = std::nullopt, std::optional<AudioEffects> effects = std::nullopt);

    /// The audio format with this source's channels and sample rate.
    AudioFormatSettings format() const;

    /// The icon the mixer shows: by capture type when there is one, else by connection type.
    SourceIcon image() const;

    friend bool operator==(const Source&, const Source&) = default;
  };

  float outputVolume = 1;
  bool outputMuted = false;
  int outputChannels = 2;
  float outputAudioDelay = 0;
  std::vector<Source> sources;
  double sampleRate = 48000;

  /// The id of the mixer's output.
  static constexpr std::string_view mixerOutputID = "MIXER_OUTPUT";
  /// The id of the source that carries the computer's own sound.
  static constexpr std::string_view systemAudioID = "SYSTEM_AUDIO";

  /// Appends `source` unless a source with the same id is already in the list (then nothing changes,
  /// even if the other fields differ).
  void add(const Source& source);
  /// Removes every source with `id`.
  void remove(std::string_view id);
  /// Each present argument replaces its output field.
  void updateOutput(std::optional<float> volume = std::nullopt, std::optional<bool> isMuted = std::nullopt,
                    std::optional<int> channels = std::nullopt, std::optional<float> audioDelay = std::nullopt);
  /// Applies Source::update to the first source with `id`; does nothing when there is none.
  /// Main context only (MainContext::isCurrent()), where the mixer reads its sources: called
  /// elsewhere it throws std::logic_error and changes nothing.
  void update(std::string_view id, std::optional<std::string> name = std::nullopt,
              std::optional<float> volume = std::nullopt, std::optional<bool> isMuted = std::nullopt,
              std::optional<int> channels = std::nullopt, std::optional<float> audioDelay = std::nullopt,
              std::optional<AudioEffects> effects = std::nullopt);

  /// The audio format with outputChannels and sampleRate.
  AudioFormatSettings outputFormat() const { return settings(outputChannels, sampleRate); }

  /// 32-bit float, non-interleaved, little-endian linear PCM with `channels` at `sampleRate`.
  static AudioFormatSettings settings(int channels, double sampleRate);

  friend bool operator==(const AudioConfiguration&, const AudioConfiguration&) = default;
};

/// {"noiseReduction": {"isEnabled": Boolean}}; both keys optional on reading, defaulting to off.
template <>
struct JsonCoder<AudioEffects> {
  static AudioEffects decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const AudioEffects& v);
};

/// Keys "id", "name", "type", "captureType" (when present), "volume", "isMuted", "channels",
/// "audioDelay", "sampleRate", "effects" (always written; missing reads as no effects). All others
/// are required.
template <>
struct JsonCoder<AudioConfiguration::Source> {
  static AudioConfiguration::Source decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const AudioConfiguration::Source& v);
};

/// Keys "outputVolume", "outputMuted", "outputChannels", "outputAudioDelay", "sampleRate",
/// "sources", in this order, all required.
template <>
struct JsonCoder<AudioConfiguration> {
  static AudioConfiguration decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const AudioConfiguration& v);
};

}  // namespace tav

template <>
struct std::hash<tav::AudioEffects> {
  std::size_t operator()(const tav::AudioEffects& e) const noexcept {
    return std::hash<bool>()(e.noiseReduction.isEnabled);
  }
};

template <>
struct std::hash<tav::AudioConfiguration::Source> {
  std::size_t operator()(const tav::AudioConfiguration::Source& s) const noexcept {
    return tav::hashValues(s.id, s.name, s.type, s.captureType, s.volume, s.isMuted, s.channels, s.audioDelay,
                           s.sampleRate, s.effects);
  }
};

template <>
struct std::hash<tav::AudioConfiguration> {
  std::size_t operator()(const tav::AudioConfiguration& c) const noexcept {
    return tav::hashValues(c.outputVolume, c.outputMuted, c.outputChannels, c.outputAudioDelay, c.sources,
                           c.sampleRate);
  }
};
