#include "tav/history/stream_history_entry.hpp"

#include <algorithm>

#include "tav/scene/hash_combine.hpp"

namespace tav {

using Entry = StreamHistoryEntry;

bool isKeyBased(Entry::Platform platform) {
  return platform == Entry::Platform::instagram || platform == Entry::Platform::custom;
}

bool isOnAir(Entry::ConnectionEvent::Kind kind) {
  return kind == Entry::ConnectionEvent::Kind::connected || kind == Entry::ConnectionEvent::Kind::recovered;
}

namespace {

/// The last `count` code points of UTF-8 `text` (all of it when shorter).
std::string lastCharacters(std::string_view text, std::size_t count) {
  std::size_t start = text.size();
  std::size_t seen = 0;
  while (start > 0 && seen < count) {
    --start;
    // Continuation bytes (10xxxxxx) belong to the code point that starts before them.
    if ((static_cast<unsigned char>(text[start]) & 0xC0) != 0x80) ++seen;
  }
  return std::string(text.substr(start));
}

bool isEmoteIDCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

}  // namespace

Entry::Endpoint Entry::Endpoint::fromFullStreamKey(std::string_view serverAddress, std::string_view fullStreamKey) {
  Endpoint endpoint;
  endpoint.streamKeyTail = lastCharacters(fullStreamKey, 4);
  endpoint.serverAddress = std::string(serverAddress);
  // A credential or a token in the query must never reach the stored file.
  if (auto url = Url::parse(serverAddress)) {
    if (auto scrubbed = url->removingCredentialsAndQuery(); scrubbed && !scrubbed->empty()) {
      endpoint.serverAddress = std::move(*scrubbed);
    }
  }
  return endpoint;
}

Entry::ViewerSample Entry::ViewerSample::make(Date t, const std::map<Platform, std::int64_t>& counts) {
  ViewerSample sample{t, {}};
  for (const auto& [platform, count] : counts) sample.counts.emplace(rawValue(platform), count);
  return sample;
}

std::optional<std::int64_t> Entry::ViewerSample::operator[](Platform platform) const {
  auto it = counts.find(rawValue(platform));
  if (it == counts.end()) return std::nullopt;
  return it->second;
}

std::optional<Url> Entry::TopEmote::imageURL() const { return imageURL(EmoteHosts{}); }

std::optional<Url> Entry::TopEmote::imageURL(const EmoteHosts& hosts) const {
  if (!id || id->empty()) return std::nullopt;
  if (!std::all_of(id->begin(), id->end(), isEmoteIDCharacter)) return std::nullopt;
  switch (platform) {
    case Platform::twitch: return Url::parse("https://" + hosts.twitch + "/emoticons/v2/" + *id + "/default/dark/2.0");
    case Platform::kick: return Url::parse("https://" + hosts.kick + "/emotes/" + *id + "/fullsize");
    default: return std::nullopt;
  }
}

bool Entry::endedWithEveryDestinationFailed() const {
  if (destinations.empty()) return false;
  return std::all_of(destinations.begin(), destinations.end(), [](const Destination& destination) {
    return !destination.connectionEvents.empty() &&
           destination.connectionEvents.back().kind == ConnectionEvent::Kind::failed;
  });
}

// ---- JSON ----

Entry::Endpoint JsonCoder<Entry::Endpoint>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::Endpoint v;
  v.serverAddress = r.required<std::string>("serverAddress");
  v.streamKeyTail = r.required<std::string>("streamKeyTail");
  return v;
}
void JsonCoder<Entry::Endpoint>::encode(JsonWriter& w, const Entry::Endpoint& v) {
  w.beginObject();
  w.field("serverAddress", v.serverAddress);
  w.field("streamKeyTail", v.streamKeyTail);
  w.endObject();
}

Entry::Output JsonCoder<Entry::Output>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::Output v;
  v.width = r.required<std::int64_t>("width");
  v.height = r.required<std::int64_t>("height");
  v.frameRate = r.required<double>("frameRate");
  v.bitrateKbps = r.optional<std::int64_t>("bitrateKbps");
  return v;
}
void JsonCoder<Entry::Output>::encode(JsonWriter& w, const Entry::Output& v) {
  w.beginObject();
  w.field("width", v.width);
  w.field("height", v.height);
  w.field("frameRate", v.frameRate);
  w.optionalField("bitrateKbps", v.bitrateKbps);
  w.endObject();
}

Entry::BitrateSample JsonCoder<Entry::BitrateSample>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::BitrateSample v;
  v.t = r.required<Date>("t");
  v.kbps = r.required<std::int64_t>("kbps");
  return v;
}
void JsonCoder<Entry::BitrateSample>::encode(JsonWriter& w, const Entry::BitrateSample& v) {
  w.beginObject();
  w.field("t", v.t);
  w.field("kbps", v.kbps);
  w.endObject();
}

Entry::ConnectionEvent JsonCoder<Entry::ConnectionEvent>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::ConnectionEvent v;
  v.t = r.required<Date>("t");
  v.kind = r.required<Entry::ConnectionEvent::Kind>("kind");
  return v;
}
void JsonCoder<Entry::ConnectionEvent>::encode(JsonWriter& w, const Entry::ConnectionEvent& v) {
  w.beginObject();
  w.field("t", v.t);
  w.field("kind", v.kind);
  w.endObject();
}

namespace {

/// One element of "connectionEvents" as a build with more kinds may have written it: "t" and "kind"
/// must be there, but a kind this version does not know leaves `event` absent.
struct LenientConnectionEvent {
  std::optional<Entry::ConnectionEvent> event;

  static LenientConnectionEvent decode(const JsonValue& json, const JsonPath& path) {
    JsonObjectReader r(json, path);
    const Date t = r.required<Date>("t");
    const auto kindText = r.required<std::string>("kind");
    LenientConnectionEvent lenient;
    if (auto kind = enumFromRawValue<Entry::ConnectionEvent::Kind>(kindText)) lenient.event = Entry::ConnectionEvent{t, *kind};
    return lenient;
  }
};

std::vector<Entry::ConnectionEvent> decodeConnectionEvents(const JsonObjectReader& r) {
  std::vector<Entry::ConnectionEvent> events;
  const JsonValue* json = r.find("connectionEvents");
  if (json == nullptr) return events;
  const JsonPath path = r.path().key("connectionEvents");
  if (!json->is_array()) detail::throwExpected(path, "an array");
  const auto& array = json->get_array();
  events.reserve(array.size());
  for (std::size_t i = 0; i < array.size(); ++i) {
    if (auto lenient = LenientConnectionEvent::decode(array[i], path.index(i)); lenient.event) {
      events.push_back(*lenient.event);
    }
  }
  return events;
}

}  // namespace

Entry::Destination JsonCoder<Entry::Destination>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::Destination v;
  v.platform = r.required<Entry::Platform>("platform");
  v.accountID = r.required<std::string>("accountID");
  v.displayName = r.required<std::string>("displayName");
  v.externalURL = r.optional<Url>("externalURL");
  v.peakViewers = r.optional<std::int64_t>("peakViewers");
  v.avgViewers = r.optional<std::int64_t>("avgViewers");
  v.totalViews = r.optional<std::int64_t>("totalViews");
  v.followersAtStart = r.optional<std::int64_t>("followersAtStart");
  v.followersAtEnd = r.optional<std::int64_t>("followersAtEnd");
  v.subsAtStart = r.optional<std::int64_t>("subsAtStart");
  v.subsAtEnd = r.optional<std::int64_t>("subsAtEnd");
  v.uniqueChatters = r.optional<std::int64_t>("uniqueChatters");
  v.endpoint = r.optional<Entry::Endpoint>("endpoint");
  v.bitrateSamples = r.valueOr<std::vector<Entry::BitrateSample>>("bitrateSamples", {});
  v.connectionEvents = decodeConnectionEvents(r);
  return v;
}
void JsonCoder<Entry::Destination>::encode(JsonWriter& w, const Entry::Destination& v) {
  w.beginObject();
  w.field("platform", v.platform);
  w.field("accountID", v.accountID);
  w.field("displayName", v.displayName);
  w.optionalField("externalURL", v.externalURL);
  w.optionalField("peakViewers", v.peakViewers);
  w.optionalField("avgViewers", v.avgViewers);
  w.optionalField("totalViews", v.totalViews);
  w.optionalField("followersAtStart", v.followersAtStart);
  w.optionalField("followersAtEnd", v.followersAtEnd);
  w.optionalField("subsAtStart", v.subsAtStart);
  w.optionalField("subsAtEnd", v.subsAtEnd);
  w.optionalField("uniqueChatters", v.uniqueChatters);
  w.optionalField("endpoint", v.endpoint);
  w.field("bitrateSamples", v.bitrateSamples);
  w.field("connectionEvents", v.connectionEvents);
  w.endObject();
}

Entry::RecordingLink JsonCoder<Entry::RecordingLink>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::RecordingLink v;
  v.path = r.required<std::string>("path");
  v.fileName = r.required<std::string>("fileName");
  v.duration = r.required<double>("duration");
  v.fileSize = r.required<std::int64_t>("fileSize");
  return v;
}
void JsonCoder<Entry::RecordingLink>::encode(JsonWriter& w, const Entry::RecordingLink& v) {
  w.beginObject();
  w.field("path", v.path);
  w.field("fileName", v.fileName);
  w.field("duration", v.duration);
  w.field("fileSize", v.fileSize);
  w.endObject();
}

Entry::ViewerSample JsonCoder<Entry::ViewerSample>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::ViewerSample v;
  v.t = r.required<Date>("t");
  const JsonValue* counts = r.find("counts");
  const JsonPath countsPath = path.key("counts");
  if (counts == nullptr) throw DecodingError(countsPath, "missing required key");
  if (!counts->is_object()) detail::throwExpected(countsPath, "an object");
  for (const auto& member : counts->get_object()) {
    const std::string_view key(member.key().data(), member.key().size());
    v.counts.insert_or_assign(std::string(key), JsonCoder<std::int64_t>::decode(member.value(), countsPath.key(key)));
  }
  return v;
}
void JsonCoder<Entry::ViewerSample>::encode(JsonWriter& w, const Entry::ViewerSample& v) {
  w.beginObject();
  w.field("t", v.t);
  w.key("counts");
  w.beginObject();
  for (const auto& [platform, count] : v.counts) w.field(platform, count);
  w.endObject();
  w.endObject();
}

Entry::ChatRateSample JsonCoder<Entry::ChatRateSample>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::ChatRateSample v;
  v.t = r.required<Date>("t");
  v.messagesPerMin = r.required<std::int64_t>("messagesPerMin");
  return v;
}
void JsonCoder<Entry::ChatRateSample>::encode(JsonWriter& w, const Entry::ChatRateSample& v) {
  w.beginObject();
  w.field("t", v.t);
  w.field("messagesPerMin", v.messagesPerMin);
  w.endObject();
}

Entry::Moment JsonCoder<Entry::Moment>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::Moment v;
  v.t = r.required<Date>("t");
  v.kind = r.required<Entry::Moment::Kind>("kind");
  v.platform = r.optional<Entry::Platform>("platform");
  v.label = r.required<std::string>("label");
  v.value = r.optional<std::string>("value");
  return v;
}
void JsonCoder<Entry::Moment>::encode(JsonWriter& w, const Entry::Moment& v) {
  w.beginObject();
  w.field("t", v.t);
  w.field("kind", v.kind);
  w.optionalField("platform", v.platform);
  w.field("label", v.label);
  w.optionalField("value", v.value);
  w.endObject();
}

Entry::TopChatter JsonCoder<Entry::TopChatter>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::TopChatter v;
  v.name = r.required<std::string>("name");
  v.platform = r.required<Entry::Platform>("platform");
  v.messageCount = r.required<std::int64_t>("messageCount");
  v.role = r.optional<Entry::TopChatter::Role>("role");
  return v;
}
void JsonCoder<Entry::TopChatter>::encode(JsonWriter& w, const Entry::TopChatter& v) {
  w.beginObject();
  w.field("name", v.name);
  w.field("platform", v.platform);
  w.field("messageCount", v.messageCount);
  w.optionalField("role", v.role);
  w.endObject();
}

Entry::TopEmote JsonCoder<Entry::TopEmote>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry::TopEmote v;
  v.name = r.required<std::string>("name");
  v.platform = r.required<Entry::Platform>("platform");
  v.count = r.required<std::int64_t>("count");
  v.id = r.optional<std::string>("id");
  return v;
}
void JsonCoder<Entry::TopEmote>::encode(JsonWriter& w, const Entry::TopEmote& v) {
  w.beginObject();
  w.field("name", v.name);
  w.field("platform", v.platform);
  w.field("count", v.count);
  w.optionalField("id", v.id);
  w.endObject();
}

Entry JsonCoder<Entry>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader r(json, path);
  Entry v;
  v.schemaVersion = r.required<int>("schemaVersion");
  v.id = r.required<Uuid>("id");
  v.dateStarted = r.required<Date>("dateStarted");
  v.dateEnded = r.required<Date>("dateEnded");
  v.title = r.required<std::string>("title");
  v.category = r.optional<std::string>("category");
  v.destinations = r.required<std::vector<Entry::Destination>>("destinations");
  v.viewerSamples = r.required<std::vector<Entry::ViewerSample>>("viewerSamples");
  v.chatRateSamples = r.required<std::vector<Entry::ChatRateSample>>("chatRateSamples");
  v.moments = r.required<std::vector<Entry::Moment>>("moments");
  v.topChatters = r.required<std::vector<Entry::TopChatter>>("topChatters");
  v.topEmotes = r.required<std::vector<Entry::TopEmote>>("topEmotes");
  v.output = r.optional<Entry::Output>("output");
  return v;
}
void JsonCoder<Entry>::encode(JsonWriter& w, const Entry& v) {
  w.beginObject();
  w.field("schemaVersion", v.schemaVersion);
  w.field("id", v.id);
  w.field("dateStarted", v.dateStarted);
  w.field("dateEnded", v.dateEnded);
  w.field("title", v.title);
  w.optionalField("category", v.category);
  w.field("destinations", v.destinations);
  w.field("viewerSamples", v.viewerSamples);
  w.field("chatRateSamples", v.chatRateSamples);
  w.field("moments", v.moments);
  w.field("topChatters", v.topChatters);
  w.field("topEmotes", v.topEmotes);
  w.optionalField("output", v.output);
  w.endObject();
}

}  // namespace tav

// ---- Hashing ----

namespace {
std::optional<std::string> urlText(const std::optional<tav::Url>& url) {
  if (!url) return std::nullopt;
  return url->absoluteString();
}
}  // namespace

using tav::hashValues;
using E = tav::StreamHistoryEntry;

std::size_t std::hash<E::Endpoint>::operator()(const E::Endpoint& v) const noexcept {
  return hashValues(v.serverAddress, v.streamKeyTail);
}
std::size_t std::hash<E::Output>::operator()(const E::Output& v) const noexcept {
  return hashValues(v.width, v.height, v.frameRate, v.bitrateKbps);
}
std::size_t std::hash<E::BitrateSample>::operator()(const E::BitrateSample& v) const noexcept {
  return hashValues(v.t, v.kbps);
}
std::size_t std::hash<E::ConnectionEvent>::operator()(const E::ConnectionEvent& v) const noexcept {
  return hashValues(v.t, v.kind);
}
std::size_t std::hash<E::Destination>::operator()(const E::Destination& v) const noexcept {
  return hashValues(v.platform, v.accountID, v.displayName, urlText(v.externalURL), v.peakViewers, v.avgViewers,
                    v.totalViews, v.followersAtStart, v.followersAtEnd, v.subsAtStart, v.subsAtEnd, v.uniqueChatters,
                    v.endpoint, v.bitrateSamples, v.connectionEvents);
}
std::size_t std::hash<E::RecordingLink>::operator()(const E::RecordingLink& v) const noexcept {
  return hashValues(v.path, v.fileName, v.duration, v.fileSize);
}
std::size_t std::hash<E::ViewerSample>::operator()(const E::ViewerSample& v) const noexcept {
  std::size_t seed = hashValues(v.t, v.counts.size());
  for (const auto& [platform, count] : v.counts) tav::hashCombine(seed, hashValues(platform, count));
  return seed;
}
std::size_t std::hash<E::ChatRateSample>::operator()(const E::ChatRateSample& v) const noexcept {
  return hashValues(v.t, v.messagesPerMin);
}
std::size_t std::hash<E::Moment>::operator()(const E::Moment& v) const noexcept {
  return hashValues(v.t, v.kind, v.platform, v.label, v.value);
}
std::size_t std::hash<E::TopChatter>::operator()(const E::TopChatter& v) const noexcept {
  return hashValues(v.name, v.platform, v.messageCount, v.role);
}
std::size_t std::hash<E::TopEmote>::operator()(const E::TopEmote& v) const noexcept {
  return hashValues(v.name, v.platform, v.count, v.id);
}
std::size_t std::hash<E>::operator()(const E& v) const noexcept {
  return hashValues(v.schemaVersion, v.id, v.dateStarted, v.dateEnded, v.title, v.category, v.destinations,
                    v.viewerSamples, v.chatRateSamples, v.moments, v.topChatters, v.topEmotes, v.output);
}
