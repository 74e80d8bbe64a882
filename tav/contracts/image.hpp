// Image: a decoded still picture in memory, the one picture type of the library. GIF frames, library
// thumbnails, colour look-up previews and frames written for people to look at are all of this type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <vector>

namespace tav {

/// 8-bit RGBA with straight (not premultiplied) alpha, rows top to bottom, tightly packed: pixel (x, y)
/// starts at byte `(y * width + x) * 4`. A value type; an empty image has no pixels.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;

  /// A picture of the given size filled with one colour.
  static Image filled(int width, int height, std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t a);

  bool isEmpty() const { return width <= 0 || height <= 0 || pixels.empty(); }
  std::size_t stride() const { return static_cast<std::size_t>(width) * 4; }
  std::uint8_t* pixel(int x, int y) { return pixels.data() + (static_cast<std::size_t>(y) * width + x) * 4; }
  const std::uint8_t* pixel(int x, int y) const {
    return pixels.data() + (static_cast<std::size_t>(y) * width + x) * 4;
  }
  friend bool operator==(const Image&, const Image&) = default;
};

// Defined by the platform library (tavcommon_platform), with FFmpeg's image codecs.

/// The first picture of an image file's bytes (PNG, JPEG, WebP, TIFF, BMP, GIF), converted to RGBA;
/// absent when the bytes are no picture FFmpeg can read, or declare more than 64 megapixels (refused
/// before any pixel memory is taken).
std::optional<Image> decodeImage(std::span<const std::uint8_t> bytes);
/// The picture as a PNG file's bytes. Throws std::invalid_argument for an empty image.
std::vector<std::uint8_t> encodePNG(const Image& image);
/// Writes the picture as a PNG file. Throws std::system_error when the file cannot be written.
void writePNG(const Image& image, const std::filesystem::path& path);

}  // namespace tav
