// The one error of reading JSON: what went wrong and where.
#pragma once

#include <stdexcept>
#include <string>

#include "tav/contracts/json_path.hpp"

namespace tav {

/// Thrown when a JSON document, or a value inside one, cannot be read. `what()` is
/// "<path>: <reason>", e.g. "elements[3].settings.cornerRadius: expected an integer".
class DecodingError : public std::runtime_error {
 public:
  DecodingError(const JsonPath& path, const std::string& reason)
      : DecodingError(path.toString(), reason) {}
  DecodingError(std::string path, std::string reason)
      : std::runtime_error(path + ": " + reason), path_(std::move(path)), reason_(std::move(reason)) {}

  /// The JSON path of the value that failed, "(document)" for the whole document.
  const std::string& path() const { return path_; }
  const std::string& reason() const { return reason_; }

 private:
  std::string path_;
  std::string reason_;
};

}  // namespace tav
