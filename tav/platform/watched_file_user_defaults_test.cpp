#include "tav/platform/watched_file_user_defaults.hpp"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <vector>

#include "tav/foundation/user_default_reference.hpp"
#include "tav/testing/scratch_directory.hpp"

extern char** environ;

namespace tav {
namespace {

/// Runs `script` with /bin/sh in a process of its own and waits for it.
int runInAnotherProcess(const std::string& script) {
  pid_t pid = 0;
  std::string shell = "/bin/sh";
  std::string flag = "-c";
  std::string command = script;
  char* argv[] = {shell.data(), flag.data(), command.data(), nullptr};
  if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv, environ) != 0) return -1;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class WatchedFileUserDefaultsTest : public ::testing::Test {
 protected:
  /// Waits until `count` changes were reported; a generous bound, only so that a broken watcher fails
  /// the test instead of hanging it.
  bool waitForChanges(std::size_t count) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(20), [&] { return changes.size() >= count; });
  }
  void record(int newValue, int oldValue) {
    std::lock_guard lock(mutex);
    changes.emplace_back(newValue, oldValue);
    changed.notify_all();
  }

  testing::ScratchDirectory scratch{"tav-watched"};
  // In a folder that does not exist yet: the store makes it.
  std::filesystem::path file = scratch / "tavo/defaults.json";
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::pair<int, int>> changes;  // guarded by mutex
};

TEST_F(WatchedFileUserDefaultsTest, AnotherProcessWritingTheFileReachesTheObserver) {
  auto store = WatchedFileUserDefaults::open(file);
  store->set("OTHER", JsonValue("kept"));
  UserDefaultObserver<int> observer("VOLUME", 1, store, [this](const int& n, const int& o) { record(n, o); });
  ASSERT_TRUE(waitForChanges(1));  // the call made at construction

  // Another writer replaces the file atomically, as the store itself does.
  ASSERT_EQ(runInAnotherProcess("printf '{\"OTHER\":\"kept\",\"VOLUME\":5}' > '" + file.string() + ".new' && mv '" +
                                file.string() + ".new' '" + file.string() + "'"),
            0);
  ASSERT_TRUE(waitForChanges(2));

  // A writer that is not atomic, caught half-way, leaves the values as they were; its finished file
  // is taken in.
  ASSERT_EQ(runInAnotherProcess("printf '{\"VOLUME\":' > '" + file.string() + "'"), 0);
  ASSERT_EQ(runInAnotherProcess("printf '{\"VOLUME\":9}' > '" + file.string() + "'"), 0);
  ASSERT_TRUE(waitForChanges(3));
  EXPECT_EQ(store->value("OTHER"), std::nullopt);

  std::lock_guard lock(mutex);
  EXPECT_EQ(changes, (std::vector<std::pair<int, int>>{{1, 1}, {5, 1}, {9, 5}}));
}

TEST_F(WatchedFileUserDefaultsTest, OwnWritesAreNotReportedTwice) {
  auto store = WatchedFileUserDefaults::open(file);
  UserDefaultObserver<int> observer("VOLUME", 1, store, [this](const int& n, const int& o) { record(n, o); });
  store->set("VOLUME", JsonValue(2));
  EXPECT_EQ(store->reload(), 0u);  // the file holds what the store holds
  std::lock_guard lock(mutex);
  EXPECT_EQ(changes, (std::vector<std::pair<int, int>>{{1, 1}, {2, 1}}));
}

}  // namespace
}  // namespace tav
