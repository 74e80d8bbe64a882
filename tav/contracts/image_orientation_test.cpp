#include "tav/contracts/image_orientation.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace tav {
namespace {

TEST(ImageOrientation, QuarterTurnsOfATransformAndWhereAPixelLands) {
  // A 3 x 2 BGRA picture whose pixels hold their own index, (x, y) -> y * 3 + x.
  std::shared_ptr<std::uint8_t> bytes(new std::uint8_t[24], std::default_delete<std::uint8_t[]>());
  for (std::uint32_t i = 0; i < 6; ++i) std::memcpy(bytes.get() + 4 * i, &i, 4);
  const VideoFrame stored = VideoFrame::packed(PixelFormat::bgra, 3, 2, bytes);

  struct Case {
    AffineTransform transform;
    ImageOrientation orientation;
    int width, height;
    std::uint32_t pixels[6];  // the turned picture, row by row
  };
  const Case cases[] = {
      {{1, 0, 0, 1, 0, 0}, ImageOrientation::up, 3, 2, {0, 1, 2, 3, 4, 5}},
      // A quarter turn clockwise: the stored left column becomes the top row, read bottom to top.
      {{0, 1, -1, 0, 2, 0}, ImageOrientation::right, 2, 3, {3, 0, 4, 1, 5, 2}},
      {{0, -1, 1, 0, 0, 3}, ImageOrientation::left, 2, 3, {2, 5, 1, 4, 0, 3}},
      {{-1, 0, 0, -1, 3, 2}, ImageOrientation::down, 3, 2, {5, 4, 3, 2, 1, 0}},
      // Mirroring and odd angles are shown as stored.
      {{-1, 0, 0, 1, 3, 0}, ImageOrientation::up, 3, 2, {0, 1, 2, 3, 4, 5}},
      {{0.7071, 0.7071, -0.7071, 0.7071, 0, 0}, ImageOrientation::up, 3, 2, {0, 1, 2, 3, 4, 5}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.orientation));
    EXPECT_EQ(imageOrientation(c.transform), c.orientation);
    const std::optional<VideoFrame> turned = orientedFrame(stored, c.orientation);
    ASSERT_TRUE(turned.has_value());
    ASSERT_EQ(turned->width, c.width);
    ASSERT_EQ(turned->height, c.height);
    for (int y = 0; y < c.height; ++y) {
      for (int x = 0; x < c.width; ++x) {
        std::uint32_t value = 0;
        std::memcpy(&value, turned->planes[0] + y * turned->strides[0] + 4 * x, 4);
        EXPECT_EQ(value, c.pixels[y * c.width + x]) << "at " << x << ", " << y;
      }
    }
  }
  EXPECT_FALSE(orientedFrame(VideoFrame{}, ImageOrientation::right).has_value());
}

}  // namespace
}  // namespace tav
