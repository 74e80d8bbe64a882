#include "tav/playback/video_file_chunks.hpp"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

namespace tav {

VideoFileChunkPlan planReverseChunk(CMTime playhead, const std::vector<CMTime>& gopBoundaries,
                                    CMTime maxChunkDuration) {
  CMTime boundary = kCMTimeZero;
  for (const CMTime& time : gopBoundaries) {
    if (!(time < playhead)) break;
    boundary = time;
  }
  const CMTime window = playhead - maxChunkDuration;
  const CMTime start = window >= boundary ? window : boundary;
  const CMTime chunkStart = (start - boundary) < maxChunkDuration ? boundary : start;
  return VideoFileChunkPlan{CMTimeRangeFromTimeToTime(chunkStart, playhead), chunkStart};
}

std::vector<CMTime> scanSyncSamples(const Asset& asset) {
  const std::vector<CMTime> justZero{kCMTimeZero};
  const std::vector<AssetTrack> tracks = asset.tracksWithMediaType(MediaStreamType::video());
  if (tracks.empty()) return justZero;
  std::unique_ptr<AssetReader> reader;
  try {
    reader = asset.makeReader();
  } catch (const std::exception&) {
    return justZero;
  }
  std::shared_ptr<AssetReaderOutput> output = reader->makeTrackOutput(tracks.front(), std::nullopt);
  if (!output || !reader->canAddOutput(*output)) return justZero;
  reader->addOutput(output);
  if (!reader->startReading()) return justZero;
  std::vector<CMTime> times;
  while (std::optional<CMSampleBuffer> sample = output->copyNextSampleBuffer()) {
    const CMTime presentation = CMSampleBufferGetPresentationTimeStamp(*sample);
    const CMTime decode = CMSampleBufferGetDecodeTimeStamp(*sample);
    if (!presentation.isNumeric() || !decode.isNumeric()) continue;
    if (sample->attachments().notSync) continue;
    times.push_back(presentation);
  }
  if (reader->status() == AssetReaderStatus::failed) return justZero;
  // A damaged or unusual file can store sync samples out of order or before zero (an edit list that
  // cuts into the first group); the reverse planner needs ascending boundaries that start at zero.
  std::sort(times.begin(), times.end());
  if (times.empty()) return justZero;
  for (CMTime& time : times) {
    if (time < kCMTimeZero) time = kCMTimeZero;
  }
  times.front() = kCMTimeZero;
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

std::optional<CMSampleBuffer> orientedSampleBuffer(const CMSampleBuffer& buffer, ImageOrientation orientation) {
  const VideoFrame* frame = buffer.videoFrame();
  if (frame == nullptr) return std::nullopt;
  std::optional<VideoFrame> turned = orientedFrame(*frame, orientation);
  if (!turned) return std::nullopt;
  const CMSampleTimingInfo timing{CMSampleBufferGetDuration(buffer), CMSampleBufferGetPresentationTimeStamp(buffer),
                                  CMSampleBufferGetDecodeTimeStamp(buffer)};
  CMSampleBuffer made = CMSampleBuffer::videoFrame(std::move(*turned), timing.presentationTimeStamp, timing.duration);
  std::optional<CMSampleBuffer> timed = CMSampleBufferCreateCopyWithNewTiming(made, {timing});
  if (!timed) return std::nullopt;
  timed->setAttachments(buffer.attachments());
  return timed;
}

std::vector<CMSampleBuffer> decodeReverseChunk(const Asset& asset, const CMTimeRange& range,
                                               ImageOrientation orientation, const std::atomic<bool>& abandoned) {
  const std::vector<AssetTrack> tracks = asset.tracksWithMediaType(MediaStreamType::video());
  if (tracks.empty()) return {};
  std::unique_ptr<AssetReader> reader;
  try {
    reader = asset.makeReader();
  } catch (const std::exception&) {
    return {};
  }
  MediaSettings settings;
  settings[kCVPixelBufferPixelFormatTypeKey] = kCVPixelFormatType_32BGRA;
  settings[kCVPixelBufferIOSurfacePropertiesKey] = JsonObject();
  std::shared_ptr<AssetReaderOutput> output = reader->makeTrackOutput(tracks.front(), settings);
  if (!output || !reader->canAddOutput(*output)) return {};
  reader->addOutput(output);
  reader->setTimeRange(range);
  if (!reader->startReading()) return {};
  std::vector<CMSampleBuffer> buffers;
  while (!abandoned.load(std::memory_order_relaxed)) {
    std::optional<CMSampleBuffer> buffer = output->copyNextSampleBuffer();
    if (!buffer) break;
    if (orientation == ImageOrientation::up) {
      buffers.push_back(std::move(*buffer));
      continue;
    }
    // A track output gives pictures as stored; they are turned here to stand as the forward ones do.
    std::optional<CMSampleBuffer> baked = orientedSampleBuffer(*buffer, orientation);
    buffers.push_back(baked ? std::move(*baked) : std::move(*buffer));
  }
  if (reader->status() == AssetReaderStatus::failed) return {};
  return buffers;
}

}  // namespace tav
