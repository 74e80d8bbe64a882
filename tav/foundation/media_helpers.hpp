// Small media questions and conversions: whether image bytes are an animated GIF, and PCM audio from
// raw bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tav/contracts/audio_pcm_buffer.hpp"
#include "tav/contracts/image_source.hpp"

namespace tav {

/// True when the source is a GIF that holds more than one image.
bool isAnimatedGIF(const ImageSource& source);
/// isAnimatedGIF of an image source made from `data`; false when no source can be made. Needs the
/// platform library, which makes the source.
bool isAnimatedGIF(std::span<const std::uint8_t> data);

/// A buffer of `format` holding `data`: its capacity and length are the bytes divided by the format's
/// bytes per frame, and the bytes fill the first buffer of its list (the first channel of a
/// non-interleaved format). Absent when no such buffer can be made. A format of zero bytes per frame is
/// a caller error (std::invalid_argument).
std::optional<AudioPCMBuffer> makePCMBuffer(std::span<const std::uint8_t> data, const AudioFormat& format);

}  // namespace tav
