// What the caller of a recording may say about where its files go.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/url.hpp"

namespace tav {

/// A plain value; both fields may be absent, and a caller may pass no configuration at all. The
/// recorder knows it as TavoRecorder::Configuration. How the two fields become file URLs is the
/// business of RecordingLocationHandler.
struct TavoRecorderConfiguration {
  /// A file name to place in the saved recording folder.
  std::optional<std::string> fileName;
  /// The exact file to write; its parent directory must exist.
  std::optional<Url> outputURL;

  friend bool operator==(const TavoRecorderConfiguration&, const TavoRecorderConfiguration&) = default;
};

}  // namespace tav
