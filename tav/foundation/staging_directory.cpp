#include "tav/foundation/staging_directory.hpp"

#include <algorithm>
#include <stdexcept>

#include "tav/contracts/logger.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/foundation/exception_description.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("StagingDirectory");
  return instance;
}

/// A folder's entries sorted by name, so listings are the same on every file system.
std::vector<std::filesystem::directory_entry> sortedEntries(const std::filesystem::path& folder) {
  std::vector<std::filesystem::directory_entry> entries(std::filesystem::directory_iterator(folder), {});
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.path().filename() < b.path().filename(); });
  return entries;
}

void appendContents(const std::filesystem::path& folder, std::vector<Url>& result) {
  for (const auto& entry : sortedEntries(folder)) {
    if (entry.is_directory() && !entry.is_symlink()) {
      appendContents(entry.path(), result);
    } else {
      result.push_back(Url::fileUrl(entry.path()));
    }
  }
}

}  // namespace

std::exception_ptr ArchiveResult::error() const {
  const auto* error = std::get_if<std::exception_ptr>(&value_);
  return error != nullptr ? *error : nullptr;
}

std::string ArchiveResult::errorDescription() const {
  const auto* error = std::get_if<std::exception_ptr>(&value_);
  return error != nullptr ? describe(*error) : std::string();
}

const Url& ArchiveResult::get() const {
  if (const auto* error = std::get_if<std::exception_ptr>(&value_)) std::rethrow_exception(*error);
  return std::get<Url>(value_);
}

std::filesystem::path StagingDirectory::stagingRoot() {
  return std::filesystem::temp_directory_path() / "ArchiveStaging";
}

std::filesystem::path StagingDirectory::archivedRoot() { return stagingRoot() / "Archived"; }

StagingDirectory::StagingDirectory(const ZipArchiver& archiver)
    : archiver_(archiver), path_(stagingRoot() / Uuid::random().toString()) {
  std::filesystem::create_directories(path_);
}

StagingDirectory::~StagingDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<Url> StagingDirectory::urls() const {
  std::vector<Url> result;
  for (const auto& entry : sortedEntries(path_)) result.push_back(Url::fileUrl(entry.path()));
  return result;
}

void StagingDirectory::archiveToFile(std::string_view filename,
                                     const std::function<void(ArchiveResult)>& completion) const {
  // The archive is packed beside the staging folders (never inside the folder being packed), then moved
  // to its own fresh folder under archivedRoot.
  const std::filesystem::path packed = stagingRoot() / ("." + Uuid::random().toString() + ".zip");
  std::optional<ArchiveResult> result;
  try {
    const std::filesystem::path name(filename);
    if (filename.empty() || name.has_parent_path() || name == "." || name == "..") {
      throw std::invalid_argument("\"" + std::string(filename) + "\" is not a file name for an archive");
    }
    archiver_.pack(path_, packed);
    const std::filesystem::path folder = archivedRoot() / Uuid::random().toString();
    std::filesystem::create_directories(folder);
    std::filesystem::rename(packed, folder / name);
    result = ArchiveResult::success(Url::fileUrl(folder / name));
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(packed, ignored);
    result = ArchiveResult::failure(std::current_exception());
  }
  completion(std::move(*result));
}

bool StagingDirectory::unarchiveFiles(std::string_view path, const UnzipLimits& limits) const {
  try {
    archiver_.unpack(std::filesystem::path(path), path_, limits);
    return true;
  } catch (const std::exception& e) {
    logger().error("Couldn't unpack {}", e.what());
    return false;
  }
}

std::vector<Url> allContentsOfDirectory(const Url& url) {
  std::vector<Url> result;
  appendContents(url.filePath(), result);
  return result;
}

}  // namespace tav
