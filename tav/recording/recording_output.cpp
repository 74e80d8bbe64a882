#include "tav/recording/recording_output.hpp"

#include "tav/profiles/profile_manager.hpp"
#include "tav/recording/tavo_writer.hpp"

namespace tav {

TavoRecorderRecordingOutput TavoRecorderRecordingOutput::primaryDefault(const std::optional<MediaSettings>& videoSettings,
                                                                        const ProfileManager* profileManager) {
  MediaSettings settings = videoSettings ? *videoSettings : TavoWriter::defaultVideoSettings();
  const Profile::Resolution size =
      (profileManager != nullptr ? *profileManager : ProfileManager::shared()).activeProfile().resolution;
  settings[AVVideoWidthKey] = size.width;
  settings[AVVideoHeightKey] = size.height;
  return TavoRecorderRecordingOutput(CanvasRole::primary, std::nullopt, std::move(settings));
}

}  // namespace tav
