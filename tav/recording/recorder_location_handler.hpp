// Where the recorder's files go, as the recorder asks it: the file URLs of a new recording, the
// clean-up of a session folder that a failed start left empty, and the title of the save location.
//
// A small interface so that a host or a test can put the files elsewhere. RecordingLocationHandler is
// the implementation over a settings store; the default is its shared instance.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/url.hpp"
#include "tav/recording/recorder_configuration.hpp"

namespace tav {

/// Any thread; the calls block on the file system.
class RecorderLocationHandler {
 public:
  virtual ~RecorderLocationHandler() = default;

  /// One file URL per suffix, in order; throws what RecordingLocationHandler::getRecordingURLs throws.
  virtual std::vector<Url> getRecordingURLs(const std::optional<TavoRecorderConfiguration>& configuration,
                                            const std::vector<std::optional<std::string>>& suffixes) = 0;
  /// Removes the session folder holding `firstOutputURL` when it holds no finished recording.
  virtual void removeEmptySessionFolder(const Url& firstOutputURL) = 0;
  /// The title of the current save location ("Photo Library", ...).
  virtual std::string currentLocationTitle() = 0;
};

/// RecordingLocationHandler::shared(): the saved paths and current location of the standard store.
std::shared_ptr<RecorderLocationHandler> defaultRecorderLocationHandler();

}  // namespace tav
