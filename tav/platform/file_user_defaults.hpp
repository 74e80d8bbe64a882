// The user's settings as one JSON object in a file, the desktop host's UserDefaults store.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/user_defaults.hpp"

namespace tav {

/// Reads the file once, at construction, and rewrites it whole after every change, through a temporary
/// file in the same directory that is flushed and renamed over it: the file on disk is always either
/// the old content or the new. Another process writing the same file is not noticed; the last writer
/// wins.
///
/// A file that is not a JSON object (corrupt, or cut short by a crash of an older writer) is never
/// overwritten in place: it is renamed to "<file>.corrupt-<UTC timestamp>", one error line names the
/// file and the reason, and the store starts empty. When the bad file cannot even be moved aside the
/// store keeps working in memory and writes nothing.
///
/// One value that holds a number beyond a double's range (written by another program) costs only its
/// own key: that key reads as absent and one error line names it; the other keys are kept.
///
/// Temporary files of a save cut off by a kill ("<file>.tmp-XXXXXX") are removed when the store is
/// made; a file is meant to have one store at a time.
///
/// A change is kept in memory even when the file cannot be written: set and remove never throw, the
/// failure is logged, synchronize() returns false and saveError() tells why.
///
/// Thread-safe: one mutex guards the values and the writes.
class FileUserDefaults final : public UserDefaults {
 public:
  explicit FileUserDefaults(std::filesystem::path file);

  /// $XDG_CONFIG_HOME/tavo/defaults.json, else ~/.config/tavo/defaults.json.
  static std::filesystem::path defaultPath();

  const std::filesystem::path& file() const { return file_; }

  std::optional<JsonValue> value(std::string_view key) const override;
  /// Writes again what the last change failed to write; true when the file holds every change.
  bool synchronize() override;
  /// Why the file does not hold every change (naming the file and the system's reason); absent when
  /// it does, or before the first change of a store that may write.
  std::optional<std::string> saveError() const;

 protected:
  void store(std::string_view key, const JsonValue& value) override;
  void erase(std::string_view key) override;

 private:
  void load();
  void keepAside(const std::string& reason);
  /// Writes the values to the file; called with mutex_ held. Logs and records a failure.
  bool persist();

  const std::filesystem::path file_;
  mutable std::mutex mutex_;
  JsonObject values_;       // guarded by mutex_
  bool writable_ = true;    // guarded by mutex_; false when a bad file could not be moved aside
  bool unsaved_ = false;    // guarded by mutex_; a change the file does not hold yet
  std::optional<std::string> saveError_;  // guarded by mutex_
};

}  // namespace tav
