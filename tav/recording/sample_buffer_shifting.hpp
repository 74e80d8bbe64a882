// Moving a sample buffer along the timeline: the one step that both the composed recorder (pauses cut
// out) and the isolated recording (source clocks mapped onto the host clock) take on every buffer.
#pragma once

#include <optional>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"

namespace tav {

/// A copy of `buffer` sharing its payload, with every timing entry's valid presentation and decode
/// timestamps moved by `offset`; durations and invalid timestamps stay as they are. Absent when the
/// buffer has no timing entries or the copy with the new timing is refused.
std::optional<CMSampleBuffer> shiftingTimestamps(const CMSampleBuffer& buffer, CMTime offset);

}  // namespace tav
