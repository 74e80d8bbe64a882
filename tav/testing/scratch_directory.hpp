// A fresh directory under the temporary directory for one test, removed with everything in it.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tav::testing {

class ScratchDirectory {
 public:
  explicit ScratchDirectory(std::string_view prefix = "tav-test") {
    std::string pattern = (std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / std::string(name); }

  /// Writes `contents` to `name` (creating folders on the way) and returns its path.
  std::filesystem::path write(std::string_view name, std::string_view contents = {}) const {
    std::filesystem::path file = path_ / std::string(name);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << contents;
    return file;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace tav::testing
