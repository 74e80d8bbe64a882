// A throw-away folder for gathering files and packing them into one zip archive, or for unpacking one.
//
//   tav::StagingDirectory staging;
//   std::filesystem::copy(logFile, staging.path() / "log.txt");
//   staging.archiveToFile("feedback.zip", [](tav::ArchiveResult result) {
//     if (result.url()) upload(*result.url());   // below StagingDirectory::archivedRoot(), kept after staging goes
//   });
#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tav/contracts/url.hpp"
#include "tav/contracts/zip_archiver.hpp"

namespace tav {

/// What archiveToFile hands its completion: the archive's file URL, or the error that stopped it.
class ArchiveResult {
 public:
  static ArchiveResult success(Url url) { return ArchiveResult(std::move(url)); }
  static ArchiveResult failure(std::exception_ptr error) { return ArchiveResult(std::move(error)); }

  /// The archive, when it was made.
  const Url* url() const { return std::get_if<Url>(&value_); }
  /// The error, when it was not.
  std::exception_ptr error() const;
  /// The error's text, empty on success.
  std::string errorDescription() const;
  /// The archive, or the error rethrown.
  const Url& get() const;

 private:
  explicit ArchiveResult(Url url) : value_(std::move(url)) {}
  explicit ArchiveResult(std::exception_ptr error) : value_(std::move(error)) {}
  std::variant<Url, std::exception_ptr> value_;
};

/// Owns its folder, "<stagingRoot>/<UUID>", from construction to destruction, when the folder is removed
/// with everything in it. Archives it makes lie outside the folder and outlive it. Not thread-safe: one
/// thread at a time per instance; separate instances are independent.
class StagingDirectory {
 public:
  /// The temporary directory ($TMPDIR, else /tmp) plus "ArchiveStaging".
  static std::filesystem::path stagingRoot();
  /// stagingRoot() plus "Archived".
  static std::filesystem::path archivedRoot();

  /// Makes a fresh folder (and the folders above it). Throws std::filesystem::filesystem_error when it
  /// cannot. `archiver` must outlive the object.
  explicit StagingDirectory(const ZipArchiver& archiver = defaultZipArchiver());
  ~StagingDirectory();
  StagingDirectory(const StagingDirectory&) = delete;
  StagingDirectory& operator=(const StagingDirectory&) = delete;

  /// The folder, as a file URL and as a path.
  Url url() const { return Url::fileUrl(path_); }
  const std::filesystem::path& path() const { return path_; }
  /// The folder's direct contents, sorted by name. Throws std::filesystem::filesystem_error.
  std::vector<Url> urls() const;

  /// Packs the folder into "<archivedRoot>/<UUID>/<filename>" and calls `completion` with its URL, or
  /// with the error, before returning. A `filename` that is not a plain file name is an error.
  void archiveToFile(std::string_view filename, const std::function<void(ArchiveResult)>& completion) const;

  /// Unpacks the zip archive at `path` into the folder, overwriting files already there. True on
  /// success; false, with an error logged that names the archive and the entry, when the archive is
  /// refused (see ZipArchiver) or cannot be read.
  bool unarchiveFiles(std::string_view path, const UnzipLimits& limits = {}) const;

 private:
  const ZipArchiver& archiver_;
  std::filesystem::path path_;
};

/// Every file below `url` (a file URL), depth first in name order: a folder's files take its place in
/// the listing, and folders themselves never appear. Symbolic links are listed, not followed. Throws
/// std::filesystem::filesystem_error when a folder cannot be listed.
std::vector<Url> allContentsOfDirectory(const Url& url);

}  // namespace tav
