// CMSampleBuffer: one timed media sample (a video frame or a run of PCM audio) as the host hands it to
// the recording and playback paths. A handle to an immutable payload: copying it copies a pointer, and
// the pixel or sample memory is shared, never duplicated, from the host to the encoder.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tav/contracts/cm_time.hpp"

namespace tav {

enum class PixelFormat {
  nv12,     ///< 8-bit luma plane, then one interleaved Cb/Cr plane at half resolution
  yuv420p,  ///< 8-bit luma, Cb and Cr planes, chroma at half resolution
  bgra,     ///< one plane of 8-bit B, G, R, A
};

/// A picture in memory: up to three planes with their strides in bytes. `storage` keeps the planes
/// alive; `planes` point into it (or into whatever it owns).
struct VideoFrame {
  PixelFormat pixelFormat = PixelFormat::nv12;
  int width = 0;
  int height = 0;
  std::array<const std::uint8_t*, 3> planes{};
  std::array<int, 3> strides{};
  int planeCount = 0;
  std::shared_ptr<const void> storage;

  /// Bytes a tightly packed picture of this format and size takes (planes one after another).
  static std::size_t packedSize(PixelFormat format, int width, int height);
  /// A frame over tightly packed planes in `data`, which must hold at least `packedSize` bytes; the
  /// frame shares `data`, it does not copy it.
  static VideoFrame packed(PixelFormat format, int width, int height, std::shared_ptr<const std::uint8_t> data);
};

/// PCM audio: 32-bit float, non-interleaved; channel c's `frameCount` samples start at
/// `samples.get() + c * frameCount` in one shared buffer.
struct AudioBufferData {
  int channelCount = 0;
  std::int32_t sampleRate = 0;
  int frameCount = 0;
  std::shared_ptr<const float> samples;

  const float* channel(int index) const {
    return samples.get() + static_cast<std::ptrdiff_t>(index) * frameCount;
  }
};

/// The compressed bytes of one sample as a file holds it, handed on without decoding (a passthrough
/// read). `bytes` keeps them alive.
struct CompressedSampleData {
  std::shared_ptr<const std::uint8_t> bytes;
  std::size_t size = 0;
};

/// The per-sample flags the platform keeps as sample attachments, of which playback uses two:
/// `notSync` (the sample is not a sync sample, so decoding cannot start at it) and
/// `displayImmediately` (show the frame as soon as it arrives, ignoring its time).
struct CMSampleAttachments {
  bool notSync = false;
  bool displayImmediately = false;
  friend bool operator==(const CMSampleAttachments&, const CMSampleAttachments&) = default;
};

struct CMSampleTimingInfo {
  CMTime duration = kCMTimeInvalid;
  CMTime presentationTimeStamp = kCMTimeInvalid;
  CMTime decodeTimeStamp = kCMTimeInvalid;
  friend bool operator==(const CMSampleTimingInfo&, const CMSampleTimingInfo&) = default;
};

/// A handle; the default-constructed one is empty (holds no sample) and every accessor treats it as a
/// buffer without timing or payload. Safe to copy and read from any thread.
class CMSampleBuffer {
 public:
  CMSampleBuffer() = default;

  /// One video frame presented at `presentationTimeStamp` for `duration` (invalid when unknown).
  static CMSampleBuffer videoFrame(VideoFrame frame, CMTime presentationTimeStamp, CMTime duration = kCMTimeInvalid);
  /// `data.frameCount` audio samples from `presentationTimeStamp`, one timing entry whose duration is
  /// one sample (1 / sampleRate), so the buffer's duration is frameCount / sampleRate.
  static CMSampleBuffer audio(AudioBufferData data, CMTime presentationTimeStamp);
  /// One compressed sample with its timing (a passthrough read).
  static CMSampleBuffer compressedSample(CompressedSampleData data, CMSampleTimingInfo timing);

  bool isEmpty() const { return _payload == nullptr; }
  const VideoFrame* videoFrame() const;
  const AudioBufferData* audioData() const;
  const CompressedSampleData* compressedData() const;
  /// The attachments of this handle. They belong to the handle, not to the shared payload: copies
  /// made before a change keep what they had.
  const CMSampleAttachments& attachments() const { return _attachments; }
  void setAttachments(CMSampleAttachments attachments) { _attachments = attachments; }
  const std::vector<CMSampleTimingInfo>& timings() const;
  std::int64_t numSamples() const;

 private:
  struct Payload;
  explicit CMSampleBuffer(std::shared_ptr<const Payload> payload) : _payload(std::move(payload)) {}
  friend std::optional<CMSampleBuffer> CMSampleBufferCreateCopyWithNewTiming(
      const CMSampleBuffer&, const std::vector<CMSampleTimingInfo>&);

  std::shared_ptr<const Payload> _payload;
  CMSampleAttachments _attachments;
};

/// The first sample's presentation time; invalid for a buffer without timing.
CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBuffer& buffer);
/// The first sample's decode time; invalid when not given (the usual case for uncompressed media).
CMTime CMSampleBufferGetDecodeTimeStamp(const CMSampleBuffer& buffer);
/// The whole buffer's duration: one entry's duration times the sample count when a single entry covers
/// every sample, else the sum of the entries; invalid when any entry's duration is invalid or none exist.
CMTime CMSampleBufferGetDuration(const CMSampleBuffer& buffer);
std::int64_t CMSampleBufferGetNumSamples(const CMSampleBuffer& buffer);
/// The timing entries; absent (the platform's failure) for an empty buffer or one without timing.
std::optional<std::vector<CMSampleTimingInfo>> CMSampleBufferGetSampleTimingInfoArray(const CMSampleBuffer& buffer);
/// A copy sharing the payload and timing.
CMSampleBuffer CMSampleBufferCreateCopy(const CMSampleBuffer& buffer);
/// A copy sharing the payload and attachments with `timings` in place of the original's. Refused (absent) when the count
/// of entries is neither 1 nor the buffer's sample count, or the buffer is empty.
std::optional<CMSampleBuffer> CMSampleBufferCreateCopyWithNewTiming(const CMSampleBuffer& buffer,
                                                                    const std::vector<CMSampleTimingInfo>& timings);

}  // namespace tav
