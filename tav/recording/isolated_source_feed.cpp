#include "tav/recording/isolated_source_feed.hpp"

namespace tav {

void feedIsolatedVideo(IsolatedRecordingCoordinator& coordinator, const IsolatedSourceDescription& source,
                       const CMSampleBuffer& sampleBuffer, bool isInPauseTransition, bool isGenerated) {
  if (coordinator.appendVideo(sampleBuffer, source.sourceID, isInPauseTransition, isGenerated)) return;
  coordinator.consumeVideo(
      sampleBuffer, source.sourceID, [&] { return source.displayName; }, [&] { return source.sourceType; },
      [&] { return source.audioSettings; }, [&] { return source.audioTimeOffset; }, isInPauseTransition, isGenerated);
}

void feedIsolatedAudio(IsolatedRecordingCoordinator& coordinator, const IsolatedSourceDescription& source,
                       const CMSampleBuffer& sampleBuffer, bool isInPauseTransition) {
  if (coordinator.appendAudio(sampleBuffer, source.sourceID, source.audioStem, isInPauseTransition)) return;
  coordinator.consumeAudio(
      sampleBuffer, source.sourceID, [&] { return source.displayName; }, [&] { return source.sourceType; },
      [&] { return source.isVideoSource; }, source.audioStem, [&] { return source.audioTimeOffset; },
      isInPauseTransition);
}

}  // namespace tav
