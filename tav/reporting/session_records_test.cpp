#include "tav/reporting/session_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/contracts/requestor.hpp"

namespace tav {
namespace {

using namespace std::chrono_literals;

std::string onTheWire(const AnyEncodable& value) {
  JSONEncoder encoder;
  encoder.keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
  return encoder.encode(value);
}

TEST(SessionRecords, EmptySessionWritesItsListsAndLeavesOptionalsOut) {
  const ServiceDate start = ServiceDate(std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + 9h);
  NQSTavoSession session{Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F").value(), start, start + 90s,
                         std::nullopt, MediaType::video, std::nullopt, std::nullopt, {}, {}, {}, std::nullopt, {}};
  const std::string json = encodeJson(session);
  const std::string dates = R"("dateStarted":")" + iso8601InternetDateTime(start) + R"(","dateEnded":")" +
                            iso8601InternetDateTime(start + 90s) + "\"";
  EXPECT_EQ(json, R"({"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F",)" + dates + R"(,"mediaType":)" +
                      encodeJson(MediaType::video) + R"(,"sourceInfo":[],"sceneInfo":[],"audioInfo":[],"streamDeckInfo":[]})");
  EXPECT_EQ(decodeJson<NQSTavoSession>(json), session);
}

TEST(SessionRecords, GoOutInSnakeCaseThroughTheServiceEncoder) {
  SourceInfo source{"camera", "1.2", "usb", std::nullopt, "C920", "15.1", 2093, 1452, 30};
  source.updateDuration(45);
  EXPECT_EQ(onTheWire(AnyEncodable(source)),
            R"({"source_type":"camera","source_version":"1.2","device_type":"usb","device_model":"C920","device_os_version":"15.1","device_pid":2093,"device_vid":1452,"duration":45})");

  SettingsInfo settings;
  settings.videoSettings = {{1920, 1080}, true, 29.97, std::nullopt, false};
  settings.hardwareSettings = SettingsInfo::HardwareSettings{1, true, "auto", false, true, std::nullopt, true, false};
  settings.postProcessingSettings = {"center", false, true, std::nullopt, true, std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt};
  settings.enhancementSettings = {"blur", SettingAssetType::bundled("Blue"), false, true, 0.5, true, 0.25,
                                  SettingAssetType::custom(), "mask"};
  EXPECT_EQ(onTheWire(AnyEncodable(settings)),
            R"({"video_settings":{"resolution":[1920,1080],"mirror_video_enabled":true,"effective_fps":29.97,"video_delay_enabled":false},)"
            R"("hardware_settings":{"focus_mode":1,"exposure_enabled":true,"exposure_mode":"auto","torch_enabled":false,"white_balance_enabled":true,"noise_reduction2d_enabled":true,"noise_reduction3d_enabled":false},)"
            R"("post_processing_settings":{"framing_mode":"center","zoom_enabled":false,"rotation_enabled":true,"hue_enabled":true},)"
            R"("enhancement_settings":{"background_mode":"blur","background":"Blue","chroma_key_enabled":false,"spotlight_enabled":true,"spotlight":0.5,"retouch_enabled":true,"reoutch":0.25,"filter":"custom","ar_mode":"mask"}})");
  EXPECT_EQ(decodeJson<SettingsInfo>(encodeJson(settings)), settings);
  EXPECT_EQ(std::hash<SettingsInfo>()(decodeJson<SettingsInfo>(encodeJson(settings))), std::hash<SettingsInfo>()(settings));
  EXPECT_EQ(onTheWire(AnyEncodable(DestinationInfo{SessionType::stream, "yt"})),
            R"({"destination_type":"stream","destination_id":"yt"})");
}

TEST(SessionRecords, SettingAssetTypeIsOnePlainString) {
  EXPECT_EQ(encodeJson(SettingAssetType::bundled("Blue")), "\"Blue\"");
  EXPECT_EQ(encodeJson(SettingAssetType::custom()), "\"custom\"");
  EXPECT_EQ(decodeJson<SettingAssetType>("\"Blue\""), SettingAssetType::bundled("Blue"));
  EXPECT_TRUE(decodeJson<SettingAssetType>(encodeJson(SettingAssetType::bundled("custom"))).isCustom());
}

TEST(SessionRecords, SceneInfoNeedsResolutionRateAndDurationOnly) {
  const SceneInfo minimal = decodeJson<SceneInfo>(R"({"outputResolution":[1280,720],"outputFPS":30,"duration":12})");
  EXPECT_EQ(minimal.outputResolution, (std::vector<int>{1280, 720}));
  EXPECT_EQ(encodeJson(minimal), R"({"outputResolution":[1280,720],"outputFPS":30,"duration":12})");
  EXPECT_THAT([] { (void)decodeJson<SceneInfo>(R"({"outputFPS":30,"duration":12})"); },
              ::testing::Throws<DecodingError>(::testing::Property(&DecodingError::path, "outputResolution")));
}

}  // namespace
}  // namespace tav
