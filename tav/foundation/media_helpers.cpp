#include "tav/foundation/media_helpers.hpp"

#include <cstring>
#include <limits>
#include <stdexcept>

namespace tav {

bool isAnimatedGIF(const ImageSource& source) { return source.type() == kGIFContentType && source.count() > 1; }

bool isAnimatedGIF(std::span<const std::uint8_t> data) {
  std::unique_ptr<ImageSource> source = makeImageSource(data);
  return source && isAnimatedGIF(*source);
}

std::optional<AudioPCMBuffer> makePCMBuffer(std::span<const std::uint8_t> data, const AudioFormat& format) {
  std::uint32_t bytesPerFrame = format.streamDescription().mBytesPerFrame;
  if (bytesPerFrame == 0) throw std::invalid_argument("makePCMBuffer: the format has zero bytes per frame");
  std::size_t capacity = data.size() / bytesPerFrame;
  if (capacity > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  std::optional<AudioPCMBuffer> buffer = AudioPCMBuffer::make(format, static_cast<std::uint32_t>(capacity));
  if (!buffer) return std::nullopt;
  buffer->setFrameLength(static_cast<std::uint32_t>(capacity));
  auto list = buffer->audioBufferList();
  if (!list.empty() && list.front().mDataByteSize > 0) {
    std::memcpy(list.front().mData, data.data(), std::min<std::size_t>(list.front().mDataByteSize, data.size()));
  }
  return buffer;
}

}  // namespace tav
