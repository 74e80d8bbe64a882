#include "tav/foundation/specs.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tav/foundation/closest_localization.hpp"
#include "tav/testing/fixed_system_specs.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

using FixedSpecs = testing::FixedSystemSpecs;

TEST(Specs, EightPairsInOrderAndDumpLogsExactlyTheirLines) {
  FixedSpecs source;
  const std::string expected =
      "- OS: Debian GNU/Linux 12 (bookworm)\n"
      "- Model: ThinkStation P360\n"
      "- RAM: 16 GB\n"
      "- Cores: 6 active / 8\n"
      "- Uptime: 2d 3h 7s\n"
      "- Thermal State: fair (1/3)\n"
      "- SentryUID: nil\n"
      "- Host name: studio-1";
  EXPECT_EQ(specsText(getSpecs(source)), expected);

  ::testing::internal::CaptureStderr();
  dumpSpecs(source);
  dumpSpecs(source, std::vector<SpecPair>{{"GPU", "Intel (i915)"}, {"Displays", 2}});
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("[Specs] Dumping specs:\n" + expected + "\n"), std::string::npos) << log;
  EXPECT_NE(log.find("[Specs] Dumping specs:\n" + expected + "\n- GPU: Intel (i915)\n- Displays: 2\n"),
            std::string::npos)
      << log;

  source.thermal = std::nullopt;
  EXPECT_EQ(getSpecs(source)[5].second, JsonValue("unknown (?/3)"));
}

TEST(Specs, ThermalStatesAndDisplayTexts) {
  EXPECT_EQ((std::vector{description(ThermalState::nominal), description(ThermalState::serious),
                         description(ThermalState::critical), description(static_cast<ThermalState>(7))}),
            (std::vector<std::string>{"nominal (0/3)", "serious (2/3)", "critical (3/3)", "unknown (?/3)"}));

  // 8178892 KB is 7.80 GB, written with its zero dropped.
  EXPECT_EQ((std::vector{memoryByteCountText(512), memoryByteCountText(640 * 1024), memoryByteCountText(8178892ull * 1024)}),
            (std::vector<std::string>{"512 bytes", "640 KB", "7.8 GB"}));
  EXPECT_EQ((std::vector{abbreviatedDurationText(45.9), abbreviatedDurationText(0.5), abbreviatedDurationText(3600 + 60)}),
            (std::vector<std::string>{"45s", "0s", "1h 1m"}));
}

TEST(ClosestLocalization, FirstPreferredThatIsAvailableWithoutASystemMatcher) {
  EXPECT_EQ(closestLocalization({"fr", "de"}, {}), std::nullopt);
  EXPECT_EQ(closestLocalization({"fr", "de"}, {"en", "de"}), "de");
  EXPECT_EQ(closestLocalization({"fr"}, {"en", "de"}), std::nullopt);

  // A bundle's preferred localisations are those of its configured language it has tables for.
  testing::ScratchDirectory tables;
  tables.write("de/Localizable.json", "{}");
  tables.write("en/Localizable.json", "{}");
  Localizer german(tables.path(), "de");
  EXPECT_EQ(closestLocalizationFromAvailableLocalizations({"en", "de"}, german), "de");
  EXPECT_EQ(closestLocalizationFromAvailableLocalizations({}, german), std::nullopt);
  Localizer japanese(tables.path(), "ja");
  if (std::getenv("LANGUAGE") == nullptr) {
    EXPECT_EQ(closestLocalizationFromAvailableLocalizations({"fr", "en"}, japanese), "en");
  }
}

}  // namespace
}  // namespace tav
