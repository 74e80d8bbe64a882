// The media library on Linux: the user's videos folder.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>

#include "tav/contracts/media_library.hpp"

namespace tav {

/// Files go into `folder`, or the folder `xdg-user-dir VIDEOS` answers, else ~/Videos; the folder is
/// created when missing. An existing file is never overwritten: " 2", " 3", ... go before the
/// extension. Access is always granted. Thread-safe.
class VideosFolderMediaLibrary final : public MediaLibrary {
 public:
  explicit VideosFolderMediaLibrary(std::optional<std::filesystem::path> folder = std::nullopt)
      : folder_(std::move(folder)) {}

  MediaLibraryAuthorizationStatus requestAuthorization(MediaLibraryAccessLevel) override {
    return MediaLibraryAuthorizationStatus::authorized;
  }
  /// Moves (renames, or copies and removes across file systems) or copies the file into the folder.
  void addVideoResource(const std::filesystem::path& file, bool shouldMoveFile) override;

  /// Where files go now.
  std::filesystem::path folder() const;
  /// Where the last added file went; absent before the first.
  std::optional<std::filesystem::path> lastAddedFile() const;

 private:
  std::optional<std::filesystem::path> folder_;
  mutable std::mutex mutex_;
  std::optional<std::filesystem::path> lastAdded_;  // guarded by mutex_
};

}  // namespace tav
