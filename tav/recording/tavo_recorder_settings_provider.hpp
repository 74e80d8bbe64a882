// What the host tells the recorder about the next recording: its outputs and the encoder settings,
// and the two moments it wants to hear about.
#pragma once

#include <optional>
#include <vector>

#include "tav/contracts/media_settings.hpp"
#include "tav/recording/recording_output.hpp"

namespace tav {

/// Implemented by the host and held by it; the recorder keeps only a weak reference. The recorder
/// reads the settings on the thread that starts the recording, and calls recorderWillStart and
/// recorderDidStop on the main context.
class TavoRecorderSettingsProvider {
 public:
  virtual ~TavoRecorderSettingsProvider() = default;

  /// The video settings of the default output; absent means the writer's defaults.
  virtual std::optional<MediaSettings> videoSettings() const = 0;
  /// The audio settings of every file; absent means no audio track.
  virtual std::optional<MediaSettings> audioSettings() const = 0;
  /// The outputs of the next recording, in order; the first is the lead. By default one primary
  /// output with videoSettings() sized to the active profile.
  virtual std::vector<TavoRecorderRecordingOutput> recordingOutputs() const {
    return {TavoRecorderRecordingOutput::primaryDefault(videoSettings())};
  }
  /// Before the first file is prepared. Does nothing by default.
  virtual void recorderWillStart(const std::vector<TavoRecorderRecordingOutput>& outputs) { (void)outputs; }
  /// At the end of a failed start, of a stop, and of a recording cut short by a failed output. Does
  /// nothing by default.
  virtual void recorderDidStop() {}
};

}  // namespace tav
