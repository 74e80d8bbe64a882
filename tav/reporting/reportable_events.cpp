#include "tav/reporting/reportable_events.hpp"

#include "tav/scene/hash_combine.hpp"

namespace tav {

ReportableButtonType JsonCoder<ReportableButtonType>::decode(const JsonValue& json, const JsonPath& path) {
  std::string raw = JsonCoder<std::string>::decode(json, path);
  if (raw.empty()) throw DecodingError(path, "expected a button name, found an empty text");
  return {std::move(raw)};
}
void JsonCoder<ReportableButtonType>::encode(JsonWriter& w, const ReportableButtonType& v) { w.string(v.rawValue); }

namespace {
using LinkClickedType = LinkClickedEvent::LinkClickedType;
constexpr std::array<EnumCase<LinkClickedType>, 3> linkClickedCases{{
    {LinkClickedType::download, "download"},
    {LinkClickedType::dash, "dash"},
    {LinkClickedType::content, "content"},
}};
}  // namespace

LinkClickedType JsonCoder<LinkClickedType>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  if (reader.object().size() != 1) throw DecodingError(path, "Invalid number of keys found, expected one.");
  const auto& member = *reader.object().begin();
  const std::string_view key(member.key().data(), member.key().size());
  for (const auto& c : linkClickedCases) {
    if (c.raw == key) return c.value;
  }
  throw DecodingError(path, "unknown link type \"" + std::string(key) + "\"");
}
void JsonCoder<LinkClickedType>::encode(JsonWriter& w, const LinkClickedType& v) {
  w.beginObject();
  for (const auto& c : linkClickedCases) {
    if (c.value == v) w.key(c.raw);
  }
  w.beginObject();
  w.endObject();
  w.endObject();
}

ScreenViewedEvent JsonCoder<ScreenViewedEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<ReportableScreenType>("uid"), r.optional<std::string>("page_uid"),
          r.optional<ReportableSource>("source")};
}
void JsonCoder<ScreenViewedEvent>::encode(JsonWriter& w, const ScreenViewedEvent& v) {
  w.beginObject();
  w.field("uid", v.uid);
  w.optionalField("page_uid", v.pageUID);
  w.optionalField("source", v.source);
  w.endObject();
}

ButtonClickedEvent JsonCoder<ButtonClickedEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<ReportableButtonType>("uid"), r.optional<ReportableSource>("source")};
}
void JsonCoder<ButtonClickedEvent>::encode(JsonWriter& w, const ButtonClickedEvent& v) {
  w.beginObject();
  w.field("uid", v.uid);
  w.optionalField("source", v.source);
  w.endObject();
}

StreamPanelEvent JsonCoder<StreamPanelEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<Url>("url")};
}
void JsonCoder<StreamPanelEvent>::encode(JsonWriter& w, const StreamPanelEvent& v) {
  w.beginObject();
  w.field("url", v.url);
  w.endObject();
}

VideoPlayedEvent JsonCoder<VideoPlayedEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("uid")};
}
void JsonCoder<VideoPlayedEvent>::encode(JsonWriter& w, const VideoPlayedEvent& v) {
  w.beginObject();
  w.field("uid", v.uid);
  w.endObject();
}

NewSceneEvent JsonCoder<NewSceneEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<NewSceneEvent::NewSceneEventType>("from")};
}
void JsonCoder<NewSceneEvent>::encode(JsonWriter& w, const NewSceneEvent& v) {
  w.beginObject();
  w.field("from", v.from);
  w.endObject();
}

StreamingServiceEvent JsonCoder<StreamingServiceEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("type")};
}
void JsonCoder<StreamingServiceEvent>::encode(JsonWriter& w, const StreamingServiceEvent& v) {
  w.beginObject();
  w.field("type", v.type);
  w.endObject();
}

LinkClickedEvent JsonCoder<LinkClickedEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("uid"), r.required<LinkClickedType>("type"), r.required<Url>("url")};
}
void JsonCoder<LinkClickedEvent>::encode(JsonWriter& w, const LinkClickedEvent& v) {
  w.beginObject();
  w.field("uid", v.uid);
  w.field("type", v.type);
  w.field("url", v.url);
  w.endObject();
}

StreamDeckEvent JsonCoder<StreamDeckEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.optional<std::string>("model"), r.optional<std::string>("clientVersion"), r.optional<int>("protocolVersion")};
}
void JsonCoder<StreamDeckEvent>::encode(JsonWriter& w, const StreamDeckEvent& v) {
  w.beginObject();
  w.optionalField("model", v.model);
  w.optionalField("clientVersion", v.clientVersion);
  w.optionalField("protocolVersion", v.protocolVersion);
  w.endObject();
}

ExternalControlActionEvent JsonCoder<ExternalControlActionEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<ExternalControlInvoker>("invoker"), r.required<std::string>("action"), r.required<int>("count"),
          r.optional<std::string>("model")};
}
void JsonCoder<ExternalControlActionEvent>::encode(JsonWriter& w, const ExternalControlActionEvent& v) {
  w.beginObject();
  w.field("invoker", v.invoker);
  w.field("action", v.action);
  w.field("count", v.count);
  w.optionalField("model", v.model);
  w.endObject();
}

AddOnEvent JsonCoder<AddOnEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  return {r.required<std::string>("uid"), r.optional<ReportableSource>("source")};
}
void JsonCoder<AddOnEvent>::encode(JsonWriter& w, const AddOnEvent& v) {
  w.beginObject();
  w.field("uid", v.uid);
  w.optionalField("source", v.source);
  w.endObject();
}

StreamFailedEvent JsonCoder<StreamFailedEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  StreamFailedEvent v;
  v.service = r.required<std::string>("service");
  v.destinationCount = r.required<int>("destinationCount");
  v.enhanced = r.required<bool>("enhanced");
  v.configID = r.optional<std::string>("configID");
  v.tracks = r.required<std::vector<std::string>>("tracks");
  v.secondsLive = r.optional<double>("secondsLive");
  v.reason = r.optional<std::string>("reason");
  v.fellBackToClassicRTMP = r.required<bool>("fellBackToClassicRTMP");
  return v;
}
void JsonCoder<StreamFailedEvent>::encode(JsonWriter& w, const StreamFailedEvent& v) {
  w.beginObject();
  w.field("service", v.service);
  w.field("destinationCount", v.destinationCount);
  w.field("enhanced", v.enhanced);
  w.optionalField("configID", v.configID);
  w.field("tracks", v.tracks);
  w.optionalField("secondsLive", v.secondsLive);
  w.optionalField("reason", v.reason);
  w.field("fellBackToClassicRTMP", v.fellBackToClassicRTMP);
  w.endObject();
}

}  // namespace tav

using tav::hashValues;

std::size_t std::hash<tav::ReportableButtonType>::operator()(const tav::ReportableButtonType& v) const noexcept {
  return hashValues(v.rawValue);
}
std::size_t std::hash<tav::ScreenViewedEvent>::operator()(const tav::ScreenViewedEvent& v) const noexcept {
  return hashValues(v.uid, v.pageUID, v.source);
}
std::size_t std::hash<tav::ButtonClickedEvent>::operator()(const tav::ButtonClickedEvent& v) const noexcept {
  return hashValues(v.uid, v.source);
}
std::size_t std::hash<tav::StreamPanelEvent>::operator()(const tav::StreamPanelEvent& v) const noexcept {
  return hashValues(v.url.absoluteString());
}
std::size_t std::hash<tav::VideoPlayedEvent>::operator()(const tav::VideoPlayedEvent& v) const noexcept {
  return hashValues(v.uid);
}
std::size_t std::hash<tav::NewSceneEvent>::operator()(const tav::NewSceneEvent& v) const noexcept {
  return hashValues(v.from);
}
std::size_t std::hash<tav::StreamingServiceEvent>::operator()(const tav::StreamingServiceEvent& v) const noexcept {
  return hashValues(v.type);
}
std::size_t std::hash<tav::LinkClickedEvent>::operator()(const tav::LinkClickedEvent& v) const noexcept {
  return hashValues(v.uid, v.type, v.url.absoluteString());
}
std::size_t std::hash<tav::StreamDeckEvent>::operator()(const tav::StreamDeckEvent& v) const noexcept {
  return hashValues(v.model, v.clientVersion, v.protocolVersion);
}
std::size_t std::hash<tav::ExternalControlActionEvent>::operator()(const tav::ExternalControlActionEvent& v) const noexcept {
  return hashValues(v.invoker, v.action, v.count, v.model);
}
std::size_t std::hash<tav::AddOnEvent>::operator()(const tav::AddOnEvent& v) const noexcept {
  return hashValues(v.uid, v.source);
}
std::size_t std::hash<tav::StreamFailedEvent>::operator()(const tav::StreamFailedEvent& v) const noexcept {
  return hashValues(v.service, v.destinationCount, v.enhanced, v.configID, v.tracks, v.secondsLive, v.reason,
                    v.fellBackToClassicRTMP);
}
