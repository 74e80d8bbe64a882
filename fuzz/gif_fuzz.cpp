// libFuzzer target for the GIF reader: opening, the record walk, and compositing every frame. Every
// input either opens or throws GifReadError; an open source gives every frame it counts at the canvas
// size (or nothing for a frame whose data fails), and the playback info agrees with the count.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "tav/contracts/gif_source.hpp"
#include "tav/playback/gif_info.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::unique_ptr<tav::GifSource> source;
  try {
    source = tav::makeGifSource(std::span<const std::uint8_t>(data, size));
  } catch (const tav::GifReadError&) {
    return 0;
  }
  if (const auto info = tav::gifInfo(*source)) {
    if (info->frameDurations.size() != source->count()) std::abort();
    for (double delay : info->frameDurations) {
      if (!(delay >= 0.02)) std::abort();
    }
  }
  for (std::size_t i = 0; i < source->count(); ++i) {
    const auto image = source->image(i);
    if (image && (image->width != source->width() || image->height != source->height() ||
                  image->pixels.size() != static_cast<std::size_t>(image->width) * image->height * 4)) {
      std::abort();
    }
  }
  // Going back decodes again from the start.
  if (source->count() > 1) (void)source->image(0);
  return 0;
}
