// The settings file shared by several processes: a FileUserDefaults that also takes in what other
// processes write to the same file, so that observers of a key hear those changes too.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "tav/contracts/file_watcher.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/platform/file_user_defaults.hpp"

namespace tav {

/// Reads and writes like FileUserDefaults (one JSON object in the file, replaced atomically on every
/// write). The file's folder is watched: when the file is replaced or written by anyone, it is read
/// again, and each key whose value differs from what the store held is announced to the change
/// handlers, on the watching thread, one change per key. Our own writes find nothing new. A file that
/// does not read as a JSON object at that moment (a writer that is not atomic, caught half-way) is not
/// taken in: the values are kept until the next change, with one log line. (Only a file damaged again
/// in the instant between that check and the read meets FileUserDefaults' rule for a damaged file.)
///
/// Thread-safe. Two processes writing at the same moment still follow "the last writer wins" for the
/// file as a whole.
class WatchedFileUserDefaults final : public UserDefaults,
                                       public std::enable_shared_from_this<WatchedFileUserDefaults> {
 public:
  /// Opens the store on `file` and starts watching it. Throws std::system_error when the folder cannot
  /// be watched. The watching thread holds the store only while it takes in a change, so the store
  /// lives as long as its owners (the last of which may then be that thread).
  static std::shared_ptr<WatchedFileUserDefaults> open(std::filesystem::path file);
  ~WatchedFileUserDefaults() override;

  const std::filesystem::path& file() const { return file_; }

  std::optional<JsonValue> value(std::string_view key) const override;
  bool synchronize() override;

  /// Reads the file again now and announces what changed; what the watcher calls. Returns the number
  /// of keys that changed.
  std::size_t reload();

 protected:
  void store(std::string_view key, const JsonValue& value) override;
  void erase(std::string_view key) override;

 private:
  explicit WatchedFileUserDefaults(std::filesystem::path file);

  const std::filesystem::path file_;
  mutable std::mutex mutex_;
  std::shared_ptr<FileUserDefaults> current_;  // guarded by mutex_
  std::set<std::string, std::less<>> knownKeys_;  // guarded by mutex_: every key the file or we held
  std::unique_ptr<FileWatcher> watcher_;
};

}  // namespace tav
