// CMTimeRange: a span of media time by its start and duration, as a reader is told which part of a
// file to read.
#pragma once

#include "tav/contracts/cm_time.hpp"

namespace tav {

/// [start, start + duration). A duration that is not numeric (infinite, or a sum that overflowed)
/// reaches the end of whatever is read.
struct CMTimeRange {
  CMTime start = kCMTimeZero;
  CMTime duration = kCMTimePositiveInfinity;

  /// start + duration; +infinity when the duration is not numeric.
  CMTime end() const {
    if (!duration.isNumeric()) return kCMTimePositiveInfinity;
    const CMTime sum = start + duration;
    return sum.isNumeric() ? sum : kCMTimePositiveInfinity;
  }
  friend bool operator==(const CMTimeRange&, const CMTimeRange&) = default;
};

/// The range [start, start + duration).
inline CMTimeRange CMTimeRangeMake(CMTime start, CMTime duration) { return CMTimeRange{start, duration}; }

/// The range from `start` to `end`.
inline CMTimeRange CMTimeRangeFromTimeToTime(CMTime start, CMTime end) { return CMTimeRange{start, end - start}; }

/// `time` held inside [range.start, range.end()].
inline CMTime CMTimeClampToRange(CMTime time, const CMTimeRange& range) {
  return CMTimeClamp(time, range.start, range.end());
}

}  // namespace tav
