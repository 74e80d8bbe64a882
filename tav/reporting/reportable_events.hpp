// The payloads of the events the host reports, and the vocabularies they use. Plain values: equal and
// hashed by all fields, coded to JSON by key in the order declared, absent optionals left out.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/url.hpp"

namespace tav {

enum class ReportableScreenType {
  onboarding,
  gettingStarted,
  settings,
  sceneVariables,
  filterGallery,
  backgroundGallery,
  sceneGallery,
  recordingLocations,
  addStreamingDestination,
  streamingDestinations,
  main,
  flyout,
};

/// Where a screen or an action was reached from.
enum class ReportableSource { resolutionSelect, addons, onboarding };

enum class ExternalControlInvoker { streamDeck, cli, mcp };

/// A button whose clicks are reported. The rows are the host's: it names each as a constant,
///   inline const ReportableButtonType startRecording{"start_recording"};
/// and the library writes the raw value as given. Reading accepts any non-empty text.
struct ReportableButtonType {
  std::string rawValue;
  friend bool operator==(const ReportableButtonType&, const ReportableButtonType&) = default;
};

struct ScreenViewedEvent {
  ReportableScreenType uid;
  std::optional<std::string> pageUID;  // written under "page_uid"
  std::optional<ReportableSource> source;
  friend bool operator==(const ScreenViewedEvent&, const ScreenViewedEvent&) = default;
};

struct ButtonClickedEvent {
  ReportableButtonType uid;
  std::optional<ReportableSource> source;
  friend bool operator==(const ButtonClickedEvent&, const ButtonClickedEvent&) = default;
};

struct StreamPanelEvent {
  Url url;
  friend bool operator==(const StreamPanelEvent&, const StreamPanelEvent&) = default;
};

struct VideoPlayedEvent {
  std::string uid;
  friend bool operator==(const VideoPlayedEvent&, const VideoPlayedEvent&) = default;
};

struct NewSceneEvent {
  enum class NewSceneEventType { new_, web, file };
  NewSceneEventType from;
  friend bool operator==(const NewSceneEvent&, const NewSceneEvent&) = default;
};

struct StreamingServiceEvent {
  std::string type;
  friend bool operator==(const StreamingServiceEvent&, const StreamingServiceEvent&) = default;
};

struct LinkClickedEvent {
  /// Written as an object with the case name as its one key and an empty object as its value:
  /// {"download":{}}.
  enum class LinkClickedType { download, dash, content };
  std::string uid;
  LinkClickedType type;
  Url url;
  friend bool operator==(const LinkClickedEvent&, const LinkClickedEvent&) = default;
};

struct StreamDeckEvent {
  std::optional<std::string> model;
  std::optional<std::string> clientVersion;
  std::optional<int> protocolVersion;
  friend bool operator==(const StreamDeckEvent&, const StreamDeckEvent&) = default;
};

struct ExternalControlActionEvent {
  ExternalControlInvoker invoker;
  std::string action;
  int count = 0;
  std::optional<std::string> model;
  friend bool operator==(const ExternalControlActionEvent&, const ExternalControlActionEvent&) = default;
};

struct AddOnEvent {
  std::string uid;
  std::optional<ReportableSource> source;
  friend bool operator==(const AddOnEvent&, const AddOnEvent&) = default;
};

struct StreamFailedEvent {
  std::string service;
  int destinationCount = 0;
  bool enhanced = false;
  std::optional<std::string> configID;
  std::vector<std::string> tracks;
  std::optional<double> secondsLive;
  std::optional<std::string> reason;
  bool fellBackToClassicRTMP = false;
  friend bool operator==(const StreamFailedEvent&, const StreamFailedEvent&) = default;
};

template <>
struct EnumTraits<ReportableScreenType> {
  using T = ReportableScreenType;
  static constexpr std::array cases{
      EnumCase<T>{T::onboarding, "onboarding"},
      EnumCase<T>{T::gettingStarted, "getting_started"},
      EnumCase<T>{T::settings, "settings"},
      EnumCase<T>{T::sceneVariables, "scene_variables"},
      EnumCase<T>{T::filterGallery, "filter_gallery"},
      EnumCase<T>{T::backgroundGallery, "background_gallery"},
      EnumCase<T>{T::sceneGallery, "scene_gallery"},
      EnumCase<T>{T::recordingLocations, "recording_locations"},
      EnumCase<T>{T::addStreamingDestination, "add_streaming_destination"},
      EnumCase<T>{T::streamingDestinations, "streaming_destinations"},
      EnumCase<T>{T::main, "main"},
      EnumCase<T>{T::flyout, "flyout"},
  };
};

template <>
struct EnumTraits<ReportableSource> {
  using T = ReportableSource;
  static constexpr std::array cases{
      EnumCase<T>{T::resolutionSelect, "resolution_select"},
      EnumCase<T>{T::addons, "addons"},
      EnumCase<T>{T::onboarding, "onboarding"},
  };
};

template <>
struct EnumTraits<ExternalControlInvoker> {
  using T = ExternalControlInvoker;
  static constexpr std::array cases{
      EnumCase<T>{T::streamDeck, "stream_deck"},
      EnumCase<T>{T::cli, "cli"},
      EnumCase<T>{T::mcp, "mcp"},
  };
};

template <>
struct EnumTraits<NewSceneEvent::NewSceneEventType> {
  using T = NewSceneEvent::NewSceneEventType;
  static constexpr std::array cases{
      EnumCase<T>{T::new_, "new"},
      EnumCase<T>{T::web, "web"},
      EnumCase<T>{T::file, "import"},
  };
};

// The coders: keys in declared order, nil optionals left out, missing optionals read as nil.
template <>
struct JsonCoder<ReportableButtonType> {
  static ReportableButtonType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const ReportableButtonType& v);
};
template <>
struct JsonCoder<LinkClickedEvent::LinkClickedType> {
  static LinkClickedEvent::LinkClickedType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const LinkClickedEvent::LinkClickedType& v);
};
template <>
struct JsonCoder<ScreenViewedEvent> {
  static ScreenViewedEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const ScreenViewedEvent& v);
};
template <>
struct JsonCoder<ButtonClickedEvent> {
  static ButtonClickedEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const ButtonClickedEvent& v);
};
template <>
struct JsonCoder<StreamPanelEvent> {
  static StreamPanelEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamPanelEvent& v);
};
template <>
struct JsonCoder<VideoPlayedEvent> {
  static VideoPlayedEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const VideoPlayedEvent& v);
};
template <>
struct JsonCoder<NewSceneEvent> {
  static NewSceneEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const NewSceneEvent& v);
};
template <>
struct JsonCoder<StreamingServiceEvent> {
  static StreamingServiceEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamingServiceEvent& v);
};
template <>
struct JsonCoder<LinkClickedEvent> {
  static LinkClickedEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const LinkClickedEvent& v);
};
template <>
struct JsonCoder<StreamDeckEvent> {
  static StreamDeckEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamDeckEvent& v);
};
template <>
struct JsonCoder<ExternalControlActionEvent> {
  static ExternalControlActionEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const ExternalControlActionEvent& v);
};
template <>
struct JsonCoder<AddOnEvent> {
  static AddOnEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const AddOnEvent& v);
};
template <>
struct JsonCoder<StreamFailedEvent> {
  static StreamFailedEvent decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const StreamFailedEvent& v);
};

}  // namespace tav

// Hashes over all fields, agreeing with ==.
template <>
struct std::hash<tav::ReportableButtonType> {
  std::size_t operator()(const tav::ReportableButtonType& v) const noexcept;
};
template <>
struct std::hash<tav::ScreenViewedEvent> {
  std::size_t operator()(const tav::ScreenViewedEvent& v) const noexcept;
};
template <>
struct std::hash<tav::ButtonClickedEvent> {
  std::size_t operator()(const tav::ButtonClickedEvent& v) const noexcept;
};
template <>
struct std::hash<tav::StreamPanelEvent> {
  std::size_t operator()(const tav::StreamPanelEvent& v) const noexcept;
};
template <>
struct std::hash<tav::VideoPlayedEvent> {
  std::size_t operator()(const tav::VideoPlayedEvent& v) const noexcept;
};
template <>
struct std::hash<tav::NewSceneEvent> {
  std::size_t operator()(const tav::NewSceneEvent& v) const noexcept;
};
template <>
struct std::hash<tav::StreamingServiceEvent> {
  std::size_t operator()(const tav::StreamingServiceEvent& v) const noexcept;
};
template <>
struct std::hash<tav::LinkClickedEvent> {
  std::size_t operator()(const tav::LinkClickedEvent& v) const noexcept;
};
template <>
struct std::hash<tav::StreamDeckEvent> {
  std::size_t operator()(const tav::StreamDeckEvent& v) const noexcept;
};
template <>
struct std::hash<tav::ExternalControlActionEvent> {
  std::size_t operator()(const tav::ExternalControlActionEvent& v) const noexcept;
};
template <>
struct std::hash<tav::AddOnEvent> {
  std::size_t operator()(const tav::AddOnEvent& v) const noexcept;
};
template <>
struct std::hash<tav::StreamFailedEvent> {
  std::size_t operator()(const tav::StreamFailedEvent& v) const noexcept;
};
