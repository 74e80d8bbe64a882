// PCM audio outside a sample buffer: a format (rate, channels, layout of 32-bit float samples) and a
// buffer of frames in that format, as the audio paths hand audio to a host's mixer or player. Every
// format of this library is 32-bit float; only the channel layout varies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tav/contracts/cm_sample_buffer.hpp"

namespace tav {

/// The platform's stream description of linear PCM, for code that reasons in bytes.
struct AudioStreamBasicDescription {
  double mSampleRate = 0;
  std::uint32_t mFormatID = 0x6C70636D;  // 'lpcm'
  std::uint32_t mFormatFlags = 0;
  std::uint32_t mBytesPerPacket = 0;
  std::uint32_t mFramesPerPacket = 1;
  /// Bytes of one frame in one buffer: one sample when non-interleaved, one per channel when interleaved.
  std::uint32_t mBytesPerFrame = 0;
  std::uint32_t mChannelsPerFrame = 0;
  std::uint32_t mBitsPerChannel = 32;
  friend bool operator==(const AudioStreamBasicDescription&, const AudioStreamBasicDescription&) = default;
};

/// 32-bit float PCM at a sample rate with a channel count, interleaved in one buffer or one buffer per
/// channel (the standard layout).
class AudioFormat {
 public:
  AudioFormat(double sampleRate, std::uint32_t channelCount, bool interleaved = false)
      : sampleRate_(sampleRate), channelCount_(channelCount), interleaved_(interleaved) {}

  /// The format of a sample buffer's PCM; absent for a buffer that holds no audio.
  static std::optional<AudioFormat> of(const CMSampleBuffer& buffer);

  double sampleRate() const { return sampleRate_; }
  std::uint32_t channelCount() const { return channelCount_; }
  bool isInterleaved() const { return interleaved_; }
  AudioStreamBasicDescription streamDescription() const;

  friend bool operator==(const AudioFormat&, const AudioFormat&) = default;

 private:
  double sampleRate_;
  std::uint32_t channelCount_;
  bool interleaved_;
};

/// Frames of PCM in an AudioFormat, owned by the buffer: `frameCapacity` frames of room, of which the
/// first `frameLength` hold audio. A plain value; copying copies the samples.
class AudioPCMBuffer {
 public:
  /// One buffer of the audio buffer list: a channel (non-interleaved) or all channels (interleaved).
  struct AudioBuffer {
    std::uint32_t mNumberChannels = 0;
    /// The bytes of `frameCapacity` frames.
    std::uint32_t mDataByteSize = 0;
    float* mData = nullptr;
  };

  /// A silent buffer of `frameCapacity` frames with a frame length of 0. Absent when the format has no
  /// channels or bytes, or the buffer would pass 4 GiB per audio buffer.
  static std::optional<AudioPCMBuffer> make(const AudioFormat& format, std::uint32_t frameCapacity);

  /// A buffer of the sample buffer's audio: its format, its sample count as capacity and length, and its
  /// samples copied in. Absent for a count below 1, a buffer without audio, or a failed copy.
  static std::optional<AudioPCMBuffer> create(const CMSampleBuffer& from);

  const AudioFormat& format() const { return format_; }
  std::uint32_t frameCapacity() const { return frameCapacity_; }
  std::uint32_t frameLength() const { return frameLength_; }
  /// Sets how many frames hold audio. A length above the capacity is a caller error (std::out_of_range).
  void setFrameLength(std::uint32_t length);

  /// The buffers of the list, in channel order (one buffer when interleaved). Pointers stay valid until
  /// this buffer is moved or destroyed.
  std::vector<AudioBuffer> audioBufferList();
  /// The samples of `channel` (non-interleaved), or of all channels interleaved when `channel` is 0 of an
  /// interleaved format.
  const float* floatChannelData(std::uint32_t channel) const;

 private:
  AudioPCMBuffer(AudioFormat format, std::uint32_t frameCapacity, std::size_t perBuffer);

  AudioFormat format_;
  std::uint32_t frameCapacity_;
  std::uint32_t frameLength_ = 0;
  std::size_t samplesPerBuffer_;
  std::vector<float> samples_;
};

}  // namespace tav
