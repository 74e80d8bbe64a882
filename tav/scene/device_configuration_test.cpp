#include "tav/scene/device_configuration.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(DeviceConfiguration, ClearIsNotWrittenAndReadsBackAsNone) {
  DeviceConfiguration config;
  config.filter = OptionalUpdate<std::string>::clear();
  config.spotlight = OptionalUpdate<bool>::some(true);
  EXPECT_EQ(encodeJson(config), R"({"spotlight":true})");
  auto back = decodeJson<DeviceConfiguration>(encodeJson(config));
  EXPECT_TRUE(back.filter.isNone());
  EXPECT_EQ(back.spotlight, OptionalUpdate<bool>::some(true));
}

TEST(DeviceConfiguration, NullMissingAndWrongTypeReadAsNone) {
  auto config = decodeJson<DeviceConfiguration>(R"({"filter":null,"portraitIntensity":"high","retouch":true})");
  EXPECT_TRUE(config.filter.isNone());
  EXPECT_TRUE(config.portraitIntensity.isNone());
  EXPECT_TRUE(config.background.isNone());
  EXPECT_EQ(config.retouch, OptionalUpdate<bool>::some(true));
  EXPECT_THROW(decodeJson<DeviceConfiguration>("[]"), DecodingError);
}

TEST(DeviceConfiguration, WritesEveryFieldInOrderAndDropsBackgroundColor) {
  auto config = decodeJson<DeviceConfiguration>(
      R"({"retouchIntensity":0.5,"retouch":false,"filterIntensity":1,"filter":"noir","trackingMode":"face",)"
      R"("spotlightIntensity":0.25,"spotlight":true,"background":"beach","portraitIntensity":0.75,)"
      R"("backgroundMode":"somethingNew","backgroundColor":{"_green":0,"_blue":0,"_red":0,"alpha":1}})");
  EXPECT_EQ(config.backgroundMode, OptionalUpdate<BackgroundMode>::some(BackgroundMode("somethingNew")));
  EXPECT_EQ(config.trackingMode, OptionalUpdate<TrackingMode>::some(TrackingMode::face));
  EXPECT_EQ(encodeJson(config),
            R"({"backgroundMode":"somethingNew","portraitIntensity":0.75,"background":"beach","spotlight":true,)"
            R"("spotlightIntensity":0.25,"trackingMode":"face","filter":"noir","filterIntensity":1,)"
            R"("retouch":false,"retouchIntensity":0.5})");
}

TEST(DeviceConfiguration, ApplyTakesSomeAndClearButNotNone) {
  DeviceConfiguration stored;
  stored.filter = OptionalUpdate<std::string>::some("noir");
  stored.spotlight = OptionalUpdate<bool>::some(true);
  stored.retouchIntensity = OptionalUpdate<double>::some(0.2);

  DeviceConfiguration incoming;
  incoming.filter = OptionalUpdate<std::string>::clear();
  incoming.retouchIntensity = OptionalUpdate<double>::some(0.9);
  incoming.trackingMode = OptionalUpdate<TrackingMode>::some(TrackingMode::group);

  stored.apply(incoming);
  DeviceConfiguration expected = incoming;  // the filter cleared, the new intensity and tracking mode
  expected.spotlight = OptionalUpdate<bool>::some(true);  // none incoming: kept
  EXPECT_EQ(stored, expected);
}

TEST(DeviceConfiguration, FromSettingsMakesSomeOfSetValuesOnly) {
  DeviceSettings settings;
  settings.backgroundMode = BackgroundMode::portrait;
  settings.portraitIntensity = 0.4;
  auto config = DeviceConfiguration::fromSettings(settings);
  EXPECT_EQ(config.backgroundMode, OptionalUpdate<BackgroundMode>::some(BackgroundMode::portrait));
  EXPECT_EQ(config.portraitIntensity, OptionalUpdate<double>::some(0.4));
  EXPECT_TRUE(config.filter.isNone());
  EXPECT_EQ(encodeJson(config), R"({"backgroundMode":"portrait","portraitIntensity":0.4})");
}

TEST(DeviceConfiguration, EqualityAndHashCoverEveryField) {
  DeviceConfiguration a;
  DeviceConfiguration b;
  EXPECT_EQ(a, b);
  b.retouchIntensity = OptionalUpdate<double>::clear();
  EXPECT_NE(a, b);
  a.retouchIntensity = OptionalUpdate<double>::clear();
  EXPECT_EQ(std::hash<DeviceConfiguration>()(a), std::hash<DeviceConfiguration>()(b));
}

}  // namespace
}  // namespace tav
