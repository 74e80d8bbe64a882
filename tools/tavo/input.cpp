#include "input.hpp"

#include <filesystem>
#include <iostream>
#include <sstream>
#include <system_error>

#include "tav/platform/atomic_file.hpp"

namespace tav::tool {

std::optional<Input> readInput(const std::string& file) {
  if (file.empty() || file == "-") {
    std::ostringstream buffer;
    buffer << std::cin.rdbuf();
    return Input{"(standard input)", buffer.str()};
  }
  // Only regular files: a directory has no content, and a FIFO or a device could block forever.
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (!error && std::filesystem::is_directory(status)) {
    std::cerr << "tavo: " << file << ": is a directory, not a document\n";
    return std::nullopt;
  }
  if (!error && std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    std::cerr << "tavo: " << file << ": not a regular file (a FIFO, device or socket); give its content on "
              << "standard input with -\n";
    return std::nullopt;
  }
  try {
    return Input{file, readWholeFile(file)};
  } catch (const std::system_error& failure) {
    std::cerr << "tavo: " << file << ": " << failure.code().message() << '\n';
    return std::nullopt;
  }
}

}  // namespace tav::tool
