// giflib over bytes in memory, and one walk over a GIF's records that reads every frame's descriptor
// and control block and skips its compressed data without decoding it. The image source counts frames
// with it and the GIF reader learns each frame's timing and disposal from it.
#pragma once

#include <gif_lib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tav::detail {

/// Feeds giflib from memory; `offset` is how far it has read.
struct GifByteReader {
  std::span<const std::uint8_t> data;
  std::size_t offset = 0;
};

struct GifFileCloser {
  void operator()(GifFileType* gif) const;
};
using GifFilePtr = std::unique_ptr<GifFileType, GifFileCloser>;

/// A giflib handle reading from `reader` (which must outlive it), past the screen descriptor and the
/// global colour table; null when the header is damaged.
GifFilePtr openGif(GifByteReader& reader);

/// Reads the sub-blocks that follow an extension's first block `block`; false on damage.
bool skipExtensionBlocks(GifFileType* gif, GifByteType* block);
/// Reads past the compressed data of the image whose descriptor was just read, adding its byte count to
/// `bytes` when given; false on damage.
bool skipImageData(GifFileType* gif, std::size_t* bytes = nullptr);

/// True when the bytes start with "GIF87a" or "GIF89a".
bool hasGifSignature(std::span<const std::uint8_t> data);

/// What one frame's records say, before any decoding.
struct GifFrameRecord {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  /// DISPOSAL_UNSPECIFIED, DISPOSE_DO_NOT, DISPOSE_BACKGROUND or DISPOSE_PREVIOUS.
  int disposal = DISPOSAL_UNSPECIFIED;
  /// NO_TRANSPARENT_COLOR or a colour index.
  int transparentIndex = NO_TRANSPARENT_COLOR;
  /// Hundredths of a second; absent without a graphic control block.
  std::optional<int> delayCentiseconds;
  /// True when the frame or the file has a colour table to paint it with.
  bool hasColorMap = false;
};

struct GifScan {
  int screenWidth = 0;
  int screenHeight = 0;
  /// The frames whose descriptor and data read whole, in file order, up to the trailer or the first
  /// damage.
  std::vector<GifFrameRecord> frames;
  /// From the NETSCAPE2.0 (or ANIMEXTS1.0) application block.
  std::optional<int> loopCount;
  /// The compressed bytes of all those frames together.
  std::size_t imageDataBytes = 0;
  /// False when the header itself could not be read.
  bool headerRead = false;
};

/// Walks the records of a GIF held in `data`. Never fails: damage ends the walk.
GifScan scanGif(std::span<const std::uint8_t> data);

/// The most pixels one byte of LZW data can yield: a code is at least 3 bits and stands for at most
/// 4096 pixels. A frame or canvas beyond this many pixels per byte of image data is not held by the file.
inline constexpr std::size_t kGifMaxPixelsPerDataByte = 4096 * 8 / 3;

}  // namespace tav::detail
