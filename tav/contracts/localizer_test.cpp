#include "tav/contracts/localizer.hpp"

#include <cstdlib>

#include <gtest/gtest.h>

#include "tav/testing/scoped_environment_variable.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

/// A directory of string tables that lives as long as one test.
using Tables = testing::ScratchDirectory;

TEST(Localizer, LanguageTableFirstThenNeutralThenDefaultThenKey) {
  Tables tables;
  tables.write("de/Localizable.json", R"({"ELEMENT_TEXT_TITLE": "Text", "ONLY_GERMAN": "Nur deutsch"})");
  tables.write("Localizable.json", R"j({"ELEMENT_TEXT_TITLE": "Text (neutral)", "ONLY_NEUTRAL": "Neutral"})j");
  Localizer german(tables.path(), "de");
  EXPECT_EQ(german.localized("ELEMENT_TEXT_TITLE"), "Text");
  EXPECT_EQ(german.localized("ONLY_GERMAN", "Localizable"), "Nur deutsch");
  EXPECT_EQ(german.localized("ONLY_NEUTRAL"), "Neutral");
  EXPECT_EQ(german.localized("MISSING", {}, "Fallback text"), "Fallback text");
  EXPECT_EQ(german.localized("MISSING"), "MISSING");
  EXPECT_EQ(german.localized("ELEMENT_TEXT_TITLE", "OtherTable", "Default"), "Default");

  Localizer french(tables.path(), "fr");
  EXPECT_EQ(french.localized("ELEMENT_TEXT_TITLE"), "Text (neutral)");
  EXPECT_EQ(french.localized("ONLY_GERMAN"), "ONLY_GERMAN");

  Localizer none;
  EXPECT_EQ(none.localized("ELEMENT_TEXT_TITLE", {}, "Text"), "Text");
}

TEST(Localizer, MalformedTableIsLoggedOnceAndIgnored) {
  Tables tables;
  tables.write("de/Broken.json", R"({"A": "eins", )");
  tables.write("Broken.json", R"({"A": "one", "B": 2})");
  Localizer german(tables.path(), "de");
  ::testing::internal::CaptureStderr();
  std::string first = german.localized("A", "Broken", "default");
  std::string second = german.localized("B", "Broken", "default");
  std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(first, "one");
  EXPECT_EQ(second, "default");
  for (const auto& table : {tables.path() / "de" / "Broken.json", tables.path() / "Broken.json"}) {
    ASSERT_NE(log.find(table.string()), std::string::npos) << log;
    EXPECT_EQ(log.find(table.string()), log.rfind(table.string())) << "logged once: " << log;
  }
}

TEST(Localizer, LanguageComesFromTheEnvironment) {
  Tables tables;
  tables.write("de/Localizable.json", R"({"HELLO": "Hallo"})");
  testing::ScopedEnvironmentVariable locale("LC_ALL", "de_DE.UTF-8");
  EXPECT_EQ(Localizer(tables.path()).localized("HELLO"), "Hallo");
  locale.set("C");
  EXPECT_EQ(Localizer(tables.path()).localized("HELLO"), "HELLO");
}

TEST(Localizer, LibraryTextsComeFromTheTavCommonTable) {
  Tables tables;
  tables.write("TavCommon.json", R"({"RECORDING_FAILED": "Recording failed."})");
  Localizer::setLibraryDirectory(tables.path(), "en");
  EXPECT_EQ(localizedText("RECORDING_FAILED", "Could not record."), "Recording failed.");
  EXPECT_EQ(localizedText("UNKNOWN_KEY", "Default text"), "Default text");
  Localizer::setLibraryDirectory({}, "en");
  EXPECT_EQ(localizedText("RECORDING_FAILED", "Could not record."), "Could not record.");
}

}  // namespace
}  // namespace tav
