#include "tav/contracts/image.hpp"

namespace tav {

Image Image::filled(int width, int height, std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t a) {
  Image image;
  if (width <= 0 || height <= 0) return image;
  image.width = width;
  image.height = height;
  image.pixels.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
    image.pixels[i] = r;
    image.pixels[i + 1] = g;
    image.pixels[i + 2] = b;
    image.pixels[i + 3] = a;
  }
  return image;
}

}  // namespace tav
