#include "tav/platform/videos_folder_media_library.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tav/foundation/user_directories.hpp"

namespace tav {

namespace fs = std::filesystem;

namespace {

/// Reserves a free name in `folder` for `fileName` by creating it exclusively, so two savers never
/// pick the same one. Returns the reserved path (an empty file).
fs::path reserveName(const fs::path& folder, const fs::path& fileName) {
  const std::string stem = fileName.stem().string();
  const std::string extension = fileName.extension().string();
  for (int number = 1;; ++number) {
    fs::path candidate = folder / (number == 1 ? fileName.string() : stem + " " + std::to_string(number) + extension);
    int descriptor = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor >= 0) {
      ::close(descriptor);
      return candidate;
    }
    if (errno != EEXIST) throw fs::filesystem_error("Cannot create a file in the videos folder", candidate,
                                                    std::error_code(errno, std::generic_category()));
  }
}

}  // namespace

fs::path VideosFolderMediaLibrary::folder() const {
  if (folder_) return *folder_;
  return userDirectory("VIDEOS", "Videos");
}

std::optional<fs::path> VideosFolderMediaLibrary::lastAddedFile() const {
  std::lock_guard lock(mutex_);
  return lastAdded_;
}

void VideosFolderMediaLibrary::addVideoResource(const fs::path& file, bool shouldMoveFile) {
  if (!fs::is_regular_file(file)) {
    throw fs::filesystem_error("No video file to add", file, std::make_error_code(std::errc::no_such_file_or_directory));
  }
  const fs::path target = folder();
  fs::create_directories(target);
  const fs::path destination = reserveName(target, file.filename());
  std::error_code error;
  if (shouldMoveFile) {
    fs::rename(file, destination, error);
    if (error == std::errc::cross_device_link) {
      error.clear();
      fs::copy_file(file, destination, fs::copy_options::overwrite_existing, error);
      if (!error) fs::remove(file, error);
    }
  } else {
    fs::copy_file(file, destination, fs::copy_options::overwrite_existing, error);
  }
  if (error) {
    std::error_code ignored;
    fs::remove(destination, ignored);
    throw fs::filesystem_error("Cannot add the video to the videos folder", file, destination, error);
  }
  std::lock_guard lock(mutex_);
  lastAdded_ = destination;
}

MediaLibrary& defaultMediaLibrary() {
  static VideosFolderMediaLibrary library;
  return library;
}

}  // namespace tav
