// The image source of the platform library: GIF files through giflib. Counting walks the records and
// skips each image's compressed data without decoding it, so asking a large animation how many frames
// it has costs a scan, not a decode.
#include <gif_lib.h>

#include <cstring>
#include <memory>

#include "tav/contracts/image_source.hpp"

namespace tav {
namespace {

struct ByteReader {
  std::span<const std::uint8_t> data;
  std::size_t offset = 0;
};

int readBytes(GifFileType* gif, GifByteType* out, int length) {
  auto* reader = static_cast<ByteReader*>(gif->UserData);
  std::size_t available = reader->data.size() - reader->offset;
  std::size_t n = std::min(available, static_cast<std::size_t>(std::max(length, 0)));
  std::memcpy(out, reader->data.data() + reader->offset, n);
  reader->offset += n;
  return static_cast<int>(n);
}

struct GifCloser {
  void operator()(GifFileType* gif) const {
    int error = 0;
    DGifCloseFile(gif, &error);
  }
};
using GifHandle = std::unique_ptr<GifFileType, GifCloser>;

/// The images whose descriptor and data blocks read whole, up to the trailer or the first damage.
std::size_t countImages(std::span<const std::uint8_t> data) {
  ByteReader reader{data};
  int error = 0;
  GifHandle gif(DGifOpen(&reader, readBytes, &error));
  if (!gif) return 0;
  std::size_t images = 0;
  for (;;) {
    GifRecordType record;
    if (DGifGetRecordType(gif.get(), &record) == GIF_ERROR) return images;
    if (record == IMAGE_DESC_RECORD_TYPE) {
      if (DGifGetImageDesc(gif.get()) == GIF_ERROR) return images;
      int codeSize = 0;
      GifByteType* block = nullptr;
      if (DGifGetCode(gif.get(), &codeSize, &block) == GIF_ERROR) return images;
      while (block) {
        if (DGifGetCodeNext(gif.get(), &block) == GIF_ERROR) return images;
      }
      ++images;
    } else if (record == EXTENSION_RECORD_TYPE) {
      int code = 0;
      GifByteType* extension = nullptr;
      if (DGifGetExtension(gif.get(), &code, &extension) == GIF_ERROR) return images;
      while (extension) {
        if (DGifGetExtensionNext(gif.get(), &extension) == GIF_ERROR) return images;
      }
    } else if (record == TERMINATE_RECORD_TYPE) {
      return images;
    }
  }
}

class GifImageSource final : public ImageSource {
 public:
  explicit GifImageSource(std::size_t count) : count_(count) {}
  std::string type() const override { return std::string(kGIFContentType); }
  std::size_t count() const override { return count_; }

 private:
  std::size_t count_;
};

bool hasGifSignature(std::span<const std::uint8_t> data) {
  return data.size() >= 6 && (std::memcmp(data.data(), "GIF87a", 6) == 0 || std::memcmp(data.data(), "GIF89a", 6) == 0);
}

}  // namespace

std::unique_ptr<ImageSource> makeImageSource(std::span<const std::uint8_t> data) {
  if (!hasGifSignature(data)) return nullptr;
  return std::make_unique<GifImageSource>(countImages(data));
}

}  // namespace tav
