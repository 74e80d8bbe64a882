#include "tav/scene/scene_element_type.hpp"

#include <gtest/gtest.h>

#include "tav/scene/text_variable_resolver.hpp"

namespace tav {
namespace {

const SceneColor kRed(1, 0, 0, 1);
const SceneColor kBlue(0, 0, 1, 1);
const SceneColor kGreen(0, 1, 0, 1);

SceneGradient gradientOf(std::vector<SceneGradient::Stop> stops) {
  SceneGradient gradient;
  gradient.stops = std::move(stops);
  gradient.angle = 90;
  return gradient;
}

/// Installs a resolver for one test and restores the default afterwards.
class ScopedResolver {
 public:
  explicit ScopedResolver(TextVariableResolver resolver) { setTextVariableResolver(std::move(resolver)); }
  ~ScopedResolver() { setTextVariableResolver({}); }
};

TEST(SceneElementType, MergeOfAnotherKindChangesNothing) {
  SceneElementTextSettings text;
  text.text = "Hello";
  SceneElementType stored(text);
  SceneElementImageSettings image;
  image.fileName = "a.png";
  stored.mergePayload(SceneElementType(image));
  EXPECT_EQ(stored, SceneElementType(text));
  stored.mergePayload(SceneElementType::unknown());
  EXPECT_EQ(stored, SceneElementType(text));

  SceneElementType unknown;
  unknown.mergePayload(SceneElementType::unknown());
  EXPECT_TRUE(unknown.isUnknown());
}

TEST(SceneElementType, TextColourWithoutGradientClearsTheGradient) {
  SceneElementTextSettings stored;
  stored.textColor = kRed;
  stored.textGradient = gradientOf({{0, kRed}, {1, kBlue}});
  stored.text = "Hi";
  SceneElementType type(stored);

  SceneElementTextSettings incoming;
  incoming.textColor = kGreen;
  type.mergePayload(SceneElementType(incoming));
  const auto* merged = type.textSettings();
  EXPECT_EQ(std::tie(merged->textColor, merged->textGradient, merged->text), std::make_tuple(kGreen, std::nullopt, "Hi"));
}

TEST(SceneElementType, TextGradientWithoutColourTakesItsFirstStopOrKeepsTheColour) {
  SceneElementTextSettings stored;
  stored.textColor = kRed;
  SceneElementType type(stored);

  SceneElementTextSettings empty;
  empty.textGradient = gradientOf({});
  type.mergePayload(SceneElementType(empty));
  EXPECT_EQ(type.textSettings()->textColor, kRed);
  EXPECT_EQ(type.textSettings()->textGradient, gradientOf({}));

  // The first stop by location, not by position in the list.
  SceneElementTextSettings stops;
  stops.textGradient = gradientOf({{0.8, kGreen}, {0.2, kBlue}});
  type.mergePayload(SceneElementType(stops));
  EXPECT_EQ(type.textSettings()->textColor, kBlue);
  EXPECT_EQ(type.textSettings()->textGradient, gradientOf({{0.8, kGreen}, {0.2, kBlue}}));

  // Neither: both stay.
  SceneElementTextSettings size;
  size.fontSize = 0.5;
  type.mergePayload(SceneElementType(size));
  EXPECT_EQ(type.textSettings()->textColor, kBlue);
  EXPECT_TRUE(type.textSettings()->textGradient.has_value());
  EXPECT_EQ(type.textSettings()->fontSize, 0.5);
}

TEST(SceneElementType, ShapeKeepsItsShapeAndMergesItsFill) {
  SceneElementShapeSettings stored;
  stored.shape = ShapeElementType::circle;
  stored.backgroundGradient = gradientOf({{0, kRed}, {1, kBlue}});
  SceneElementType type(stored);
  SceneElementShapeSettings incoming;
  incoming.shape = ShapeElementType::rectangle;
  incoming.backgroundColor = kGreen;
  type.mergePayload(SceneElementType(incoming));
  SceneElementShapeSettings expected;
  expected.shape = ShapeElementType::circle;
  expected.backgroundColor = kGreen;
  EXPECT_EQ(*type.shapeSettings(), expected);
}

TEST(SceneElementType, ImageClearVariableWinsAndIsNotKept) {
  SceneElementImageSettings stored;
  stored.variable = "logo";
  stored.stockImage = "sunrise";
  SceneElementType type(stored);

  SceneElementImageSettings incoming;
  incoming.variable = "other";
  incoming.clearVariable = true;
  incoming.stockImage = "sunset";
  incoming.fileName = "b.png";
  type.mergePayload(SceneElementType(incoming));
  const auto* image = type.imageSettings();
  EXPECT_EQ(std::tie(image->variable, image->clearVariable, image->stockImage, image->fileName),
            std::make_tuple(std::nullopt, false, "sunrise", "b.png"));

  // Through the setter: the flag is set, and the next merge of it unbinds the layer.
  SceneElementType bound(stored);
  bound.setClearVariableSetting();
  EXPECT_EQ(bound.imageSettings()->clearVariable, true);
  SceneElementType copy = bound;
  bound.mergePayload(copy);
  EXPECT_FALSE(bound.imageSettings()->variable.has_value());
  EXPECT_EQ(bound.imageSettings()->clearVariable, false);

  SceneElementType text{SceneElementTextSettings()};
  text.setClearVariableSetting();
  EXPECT_EQ(text, SceneElementType(SceneElementTextSettings()));
}

TEST(SceneElementType, FeedClearDeviceIDRemovesTheDeviceEvenOneJustSent) {
  SceneElementFeedSettings stored;
  stored.deviceID = "cam-1";
  stored.deviceName = "Front camera";
  stored.position = Position::primary;
  SceneElementType type(stored);

  SceneElementFeedSettings incoming;
  incoming.deviceID = "cam-2";
  incoming.clearDeviceID = true;
  incoming.position = Position::secondary;
  incoming.scaling = ScaleMode::aspectFit;
  type.mergePayload(SceneElementType(incoming));
  const auto* feed = type.feedSettings();
  EXPECT_EQ(std::tie(feed->deviceID, feed->deviceName, feed->clearDeviceID, feed->position, feed->scaling),
            std::make_tuple(std::nullopt, std::nullopt, false, Position::primary, ScaleMode::aspectFit));

  // Without the command a stored flag stays as it is.
  SceneElementFeedSettings flagged;
  flagged.clearDeviceID = true;
  SceneElementType flaggedType(flagged);
  SceneElementFeedSettings rename;
  rename.deviceName = "Desk camera";
  flaggedType.mergePayload(SceneElementType(rename));
  EXPECT_EQ(flaggedType.feedSettings()->clearDeviceID, true);
  EXPECT_EQ(flaggedType.feedSettings()->deviceName, "Desk camera");
}

TEST(SceneElementType, CaptureAlwaysPointsAtOneTarget) {
  SceneElementCaptureSettings window;
  window.windowID = 42;
  window.bundleIdentifier = "com.example.editor";
  window.name = "Notes";
  SceneElementType type(window);

  SceneElementCaptureSettings display;
  display.displayID = 1;
  display.displayUUID = "D-1";
  type.mergePayload(SceneElementType(display));
  SceneElementCaptureSettings expected;
  expected.displayID = 1;
  expected.displayUUID = "D-1";  // and the name follows the update, absent or not
  EXPECT_EQ(*type.captureSettings(), expected);

  SceneElementCaptureSettings app;
  app.displayID = 1;
  app.bundleIdentifier = "com.example.player";
  app.name = "Player";
  type.mergePayload(SceneElementType(app));
  const auto* capture = type.captureSettings();
  EXPECT_EQ(std::tie(capture->displayID, capture->bundleIdentifier, capture->windowID),
            std::make_tuple(1u, "com.example.player", std::nullopt));

  SceneElementCaptureSettings toWindow;
  toWindow.windowID = 7;
  type.mergePayload(SceneElementType(toWindow));
  capture = type.captureSettings();
  EXPECT_EQ(std::tie(capture->windowID, capture->bundleIdentifier, capture->displayID),
            std::make_tuple(7u, std::nullopt, std::nullopt));

  // The same window again: the target stays, only the name changes.
  SceneElementCaptureSettings rename;
  rename.windowID = 7;
  rename.bundleIdentifier = "com.example.ignored";
  rename.name = "Renamed";
  type.mergePayload(SceneElementType(rename));
  capture = type.captureSettings();
  EXPECT_EQ(std::tie(capture->windowID, capture->bundleIdentifier, capture->name),
            std::make_tuple(7u, std::nullopt, "Renamed"));
}

TEST(SceneElementType, FieldsThatUpdatesNeverChange) {
  SceneElementWebSettings web;
  web.audioRemoved = true;
  SceneElementType webType(web);
  SceneElementWebSettings webUpdate;
  webUpdate.url = Url::parse("https://example.com");
  webUpdate.pageSize = PageSize::matchProfile();
  webType.mergePayload(SceneElementType(webUpdate));
  const auto* webMerged = webType.webSettings();
  EXPECT_EQ(std::tie(webMerged->audioRemoved, webMerged->url, webMerged->pageSize),
            std::make_tuple(true, Url::parse("https://example.com"), PageSize::matchProfile()));

  SceneElementVideoSettings video;
  video.fileName = "a.mov";
  video.originalWidth = 1920;
  SceneElementType videoType(video);
  SceneElementVideoSettings videoUpdate;
  videoUpdate.fileName = "b.mov";
  videoUpdate.originalWidth = 640;
  videoUpdate.looping = Looping::bounce;
  videoType.mergePayload(SceneElementType(videoUpdate));
  const auto* videoMerged = videoType.videoSettings();
  EXPECT_EQ(std::tie(videoMerged->fileName, videoMerged->originalWidth, videoMerged->looping),
            std::make_tuple("a.mov", 1920.0, Looping::bounce));
}

TEST(SceneElementType, FrameSettingsAreReplacedWhole) {
  SceneFrameSettings stored;
  stored.direction = SceneFlexDirection::column;
  stored.backgroundColor = kRed;
  SceneElementType type(stored);
  SceneFrameSettings incoming;
  incoming.justify = SceneFlexJustify::spaceBetween;
  type.mergePayload(SceneElementType(incoming));
  EXPECT_EQ(*type.frameSettings(), incoming);
}

TEST(SceneElementType, UpdateSettingsUsesOnlyTheArgumentOfItsKind) {
  SceneElementChatMessageSettings chat;
  chat.scale = 2;
  SceneElementType type(chat);
  SceneElementTypeUpdate update;
  SceneElementTextSettings text;
  text.text = "ignored";
  update.textSettings = text;
  type.updateSettings(update);
  EXPECT_EQ(type, SceneElementType(chat));

  SceneElementChatMessageSettings chatUpdate;
  chatUpdate.theme = ChatLayerTheme::arcade;
  update.chatMessageSettings = chatUpdate;
  type.updateSettings(update);
  EXPECT_EQ(type.chatMessageSettings()->theme, ChatLayerTheme::arcade);
  EXPECT_EQ(type.chatMessageSettings()->scale, 2);

  SceneElementType unknown;
  update.frameSettings = SceneFrameSettings();
  unknown.updateSettings(update);
  EXPECT_TRUE(unknown.isUnknown());
}

TEST(SceneElementType, KindRules) {
  SceneElementType feed{SceneElementFeedSettings()};
  SceneElementType text{SceneElementTextSettings()};
  SceneElementType chat{SceneElementChatMessageSettings()};
  EXPECT_EQ(std::pair(feed.shouldShowSelector(), text.shouldShowSelector()), std::pair(true, false));
  EXPECT_EQ(std::tuple(feed.defaultMaskComponent(), text.defaultMaskComponent()),
            std::tuple(SceneMask::Component::luminance, std::nullopt));
  EXPECT_EQ(std::pair(chat.isRetired(), feed.isRetired()), std::pair(true, false));
  EXPECT_FALSE(text.text().has_value());
  SceneElementTextSettings hello;
  hello.text = "Hello";
  EXPECT_EQ(SceneElementType(hello).text(), "Hello");
}

TEST(SceneElementType, TitlesPreferTheLayersOwnName) {
  SceneElementVideoSettings video;
  EXPECT_EQ(SceneElementType(video).title(), "Video file");
  video.fileName = "";
  EXPECT_EQ(SceneElementType(video).title(), "Video file");
  video.fileName = "holiday.final.v2.mov";
  EXPECT_EQ(SceneElementType(video).title(), "holiday.final.v2");
  video.fileName = ".mov";
  EXPECT_EQ(SceneElementType(video).title(), ".mov");

  SceneElementImageSettings image;
  image.fileName = "";
  EXPECT_EQ(SceneElementType(image).title(), "Image");
  image.fileName = "logo.png";
  EXPECT_EQ(SceneElementType(image).title(), "logo.png");

  SceneElementFeedSettings feed;
  EXPECT_EQ(SceneElementType(feed).title(), "Video source");
  feed.position = Position::primary;
  EXPECT_EQ(SceneElementType(feed).title(), "Primary source");
  feed.position = Position::secondary;
  EXPECT_EQ(SceneElementType(feed).title(), "Secondary source");
  feed.position = Position::audio;
  EXPECT_EQ(SceneElementType(feed).title(), "Video source");
  feed.deviceName = "Desk camera";
  EXPECT_EQ(SceneElementType(feed).title(), "Desk camera");

  SceneElementCaptureSettings capture;
  EXPECT_EQ(SceneElementType(capture).title(), "Screen Capture");
  capture.windowID = 3;
  EXPECT_EQ(SceneElementType(capture).title(), "Window");
  capture.displayID = 1;
  EXPECT_EQ(SceneElementType(capture).title(), "Display");
  capture.bundleIdentifier = "com.example.player";
  EXPECT_EQ(SceneElementType(capture).title(), "Application");
  capture.name = "Player";
  EXPECT_EQ(SceneElementType(capture).title(), "Player");

  SceneElementWebSettings web;
  EXPECT_EQ(SceneElementType(web).title(), "Web");
  web.url = Url::parse("https://www.example.com/live");
  EXPECT_EQ(SceneElementType(web).title(), "example.com");

  EXPECT_EQ(SceneElementType(SceneElementTextSettings()).title(), "Text");
  EXPECT_EQ(SceneElementType(SceneElementShapeSettings()).title(), "Shape");
  EXPECT_EQ(SceneElementType(SceneElementChatMessageSettings()).title(), "Chat message");
  EXPECT_EQ(SceneElementType(SceneFrameSettings()).title(), "Stack");
  EXPECT_EQ(SceneElementType().title(), "Unknown");
}

TEST(SceneElementType, TextTitleResolvesVariableTokens) {
  SceneElementTextSettings text;
  text.text = "Now: {{song}}";
  EXPECT_EQ(SceneElementType(text).title(), "Now: {{song}}");
  ScopedResolver resolver([](std::string_view raw) {
    std::string out(raw);
    auto at = out.find("{{song}}");
    if (at != std::string::npos) out.replace(at, 8, "Blue Monday");
    return out;
  });
  EXPECT_EQ(SceneElementType(text).title(), "Now: Blue Monday");
  text.text = "";
  EXPECT_EQ(SceneElementType(text).title(), "");
}

TEST(SceneElementType, ImageNames) {
  SceneFrameSettings column;
  column.direction = SceneFlexDirection::column;
  SceneFrameSettings row;
  row.direction = SceneFlexDirection::row;
  EXPECT_EQ(SceneElementType(column).imageName(), "rectangle.split.1x2");
  EXPECT_EQ(SceneElementType(row).imageName(), "rectangle.split.2x1");
  EXPECT_EQ(SceneElementType(SceneElementCaptureSettings()).imageName(), "macwindow");
  EXPECT_EQ(SceneElementType(SceneElementChatMessageSettings()).imageName(), "bubble.left.and.bubble.right");
  EXPECT_EQ(SceneElementType().imageName(), "questionmark.square");
}

TEST(SceneElementType, JsonWrapsThePayloadUnderItsKind) {
  SceneElementTextSettings text;
  text.text = "Hi";
  EXPECT_EQ(encodeJson(SceneElementType(text)), R"({"text":{"_0":{"text":"Hi"}}})");
  EXPECT_EQ(encodeJson(SceneElementType(SceneElementChatMessageSettings())), R"({"chatMessage":{"_0":{}}})");
  EXPECT_EQ(encodeJson(SceneElementType()), R"({"unknown":{}})");

  EXPECT_EQ(decodeJson<SceneElementType>(R"({"text":{"_0":{"text":"Hi"}}})"), SceneElementType(text));
  EXPECT_TRUE(decodeJson<SceneElementType>(R"({"unknown":{}})").isUnknown());
  auto frame = decodeJson<SceneElementType>(R"({"frame":{"_0":{"direction":"column","justify":"end","align":"center"}}})");
  ASSERT_TRUE(frame.isFrame());
  EXPECT_EQ(frame.frameSettings()->justify, SceneFlexJustify::end);
}

TEST(SceneElementType, JsonRefusesAnythingButOneKnownKind) {
  for (const char* text : {R"({})", R"({"hologram":{"_0":{}}})", R"({"text":{"_0":{}},"image":{"_0":{}}})"}) {
    try {
      decodeJson<SceneElementType>(text);
      ADD_FAILURE() << text << " must not read";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), "Invalid number of keys found, expected one.") << text;
    }
  }
  try {
    decodeJson<SceneElementType>(R"({"text":{"_0":{"fontSize":"big"}}})");
    ADD_FAILURE() << "a bad payload must not read";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "text._0.fontSize: expected a number");
  }
  EXPECT_THROW(decodeJson<SceneElementType>(R"({"text":{}})"), DecodingError);
  EXPECT_THROW(decodeJson<SceneElementType>(R"("text")"), DecodingError);
}

}  // namespace
}  // namespace tav
