// Reading helpers of reverse video playback: the scan for a file's sync samples, the plan of which
// span to decode next when running backwards, and the decode of such a span into frames shown upright.
// They work on the Asset contract alone and hold no state, so a second queue can run them on copies.
#pragma once

#include <atomic>
#include <vector>

#include "tav/contracts/asset.hpp"
#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/cm_time_range.hpp"
#include "tav/contracts/image_orientation.hpp"

namespace tav {

/// The span to decode for a reverse playhead, and where the playhead goes once it has played.
struct VideoFileChunkPlan {
  CMTimeRange timeRange;
  CMTime nextPlayhead = kCMTimeZero;
  friend bool operator==(const VideoFileChunkPlan&, const VideoFileChunkPlan&) = default;
};

/// The chunk that ends at `playhead`. With b the last boundary below the playhead (zero when none),
/// w = playhead - maxChunkDuration and s = max(w, b): the chunk starts at b when s - b is under
/// maxChunkDuration, else at s. So it starts on a sync sample whenever one lies less than twice the
/// maximum before the playhead, and is otherwise a span of the maximum ending at the playhead.
/// `gopBoundaries` ascend.
VideoFileChunkPlan planReverseChunk(CMTime playhead, const std::vector<CMTime>& gopBoundaries,
                                    CMTime maxChunkDuration);

/// Presentation times of the sync samples of `asset`'s first video track, read without decoding,
/// ascending and without repeats. Samples without numeric presentation and decode times are skipped.
/// The first time is always zero: the first group is taken to start there, whether its sync sample lies
/// after zero or before it. The result is just zero when there is no video track, on any failure, or
/// when nothing was found.
std::vector<CMTime> scanSyncSamples(const Asset& asset);

/// The frames of `range` of `asset`'s first video track, decoded, in presentation order, each turned
/// by `orientation` (a frame that cannot be turned is kept as read). Empty on any failure. Stops early,
/// returning what it has, once `abandoned` is set (the caller has lost interest).
std::vector<CMSampleBuffer> decodeReverseChunk(const Asset& asset, const CMTimeRange& range,
                                               ImageOrientation orientation, const std::atomic<bool>& abandoned);

/// `buffer`'s frame turned by `orientation`, keeping its duration, presentation and decode times and
/// attachments; absent when the frame cannot be turned.
std::optional<CMSampleBuffer> orientedSampleBuffer(const CMSampleBuffer& buffer, ImageOrientation orientation);

}  // namespace tav
