#include "tav/recording/sample_buffer_shifting.hpp"

#include <vector>

namespace tav {

std::optional<CMSampleBuffer> shiftingTimestamps(const CMSampleBuffer& buffer, CMTime offset) {
  std::optional<std::vector<CMSampleTimingInfo>> timings = CMSampleBufferGetSampleTimingInfoArray(buffer);
  if (!timings || timings->empty()) return std::nullopt;
  for (CMSampleTimingInfo& timing : *timings) {
    if (timing.presentationTimeStamp.isValid()) timing.presentationTimeStamp = timing.presentationTimeStamp + offset;
    if (timing.decodeTimeStamp.isValid()) timing.decodeTimeStamp = timing.decodeTimeStamp + offset;
  }
  return CMSampleBufferCreateCopyWithNewTiming(buffer, *timings);
}

}  // namespace tav
