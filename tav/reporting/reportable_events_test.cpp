#include "tav/reporting/reportable_events.hpp"

#include <unordered_set>

#include <gtest/gtest.h>

#include "tav/contracts/requestor.hpp"

namespace tav {
namespace {

/// As the service's requestor writes a payload: snake-case keys.
template <class T>
std::string onTheWire(const T& value) {
  JSONEncoder encoder;
  encoder.keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
  return encoder.encode(value);
}

const Url kURL = *Url::parse("https://example.org/panel");

TEST(ReportableEvents, PayloadsGoOutWithTheirKeysAndNothingForAbsentOptionals) {
  using LinkType = LinkClickedEvent::LinkClickedType;
  StreamFailedEvent bare{"rtmp", 2, true, std::nullopt, {}, std::nullopt, std::nullopt, false};
  StreamFailedEvent full{"rtmp", 1, false, "cfg-9", {"video", "audio"}, 12.5, "timeout", true};
  const std::pair<std::string, std::string> cases[] = {
      {onTheWire(NewSceneEvent{NewSceneEvent::NewSceneEventType::file}), R"({"from":"import"})"},
      {onTheWire(NewSceneEvent{NewSceneEvent::NewSceneEventType::new_}), R"({"from":"new"})"},
      {onTheWire(ScreenViewedEvent{ReportableScreenType::main, std::nullopt, std::nullopt}), R"({"uid":"main"})"},
      {onTheWire(ScreenViewedEvent{ReportableScreenType::gettingStarted, "p2", ReportableSource::resolutionSelect}),
       R"({"uid":"getting_started","page_uid":"p2","source":"resolution_select"})"},
      {onTheWire(LinkClickedEvent{"docs", LinkType::download, kURL}),
       R"({"uid":"docs","type":{"download":{}},"url":"https://example.org/panel"})"},
      {onTheWire(bare), R"({"service":"rtmp","destination_count":2,"enhanced":true,"tracks":[],"fell_back_to_classic_rtmp":false})"},
      {onTheWire(full), R"({"service":"rtmp","destination_count":1,"enhanced":false,"config_id":"cfg-9","tracks":["video","audio"],"seconds_live":12.5,"reason":"timeout","fell_back_to_classic_rtmp":true})"},
      {onTheWire(ExternalControlActionEvent{ExternalControlInvoker::mcp, "record", 3, std::nullopt}),
       R"({"invoker":"mcp","action":"record","count":3})"},
      {onTheWire(StreamDeckEvent{"XL", "6.1", 2}), R"({"model":"XL","client_version":"6.1","protocol_version":2})"},
      {onTheWire(StreamDeckEvent{}), R"({})"},
      {onTheWire(ButtonClickedEvent{ReportableButtonType{"start_recording"}, ReportableSource::addons}),
       R"({"uid":"start_recording","source":"addons"})"},
      {onTheWire(AddOnEvent{"virtual-camera", std::nullopt}), R"({"uid":"virtual-camera"})"},
      {encodeJson(StreamDeckEvent{"XL", "6.1", 2}), R"({"model":"XL","clientVersion":"6.1","protocolVersion":2})"},
  };
  for (const auto& [written, expected] : cases) EXPECT_EQ(written, expected);
}

TEST(ReportableEvents, ReadBackEqualAndHashAlike) {
  StreamFailedEvent event{"srt", 3, true, "c", {"v"}, 1.5, std::nullopt, false};
  EXPECT_EQ(decodeJson<StreamFailedEvent>(encodeJson(event)), event);
  EXPECT_EQ(std::hash<StreamFailedEvent>()(decodeJson<StreamFailedEvent>(encodeJson(event))),
            std::hash<StreamFailedEvent>()(event));
  std::unordered_set<ScreenViewedEvent> screens{{ReportableScreenType::main, std::nullopt, std::nullopt},
                                                {ReportableScreenType::main, "x", std::nullopt}};
  EXPECT_EQ(screens.size(), 2u);
  EXPECT_EQ(decodeJson<LinkClickedEvent>(R"({"uid":"u","type":{"dash":{}},"url":"https://e.org/"})").type,
            LinkClickedEvent::LinkClickedType::dash);
}

TEST(ReportableEvents, LinkTypeWithOtherThanOneKeyIsRefused) {
  for (const char* json : {R"({})", R"({"download":{},"dash":{}})"}) {
    try {
      decodeJson<LinkClickedEvent::LinkClickedType>(json);
      FAIL() << json;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), "Invalid number of keys found, expected one.");
    }
  }
  EXPECT_THROW(decodeJson<LinkClickedEvent::LinkClickedType>(R"({"upload":{}})"), DecodingError);
}

}  // namespace
}  // namespace tav
