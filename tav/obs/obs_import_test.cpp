#include "tav/obs/obs_import.hpp"

#include <cmath>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "tav/contracts/json_coder.hpp"

namespace tav {
namespace {

// A Linux collection without a profile: global audio, a camera in a bounding box, a hidden text, a
// group of a colour and a browser, a screen without a size, and a missing source.
constexpr const char* kLinuxCollection = R"({"name":"Linux","resolution":{"x":1280,"y":720},
 "DesktopAudioDevice1":{"id":"pulse_output_capture","name":"Desktop Audio","uuid":"da"},
 "scene_order":[{"name":"Main"}],
 "sources":[
  {"id":"scene","name":"Main","uuid":"main","settings":{"items":[
    {"name":"Backdrop","source_uuid":"bg","pos":{"x":0,"y":0}},
    {"name":"Webcam","source_uuid":"cam","pos":{"x":640,"y":360},"bounds_type":2,"bounds":{"x":320,"y":180},"rot":270,"locked":true},
    {"name":"Title","source_uuid":"txt","pos":{"x":100,"y":600},"scale":{"x":1.5,"y":1.5},"visible":false},
    {"name":"Lower third","source_uuid":"grp","pos":{"x":0,"y":620}},
    {"name":"Desktop Audio","source_uuid":"da"},
    {"name":"Screen","source_uuid":"scr","scale":{"x":0.5,"y":0.5}},
    {"name":"Ghost","source_uuid":"nope"},
    {"name":"Logo","source_uuid":"logo","pos":{"x":1180,"y":20},"bounds_type":2,"bounds":{"x":80,"y":80},"align":6}]}},
  {"id":"image_source","name":"Logo","uuid":"logo","settings":{"file":"/home/zoe/logo.png"}},
  {"id":"color_source","name":"Backdrop","uuid":"bg","settings":{"color":4278190335,"width":1280,"height":720}},
  {"id":"v4l2_input","name":"Webcam","uuid":"cam","settings":{"device_id":"/dev/video0"}},
  {"id":"text_ft2_source","name":"Title","uuid":"txt","settings":{"text":"Hallo","color1":4278255360,"font":{"face":"Sans","size":48,"style":"Bold"}}},
  {"id":"xshm_input","name":"Screen","uuid":"scr","settings":{}},
  {"id":"color_source","name":"Bar","uuid":"bar","settings":{"color":4294901760,"width":1280,"height":100}},
  {"id":"linuxbrowser-source","name":"Chat","uuid":"web","settings":{"url":"https://example.com/chat","width":800,"height":120}}],
 "groups":[{"id":"group","name":"Lower third","uuid":"grp","settings":{"items":[
    {"name":"Bar","source_uuid":"bar","pos":{"x":0,"y":0}},
    {"name":"Chat","source_uuid":"web","pos":{"x":0,"y":40},"bounds_type":1,"bounds":{"x":400,"y":60}}]}}]})";

/// The document as normalize and repair write it must be the document as imported.
void expectStableThroughRepair(const Scene& scene) {
  const std::string written = encodeJson(scene);
  Scene decoded = decodeJson<Scene>(written);
  EXPECT_EQ(encodeJson(decoded), written);
  decoded.repairAllFormats();
  EXPECT_EQ(encodeJson(decoded), written);
}

TEST(OBSImport, LinuxSceneBecomesLayersAtTheirPlacements) {
  const auto collection = OBSCollection::decode(kLinuxCollection);
  const auto index = collection.sourceIndex();
  const OBSImportOptions options{collection.canvasSize(), {}, {}};
  const OBSSceneImport imported = importOBSScene(collection, index, "Main", options);
  const Scene& scene = imported.scene;
  EXPECT_EQ(scene.primaryAspect(), OBSConversion::snapAspectRatio(1280, 720));
  EXPECT_EQ(scene._name(), "Main");

  // Front to back, the reverse of OBS's order; audio and the missing source have no layer.
  std::vector<std::string> names;
  for (const SceneElement& e : scene.elements()) names.push_back(e.settings().name.value_or(""));
  EXPECT_EQ(names, (std::vector<std::string>{"Logo", "Screen", "Chat", "Bar", "Title", "Webcam", "Backdrop"}));

  // Each placed layer sits where the conversion functions put its item.
  const std::map<std::string, Size> sourceSizes{{"Backdrop", {1280, 720}}, {"Webcam", {0, 0}}, {"Bar", {1280, 100}},
                                                {"Chat", {0, 0}}, {"Logo", {0, 0}}};
  for (const OBSResolvedItem& item : collection.flattenedItems("Main")) {
    const auto size = sourceSizes.find(*item.item.name);
    if (size == sourceSizes.end()) continue;
    const auto p = *OBSConversion::resolvedPlacement(item.item, size->second, item.groups, 1280, 720);
    const auto it = std::find_if(scene.elements().begin(), scene.elements().end(),
                                 [&](const SceneElement& e) { return e.settings().name == item.item.name; });
    ASSERT_NE(it, scene.elements().end());
    EXPECT_EQ(it->settings().rect(), Rect(p.xPosition, p.yPosition, p.width, p.height)) << *item.item.name;
  }
  const SceneElement& webcam = scene.elements()[5];
  EXPECT_EQ(std::tie(webcam.settings().rotation, webcam.settings().isLocked), std::make_tuple(-90, true));  // 270 folded
  ASSERT_NE(webcam.type().feedSettings(), nullptr);
  EXPECT_EQ(webcam.type().feedSettings()->defaultDevice, true);

  const SceneElement& title = scene.elements()[4];
  ASSERT_NE(title.type().textSettings(), nullptr);
  EXPECT_EQ(title.settings().isHidden, true);
  EXPECT_EQ(std::tie(title.type().textSettings()->text, title.type().textSettings()->font), std::make_tuple("Hallo", "Sans"));
  EXPECT_EQ(title.type().textSettings()->fontSize, OBSConversion::fontSize(48 * 1.5 / 720, Size{1280, 720}, 1.0));
  const auto green = OBSConversion::rgba(4278255360u);
  EXPECT_EQ(title.type().textSettings()->textColor, SceneColor(green.red, green.green, green.blue, green.alpha));
  // No size: a new text's box, at the item's anchor.
  const auto titleItem = collection.flattenedItems("Main")[2];
  const auto anchor = *OBSConversion::resolvedPlacement(titleItem.item, Size{0, 0}, titleItem.groups, 1280, 720);
  const auto defaults = *SceneElementSettings::defaultText().rect();
  EXPECT_EQ(title.settings().rect(), Rect(anchor.xPosition, anchor.yPosition, defaults.size.width, defaults.size.height));

  const auto red = OBSConversion::rgba(4278190335u);
  ASSERT_NE(scene.elements()[6].type().shapeSettings(), nullptr);
  EXPECT_EQ(scene.elements()[6].type().shapeSettings()->backgroundColor, SceneColor(red.red, red.green, red.blue, red.alpha));
  const SceneElement& chat = scene.elements()[2];
  ASSERT_NE(chat.type().webSettings(), nullptr);
  EXPECT_EQ(chat.type().webSettings()->url->absoluteString(), "https://example.com/chat");
  EXPECT_EQ(chat.type().webSettings()->pageSize, PageSize::preset(800, 120));
  EXPECT_NE(scene.elements()[1].type().captureSettings(), nullptr);
  const SceneElement& logo = scene.elements()[0];
  ASSERT_NE(logo.type().imageSettings(), nullptr);
  EXPECT_EQ(std::tie(logo.type().imageSettings()->imageScaling, logo.type().imageSettings()->fileName),
            std::make_tuple(OBSConversion::imageScaleMode(OBSConversion::BoundsType::scaleInner), "/home/zoe/logo.png"));

  // The group is a folder of its two members.
  const auto& notes = imported.notes;
  ASSERT_EQ(notes.size(), 10u);  // 7 items at the top, the group, its 2 members
  std::map<std::string, OBSImportOutcome> outcomes;
  for (const auto& note : notes) outcomes[note.item.value_or("")] = note.outcome;
  EXPECT_EQ(outcomes, (std::map<std::string, OBSImportOutcome>{
                          {"Backdrop", OBSImportOutcome::imported},     {"Webcam", OBSImportOutcome::approximated},
                          {"Title", OBSImportOutcome::approximated},    {"Lower third", OBSImportOutcome::imported},
                          {"Bar", OBSImportOutcome::imported},          {"Chat", OBSImportOutcome::imported},
                          {"Desktop Audio", OBSImportOutcome::leftOut}, {"Screen", OBSImportOutcome::approximated},
                          {"Ghost", OBSImportOutcome::leftOut},         {"Logo", OBSImportOutcome::approximated}}));
  const auto group = std::find_if(notes.begin(), notes.end(), [](const auto& n) { return n.item == "Lower third"; });
  ASSERT_TRUE(group->layerID);
  ASSERT_TRUE(scene.groups().contains(*group->layerID));
  EXPECT_EQ(scene.groups().at(*group->layerID).name, "Lower third");
  for (const std::size_t member : {2u, 3u}) EXPECT_EQ(scene.elements()[member].groupMembership()->groupID, *group->layerID);
  for (const auto& note : notes) EXPECT_EQ(note.reasons.empty(), note.outcome == OBSImportOutcome::imported);

  expectStableThroughRepair(scene);
}

TEST(OBSImport, BadInputGivesAReportPerItemAndAValidDocument) {
  const auto scene = [](const std::string& items, const std::string& more = "") {
    return R"({"sources":[{"id":"scene","name":"S","settings":{"items":[)" + items + "]}}" + more + "]" +
           R"(,"groups":[{"id":"group","name":"G","uuid":"g","settings":{"items":[{"name":"G"},{"name":"C"}]}}]})";
  };
  const std::string colour = R"(,{"id":"color_source","name":"C","settings":{"width":100,"height":50}})";
  struct Case {
    const char* name;
    std::string json;
    std::size_t layers;
    std::size_t leftOut;
  };
  const Case cases[] = {
      {"a group that contains itself", scene(R"({"name":"G"})", colour), 1, 1},
      {"a scene inside itself", scene(R"({"name":"S"},{"name":"C"})", colour), 1, 1},
      {"a huge scale", scene(R"({"name":"C","scale":{"x":1e308,"y":-1e308}})", colour), 1, 0},
      {"a huge rotation", scene(R"({"name":"C","rot":-1e300})", colour), 1, 0},
      {"absurd sizes", scene(R"({"name":"C"},{"name":"W"})",
                             R"(,{"id":"color_source","name":"C","settings":{"width":1e300,"height":1e-300}})"
                             R"(,{"id":"browser_source","name":"W","settings":{"url":"x","width":1e12,"height":-5}})"),
       1, 1},
      {"missing sources", scene(R"({"name":"nope"},{"source_uuid":"gone"},{})", colour), 0, 3},
      {"duplicate names", scene(R"({"name":"C"},{"name":"C"})", colour + colour), 2, 0},
      {"unknown kinds", scene(R"({"name":"C"})", R"(,{"id":"obs_shader_plugin","name":"C"})"), 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto collection = OBSCollection::decode(c.json);
    const OBSSceneImport imported = importOBSScene(collection, collection.sourceIndex(), "S", OBSImportOptions{});
    EXPECT_EQ(imported.scene.elements().size(), c.layers);
    std::size_t leftOut = 0;
    for (const auto& note : imported.notes) {
      leftOut += note.outcome == OBSImportOutcome::leftOut ? 1 : 0;
      EXPECT_EQ(note.reasons.empty(), note.outcome == OBSImportOutcome::imported);
    }
    EXPECT_EQ(leftOut, c.leftOut);
    for (const SceneElement& e : imported.scene.elements()) {
      const auto rect = e.settings().rect();
      ASSERT_TRUE(rect);
      EXPECT_TRUE(std::isfinite(rect->origin.x) && std::isfinite(rect->origin.y) && std::isfinite(rect->size.width) && std::isfinite(rect->size.height)) << encodeJson(e);
    }
    expectStableThroughRepair(imported.scene);
  }
}

}  // namespace
}  // namespace tav
