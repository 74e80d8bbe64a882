#include "tav/contracts/image_orientation.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include "tav/contracts/frame_memory.hpp"

namespace tav {

ImageOrientation imageOrientation(const AffineTransform& t) {
  if (t.a == 0 && t.b == 1 && t.c == -1 && t.d == 0) return ImageOrientation::right;
  if (t.a == 0 && t.b == -1 && t.c == 1 && t.d == 0) return ImageOrientation::left;
  if (t.a == -1 && t.b == 0 && t.c == 0 && t.d == -1) return ImageOrientation::down;
  return ImageOrientation::up;
}

std::optional<VideoFrame> orientedFrame(const VideoFrame& frame, ImageOrientation orientation) {
  if (frame.pixelFormat != PixelFormat::bgra || frame.width <= 0 || frame.height <= 0 || frame.planes[0] == nullptr) {
    return std::nullopt;
  }
  if (orientation == ImageOrientation::up) return frame;
  const bool quarter = orientation == ImageOrientation::right || orientation == ImageOrientation::left;
  const int outWidth = quarter ? frame.height : frame.width;
  const int outHeight = quarter ? frame.width : frame.height;
  const std::size_t size = VideoFrame::packedSize(PixelFormat::bgra, outWidth, outHeight);
  std::shared_ptr<std::uint8_t> data = FrameMemory::allocate(size);
  auto* out = reinterpret_cast<std::uint32_t*>(data.get());
  const std::uint8_t* in = frame.planes[0];
  const std::ptrdiff_t inStride = frame.strides[0];
  const int w = frame.width;
  const int h = frame.height;

  // Source pixel (x, y) lands at (outX, outY):
  //   right: (h-1-y, x)    left: (y, w-1-x)    down: (w-1-x, h-1-y)
  constexpr int kTile = 32;
  for (int ty = 0; ty < h; ty += kTile) {
    const int yEnd = std::min(ty + kTile, h);
    for (int tx = 0; tx < w; tx += kTile) {
      const int xEnd = std::min(tx + kTile, w);
      for (int y = ty; y < yEnd; ++y) {
        const std::uint8_t* row = in + y * inStride;
        for (int x = tx; x < xEnd; ++x) {
          std::uint32_t pixel;
          std::memcpy(&pixel, row + static_cast<std::ptrdiff_t>(x) * 4, 4);
          int outX = 0;
          int outY = 0;
          switch (orientation) {
            case ImageOrientation::right: outX = h - 1 - y; outY = x; break;
            case ImageOrientation::left: outX = y; outY = w - 1 - x; break;
            case ImageOrientation::down: outX = w - 1 - x; outY = h - 1 - y; break;
            case ImageOrientation::up: outX = x; outY = y; break;
          }
          out[static_cast<std::ptrdiff_t>(outY) * outWidth + outX] = pixel;
        }
      }
    }
  }
  std::shared_ptr<const std::uint8_t> shared = data;
  return VideoFrame::packed(PixelFormat::bgra, outWidth, outHeight, std::move(shared));
}

}  // namespace tav
