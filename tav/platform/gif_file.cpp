#include "tav/platform/gif_file.hpp"

#include <algorithm>
#include <cstring>

namespace tav::detail {
namespace {

int readBytes(GifFileType* gif, GifByteType* out, int length) {
  auto* reader = static_cast<GifByteReader*>(gif->UserData);
  const std::size_t available = reader->data.size() - reader->offset;
  const std::size_t n = std::min(available, static_cast<std::size_t>(std::max(length, 0)));
  if (n > 0) std::memcpy(out, reader->data.data() + reader->offset, n);
  reader->offset += n;
  return static_cast<int>(n);
}

/// A NETSCAPE2.0 block's loop count, reading the rest of the extension; false on damage.
bool readApplicationExtension(GifFileType* gif, GifByteType* block, std::optional<int>& loopCount) {
  const bool looping = block != nullptr && block[0] == 11 &&
                       (std::memcmp(block + 1, "NETSCAPE2.0", 11) == 0 || std::memcmp(block + 1, "ANIMEXTS1.0", 11) == 0);
  bool first = true;
  while (block != nullptr) {
    if (DGifGetExtensionNext(gif, &block) == GIF_ERROR) return false;
    // The sub-block after the identifier: length 3, id 1, then the count, little-endian.
    if (looping && first && block != nullptr && block[0] >= 3 && block[1] == 1) loopCount = block[2] | (block[3] << 8);
    first = false;
  }
  return true;
}

}  // namespace

bool skipExtensionBlocks(GifFileType* gif, GifByteType* block) {
  while (block != nullptr) {
    if (DGifGetExtensionNext(gif, &block) == GIF_ERROR) return false;
  }
  return true;
}

bool skipImageData(GifFileType* gif, std::size_t* bytes) {
  int codeSize = 0;
  GifByteType* block = nullptr;
  if (DGifGetCode(gif, &codeSize, &block) == GIF_ERROR) return false;
  while (block != nullptr) {
    if (bytes != nullptr) *bytes += block[0];
    if (DGifGetCodeNext(gif, &block) == GIF_ERROR) return false;
  }
  return true;
}

void GifFileCloser::operator()(GifFileType* gif) const {
  int error = 0;
  DGifCloseFile(gif, &error);
}

GifFilePtr openGif(GifByteReader& reader) {
  int error = 0;
  return GifFilePtr(DGifOpen(&reader, readBytes, &error));
}

bool hasGifSignature(std::span<const std::uint8_t> data) {
  return data.size() >= 6 && (std::memcmp(data.data(), "GIF87a", 6) == 0 || std::memcmp(data.data(), "GIF89a", 6) == 0);
}

GifScan scanGif(std::span<const std::uint8_t> data) {
  GifScan scan;
  GifByteReader reader{data};
  GifFilePtr gif = openGif(reader);
  if (!gif) return scan;
  scan.headerRead = true;
  scan.screenWidth = gif->SWidth;
  scan.screenHeight = gif->SHeight;
  // A control block applies to the next frame only.
  bool hasControl = false;
  GraphicsControlBlock control{};
  for (;;) {
    GifRecordType record;
    if (DGifGetRecordType(gif.get(), &record) == GIF_ERROR) return scan;
    if (record == TERMINATE_RECORD_TYPE) return scan;
    if (record == EXTENSION_RECORD_TYPE) {
      int code = 0;
      GifByteType* block = nullptr;
      if (DGifGetExtension(gif.get(), &code, &block) == GIF_ERROR) return scan;
      if (code == GRAPHICS_EXT_FUNC_CODE && block != nullptr && block[0] >= 4) {
        GraphicsControlBlock parsed{};
        if (DGifExtensionToGCB(block[0], block + 1, &parsed) == GIF_OK) {
          control = parsed;
          hasControl = true;
        }
      }
      const bool whole = code == APPLICATION_EXT_FUNC_CODE ? readApplicationExtension(gif.get(), block, scan.loopCount)
                                                           : skipExtensionBlocks(gif.get(), block);
      if (!whole) return scan;
    } else if (record == IMAGE_DESC_RECORD_TYPE) {
      if (DGifGetImageDesc(gif.get()) == GIF_ERROR) return scan;
      GifFrameRecord frame;
      frame.left = gif->Image.Left;
      frame.top = gif->Image.Top;
      frame.width = gif->Image.Width;
      frame.height = gif->Image.Height;
      frame.hasColorMap = gif->Image.ColorMap != nullptr || gif->SColorMap != nullptr;
      if (hasControl) {
        frame.disposal = control.DisposalMode;
        frame.transparentIndex = control.TransparentColor;
        frame.delayCentiseconds = control.DelayTime;
      }
      hasControl = false;
      std::size_t dataBytes = 0;
      if (!skipImageData(gif.get(), &dataBytes)) return scan;
      // Declared pixels that the data could never fill mean the frame is damaged, not large.
      const auto pixels = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
      if (pixels > (dataBytes + 1) * kGifMaxPixelsPerDataByte) return scan;
      scan.imageDataBytes += dataBytes;
      scan.frames.push_back(frame);
    } else {
      return scan;
    }
  }
}

}  // namespace tav::detail
