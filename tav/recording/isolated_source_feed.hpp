// The usual way a host hands one source's buffers to the isolated recording: the fast path while the
// source has its file, the full path (which makes the file) otherwise, from a fixed description of the
// source.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/media_settings.hpp"
#include "tav/recording/isolated_recording_coordinator.hpp"
#include "tav/recording/isolated_source_type.hpp"

namespace tav {

/// What the coordinator asks of a source when it makes its file. A plain value.
struct IsolatedSourceDescription {
  std::string sourceID;
  std::string displayName;
  std::optional<IsolatedSourceType> sourceType;
  /// Whether the source has video: its audio then shares the video's file (with `sharedWithVideo`).
  bool isVideoSource = true;
  IsolatedAudioStem audioStem = IsolatedAudioStem::sharedWithVideo;
  /// The audio track of the video's file; absent for a file without audio.
  std::optional<MediaSettings> audioSettings;
  CMTime audioTimeOffset = kCMTimeZero;
};

/// appendVideo, and consumeVideo when the source has no writer yet. Same threading as those.
void feedIsolatedVideo(IsolatedRecordingCoordinator& coordinator, const IsolatedSourceDescription& source,
                       const CMSampleBuffer& sampleBuffer, bool isInPauseTransition = false, bool isGenerated = false);
/// appendAudio, and consumeAudio when the source has no writer for its audio yet.
void feedIsolatedAudio(IsolatedRecordingCoordinator& coordinator, const IsolatedSourceDescription& source,
                       const CMSampleBuffer& sampleBuffer, bool isInPauseTransition = false);

}  // namespace tav
