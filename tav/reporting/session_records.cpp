#include "tav/reporting/session_records.hpp"

#include "tav/scene/hash_combine.hpp"

namespace tav {

SettingAssetType JsonCoder<SettingAssetType>::decode(const JsonValue& json, const JsonPath& path) {
  std::string text = JsonCoder<std::string>::decode(json, path);
  return text == "custom" ? SettingAssetType::custom() : SettingAssetType::bundled(std::move(text));
}
void JsonCoder<SettingAssetType>::encode(JsonWriter& w, const SettingAssetType& v) {
  w.string(v.isCustom() ? std::string_view("custom") : std::string_view(*v.bundledName()));
}

using AudioSettings = SettingsInfo::AudioSettings;
AudioSettings JsonCoder<AudioSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<bool>("enabled"), r.required<bool>("audioDelayEnabled")};
}
void JsonCoder<AudioSettings>::encode(JsonWriter& w, const AudioSettings& v) {
  w.beginObject();
  w.field("enabled", v.enabled);
  w.field("audioDelayEnabled", v.audioDelayEnabled);
  w.endObject();
}

using VideoSettings = SettingsInfo::VideoSettings;
VideoSettings JsonCoder<VideoSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::vector<int>>("resolution"), r.required<bool>("mirrorVideoEnabled"),
          r.required<double>("effectiveFPS"), r.optional<bool>("stabilisationEnabled"),
          r.optional<bool>("videoDelayEnabled")};
}
void JsonCoder<VideoSettings>::encode(JsonWriter& w, const VideoSettings& v) {
  w.beginObject();
  w.field("resolution", v.resolution);
  w.field("mirrorVideoEnabled", v.mirrorVideoEnabled);
  w.field("effectiveFPS", v.effectiveFPS);
  w.optionalField("stabilisationEnabled", v.stabilisationEnabled);
  w.optionalField("videoDelayEnabled", v.videoDelayEnabled);
  w.endObject();
}

using HardwareSettings = SettingsInfo::HardwareSettings;
HardwareSettings JsonCoder<HardwareSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<int>("focusMode"),           r.required<bool>("exposureEnabled"),
          r.required<std::string>("exposureMode"), r.required<bool>("torchEnabled"),
          r.required<bool>("whiteBalanceEnabled"), r.optional<std::string>("hdrMode"),
          r.required<bool>("noiseReduction2dEnabled"), r.required<bool>("noiseReduction3dEnabled")};
}
void JsonCoder<HardwareSettings>::encode(JsonWriter& w, const HardwareSettings& v) {
  w.beginObject();
  w.field("focusMode", v.focusMode);
  w.field("exposureEnabled", v.exposureEnabled);
  w.field("exposureMode", v.exposureMode);
  w.field("torchEnabled", v.torchEnabled);
  w.field("whiteBalanceEnabled", v.whiteBalanceEnabled);
  w.optionalField("hdrMode", v.hdrMode);
  w.field("noiseReduction2dEnabled", v.noiseReduction2dEnabled);
  w.field("noiseReduction3dEnabled", v.noiseReduction3dEnabled);
  w.endObject();
}

using PostProcessingSettings = SettingsInfo::PostProcessingSettings;
PostProcessingSettings JsonCoder<PostProcessingSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("framingMode"),  r.required<bool>("zoomEnabled"),
          r.required<bool>("rotationEnabled"),      r.optional<bool>("brightnessEnabled"),
          r.optional<bool>("hueEnabled"),           r.optional<bool>("saturationEnabled"),
          r.optional<bool>("vibranceEnabled"),      r.optional<bool>("contrastEnabled"),
          r.optional<bool>("gammaEnabled"),         r.optional<bool>("sharpnessEnabled")};
}
void JsonCoder<PostProcessingSettings>::encode(JsonWriter& w, const PostProcessingSettings& v) {
  w.beginObject();
  w.field("framingMode", v.framingMode);
  w.field("zoomEnabled", v.zoomEnabled);
  w.field("rotationEnabled", v.rotationEnabled);
  w.optionalField("brightnessEnabled", v.brightnessEnabled);
  w.optionalField("hueEnabled", v.hueEnabled);
  w.optionalField("saturationEnabled", v.saturationEnabled);
  w.optionalField("vibranceEnabled", v.vibranceEnabled);
  w.optionalField("contrastEnabled", v.contrastEnabled);
  w.optionalField("gammaEnabled", v.gammaEnabled);
  w.optionalField("sharpnessEnabled", v.sharpnessEnabled);
  w.endObject();
}

using EnhancementSettings = SettingsInfo::EnhancementSettings;
EnhancementSettings JsonCoder<EnhancementSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("backgroundMode"), r.optional<SettingAssetType>("background"),
          r.required<bool>("chromaKeyEnabled"),       r.required<bool>("spotlightEnabled"),
          r.optional<double>("spotlight"),            r.required<bool>("retouchEnabled"),
          r.optional<double>("reoutch"),              r.optional<SettingAssetType>("filter"),
          r.optional<std::string>("arMode")};
}
void JsonCoder<EnhancementSettings>::encode(JsonWriter& w, const EnhancementSettings& v) {
  w.beginObject();
  w.field("backgroundMode", v.backgroundMode);
  w.optionalField("background", v.background);
  w.field("chromaKeyEnabled", v.chromaKeyEnabled);
  w.field("spotlightEnabled", v.spotlightEnabled);
  w.optionalField("spotlight", v.spotlight);
  w.field("retouchEnabled", v.retouchEnabled);
  w.optionalField("reoutch", v.reoutch);
  w.optionalField("filter", v.filter);
  w.optionalField("arMode", v.arMode);
  w.endObject();
}

SettingsInfo JsonCoder<SettingsInfo>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.optional<AudioSettings>("audioSettings"), r.required<VideoSettings>("videoSettings"),
          r.optional<HardwareSettings>("hardwareSettings"), r.required<PostProcessingSettings>("postProcessingSettings"),
          r.required<EnhancementSettings>("enhancementSettings")};
}
void JsonCoder<SettingsInfo>::encode(JsonWriter& w, const SettingsInfo& v) {
  w.beginObject();
  w.optionalField("audioSettings", v.audioSettings);
  w.field("videoSettings", v.videoSettings);
  w.optionalField("hardwareSettings", v.hardwareSettings);
  w.field("postProcessingSettings", v.postProcessingSettings);
  w.field("enhancementSettings", v.enhancementSettings);
  w.endObject();
}

StreamDeckInfo JsonCoder<StreamDeckInfo>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("model"), r.required<std::int64_t>("duration")};
}
void JsonCoder<StreamDeckInfo>::encode(JsonWriter& w, const StreamDeckInfo& v) {
  w.beginObject();
  w.field("model", v.model);
  w.field("duration", v.duration);
  w.endObject();
}

SourceInfo JsonCoder<SourceInfo>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("sourceType"),     r.required<std::string>("sourceVersion"),
          r.required<std::string>("deviceType"),     r.optional<std::string>("connectionType"),
          r.optional<std::string>("deviceModel"),    r.optional<std::string>("deviceOSVersion"),
          r.optional<int>("devicePID"),              r.optional<int>("deviceVID"),
          r.required<std::int64_t>("duration")};
}
void JsonCoder<SourceInfo>::encode(JsonWriter& w, const SourceInfo& v) {
  w.beginObject();
  w.field("sourceType", v.sourceType);
  w.field("sourceVersion", v.sourceVersion);
  w.field("deviceType", v.deviceType);
  w.optionalField("connectionType", v.connectionType);
  w.optionalField("deviceModel", v.deviceModel);
  w.optionalField("deviceOSVersion", v.deviceOSVersion);
  w.optionalField("devicePID", v.devicePID);
  w.optionalField("deviceVID", v.deviceVID);
  w.field("duration", v.duration);
  w.endObject();
}

AudioInfo JsonCoder<AudioInfo>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("deviceType"), r.required<std::string>("deviceName"),
          r.required<std::int64_t>("duration")};
}
void JsonCoder<AudioInfo>::encode(JsonWriter& w, const AudioInfo& v) {
  w.beginObject();
  w.field("deviceType", v.deviceType);
  w.field("deviceName", v.deviceName);
  w.field("duration", v.duration);
  w.endObject();
}

DestinationInfo JsonCoder<DestinationInfo>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<SessionType>("destinationType"), r.optional<std::string>("destinationID")};
}
void JsonCoder<DestinationInfo>::encode(JsonWriter& w, const DestinationInfo& v) {
  w.beginObject();
  w.field("destinationType", v.destinationType);
  w.optionalField("destinationID", v.destinationID);
  w.endObject();
}

SceneInfo JsonCoder<SceneInfo>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  SceneInfo v;
  v.sceneID = r.optional<std::string>("sceneID");
  v.primarySourceType = r.optional<std::string>("primarySourceType");
  v.primarySettingsInfo = r.optional<SettingsInfo>("primarySettingsInfo");
  v.secondarySourceType = r.optional<std::string>("secondarySourceType");
  v.secondarySettingsInfo = r.optional<SettingsInfo>("secondarySettingsInfo");
  v.backgroundColour = r.optional<std::string>("backgroundColour");
  v.backgroundMedia = r.optional<SettingAssetType>("backgroundMedia");
  v.outputResolution = r.required<std::vector<int>>("outputResolution");
  v.outputFPS = r.required<double>("outputFPS");
  v.audioToSpeakers = r.optional<bool>("audioToSpeakers");
  v.cameraSources = r.optional<int>("cameraSources");
  v.captureSources = r.optional<int>("captureSources");
  v.webSources = r.optional<int>("webSources");
  v.chatSources = r.optional<int>("chatSources");
  v.transition = r.optional<std::string>("transition");
  v.transitionDuration = r.optional<double>("transitionDuration");
  v.duration = r.required<std::int64_t>("duration");
  return v;
}
void JsonCoder<SceneInfo>::encode(JsonWriter& w, const SceneInfo& v) {
  w.beginObject();
  w.optionalField("sceneID", v.sceneID);
  w.optionalField("primarySourceType", v.primarySourceType);
  w.optionalField("primarySettingsInfo", v.primarySettingsInfo);
  w.optionalField("secondarySourceType", v.secondarySourceType);
  w.optionalField("secondarySettingsInfo", v.secondarySettingsInfo);
  w.optionalField("backgroundColour", v.backgroundColour);
  w.optionalField("backgroundMedia", v.backgroundMedia);
  w.field("outputResolution", v.outputResolution);
  w.field("outputFPS", v.outputFPS);
  w.optionalField("audioToSpeakers", v.audioToSpeakers);
  w.optionalField("cameraSources", v.cameraSources);
  w.optionalField("captureSources", v.captureSources);
  w.optionalField("webSources", v.webSources);
  w.optionalField("chatSources", v.chatSources);
  w.optionalField("transition", v.transition);
  w.optionalField("transitionDuration", v.transitionDuration);
  w.field("duration", v.duration);
  w.endObject();
}

NQSTavoSession JsonCoder<NQSTavoSession>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  NQSTavoSession v;
  v.id = r.required<Uuid>("id");
  v.dateStarted = r.required<ServiceDate>("dateStarted");
  v.dateEnded = r.required<ServiceDate>("dateEnded");
  v.consumerID = r.optional<std::string>("consumerID");
  v.mediaType = r.required<MediaType>("mediaType");
  v.destinationInfo = r.optional<DestinationInfo>("destinationInfo");
  v.settingsInfo = r.optional<SettingsInfo>("settingsInfo");
  v.sourceInfo = r.required<std::vector<SourceInfo>>("sourceInfo");
  v.sceneInfo = r.required<std::vector<SceneInfo>>("sceneInfo");
  v.audioInfo = r.required<std::vector<AudioInfo>>("audioInfo");
  v.streamDeck = r.optional<std::string>("streamDeck");
  v.streamDeckInfo = r.required<std::vector<StreamDeckInfo>>("streamDeckInfo");
  return v;
}
void JsonCoder<NQSTavoSession>::encode(JsonWriter& w, const NQSTavoSession& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("dateStarted", v.dateStarted);
  w.field("dateEnded", v.dateEnded);
  w.optionalField("consumerID", v.consumerID);
  w.field("mediaType", v.mediaType);
  w.optionalField("destinationInfo", v.destinationInfo);
  w.optionalField("settingsInfo", v.settingsInfo);
  w.field("sourceInfo", v.sourceInfo);
  w.field("sceneInfo", v.sceneInfo);
  w.field("audioInfo", v.audioInfo);
  w.optionalField("streamDeck", v.streamDeck);
  w.field("streamDeckInfo", v.streamDeckInfo);
  w.endObject();
}

}  // namespace tav

using tav::hashValues;

std::size_t std::hash<tav::SettingAssetType>::operator()(const tav::SettingAssetType& v) const noexcept {
  return hashValues(v.isCustom(), v.isCustom() ? std::string() : *v.bundledName());
}
std::size_t std::hash<tav::SettingsInfo::AudioSettings>::operator()(const tav::SettingsInfo::AudioSettings& v) const noexcept {
  return hashValues(v.enabled, v.audioDelayEnabled);
}
std::size_t std::hash<tav::SettingsInfo::VideoSettings>::operator()(const tav::SettingsInfo::VideoSettings& v) const noexcept {
  return hashValues(v.resolution, v.mirrorVideoEnabled, v.effectiveFPS, v.stabilisationEnabled, v.videoDelayEnabled);
}
std::size_t std::hash<tav::SettingsInfo::HardwareSettings>::operator()(
    const tav::SettingsInfo::HardwareSettings& v) const noexcept {
  return hashValues(v.focusMode, v.exposureEnabled, v.exposureMode, v.torchEnabled, v.whiteBalanceEnabled, v.hdrMode,
                    v.noiseReduction2dEnabled, v.noiseReduction3dEnabled);
}
std::size_t std::hash<tav::SettingsInfo::PostProcessingSettings>::operator()(
    const tav::SettingsInfo::PostProcessingSettings& v) const noexcept {
  return hashValues(v.framingMode, v.zoomEnabled, v.rotationEnabled, v.brightnessEnabled, v.hueEnabled,
                    v.saturationEnabled, v.vibranceEnabled, v.contrastEnabled, v.gammaEnabled, v.sharpnessEnabled);
}
std::size_t std::hash<tav::SettingsInfo::EnhancementSettings>::operator()(
    const tav::SettingsInfo::EnhancementSettings& v) const noexcept {
  return hashValues(v.backgroundMode, v.background, v.chromaKeyEnabled, v.spotlightEnabled, v.spotlight,
                    v.retouchEnabled, v.reoutch, v.filter, v.arMode);
}
std::size_t std::hash<tav::SettingsInfo>::operator()(const tav::SettingsInfo& v) const noexcept {
  return hashValues(v.audioSettings, v.videoSettings, v.hardwareSettings, v.postProcessingSettings,
                    v.enhancementSettings);
}
std::size_t std::hash<tav::StreamDeckInfo>::operator()(const tav::StreamDeckInfo& v) const noexcept {
  return hashValues(v.model, v.duration);
}
std::size_t std::hash<tav::SourceInfo>::operator()(const tav::SourceInfo& v) const noexcept {
  return hashValues(v.sourceType, v.sourceVersion, v.deviceType, v.connectionType, v.deviceModel, v.deviceOSVersion,
                    v.devicePID, v.deviceVID, v.duration);
}
std::size_t std::hash<tav::AudioInfo>::operator()(const tav::AudioInfo& v) const noexcept {
  return hashValues(v.deviceType, v.deviceName, v.duration);
}
std::size_t std::hash<tav::DestinationInfo>::operator()(const tav::DestinationInfo& v) const noexcept {
  return hashValues(v.destinationType, v.destinationID);
}
std::size_t std::hash<tav::SceneInfo>::operator()(const tav::SceneInfo& v) const noexcept {
  return hashValues(v.sceneID, v.primarySourceType, v.primarySettingsInfo, v.secondarySourceType,
                    v.secondarySettingsInfo, v.backgroundColour, v.backgroundMedia, v.outputResolution, v.outputFPS,
                    v.audioToSpeakers, v.cameraSources, v.captureSources, v.webSources, v.chatSources, v.transition,
                    v.transitionDuration, v.duration);
}
std::size_t std::hash<tav::NQSTavoSession>::operator()(const tav::NQSTavoSession& v) const noexcept {
  return hashValues(v.id, v.dateStarted.time_since_epoch().count(), v.dateEnded.time_since_epoch().count(),
                    v.consumerID, v.mediaType, v.destinationInfo, v.settingsInfo, v.sourceInfo, v.sceneInfo,
                    v.audioInfo, v.streamDeck, v.streamDeckInfo);
}
