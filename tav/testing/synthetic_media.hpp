// Synthetic video frames and audio buffers for tests and benchmarks: a moving gradient (so the encoder
// has real work) and a sine tone, timed on exact frame and sample grids.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/media_settings.hpp"

namespace tav::testing {

/// A frame of `format` whose content moves with `index`; presented at index / fps.
inline CMSampleBuffer syntheticVideoFrame(PixelFormat format, int width, int height, std::int64_t index,
                                          std::int32_t fps = 30, CMTime origin = kCMTimeZero) {
  const std::size_t size = VideoFrame::packedSize(format, width, height);
  std::shared_ptr<std::uint8_t> data(new std::uint8_t[size], std::default_delete<std::uint8_t[]>());
  std::uint8_t* bytes = data.get();
  const auto shift = static_cast<int>(index * 4);
  if (format == PixelFormat::bgra) {
    for (int y = 0; y < height; ++y) {
      std::uint8_t* row = bytes + static_cast<std::ptrdiff_t>(y) * width * 4;
      for (int x = 0; x < width; ++x) {
        row[4 * x + 0] = static_cast<std::uint8_t>(x + shift);
        row[4 * x + 1] = static_cast<std::uint8_t>(y);
        row[4 * x + 2] = static_cast<std::uint8_t>(x + y);
        row[4 * x + 3] = 255;
      }
    }
  } else {
    for (int y = 0; y < height; ++y) {
      std::uint8_t* row = bytes + static_cast<std::ptrdiff_t>(y) * width;
      for (int x = 0; x < width; ++x) row[x] = static_cast<std::uint8_t>(x + y + shift);
    }
    const std::size_t luma = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::memset(bytes + luma, 128, size - luma);
  }
  std::shared_ptr<const std::uint8_t> shared = data;
  const CMTime pts = origin + CMTime::make(index, fps);
  return CMSampleBuffer::videoFrame(VideoFrame::packed(format, width, height, shared), pts, CMTime::make(1, fps));
}

/// `frames` samples of a 440 Hz tone on every channel, starting at sample `firstSample`.
inline CMSampleBuffer syntheticAudio(int channels, std::int32_t sampleRate, int frames, std::int64_t firstSample,
                                     CMTime origin = kCMTimeZero) {
  const std::size_t count = static_cast<std::size_t>(channels) * static_cast<std::size_t>(frames);
  std::shared_ptr<float> data(new float[count], std::default_delete<float[]>());
  for (int c = 0; c < channels; ++c) {
    for (int i = 0; i < frames; ++i) {
      const double t = static_cast<double>(firstSample + i) / sampleRate;
      data.get()[static_cast<std::size_t>(c) * static_cast<std::size_t>(frames) + static_cast<std::size_t>(i)] =
          static_cast<float>(0.25 * std::sin(2.0 * 3.141592653589793 * 440.0 * t));
    }
  }
  std::shared_ptr<const float> shared = data;
  return CMSampleBuffer::audio(AudioBufferData{channels, sampleRate, frames, shared},
                               origin + CMTime::make(firstSample, sampleRate));
}

/// Audio settings of an AAC track: 48 kHz stereo at 128 kbit/s.
inline MediaSettings stereoAudio() {
  MediaSettings settings;
  settings[AVFormatIDKey] = kAudioFormatMPEG4AAC;
  settings[AVSampleRateKey] = 48000;
  settings[AVNumberOfChannelsKey] = 2;
  settings[AVEncoderBitRateKey] = 128000;
  return settings;
}

}  // namespace tav::testing
