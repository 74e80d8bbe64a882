#include "record_test_pattern.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>

#include <fmt/format.h>

namespace tav::tool {
namespace {

constexpr std::uint8_t kTextLuma = 235;
constexpr std::uint8_t kBoxLuma = 16;

/// A 3-by-5 glyph, one row of three bits per entry (left pixel is the high bit).
std::array<std::uint8_t, 5> glyph(char c) {
  switch (c) {
    case '0': return {7, 5, 5, 5, 7};
    case '1': return {2, 6, 2, 2, 7};
    case '2': return {7, 1, 7, 4, 7};
    case '3': return {7, 1, 7, 1, 7};
    case '4': return {5, 5, 7, 1, 1};
    case '5': return {7, 4, 7, 1, 7};
    case '6': return {7, 4, 7, 5, 7};
    case '7': return {7, 1, 1, 1, 1};
    case '8': return {7, 5, 7, 5, 7};
    case '9': return {7, 5, 7, 1, 7};
    case ':': return {0, 2, 0, 2, 0};
    case '.': return {0, 0, 0, 0, 2};
    default: return {0, 0, 0, 0, 0};
  }
}

/// Writes `text` into the luma plane at (x0, y0) on a dark box, each glyph pixel `scale` pixels wide.
void burnIn(std::uint8_t* luma, int width, int height, int x0, int y0, int scale, const std::string& text) {
  const int boxWidth = (static_cast<int>(text.size()) * 4 + 1) * scale;
  const int boxHeight = 7 * scale;
  for (int y = y0; y < std::min(height, y0 + boxHeight); ++y) {
    std::memset(luma + static_cast<std::ptrdiff_t>(y) * width + x0, kBoxLuma,
                static_cast<std::size_t>(std::max(0, std::min(boxWidth, width - x0))));
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto rows = glyph(text[i]);
    const int gx = x0 + (static_cast<int>(i) * 4 + 1) * scale;
    for (int row = 0; row < 5; ++row) {
      for (int column = 0; column < 3; ++column) {
        if ((rows[static_cast<std::size_t>(row)] & (4 >> column)) == 0) continue;
        for (int dy = 0; dy < scale; ++dy) {
          const int y = y0 + (row + 1) * scale + dy;
          const int xStart = gx + column * scale;
          if (y >= height || xStart >= width) continue;
          std::memset(luma + static_cast<std::ptrdiff_t>(y) * width + xStart, kTextLuma,
                      static_cast<std::size_t>(std::min(scale, width - xStart)));
        }
      }
    }
  }
}

/// "MM:SS.mmm" of a time in seconds.
std::string clockText(double seconds) {
  const auto millis = static_cast<std::int64_t>(std::llround(std::max(0.0, seconds) * 1000));
  return fmt::format("{:02}:{:02}.{:03}", millis / 60000, (millis / 1000) % 60, millis % 1000);
}

}  // namespace

CMSampleBuffer TestPatternRenderer::renderVideo(CanvasRole role, std::int64_t frameIndex, CMTime time) {
  const CanvasSize size = role == CanvasRole::primary ? primary_ : secondary_;
  const int w = size.width;
  const int h = size.height;
  const std::size_t bytes = VideoFrame::packedSize(PixelFormat::yuv420p, w, h);
  std::shared_ptr<std::uint8_t> data(new std::uint8_t[bytes], std::default_delete<std::uint8_t[]>());
  std::uint8_t* luma = data.get();
  std::uint8_t* cb = luma + static_cast<std::ptrdiff_t>(w) * h;
  std::uint8_t* cr = cb + static_cast<std::ptrdiff_t>(w / 2) * (h / 2);

  // Diagonal stripes drifting right, and a bright bar sweeping across once every four seconds.
  const auto drift = static_cast<int>(frameIndex * 4);
  const int barWidth = std::max(2, w / 24);
  const int barX = static_cast<int>((frameIndex * w / 120) % w);
  for (int y = 0; y < h; ++y) {
    std::uint8_t* row = luma + static_cast<std::ptrdiff_t>(y) * w;
    for (int x = 0; x < w; ++x) row[x] = static_cast<std::uint8_t>(48 + ((x + y + drift) & 0x7f));
    std::memset(row + barX, 225, static_cast<std::size_t>(std::min(barWidth, w - barX)));
  }
  const int hueShift = role == CanvasRole::primary ? 0 : 64;
  for (int y = 0; y < h / 2; ++y) {
    for (int x = 0; x < w / 2; ++x) {
      cb[static_cast<std::ptrdiff_t>(y) * (w / 2) + x] = static_cast<std::uint8_t>(64 + (x * 128 / std::max(1, w / 2) + hueShift) % 128);
      cr[static_cast<std::ptrdiff_t>(y) * (w / 2) + x] = static_cast<std::uint8_t>(64 + (y * 128 / std::max(1, h / 2)));
    }
  }
  const int scale = std::max(2, std::min(w, h) / 90);
  burnIn(luma, w, h, scale * 2, scale * 2, scale, fmt::format("{:06} {}", frameIndex, clockText(time.seconds())));

  std::shared_ptr<const std::uint8_t> shared = data;
  return CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::yuv420p, w, h, shared), time);
}

CMSampleBuffer TestPatternRenderer::renderAudio(std::int64_t firstSample, int frameCount, CMTime time) {
  constexpr int channels = 2;
  constexpr double twoPi = 6.283185307179586;
  const std::size_t count = static_cast<std::size_t>(channels) * static_cast<std::size_t>(frameCount);
  std::shared_ptr<float> samples(new float[count], std::default_delete<float[]>());
  for (int i = 0; i < frameCount; ++i) {
    const std::int64_t n = firstSample + i;
    const double t = static_cast<double>(n) / sampleRate_;
    // A quiet 440 Hz tone, and a 1 kHz beep in the first tenth of every second.
    double value = 0.1 * std::sin(twoPi * 440.0 * t);
    if (n % sampleRate_ < sampleRate_ / 10) value += 0.3 * std::sin(twoPi * 1000.0 * t);
    for (int c = 0; c < channels; ++c) {
      samples.get()[static_cast<std::size_t>(c) * static_cast<std::size_t>(frameCount) + static_cast<std::size_t>(i)] =
          static_cast<float>(value);
    }
  }
  std::shared_ptr<const float> shared = samples;
  return CMSampleBuffer::audio(AudioBufferData{channels, sampleRate_, frameCount, shared}, time);
}

}  // namespace tav::tool
