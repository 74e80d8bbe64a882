// The image source of the platform library: GIF files through giflib. Counting walks the records and
// skips each image's compressed data without decoding it, so asking a large animation how many frames
// it has costs a scan, not a decode.
#include <memory>

#include "tav/contracts/image_source.hpp"
#include "tav/platform/gif_file.hpp"

namespace tav {
namespace {

class GifImageSource final : public ImageSource {
 public:
  explicit GifImageSource(std::size_t count) : count_(count) {}
  std::string type() const override { return std::string(kGIFContentType); }
  std::size_t count() const override { return count_; }

 private:
  std::size_t count_;
};

}  // namespace

std::unique_ptr<ImageSource> makeImageSource(std::span<const std::uint8_t> data) {
  if (!detail::hasGifSignature(data)) return nullptr;
  return std::make_unique<GifImageSource>(detail::scanGif(data).frames.size());
}

}  // namespace tav
