// libFuzzer target for unpacking zip archives. Every input either unpacks or is refused with
// ZipArchiveError; whatever happens, nothing is written outside the target folder, and nothing there
// is a symbolic link.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tav/platform/libzip_archiver.hpp"

namespace {

/// A folder of its own for the whole run: "archive.zip" and "out/" inside, "out/" emptied each time.
const std::filesystem::path& workFolder() {
  static const std::filesystem::path folder = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "unzip-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return std::filesystem::path(pattern);
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path& folder = workFolder();
  const std::filesystem::path archive = folder / "archive.zip";
  const std::filesystem::path out = folder / "out";
  std::filesystem::remove_all(out);
  std::filesystem::create_directories(out);
  std::ofstream(archive, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

  try {
    tav::LibzipArchiver().unpack(archive, out, tav::UnzipLimits{1 << 20, 64});
  } catch (const tav::ZipArchiveError&) {
  }
  // Only "archive.zip" and "out" may exist beside each other; below "out", no symbolic link.
  std::size_t entries = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    (void)entry;
    ++entries;
  }
  if (entries != 2) std::abort();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(out)) {
    if (entry.is_symlink()) std::abort();
  }
  return 0;
}
