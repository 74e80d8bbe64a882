#include "tav/scene/audio_configuration.hpp"

#include <algorithm>
#include <stdexcept>

#include "tav/foundation/main_context.hpp"

namespace tav {

void AudioConfiguration::Source::update(std::optional<std::string> newName, std::optional<float> newVolume,
                                        std::optional<bool> newIsMuted, std::optional<int> newChannels,
                                        std::optional<float> newAudioDelay, std::optional<AudioEffects> newEffects) {
  if (newName) name = std::move(*newName);
  if (newVolume) volume = *newVolume;
  if (newIsMuted) isMuted = *newIsMuted;
  if (newChannels) channels = *newChannels;
  if (newAudioDelay) audioDelay = *newAudioDelay;
  if (newEffects) effects = *newEffects;
}

AudioFormatSettings AudioConfiguration::Source::format() const { return settings(channels, sampleRate); }

SourceIcon AudioConfiguration::Source::image() const {
  if (captureType) {
    // A display or an unknown capture shows the screen symbol; apps and windows their application.
    return captureType->image();
  }
  // Numbered by the connection's place in the device library's list of connection types.
  switch (type.caseIndex().value_or(SIZE_MAX)) {
    case 0:
    case 4: return SourceIcon::symbol("iphone");
    case 1: return SourceIcon::symbol("candybarphone");
    case 7: return SourceIcon::symbol("film");
    case 9: return SourceIcon::symbol("waveform");
    case 10: return SourceIcon::symbol("globe");
    default: return SourceIcon::symbol("mic");
  }
}

void AudioConfiguration::add(const Source& source) {
  bool known = std::any_of(sources.begin(), sources.end(), [&](const Source& s) { return s.id == source.id; });
  if (!known) sources.push_back(source);
}

void AudioConfiguration::remove(std::string_view id) {
  std::erase_if(sources, [&](const Source& s) { return s.id == id; });
}

void AudioConfiguration::updateOutput(std::optional<float> volume, std::optional<bool> isMuted,
                                      std::optional<int> channels, std::optional<float> audioDelay) {
  if (volume) outputVolume = *volume;
  if (isMuted) outputMuted = *isMuted;
  if (channels) outputChannels = *channels;
  if (audioDelay) outputAudioDelay = *audioDelay;
}

void AudioConfiguration::update(std::string_view id, std::optional<std::string> name, std::optional<float> volume,
                                std::optional<bool> isMuted, std::optional<int> channels,
                                std::optional<float> audioDelay, std::optional<AudioEffects> effects) {
  // The mixer reads these sources on the main context; a change from elsewhere would race with it.
  if (!MainContext::isCurrent()) {
    throw std::logic_error("AudioConfiguration::update must be called on the main context (see MainContext)");
  }
  auto it = std::find_if(sources.begin(), sources.end(), [&](const Source& s) { return s.id == id; });
  if (it == sources.end()) return;
  it->update(std::move(name), volume, isMuted, channels, audioDelay, std::move(effects));
}

AudioFormatSettings AudioConfiguration::settings(int channelCount, double rate) {
  AudioFormatSettings format;
  format.sampleRate = rate;
  format.numberOfChannels = channelCount;
  return format;
}

AudioEffects JsonCoder<AudioEffects>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  AudioEffects effects;
  if (const JsonValue* noise = reader.find("noiseReduction"); noise != nullptr && !noise->is_null()) {
    JsonPath noisePath = path.key("noiseReduction");
    JsonObjectReader noiseReader(*noise, noisePath);
    effects.noiseReduction.isEnabled = noiseReader.valueOr<bool>("isEnabled", false);
  }
  return effects;
}

void JsonCoder<AudioEffects>::encode(JsonWriter& w, const AudioEffects& v) {
  w.beginObject();
  w.key("noiseReduction");
  w.beginObject();
  w.field("isEnabled", v.noiseReduction.isEnabled);
  w.endObject();
  w.endObject();
}

AudioConfiguration::Source JsonCoder<AudioConfiguration::Source>::decode(const JsonValue& json,
                                                                         const JsonPath& path) {
  JsonObjectReader reader(json, path);
  AudioConfiguration::Source source;
  source.id = reader.required<std::string>("id");
  source.name = reader.required<std::string>("name");
  source.type = reader.required<ConnectionType>("type");
  source.captureType = reader.optional<CaptureType>("captureType");
  source.volume = reader.required<float>("volume");
  source.isMuted = reader.required<bool>("isMuted");
  source.channels = reader.required<int>("channels");
  source.audioDelay = reader.required<float>("audioDelay");
  source.sampleRate = reader.required<double>("sampleRate");
  source.effects = reader.valueOr<AudioEffects>("effects", AudioEffects{});
  return source;
}

void JsonCoder<AudioConfiguration::Source>::encode(JsonWriter& w, const AudioConfiguration::Source& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("name", v.name);
  w.field("type", v.type);
  w.optionalField("captureType", v.captureType);
  w.field("volume", v.volume);
  w.field("isMuted", v.isMuted);
  w.field("channels", v.channels);
  w.field("audioDelay", v.audioDelay);
  w.field("sampleRate", v.sampleRate);
  w.field("effects", v.effects);
  w.endObject();
}

AudioConfiguration JsonCoder<AudioConfiguration>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  AudioConfiguration c;
  c.outputVolume = reader.required<float>("outputVolume");
  c.outputMuted = reader.required<bool>("outputMuted");
  c.outputChannels = reader.required<int>("outputChannels");
  c.outputAudioDelay = reader.required<float>("outputAudioDelay");
  c.sampleRate = reader.required<double>("sampleRate");
  c.sources = reader.required<std::vector<AudioConfiguration::Source>>("sources");
  return c;
}

void JsonCoder<AudioConfiguration>::encode(JsonWriter& w, const AudioConfiguration& v) {
  w.beginObject();
  w.field("outputVolume", v.outputVolume);
  w.field("outputMuted", v.outputMuted);
  w.field("outputChannels", v.outputChannels);
  w.field("outputAudioDelay", v.outputAudioDelay);
  w.field("sampleRate", v.sampleRate);
  w.field("sources", v.sources);
  w.endObject();
}

}  // namespace tav
