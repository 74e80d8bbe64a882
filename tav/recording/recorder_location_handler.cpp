#include "tav/recording/recorder_location_handler.hpp"

#include "tav/recording/recording_location.hpp"
#include "tav/recording/recording_location_handler.hpp"

namespace tav {
namespace {

class StandardRecorderLocationHandler final : public RecorderLocationHandler {
 public:
  std::vector<Url> getRecordingURLs(const std::optional<TavoRecorderConfiguration>& configuration,
                                    const std::vector<std::optional<std::string>>& suffixes) override {
    return RecordingLocationHandler::getRecordingURLs(configuration, suffixes);
  }
  void removeEmptySessionFolder(const Url& firstOutputURL) override {
    RecordingLocationHandler::removeEmptySessionFolder(firstOutputURL);
  }
  std::string currentLocationTitle() override { return RecordingLocation::current().get().title(); }
};

}  // namespace

std::shared_ptr<RecorderLocationHandler> defaultRecorderLocationHandler() {
  static const auto handler = std::make_shared<StandardRecorderLocationHandler>();
  return handler;
}

}  // namespace tav
