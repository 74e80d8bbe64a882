#include <gtest/gtest.h>

#include <set>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/library/scene_variable.hpp"
#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/scene.hpp"

namespace tav {
namespace {

struct Expected {
  double x, y, w, h;
  std::optional<int> cornerRadius;
  bool lockAspectRatio;
};

SceneElementFeedSettings feedOf(std::optional<bool> defaultDevice, std::optional<std::string> deviceID,
                                std::optional<std::string> sourceType = std::nullopt,
                                std::optional<Position> position = std::nullopt) {
  SceneElementFeedSettings feed;
  feed.defaultDevice = defaultDevice;
  feed.deviceID = std::move(deviceID);
  feed.sourceType = std::move(sourceType);
  feed.position = position;
  return feed;
}

void expectSettings(const SceneElementSettings& s, const Expected& e) {
  EXPECT_DOUBLE_EQ(*s.xPosition, e.x);
  EXPECT_DOUBLE_EQ(*s.yPosition, e.y);
  EXPECT_DOUBLE_EQ(*s.width, e.w);
  EXPECT_DOUBLE_EQ(*s.height, e.h);
  EXPECT_EQ(s._cornerRadius, e.cornerRadius);
  EXPECT_EQ(s.lockAspectRatio, e.lockAspectRatio);
  EXPECT_FALSE(s.rotation);
  EXPECT_EQ(s.opacity, 1.0);
  EXPECT_EQ(s.isHidden, false);
  EXPECT_FALSE(s.isLocked || s.borderWidth || s._borderColor || s.name || s.layout || s.mask);
}

TEST(SceneFactories, SettingsDefaultsFollowTheTableForEveryKindAndAspect) {
  const Size canvas{1920, 1080};
  struct Row {
    std::string name;
    SceneElementSettings settings;
    Expected expected;
  };
  std::vector<Row> rows{
      {"text", SceneElementSettings::defaultText(), {0.02, 0.02, 0.25, 0.15, std::nullopt, false}},
      {"chat", SceneElementSettings::defaultChat(), {0.02, 0.05, 0.38, 0.9, std::nullopt, false}},
      {"image without size", SceneElementSettings::defaultImage(std::nullopt, canvas), {0.03, 0.06, 0.25, 0.25, 0, true}},
      // A square on 16:9 keeps its shape: 0.25 * 16 / 9.
      {"square image", SceneElementSettings::defaultImage(Size{500, 500}, canvas), {0.03, 0.06, 0.25, 0.25 * 16 / 9, 0, true}},
      // (1080 / 1920) * (1080 * 0.25) / 1920 on a portrait canvas.
      {"capture", SceneElementSettings::defaultCapture(Size{1920, 1080}, Size{1080, 1920}),
       {0.03, 0.06, 0.25, 0.5625 * 270.0 / 1920, 0, true}},
  };
  struct ShapeRow {
    AspectRatio aspect;
    Size rectangle, circle;
  };
  const std::vector<ShapeRow> shapes{
      {AspectRatio::landscape, {0.21, 0.23}, {0.2, 0.35}},     {AspectRatio::portrait, {0.23, 0.21}, {0.35, 0.2}},
      {AspectRatio::fourByThree, {0.28, 0.21}, {0.2, 0.26}},   {AspectRatio::threeByFour, {0.21, 0.28}, {0.26, 0.2}},
      {AspectRatio::square, {0.21, 0.21}, {0.35, 0.35}},       {AspectRatio::unknown, {0.21, 0.23}, {0.2, 0.35}},
  };
  for (const ShapeRow& s : shapes) {
    const std::string aspect(rawValue(s.aspect));
    EXPECT_EQ(size(ShapeElementType::rectangle, s.aspect), s.rectangle) << aspect;
    EXPECT_EQ(size(ShapeElementType::circle, s.aspect), s.circle) << aspect;
    rows.push_back({"rectangle " + aspect, SceneElementSettings::defaultShape(ShapeElementType::rectangle, s.aspect),
                    {0.03, 0.06, s.rectangle.width, s.rectangle.height, 0, false}});
    rows.push_back({"circle " + aspect, SceneElementSettings::defaultShape(ShapeElementType::circle, s.aspect),
                    {0.02, 0.02, s.circle.width, s.circle.height, 50, true}});
  }
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    expectSettings(row.settings, row.expected);
  }
  EXPECT_EQ(SceneElementSettings::defaultShape(ShapeElementType::circle, AspectRatio::landscape).cornerRadius(), 0.5);
}

TEST(SceneFactories, EachLayerKindStartsWithItsPayloadAndAFreshIdentity) {
  const SceneElement text = SceneElement::fromText("Hello");
  EXPECT_EQ(*text.type().textSettings(), SceneElementTextSettings(SceneTextAlignment::center, "Arial", 0.18, "Regular",
                                                                   "Hello", SceneColor(1, 1, 1, 1), std::nullopt,
                                                                   std::nullopt));  // no font asset either
  EXPECT_EQ(text.settings(), SceneElementSettings::defaultText());

  const SceneElement chat = SceneElement::fromChatTheme(ChatLayerTheme::arcade);
  EXPECT_EQ(*chat.type().chatMessageSettings(),
            (SceneElementChatMessageSettings{ChatLayerTheme::arcade, true, true, std::nullopt, std::nullopt}));
  EXPECT_EQ(chat.settings(), SceneElementSettings::defaultChat());

  const SceneElement circle = SceneElement::fromShape(ShapeElementType::circle, AspectRatio::portrait);
  EXPECT_EQ(*circle.type().shapeSettings(),
            (SceneElementShapeSettings{ShapeElementType::circle, SceneColor(1, 1, 1, 1), std::nullopt}));
  EXPECT_EQ(circle.settings(), SceneElementSettings::defaultShape(ShapeElementType::circle, AspectRatio::portrait));

  const SceneElement web = SceneElement::fromURL(*Url::parse("https://example.com/overlay"));
  EXPECT_EQ(*web.type().webSettings(),
            (SceneElementWebSettings{Url::parse("https://example.com/overlay"), std::nullopt, false}));
  EXPECT_EQ(web.settings().rect(), Rect(0, 0, 1, 1));
  EXPECT_EQ(web.settings().opacity, 1.0);
  EXPECT_EQ(web.settings().lockAspectRatio, false);

  const SceneElement device = SceneElement::fromDevice("cam-1", false, 0.4);
  EXPECT_EQ(*device.type().feedSettings(), feedOf(false, "cam-1"));
  EXPECT_EQ(device.settings().rect(), Rect(0, 0, 0.4, 0.4));
  EXPECT_EQ(device.settings().rotation, 0);
  EXPECT_EQ(device.settings()._cornerRadius, 0);
  EXPECT_EQ(device.settings().lockAspectRatio, true);

  const SceneElement primary = SceneElement::fromPosition(Position::primary, "camera");
  EXPECT_EQ(*primary.type().feedSettings(),
            feedOf(true, std::nullopt, "camera", Position::primary));
  EXPECT_EQ(primary.settings().rect(), Rect(0, 0, 1, 1));
  EXPECT_EQ(SceneElement::fromPosition(Position::secondary, std::nullopt).settings().rect(), Rect(0.05, 0.65, 0.25, 0.25));

  SceneElementSettings frameSettings = SceneElementSettings::defaultText();
  frameSettings.name = "Stack";
  const SceneElement frame = SceneElement::fromFrame(SceneFrameSettings{}, frameSettings);
  EXPECT_TRUE(frame.type().isFrame());
  EXPECT_EQ(frame.settings(), frameSettings);

  const SceneElement capture = SceneElement::fromCaptureType(CaptureType::display(7, "Main"), std::nullopt, Size{1920, 1080});
  EXPECT_EQ(capture.type().captureSettings()->captureType(), CaptureType::display(7, "Main"));
  EXPECT_EQ(capture.settings(), SceneElementSettings::defaultImage(std::nullopt, Size{1920, 1080}));

  std::set<Uuid> ids;
  for (const SceneElement* e : {&text, &chat, &circle, &web, &device, &primary, &frame, &capture}) {
    ids.insert(e->id());
    EXPECT_FALSE(e->groupMembership() || e->frameID() || e->settingsUpdated() || e->stockImageName());
    EXPECT_TRUE(e->additionalProperties().empty() && e->unknownTypeStorage().empty());
  }
  EXPECT_EQ(ids.size(), 8u);
}

TEST(SceneFactories, AnImageLayerStoresItsBytesUnderItsOwnId) {
  const SceneElement image =
      SceneElement::fromImageData("not really a png", Size{400, 300}, true, Size{1920, 1080}, std::string("logo.png"));
  const SceneElementImageSettings& s = *image.type().imageSettings();
  ASSERT_TRUE(s.image);
  EXPECT_EQ(s.image->ownerID, image.id().toString());
  EXPECT_EQ(HostTransferAssetManager::shared().read(*s.image), "not really a png");
  EXPECT_EQ(s, (SceneElementImageSettings{s.image, true, ScaleMode::aspectFill, std::nullopt, 400, 300, std::nullopt,
                                           std::nullopt, std::nullopt, "logo.png"}));
  EXPECT_EQ(image.settings(), SceneElementSettings::defaultImage(Size{400, 300}, Size{1920, 1080}));
}

TEST(SceneFactories, AVideoFileWithoutAVideoTrackIsStillAVideoLayer) {
  const SceneElement video = SceneElement::fromVideoURL(Url::fileUrl("/nonexistent/clip.mov"), Size{1920, 1080});
  const SceneElementVideoSettings& s = *video.type().videoSettings();
  EXPECT_EQ(s.looping, Looping::loop);
  EXPECT_EQ(s.fileName, "clip.mov");
  EXPECT_FALSE(s.originalWidth || s.originalHeight);
  EXPECT_EQ(video.settings().height, 0.25);
}

TEST(SceneFactories, AVariableLayerTakesTheProfilePictureSizeAndDoesNotLockItsShape) {
  const SceneVariable picture("PROFILE_PICTURE_VARIABLE", SceneVariable::VariableType::image(), "Profile picture",
                              std::string("profilePicture"));
  const SceneElement layer = SceneElement::fromVariable(picture, Size{1920, 1080});
  EXPECT_EQ(layer.type().imageSettings()->variable, "profilePicture");
  EXPECT_EQ(layer.type().imageSettings()->originalWidth, 64);
  EXPECT_EQ(layer.type().imageSettings()->originalHeight, 64);
  EXPECT_FALSE(layer.type().imageSettings()->image);
  EXPECT_DOUBLE_EQ(*layer.settings().height, 0.25 * 16 / 9);
  EXPECT_EQ(layer.settings().lockAspectRatio, false);

  const SceneVariable name("FIRST_NAME_VARIABLE", SceneVariable::VariableType::text("Ada"), "First name");
  const SceneElement text = SceneElement::fromVariable(name, Size{1920, 1080});
  EXPECT_FALSE(text.type().imageSettings()->originalWidth);
  EXPECT_EQ(text.settings().height, 0.25);
}

TEST(SceneFactories, TheDefaultSceneIsOneFullCanvasCameraUnderAFixedId) {
  const Scene a = Scene::defaultScene(AspectRatio::portrait);
  const Scene b = Scene::defaultScene(AspectRatio::portrait);
  EXPECT_EQ(a.id(), "DEFAULT_SCENE_portrait");
  EXPECT_EQ(a._name(), "Default");
  EXPECT_FALSE(a.hasLocalisedName());
  EXPECT_EQ(a.version(), 6);
  EXPECT_EQ(a.primaryAspect(), AspectRatio::portrait);
  EXPECT_EQ(a.formats().size(), 1u);
  EXPECT_EQ(a._backgroundColor(), SceneColor::opaqueBlack());
  EXPECT_TRUE(a.shouldAutoUpdateThumbnail());
  EXPECT_TRUE(a.thumbnailActor());
  EXPECT_FALSE(a.isTemplate() || a.templateID() || a.activeAspect() || a.audioConfiguration() || a._thumbnail());
  ASSERT_EQ(a.elements().size(), 1u);
  const SceneElement& feed = a.elements()[0];
  EXPECT_EQ(*feed.type().feedSettings(), feedOf(true, std::nullopt));
  EXPECT_EQ(feed.settings().rect(), Rect(0, 0, 1, 1));
  EXPECT_EQ(feed.settings().rotation, 0);
  EXPECT_EQ(feed.settings()._cornerRadius, 0);
  EXPECT_EQ(feed.settings().lockAspectRatio, true);
  EXPECT_EQ(a.id(), b.id());
  EXPECT_NE(feed.id(), b.elements()[0].id());
}

Scene sceneWithMaskAndTwoFormats() {
  SceneElement masker = SceneElement::fromShape(ShapeElementType::circle, AspectRatio::landscape);
  SceneElement masked = SceneElement::fromText("masked");
  masked.settings().mask = SceneMask{masker.id(), std::nullopt, std::nullopt, std::nullopt};
  Scene scene = Scene::withElements("source-id", std::nullopt, "Show", AspectRatio::landscape,
                                    {masked, masker, SceneElement::fromDevice("cam-a", false, 1.0)});
  scene.ensureFormat(AspectRatio::square, AspectRatio::landscape);
  scene.setActiveAspect(AspectRatio::square);
  return scene;
}

TEST(SceneFactories, ACopyHasNewIdsThroughoutAndKeepsItsMaskLinks) {
  const Scene source = sceneWithMaskAndTwoFormats();
  const Scene copy = source.copy();
  EXPECT_NE(copy.id(), source.id());
  EXPECT_TRUE(Uuid::parse(copy.id()));
  EXPECT_FALSE(copy.activeAspect());
  EXPECT_EQ(copy.supportedAspects(), source.supportedAspects());
  const auto& elements = copy.elements(AspectRatio::landscape);
  ASSERT_EQ(elements.size(), 3u);
  EXPECT_NE(elements[0].id(), source.elements(AspectRatio::landscape)[0].id());
  EXPECT_EQ(elements[0].settings().mask->layerID, elements[1].id());
  EXPECT_EQ(elements[0].settings().rect(), source.elements(AspectRatio::landscape)[0].settings().rect());

  const Scene kept = Scene::copyOf(source, std::string("template-7"), false, std::nullopt);
  EXPECT_EQ(kept.id(), "source-id");
  EXPECT_EQ(kept.templateID(), "template-7");
  for (AspectRatio aspect : {AspectRatio::landscape, AspectRatio::square}) {
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NE(kept.elements(aspect)[i].id(), source.elements(aspect)[i].id());
  }
}

TEST(SceneFactories, AnOverrideGivesItsIdAndItsCameraToTheFirstFeedOfEachFormat) {
  Scene source = sceneWithMaskAndTwoFormats();
  source.setActiveAspect(std::nullopt);
  source.addElement(SceneElement::fromDevice("cam-b", false, 0.3), std::nullopt, true);
  const Scene override = Scene::withElements("override-id", std::nullopt, "Other", AspectRatio::landscape,
                                             {SceneElement::fromText("x"), SceneElement::fromDevice("cam-z", true, 1)});
  const Scene copy = Scene::copyOf(source, std::nullopt, true, override);
  EXPECT_EQ(copy.id(), "override-id");
  const auto& landscape = copy.elements(AspectRatio::landscape);
  EXPECT_EQ(landscape[2].type().feedSettings()->deviceID, "cam-z");
  EXPECT_EQ(landscape[2].type().feedSettings()->defaultDevice, false);
  EXPECT_EQ(landscape[3].type().feedSettings()->deviceID, "cam-b");
  EXPECT_EQ(copy.elements(AspectRatio::square)[2].type().feedSettings()->deviceID, "cam-z");

  // An override whose first feed names no device changes no feed.
  const Scene none = Scene::withElements("o2", std::nullopt, "", AspectRatio::landscape,
                                         {SceneElement::fromDevice(std::nullopt, true, 1)});
  EXPECT_EQ(Scene::copyOf(source, std::nullopt, true, none).elements(AspectRatio::landscape)[2].type().feedSettings()->deviceID,
            "cam-a");
}

}  // namespace
}  // namespace tav
