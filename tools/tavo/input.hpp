// Reading a command's input document: a file, or standard input for "-" or no file.
#pragma once

#include <optional>
#include <string>

namespace tav::tool {

struct Input {
  /// How messages name the input: the path, or "(standard input)".
  std::string displayName;
  std::string text;
};

/// Reads the whole input. A named input must be a regular file: a directory, FIFO, device or socket
/// is refused without being opened for reading. On failure prints "tavo: <file>: <reason>" to
/// standard error and returns absent; the caller exits with kNoInput.
std::optional<Input> readInput(const std::string& file);

}  // namespace tav::tool
