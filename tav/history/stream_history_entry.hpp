// StreamHistoryEntry: the record of one finished live stream (when it ran, where it went and what
// happened on each destination) and its JSON form, which the host stores and reads back.
//
// Every record of the tree is an immutable plain value: equal only when every field is equal, hashed
// over every field. Keys are written in the order of the fields; an absent optional is left out of the
// JSON and a missing optional key reads as absent; a missing required key, a wrong JSON type or an
// unknown enumeration text fails the whole document with a DecodingError naming its JSON path (the one
// exception: unknown connection-event kinds are skipped). Dates are written in the coder's default
// form, a number of seconds since 2001-01-01 UTC; reader and writer use the same.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/date.hpp"
#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/url.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav {

struct StreamHistoryEntry {
  static constexpr int currentSchemaVersion = 2;

  /// Where a stream went. Unknown texts fail decoding.
  enum class Platform { youtube, twitch, kick, facebook, instagram, custom };

  /// The server of a destination. Never holds a whole stream key: only its last 4 characters.
  struct Endpoint {
    std::string serverAddress;
    std::string streamKeyTail;

    /// `serverAddress` as given, except that an address with a user, password or query loses all
    /// three (scheme, host, port and path stay); `streamKeyTail` the last 4 characters of the key
    /// (all of a shorter key).
    static Endpoint fromFullStreamKey(std::string_view serverAddress, std::string_view fullStreamKey);
    friend bool operator==(const Endpoint&, const Endpoint&) = default;
  };

  /// The encoded video's settings.
  struct Output {
    std::int64_t width = 0;
    std::int64_t height = 0;
    double frameRate = 0;
    std::optional<std::int64_t> bitrateKbps;
    friend bool operator==(const Output&, const Output&) = default;
  };

  struct BitrateSample {
    Date t;
    std::int64_t kbps = 0;
    friend bool operator==(const BitrateSample&, const BitrateSample&) = default;
  };

  struct ConnectionEvent {
    enum class Kind { connected, lost, recovered, failed, stopped, ended };
    Date t;
    Kind kind = Kind::connected;
    friend bool operator==(const ConnectionEvent&, const ConnectionEvent&) = default;
  };

  /// One platform or account streamed to. "bitrateSamples" and "connectionEvents" are always written;
  /// missing, they read as empty, and connection events of a kind this version does not know are
  /// skipped.
  struct Destination {
    Platform platform = Platform::custom;
    std::string accountID;
    std::string displayName;
    std::optional<Url> externalURL;
    std::optional<std::int64_t> peakViewers;
    std::optional<std::int64_t> avgViewers;
    std::optional<std::int64_t> totalViews;
    std::optional<std::int64_t> followersAtStart;
    std::optional<std::int64_t> followersAtEnd;
    std::optional<std::int64_t> subsAtStart;
    std::optional<std::int64_t> subsAtEnd;
    std::optional<std::int64_t> uniqueChatters;
    std::optional<Endpoint> endpoint;
    std::vector<BitrateSample> bitrateSamples;
    std::vector<ConnectionEvent> connectionEvents;
    friend bool operator==(const Destination&, const Destination&) = default;
  };

  /// A saved recording of a stream, for the host's own use; no record here holds one.
  struct RecordingLink {
    std::string path;
    std::string fileName;
    double duration = 0;
    std::int64_t fileSize = 0;
    friend bool operator==(const RecordingLink&, const RecordingLink&) = default;
  };

  /// Viewers per platform at one time. Counts are kept under the platforms' raw texts, so a key this
  /// version does not know is read and written back unchanged.
  struct ViewerSample {
    Date t;
    std::map<std::string, std::int64_t, std::less<>> counts;

    /// A sample from counts per platform.
    static ViewerSample make(Date t, const std::map<Platform, std::int64_t>& counts);
    /// The count of `platform`, absent when the sample has none.
    std::optional<std::int64_t> operator[](Platform platform) const;
    friend bool operator==(const ViewerSample&, const ViewerSample&) = default;
  };

  struct ChatRateSample {
    Date t;
    std::int64_t messagesPerMin = 0;
    friend bool operator==(const ChatRateSample&, const ChatRateSample&) = default;
  };

  struct Moment {
    enum class Kind { start, raid, titleChange, peak, goalHit, end };
    Date t;
    Kind kind = Kind::start;
    std::optional<Platform> platform;
    std::string label;
    std::optional<std::string> value;
    friend bool operator==(const Moment&, const Moment&) = default;
  };

  struct TopChatter {
    enum class Role { broadcaster, mod, vip, sub };
    std::string name;
    Platform platform = Platform::custom;
    std::int64_t messageCount = 0;
    std::optional<Role> role;
    friend bool operator==(const TopChatter&, const TopChatter&) = default;
  };

  /// The hosts that serve emote pictures; only the paths below them are fixed.
  struct EmoteHosts {
    std::string twitch = "static-cdn.jtvnw.net";
    std::string kick = "files.kick.com";
  };

  struct TopEmote {
    std::string name;
    Platform platform = Platform::custom;
    std::int64_t count = 0;
    std::optional<std::string> id;

    /// The emote's picture: https://<twitch host>/emoticons/v2/<id>/default/dark/2.0 or
    /// https://<kick host>/emotes/<id>/fullsize; absent for other platforms and for an id that is
    /// empty or holds anything but ASCII letters, digits, "_" and "-".
    std::optional<Url> imageURL() const;
    /// The same on other hosts.
    std::optional<Url> imageURL(const EmoteHosts& hosts) const;
    friend bool operator==(const TopEmote&, const TopEmote&) = default;
  };

  int schemaVersion = currentSchemaVersion;
  Uuid id;
  Date dateStarted;
  Date dateEnded;
  std::string title;
  std::optional<std::string> category;
  std::vector<Destination> destinations;
  std::vector<ViewerSample> viewerSamples;
  std::vector<ChatRateSample> chatRateSamples;
  std::vector<Moment> moments;
  std::vector<TopChatter> topChatters;
  std::vector<TopEmote> topEmotes;
  std::optional<Output> output;

  /// True when there is a destination and every destination's last stored connection event (the
  /// last element, whatever its time) is `failed`; a destination without events makes it false.
  bool endedWithEveryDestinationFailed() const;

  friend bool operator==(const StreamHistoryEntry&, const StreamHistoryEntry&) = default;
};

/// True for `instagram` and `custom`, whose streams are set up with a stream key.
bool isKeyBased(StreamHistoryEntry::Platform platform);
/// True for `connected` and `recovered`.
bool isOnAir(StreamHistoryEntry::ConnectionEvent::Kind kind);

template <>
struct EnumTraits<StreamHistoryEntry::Platform> {
  using T = StreamHistoryEntry::Platform;
  static constexpr std::array cases{EnumCase<T>{T::youtube, "youtube"},     EnumCase<T>{T::twitch, "twitch"},
                                    EnumCase<T>{T::kick, "kick"},           EnumCase<T>{T::facebook, "facebook"},
                                    EnumCase<T>{T::instagram, "instagram"}, EnumCase<T>{T::custom, "custom"}};
};

template <>
struct EnumTraits<StreamHistoryEntry::ConnectionEvent::Kind> {
  using T = StreamHistoryEntry::ConnectionEvent::Kind;
  static constexpr std::array cases{EnumCase<T>{T::connected, "connected"}, EnumCase<T>{T::lost, "lost"},
                                    EnumCase<T>{T::recovered, "recovered"}, EnumCase<T>{T::failed, "failed"},
                                    EnumCase<T>{T::stopped, "stopped"},     EnumCase<T>{T::ended, "ended"}};
};

template <>
struct EnumTraits<StreamHistoryEntry::Moment::Kind> {
  using T = StreamHistoryEntry::Moment::Kind;
  static constexpr std::array cases{EnumCase<T>{T::start, "start"},     EnumCase<T>{T::raid, "raid"},
                                    EnumCase<T>{T::titleChange, "titlechange"}, EnumCase<T>{T::peak, "peak"},
                                    EnumCase<T>{T::goalHit, "goalhit"}, EnumCase<T>{T::end, "end"}};
};

template <>
struct EnumTraits<StreamHistoryEntry::TopChatter::Role> {
  using T = StreamHistoryEntry::TopChatter::Role;
  static constexpr std::array cases{EnumCase<T>{T::broadcaster, "broadcaster"}, EnumCase<T>{T::mod, "mod"},
                                    EnumCase<T>{T::vip, "vip"}, EnumCase<T>{T::sub, "sub"}};
};

// The JSON coders of the tree, defined beside the records.
template <>
struct JsonCoder<StreamHistoryEntry::Endpoint> {
  static StreamHistoryEntry::Endpoint decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::Endpoint& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::Output> {
  static StreamHistoryEntry::Output decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::Output& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::BitrateSample> {
  static StreamHistoryEntry::BitrateSample decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::BitrateSample& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::ConnectionEvent> {
  static StreamHistoryEntry::ConnectionEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::ConnectionEvent& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::Destination> {
  static StreamHistoryEntry::Destination decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::Destination& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::RecordingLink> {
  static StreamHistoryEntry::RecordingLink decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::RecordingLink& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::ViewerSample> {
  static StreamHistoryEntry::ViewerSample decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::ViewerSample& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::ChatRateSample> {
  static StreamHistoryEntry::ChatRateSample decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::ChatRateSample& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::Moment> {
  static StreamHistoryEntry::Moment decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::Moment& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::TopChatter> {
  static StreamHistoryEntry::TopChatter decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::TopChatter& value);
};
template <>
struct JsonCoder<StreamHistoryEntry::TopEmote> {
  static StreamHistoryEntry::TopEmote decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry::TopEmote& value);
};
template <>
struct JsonCoder<StreamHistoryEntry> {
  static StreamHistoryEntry decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamHistoryEntry& value);
};

}  // namespace tav

// Hashes over every field, agreeing with equality.
template <>
struct std::hash<tav::StreamHistoryEntry::Endpoint> {
  std::size_t operator()(const tav::StreamHistoryEntry::Endpoint& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::Output> {
  std::size_t operator()(const tav::StreamHistoryEntry::Output& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::BitrateSample> {
  std::size_t operator()(const tav::StreamHistoryEntry::BitrateSample& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::ConnectionEvent> {
  std::size_t operator()(const tav::StreamHistoryEntry::ConnectionEvent& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::Destination> {
  std::size_t operator()(const tav::StreamHistoryEntry::Destination& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::RecordingLink> {
  std::size_t operator()(const tav::StreamHistoryEntry::RecordingLink& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::ViewerSample> {
  std::size_t operator()(const tav::StreamHistoryEntry::ViewerSample& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::ChatRateSample> {
  std::size_t operator()(const tav::StreamHistoryEntry::ChatRateSample& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::Moment> {
  std::size_t operator()(const tav::StreamHistoryEntry::Moment& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::TopChatter> {
  std::size_t operator()(const tav::StreamHistoryEntry::TopChatter& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry::TopEmote> {
  std::size_t operator()(const tav::StreamHistoryEntry::TopEmote& value) const noexcept;
};
template <>
struct std::hash<tav::StreamHistoryEntry> {
  std::size_t operator()(const tav::StreamHistoryEntry& value) const noexcept;
};
