#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "tav/contracts/image.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A 6x4 picture whose every pixel differs, with a transparent column, so a mix-up of channels, rows or
// alpha shows.
Image markerImage() {
  Image image = Image::filled(6, 4, 0, 0, 0, 255);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      std::uint8_t* p = image.pixel(x, y);
      p[0] = static_cast<std::uint8_t>(40 * x);
      p[1] = static_cast<std::uint8_t>(60 * y);
      p[2] = static_cast<std::uint8_t>(200 - 10 * x);
      p[3] = x == 5 ? 0 : 255;
    }
  }
  return image;
}

TEST(ImageCodec, PNGRoundTripsExactlyAndOtherFormatsDecodeToTheirSize) {
  testing::ScratchDirectory scratch("image-codec");
  const Image original = markerImage();
  const std::filesystem::path png = scratch / "marker.png";
  writePNG(original, png);
  EXPECT_EQ(decodeImage(readFile(png)), original);

  // Lossless formats keep the colour of an opaque pixel; every format keeps the size.
  for (const char* extension : {"bmp", "tiff", "jpg", "webp", "gif"}) {
    SCOPED_TRACE(extension);
    const std::filesystem::path converted = scratch / (std::string("marker.") + extension);
    const std::string command = "ffmpeg -v error -y -i '" + png.string() + "' '" + converted.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::optional<Image> other = decodeImage(readFile(converted));
    ASSERT_TRUE(other.has_value());
    EXPECT_EQ(other->width, 6);
    EXPECT_EQ(other->height, 4);
    if (std::string(extension) == "bmp" || std::string(extension) == "tiff") {
      EXPECT_EQ(other->pixel(2, 3)[0], 80);   // 40 * 2
      EXPECT_EQ(other->pixel(2, 3)[1], 180);  // 60 * 3
    }
  }
}

TEST(ImageCodec, RefusesWhatIsNoPicture) {
  const std::string text = "{\"not\": \"a picture\"}";
  EXPECT_FALSE(decodeImage(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size())));
  EXPECT_FALSE(decodeImage({}));
  std::vector<std::uint8_t> truncated = encodePNG(markerImage());
  truncated.resize(truncated.size() / 3);
  EXPECT_FALSE(decodeImage(truncated));
  EXPECT_THROW(encodePNG(Image{}), std::invalid_argument);
}

}  // namespace
}  // namespace tav
