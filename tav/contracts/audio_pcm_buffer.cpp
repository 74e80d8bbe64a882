#include "tav/contracts/audio_pcm_buffer.hpp"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace tav {

std::optional<AudioFormat> AudioFormat::of(const CMSampleBuffer& buffer) {
  const AudioBufferData* audio = buffer.audioData();
  if (!audio || audio->channelCount <= 0 || audio->sampleRate <= 0) return std::nullopt;
  return AudioFormat(audio->sampleRate, static_cast<std::uint32_t>(audio->channelCount), false);
}

AudioStreamBasicDescription AudioFormat::streamDescription() const {
  constexpr std::uint32_t isFloat = 1, isPacked = 8, isNonInterleaved = 32;
  AudioStreamBasicDescription description;
  description.mSampleRate = sampleRate_;
  description.mFormatFlags = isFloat | isPacked | (interleaved_ ? 0 : isNonInterleaved);
  description.mChannelsPerFrame = channelCount_;
  description.mBytesPerFrame = static_cast<std::uint32_t>(sizeof(float)) * (interleaved_ ? channelCount_ : 1);
  description.mBytesPerPacket = description.mBytesPerFrame;
  return description;
}

AudioPCMBuffer::AudioPCMBuffer(AudioFormat format, std::uint32_t frameCapacity, std::size_t perBuffer)
    : format_(format),
      frameCapacity_(frameCapacity),
      samplesPerBuffer_(perBuffer),
      samples_(perBuffer * (format.isInterleaved() ? 1 : format.channelCount()), 0.0f) {}

std::optional<AudioPCMBuffer> AudioPCMBuffer::make(const AudioFormat& format, std::uint32_t frameCapacity) {
  std::uint32_t bytesPerFrame = format.streamDescription().mBytesPerFrame;
  if (format.channelCount() == 0 || bytesPerFrame == 0) return std::nullopt;
  std::uint64_t bytesPerBuffer = std::uint64_t{bytesPerFrame} * frameCapacity;
  if (bytesPerBuffer > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return AudioPCMBuffer(format, frameCapacity, static_cast<std::size_t>(bytesPerBuffer / sizeof(float)));
}

std::optional<AudioPCMBuffer> AudioPCMBuffer::create(const CMSampleBuffer& from) {
  std::int64_t count = CMSampleBufferGetNumSamples(from);
  if (count < 1 || count > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  std::optional<AudioFormat> format = AudioFormat::of(from);
  if (!format) return std::nullopt;
  auto frames = static_cast<std::uint32_t>(count);
  std::optional<AudioPCMBuffer> buffer = make(*format, frames);
  if (!buffer) return std::nullopt;
  buffer->setFrameLength(frames);
  // The copy out of the sample buffer: every channel plane whole, or nothing when the payload holds
  // fewer frames than it claims.
  const AudioBufferData& audio = *from.audioData();
  if (audio.frameCount < count || !audio.samples) return std::nullopt;
  for (std::uint32_t c = 0; c < format->channelCount(); ++c) {
    const float* source = audio.channel(static_cast<int>(c));
    std::copy(source, source + frames, buffer->samples_.begin() + static_cast<std::ptrdiff_t>(c * buffer->samplesPerBuffer_));
  }
  return buffer;
}

void AudioPCMBuffer::setFrameLength(std::uint32_t length) {
  if (length > frameCapacity_) throw std::out_of_range("frame length above the buffer's capacity");
  frameLength_ = length;
}

std::vector<AudioPCMBuffer::AudioBuffer> AudioPCMBuffer::audioBufferList() {
  std::vector<AudioBuffer> list;
  std::uint32_t buffers = format_.isInterleaved() ? 1 : format_.channelCount();
  auto bytes = static_cast<std::uint32_t>(samplesPerBuffer_ * sizeof(float));
  for (std::uint32_t b = 0; b < buffers; ++b) {
    list.push_back({format_.isInterleaved() ? format_.channelCount() : 1, bytes, samples_.data() + b * samplesPerBuffer_});
  }
  return list;
}

const float* AudioPCMBuffer::floatChannelData(std::uint32_t channel) const {
  if (format_.isInterleaved()) return channel == 0 ? samples_.data() : nullptr;
  return channel < format_.channelCount() ? samples_.data() + channel * samplesPerBuffer_ : nullptr;
}

}  // namespace tav
