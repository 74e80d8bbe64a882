#include "tav/platform/file_user_defaults.hpp"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/contracts/json_coder.hpp"
#include "tav/platform/atomic_file.hpp"
#include "tav/testing/scoped_environment_variable.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

/// A configuration directory that lives as long as one test; the store's file is `tavo/defaults.json` in it.
class ConfigDirectory : public testing::ScratchDirectory {
 public:
  ConfigDirectory() : ScratchDirectory("tav-defaults") {}

  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path() / "tavo")) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::filesystem::path file() const { return path() / "tavo" / "defaults.json"; }
  /// Leaves `text` in the settings folder under `name`, as an earlier run would have.
  void leave(std::string_view text, const std::string& name = "defaults.json") const { write("tavo/" + name, text); }
};

TEST(FileUserDefaults, ValuesSurviveANewInstance) {
  ConfigDirectory config;
  {
    FileUserDefaults store(config.file());
    store.set("CUSTOM_RECORDING_LOCATIONS", decodeJson<AnyCodable>(R"(["/a","/b"])"));
    store.set("COUNT", JsonValue(3));
    store.set("GONE", JsonValue(true));
    store.remove("GONE");
    EXPECT_TRUE(store.synchronize());
  }
  FileUserDefaults reopened(config.file());
  EXPECT_EQ(reopened.value("CUSTOM_RECORDING_LOCATIONS"), decodeJson<AnyCodable>(R"(["/a","/b"])"));
  EXPECT_EQ(reopened.value("COUNT"), JsonValue(3));
  EXPECT_FALSE(reopened.value("GONE").has_value());
  EXPECT_EQ(readWholeFile(config.file()), "{\"CUSTOM_RECORDING_LOCATIONS\":[\"/a\",\"/b\"],\"COUNT\":3}\n");
  // Written files leave nothing behind but the file itself.
  EXPECT_EQ(config.entries(), std::vector<std::string>{"defaults.json"});
  EXPECT_EQ(std::filesystem::status(config.file()).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(FileUserDefaults, CorruptFileIsKeptAsideAndStoreStartsEmpty) {
  ConfigDirectory config;
  const std::string damaged = R"({"COUNT": 3, "NAME": "half wri)";
  config.leave(damaged);

  ::testing::internal::CaptureStderr();
  FileUserDefaults store(config.file());
  std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_FALSE(store.value("COUNT").has_value());
  EXPECT_THAT(log, ::testing::HasSubstr(config.file().string()));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;

  std::vector<std::string> names = config.entries();
  ASSERT_THAT(names, ::testing::ElementsAre(::testing::StartsWith("defaults.json.corrupt-")));
  EXPECT_EQ(readWholeFile(config / ("tavo/" + names[0])), damaged);

  // New settings go to a fresh file; the kept copy is left alone.
  store.set("COUNT", JsonValue(4));
  EXPECT_EQ(FileUserDefaults(config.file()).value("COUNT"), JsonValue(4));
  EXPECT_EQ(readWholeFile(config / ("tavo/" + names[0])), damaged);
}

TEST(FileUserDefaults, NonObjectAndEmptyFilesCountAsDamaged) {
  ConfigDirectory config;
  for (const char* text : {"[1, 2]", ""}) {
    config.leave(text);
    ::testing::internal::CaptureStderr();
    FileUserDefaults store(config.file());
    ::testing::internal::GetCapturedStderr();
    EXPECT_FALSE(std::filesystem::exists(config.file())) << text;
  }
  EXPECT_THAT(config.entries(), ::testing::Each(::testing::StartsWith("defaults.json.corrupt-")));
  EXPECT_EQ(config.entries().size(), 2u);
}

TEST(FileUserDefaults, ANumberOutOfRangeLosesOnlyItsKeyAndLaterSavesWork) {
  ConfigDirectory config;
  config.leave(R"({"BEFORE":1,"BAD":{"x":[1e400]},"AFTER":"kept"})");

  ::testing::internal::CaptureStderr();
  FileUserDefaults store(config.file());
  std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_FALSE(store.value("BAD").has_value());
  EXPECT_EQ(store.value("BEFORE"), JsonValue(1));
  EXPECT_EQ(store.value("AFTER"), JsonValue("kept"));
  EXPECT_THAT(log, ::testing::HasSubstr("\"BAD\""));
  EXPECT_EQ(config.entries(), std::vector<std::string>{"defaults.json"});  // not moved aside

  // A value no JSON can hold is saved as the nearest one, never thrown to the caller.
  EXPECT_NO_THROW(store.set("HUGE", JsonValue(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(store.synchronize());
  EXPECT_FALSE(store.saveError().has_value());
  FileUserDefaults reopened(config.file());
  EXPECT_EQ(reopened.value("HUGE"), JsonValue(std::numeric_limits<double>::max()));
  EXPECT_EQ(reopened.value("AFTER"), JsonValue("kept"));
}

TEST(FileUserDefaults, TemporaryFilesOfAKilledSaveAreRemovedAtOpen) {
  ConfigDirectory config;
  config.leave(R"({"K":1})");
  for (const char* name : {"defaults.json.tmp-a1B2c3", "defaults.json.tmp-ZZZZZZ"}) config.leave(R"({"K":)", name);
  // Not ours: another name, or not the six characters mkstemp adds.
  config.leave("", "other.json.tmp-a1B2c3");
  config.leave("", "defaults.json.tmp-long-name");

  ::testing::internal::CaptureStderr();
  FileUserDefaults store(config.file());
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(store.value("K"), JsonValue(1));
  EXPECT_EQ(config.entries(),
            (std::vector<std::string>{"defaults.json", "defaults.json.tmp-long-name", "other.json.tmp-a1B2c3"}));
}

TEST(FileUserDefaults, AFileThatCannotBeWrittenIsReportedNotThrown) {
  ConfigDirectory config;
  // The settings "file" is a directory: it can be neither read nor replaced.
  std::filesystem::create_directories(config.file());
  ::testing::internal::CaptureStderr();
  FileUserDefaults store(config.file());
  EXPECT_NO_THROW(store.set("K", JsonValue(1)));
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(store.value("K"), JsonValue(1));  // kept for this session
  EXPECT_FALSE(store.synchronize());
  ASSERT_TRUE(store.saveError().has_value());
  EXPECT_THAT(*store.saveError(), ::testing::HasSubstr(config.file().string()));
  EXPECT_TRUE(std::filesystem::is_directory(config.file()));
}

TEST(FileUserDefaults, ConcurrentWritersLoseNothing) {
  ConfigDirectory config;
  {
    FileUserDefaults store(config.file());
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t) {
      writers.emplace_back([&store, t] {
        for (int i = 0; i < 25; ++i) store.set("K" + std::to_string(t * 100 + i), JsonValue(i));
      });
    }
    for (auto& writer : writers) writer.join();
  }
  FileUserDefaults reopened(config.file());
  for (int t = 0; t < 4; ++t) {
    for (int i = 0; i < 25; ++i) EXPECT_EQ(reopened.value("K" + std::to_string(t * 100 + i)), JsonValue(i));
  }
  EXPECT_EQ(config.entries(), std::vector<std::string>{"defaults.json"});
}

TEST(FileUserDefaults, DefaultPathFollowsXdgConfigHome) {
  testing::ScopedEnvironmentVariable configHome("XDG_CONFIG_HOME", "/srv/config");
  EXPECT_EQ(FileUserDefaults::defaultPath(), std::filesystem::path("/srv/config/tavo/defaults.json"));
  configHome.set("relative/ignored");
  EXPECT_EQ(FileUserDefaults::defaultPath().parent_path().parent_path().filename(), ".config");
}

TEST(UserDefaults, ChangeHandlersHearEveryChangeOfTheirStoreOnly) {
  InMemoryUserDefaults store;
  InMemoryUserDefaults other;
  int calls = 0;
  auto id = store.addChangeHandler([&] {
    ++calls;
    EXPECT_TRUE(store.value("K").has_value() || calls == 2);  // the store is readable from a handler
  });
  store.set("K", JsonValue("v"));
  other.set("K", JsonValue("w"));
  store.remove("K");
  EXPECT_EQ(calls, 2);
  store.removeChangeHandler(id);
  store.set("K", JsonValue("x"));
  EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace tav
