// The binary that holds this library, for finding files installed beside it: the shared object, or the
// executable a static build of the library is linked into.
#pragma once

#include <filesystem>

namespace tav {

class LibraryBundle {
 public:
  /// The bundle of this library, found from the address of a marker that the library declares for
  /// nothing else, so a host and the library resolve to different files when the library is a shared
  /// object. Defined by the platform library (tavcommon_platform); computed once, thread-safe.
  static const LibraryBundle& current();

  /// The binary's absolute path; empty when the platform cannot tell.
  const std::filesystem::path& executablePath() const { return executablePath_; }
  /// The folder that holds the binary.
  std::filesystem::path bundlePath() const { return executablePath_.parent_path(); }
  /// Where the library's installed files are looked for: "share/tavcommon" beside the binary's folder,
  /// as an install under a prefix lays them out (prefix/lib/libtavcommon.so, prefix/share/tavcommon).
  std::filesystem::path resourcePath() const { return bundlePath().parent_path() / "share" / "tavcommon"; }

  explicit LibraryBundle(std::filesystem::path executablePath) : executablePath_(std::move(executablePath)) {}

 private:
  std::filesystem::path executablePath_;
};

}  // namespace tav
