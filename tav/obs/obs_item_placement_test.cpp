#include "tav/obs/obs_item_placement.hpp"

#include <string>

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(OBSSourceKindExtension, LinuxAndOtherDesktopIdsClassify) {
  const std::pair<const char*, OBSSourceKind> cases[] = {
      {"v4l2_input", OBSSourceKind::camera},
      {"xshm_input", OBSSourceKind::displayCapture},
      {"pipewire-screen-capture-source", OBSSourceKind::displayCapture},
      {"pipewire-desktop-capture-source", OBSSourceKind::displayCapture},
      {"xcomposite_input", OBSSourceKind::windowCapture},
      {"pipewire-window-capture-source", OBSSourceKind::windowCapture},
      {"alsa_input_capture", OBSSourceKind::audio},
      {"jack_output_capture", OBSSourceKind::audio},
      {"text_pango_source", OBSSourceKind::text},
      {"linuxbrowser-source", OBSSourceKind::browser},
      {"slideshow", OBSSourceKind::image},
      {"game_capture", OBSSourceKind::appCapture},
      {"image_source", OBSSourceKind::image},  // the core rows are unchanged
      {"v4l2_input ", OBSSourceKind::unknown},  // exact match only
      {"obs_custom_plugin", OBSSourceKind::unknown},
  };
  for (const auto& [id, kind] : cases) {
    EXPECT_EQ(obsSourceKindFrom(OBSSource{id, {}, {}, {}, {}}), kind) << id;
  }
}

TEST(OBSCollection, GlobalAudioDevicesAreInTheSourceIndex) {
  const auto c = OBSCollection::decode(
      R"({"DesktopAudioDevice1":{"id":"pulse_output_capture","name":"Desktop Audio","uuid":"d1"},)"
      R"("AuxAudioDevice1":{"id":"alsa_input_capture","name":"Mic/Aux","uuid":"m1"},"AuxAudioDevice2":5,)"
      R"("sources":[{"id":"scene","name":"S","settings":{"items":[{"name":"Desktop Audio"},{"name":"x","source_uuid":"m1"},)"
      R"({"name":"Mic/Aux"}]}},{"id":"color_source","name":"Mic/Aux"}]})");
  ASSERT_EQ(c.globalAudioSources.size(), 2u);  // the unreadable device is skipped
  const auto items = c.flattenedItems("S");
  ASSERT_EQ(items.size(), 3u);
  // The second by uuid; for the third a source of the same name wins over the device.
  EXPECT_EQ((std::vector{items[0].kind, items[1].kind, items[2].kind}),
            (std::vector{OBSSourceKind::audio, OBSSourceKind::audio, OBSSourceKind::color}));
}

TEST(OBSItemPlacement, SizeComesFromBoundsStatedSizeCanvasOrFileElseAReason) {
  const Size canvas{1280, 720};
  const OBSMediaSizeReader reader = [](const std::string& path) -> std::optional<Size> {
    if (path == "/here.png") return Size{400, 300};
    return std::nullopt;
  };
  struct Case {
    const char* name;
    const char* source;
    const char* item;
    std::optional<Size> sizeUsed;  // the source size the placement must have been computed with
    std::optional<OBSSizeOrigin> origin;
    const char* reasonPart;
  };
  const Case cases[] = {
      {"bounds", R"({"id":"v4l2_input","name":"s"})", R"({"name":"s","pos":{"x":10,"y":20},"bounds_type":2,"bounds":{"x":320,"y":180}})",
       Size{0, 0}, OBSSizeOrigin::bounds, ""},
      {"stated", R"({"id":"color_source","name":"s","settings":{"width":100,"height":50}})",
       R"({"name":"s","pos":{"x":10,"y":20},"scale":{"x":2,"y":2},"rot":90})", Size{100, 50}, OBSSizeOrigin::source, ""},
      {"max only uses the source", R"({"id":"color_source","name":"s","settings":{"cx":800,"cy":600}})",
       R"({"name":"s","bounds_type":6,"bounds":{"x":400,"y":400}})", Size{800, 600}, OBSSizeOrigin::source, ""},
      {"nested scene", R"({"id":"scene","name":"s"})", R"({"name":"s","scale":{"x":0.5,"y":0.5}})", canvas,
       OBSSizeOrigin::canvas, ""},
      {"file", R"({"id":"image_source","name":"s","settings":{"file":"/here.png"}})", R"({"name":"s","pos":{"x":5,"y":5}})",
       Size{400, 300}, OBSSizeOrigin::file, ""},
      {"missing file", R"({"id":"image_source","name":"s","settings":{"file":"/gone.png"}})", R"({"name":"s"})",
       std::nullopt, std::nullopt, "\"/gone.png\" is not on this machine"},
      {"text", R"({"id":"text_ft2_source","name":"s"})", R"({"name":"s"})", std::nullopt, std::nullopt,
       "a text's size is known only once it is drawn"},
      {"empty bounds", R"({"id":"v4l2_input","name":"s"})", R"({"name":"s","bounds_type":1,"bounds":{"x":0,"y":10}})",
       std::nullopt, std::nullopt, "its bounding box is empty"},
      {"huge scale", R"({"id":"color_source","name":"s","settings":{"width":100,"height":50}})",
       R"({"name":"s","scale":{"x":1e308,"y":1e308}})", std::nullopt, std::nullopt, "not a finite number"},
      {"huge rotation", R"({"id":"color_source","name":"s","settings":{"width":100,"height":50}})",
       R"({"name":"s","rot":1e300})", std::nullopt, std::nullopt, "its rotation"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto collection = OBSCollection::decode(std::string(R"({"sources":[{"id":"scene","name":"S","settings":{"items":[)") +
                                                  c.item + "]}}," + c.source + "]}");
    const auto items = collection.flattenedItems("S");
    ASSERT_EQ(items.size(), 1u);
    const OBSItemPlacement got = obsItemPlacement(items[0], canvas, reader);
    EXPECT_EQ(got.origin, c.origin);
    if (c.sizeUsed) {
      EXPECT_EQ(got.placement, OBSConversion::resolvedPlacement(items[0].item, *c.sizeUsed, items[0].groups, 1280, 720));
      EXPECT_TRUE(got.reason.empty());
    } else {
      EXPECT_FALSE(got.placement);
      EXPECT_NE(got.reason.find(c.reasonPart), std::string::npos) << got.reason;
    }
  }
}

}  // namespace
}  // namespace tav
