// The user's media library, where finished recordings can be handed over. On the desktop platform this
// is the photo library; on Linux the user's videos folder.
#pragma once

#include <filesystem>

namespace tav {

/// What the caller asks access for; the integer values are the platform's.
enum class MediaLibraryAccessLevel { addOnly = 1, readWrite = 2 };

/// The answer to an access request; the integer values are the platform's.
enum class MediaLibraryAuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, authorized = 3, limited = 4 };

/// Thread-safe; both members block until they have an answer.
class MediaLibrary {
 public:
  virtual ~MediaLibrary() = default;

  /// Asks the user (or the system) for access at `level` and waits for the answer.
  virtual MediaLibraryAuthorizationStatus requestAuthorization(MediaLibraryAccessLevel level) = 0;
  /// Adds the video file at `file` as a new item of the library, moving the file when `shouldMoveFile`
  /// (so it is no longer at `file` afterwards) and copying it otherwise. Throws (std::system_error or
  /// std::runtime_error naming the file) when the change fails; nothing is added then.
  virtual void addVideoResource(const std::filesystem::path& file, bool shouldMoveFile) = 0;
};

/// The platform's library. Defined in the platform library.
MediaLibrary& defaultMediaLibrary();

}  // namespace tav
