// One output of a composed recording: which canvas it records, how its file name ends, and the
// encoder settings of its video.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/media_settings.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

class ProfileManager;

/// A plain value, known to the recorder as TavoRecorder::RecordingOutput.
struct TavoRecorderRecordingOutput {
  CanvasRole role = CanvasRole::primary;
  /// Appended to the file name's stem ("Recording Vertical.mov"); absent counts as empty.
  std::optional<std::string> fileNameSuffix;
  MediaSettings videoSettings;

  TavoRecorderRecordingOutput() = default;
  TavoRecorderRecordingOutput(CanvasRole role_, std::optional<std::string> fileNameSuffix_, MediaSettings videoSettings_)
      : role(role_), fileNameSuffix(std::move(fileNameSuffix_)), videoSettings(std::move(videoSettings_)) {}

  /// The primary canvas with no suffix: `videoSettings`, or TavoWriter::defaultVideoSettings() when
  /// none are given, with the width and height replaced by the active profile's resolution (of
  /// `profileManager`, the shared manager when none is given). Reads the user defaults; any thread.
  static TavoRecorderRecordingOutput primaryDefault(const std::optional<MediaSettings>& videoSettings,
                                                    const ProfileManager* profileManager = nullptr);

  friend bool operator==(const TavoRecorderRecordingOutput&, const TavoRecorderRecordingOutput&) = default;
};

}  // namespace tav
