// Where the files of a recording go and what they are called.
//
// RecordingLocationHandler keeps the saved paths (in the user defaults) and turns a recorder
// configuration and the per-output file name suffixes into file URLs, checking that the destination
// exists and can be written before a recording starts. Recordings with more than one file (or every
// recording, when the host asks for it) go into a session folder marked by a ".tavo-session" file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/url.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/recording/recorder_configuration.hpp"

namespace tav {

/// Stateless apart from the saved paths and `usesSessionSubfolder`. Every member may be called from
/// any thread; the ones that touch the file system block on it.
class RecordingLocationHandler {
 public:
  RecordingLocationHandler() = delete;

  /// The name of the empty file that marks a session folder.
  static constexpr std::string_view sessionMarkerFileName = ".tavo-session";

  /// Saved recording folder, key "LocalRecorderSavePath", default the URL text of the user's videos
  /// folder, or of the home folder when there is none. The handles are made on the store installed at
  /// the time of the call.
  static UserDefault<std::string> recordingSavePath();
  /// Key "LocalRecorderSavePathHistory", default empty; read and written only on the host's request.
  static UserDefault<std::vector<std::string>> recordingSavePathHistory();
  /// Saved folder for still frames, key "FrameSavePath", default the URL text of the desktop folder,
  /// or of the home folder when there is none.
  static UserDefault<std::string> frameSavePath();
  /// Key "FrameSavePathHistory", default empty.
  static UserDefault<std::vector<std::string>> frameSavePathHistory();

  /// Whether a single-file recording also goes into a session folder; false until the host sets it.
  static bool usesSessionSubfolder();
  static void setUsesSessionSubfolder(bool value);

  /// "Tavo Studio Recording <date>.mov" (key "RECORDING_FILE_NAME" of the library's strings) with the
  /// local date and time as "2026-01-02 13-14-15".
  static std::string fileName();

  /// True when `directory` holds the session marker file.
  static bool isSessionFolder(const Url& directory);

  /// The file URLs of a recording, one per suffix in order (an absent suffix counts as empty). Throws
  /// VideoRecorderError missingLocation when the destination is missing or not a folder,
  /// fileCreationFailed when it cannot be written, and std::filesystem::filesystem_error when a
  /// session folder cannot be created. No suffixes give no URLs.
  static std::vector<Url> getRecordingURLs(const std::optional<TavoRecorderConfiguration>& configuration,
                                           const std::vector<std::optional<std::string>>& suffixes);

  /// The file URLs of still frames; the configuration must name a file name or an output URL, else
  /// missingLocation. Other failures as for getRecordingURLs.
  static std::vector<Url> getFrameURLs(const TavoRecorderConfiguration& configuration,
                                       const std::vector<std::optional<std::string>>& suffixes);

  /// After a failed or empty recording: removes the session folder holding `firstOutputURL` when it
  /// is marked as one and holds no finished recording (no visible ".mov" or ".m4a" file). Never throws.
  static void removeEmptySessionFolder(const Url& firstOutputURL);
};

namespace detail {
/// `name`, or `name` + " 2", " 3", ... : the first that names nothing in `parent`.
std::string uniqueDirectoryName(const std::string& name, const std::filesystem::path& parent);
}  // namespace detail

}  // namespace tav
