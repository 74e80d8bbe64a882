// Where the files of a recording go and what they are called.
//
// RecordingLocationHandler keeps the saved paths (in the user defaults) and turns a recorder
// configuration and the per-output file name suffixes into file URLs, checking that the destination
// exists and can be written before a recording starts. Recordings with more than one file (or every
// recording, when the host asks for it) go into a session folder marked by a ".tavo-session" file.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/url.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/recording/recorder_configuration.hpp"
#include "tav/recording/recorder_location_handler.hpp"
#include "tav/recording/recording_location.hpp"

namespace tav {

/// Where one host keeps its recordings: the saved paths live in its store, and whether a single-file
/// recording gets a session folder is a setting of the handler. A host may make as many handlers as it
/// has stores; `shared()` is the one over the standard store. Every member may be called from any thread;
/// the ones that touch the file system block on it. It is also the recorder's view of save locations.
class RecordingLocationHandler final : public RecorderLocationHandler {
 public:
  struct Settings {
    /// Whether a single-file recording also goes into a session folder.
    bool usesSessionSubfolder = false;
  };

  /// A handler over `store` (throws std::invalid_argument for a null store), with default settings.
  explicit RecordingLocationHandler(std::shared_ptr<UserDefaults> store);
  RecordingLocationHandler(std::shared_ptr<UserDefaults> store, Settings settings);
  RecordingLocationHandler(const RecordingLocationHandler&) = delete;
  RecordingLocationHandler& operator=(const RecordingLocationHandler&) = delete;

  /// The process's handler: it reads and writes whichever standard store is installed at the time of
  /// each call, and its session-folder setting is false until the host sets it.
  static RecordingLocationHandler& shared();

  /// The name of the empty file that marks a session folder.
  static constexpr std::string_view sessionMarkerFileName = ".tavo-session";

  /// This handler's store (for `shared()`, the standard store installed now).
  std::shared_ptr<UserDefaults> store() const;

  /// Saved recording folder, key "LocalRecorderSavePath", default the URL text of the user's videos
  /// folder, or of the home folder when there is none.
  UserDefault<std::string> recordingSavePath() const;
  /// Key "LocalRecorderSavePathHistory", default empty; read and written only on the host's request.
  UserDefault<std::vector<std::string>> recordingSavePathHistory() const;
  /// Saved folder for still frames, key "FrameSavePath", default the URL text of the desktop folder,
  /// or of the home folder when there is none.
  UserDefault<std::string> frameSavePath() const;
  /// Key "FrameSavePathHistory", default empty.
  UserDefault<std::vector<std::string>> frameSavePathHistory() const;
  /// The chosen save location of this handler's store (RecordingLocation::current on it).
  CodableUserDefault<RecordingLocation> currentLocation() const;

  bool usesSessionSubfolder() const { return usesSessionSubfolder_.load(); }
  void setUsesSessionSubfolder(bool value) { usesSessionSubfolder_.store(value); }

  /// "Tavo Studio Recording <date>.mov" (key "RECORDING_FILE_NAME" of the library's strings) with the
  /// local date and time as "2026-01-02 13-14-15".
  static std::string fileName();

  /// True when `directory` holds the session marker file.
  static bool isSessionFolder(const Url& directory);

  /// The file URLs of a recording, one per suffix in order (an absent suffix counts as empty). Throws
  /// VideoRecorderError missingLocation when the destination is missing or not a folder,
  /// fileCreationFailed when it cannot be written, and std::filesystem::filesystem_error when a
  /// session folder cannot be created. No suffixes give no URLs.
  std::vector<Url> getRecordingURLs(const std::optional<TavoRecorderConfiguration>& configuration,
                                    const std::vector<std::optional<std::string>>& suffixes) override;

  /// The file URLs of still frames; the configuration must name a file name or an output URL, else
  /// missingLocation. Other failures as for getRecordingURLs.
  std::vector<Url> getFrameURLs(const TavoRecorderConfiguration& configuration,
                                const std::vector<std::optional<std::string>>& suffixes) const;

  /// After a failed or empty recording: removes the session folder holding `firstOutputURL` when it
  /// is marked as one and holds no finished recording (no visible ".mov" or ".m4a" file). Never throws.
  void removeEmptySessionFolder(const Url& firstOutputURL) override;

  /// The title of `currentLocation()` ("Photo Library", or the custom location's).
  std::string currentLocationTitle() override;

 private:
  RecordingLocationHandler() = default;  // shared(): the standard store of the moment

  std::shared_ptr<UserDefaults> store_;  // null for shared()
  std::atomic<bool> usesSessionSubfolder_{false};
};

namespace detail {
/// `name`, or `name` + " 2", " 3", ... : the first that names nothing in `parent`.
std::string uniqueDirectoryName(const std::string& name, const std::filesystem::path& parent);
}  // namespace detail

}  // namespace tav
