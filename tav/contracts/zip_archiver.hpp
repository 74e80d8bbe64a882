// Packing a folder into one zip archive and unpacking one into a folder, safely.
//
// Unpacking refuses an archive as a whole, before anything is written, when any entry would land
// outside the folder (an absolute path, a ".." component, a symbolic link, a device or pipe), when it
// holds more entries or more bytes than the limits allow, or when it cannot be read as a zip archive
// (a truncated one, say). The limits hold also against entries whose declared sizes lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tav {

/// Why a zip archive could not be made or unpacked; `what()` names the archive and the entry.
class ZipArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Bounds on what one archive may unpack to.
struct UnzipLimits {
  std::uint64_t maximumTotalSize = std::uint64_t{1} << 30;  // 1 GiB of file contents
  std::size_t maximumEntryCount = 10'000;
};

/// Implementations are stateless and may be used from any thread at once.
class ZipArchiver {
 public:
  virtual ~ZipArchiver() = default;

  /// Writes `archive` (replacing a file there) holding every file and folder below `folder`, named
  /// relative to it; symbolic links are left out. Throws ZipArchiveError.
  virtual void pack(const std::filesystem::path& folder, const std::filesystem::path& archive) const = 0;
  /// Unpacks `archive` into `folder` (which must exist), overwriting files already there. Throws
  /// ZipArchiveError; a failure part way through a valid-looking archive (damaged data) may leave the
  /// entries unpacked before it, all inside `folder`.
  virtual void unpack(const std::filesystem::path& archive, const std::filesystem::path& folder,
                      const UnzipLimits& limits = {}) const = 0;
};

/// The libzip archiver (defined in tavcommon_platform).
const ZipArchiver& defaultZipArchiver();

}  // namespace tav
