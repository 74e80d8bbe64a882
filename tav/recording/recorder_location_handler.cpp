#include "tav/recording/recorder_location_handler.hpp"

#include "tav/recording/recording_location_handler.hpp"

namespace tav {

std::shared_ptr<RecorderLocationHandler> defaultRecorderLocationHandler() {
  // The shared handler lives as long as the process; the pointer does not own it.
  return std::shared_ptr<RecorderLocationHandler>(std::shared_ptr<void>(), &RecordingLocationHandler::shared());
}

}  // namespace tav
