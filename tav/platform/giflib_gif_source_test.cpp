#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tav/contracts/gif_source.hpp"
#include "tav/testing/gif_writer.hpp"

namespace tav {
namespace {

using testing::encodeGif;
using testing::solidFrame;
using testing::TestGif;
using testing::TestGifFrame;
using Rgba = std::array<std::uint8_t, 4>;

constexpr Rgba kRed{255, 0, 0, 255};
constexpr Rgba kGreen{0, 255, 0, 255};
constexpr Rgba kBlue{0, 0, 255, 255};
constexpr Rgba kClear{0, 0, 0, 0};

TestGif fourByFour(std::vector<TestGifFrame> frames) {
  return TestGif{4, 4, {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}}, std::nullopt, std::move(frames)};
}

Rgba at(const Image& image, int x, int y) {
  const std::uint8_t* p = image.pixel(x, y);
  return {p[0], p[1], p[2], p[3]};
}

TestGifFrame withDisposal(TestGifFrame frame, int disposal) {
  frame.disposal = disposal;
  return frame;
}

struct CompositingCase {
  std::string name;
  std::vector<TestGifFrame> frames;
  /// Pixels of the last frame shown: x, y, colour.
  std::vector<std::tuple<int, int, Rgba>> expected;
};

TEST(GifSource, CompositesEveryDisposalMethodAndTransparencyAsBrowsersShowThem) {
  TestGifFrame holed = solidFrame(1, 1, 2, 2, 1);
  holed.indices = {1, 3, 3, 1};
  holed.transparentIndex = 3;
  const std::vector<CompositingCase> cases{
      {"none keeps the frame",
       {solidFrame(0, 0, 4, 4, 0), withDisposal(solidFrame(1, 1, 2, 2, 1), DISPOSE_DO_NOT), solidFrame(0, 0, 1, 1, 2)},
       {{0, 0, kBlue}, {1, 1, kGreen}, {2, 2, kGreen}, {3, 3, kRed}}},
      {"unspecified keeps the frame",
       {solidFrame(0, 0, 4, 4, 0), withDisposal(solidFrame(1, 1, 2, 2, 1), DISPOSAL_UNSPECIFIED), solidFrame(0, 0, 1, 1, 2)},
       {{1, 1, kGreen}, {3, 3, kRed}}},
      {"background clears the frame's rectangle to transparent",
       {solidFrame(0, 0, 4, 4, 0), withDisposal(solidFrame(1, 1, 2, 2, 1), DISPOSE_BACKGROUND), solidFrame(0, 0, 1, 1, 2)},
       {{0, 0, kBlue}, {1, 1, kClear}, {2, 2, kClear}, {3, 3, kRed}, {3, 1, kRed}}},
      {"previous restores the canvas from before the frame",
       {solidFrame(0, 0, 4, 4, 0), withDisposal(solidFrame(1, 1, 2, 2, 1), DISPOSE_PREVIOUS), solidFrame(0, 0, 1, 1, 2)},
       {{0, 0, kBlue}, {1, 1, kRed}, {2, 2, kRed}}},
      {"previous on the first frame restores the empty canvas",
       {withDisposal(solidFrame(0, 0, 4, 4, 0), DISPOSE_PREVIOUS), solidFrame(0, 0, 1, 1, 2)},
       {{0, 0, kBlue}, {1, 1, kClear}}},
      {"the transparent index lets the canvas show through",
       {solidFrame(0, 0, 4, 4, 0), holed},
       {{1, 1, kGreen}, {2, 1, kRed}, {1, 2, kRed}, {2, 2, kGreen}}},
      {"a frame past the canvas edge is clipped",
       {solidFrame(0, 0, 4, 4, 0), solidFrame(3, 3, 4, 4, 2)},
       {{3, 3, kBlue}, {2, 2, kRed}}},
  };
  for (const CompositingCase& c : cases) {
    SCOPED_TRACE(c.name);
    auto source = makeGifSource(encodeGif(fourByFour(c.frames)));
    ASSERT_EQ(source->count(), c.frames.size());
    const std::optional<Image> last = source->image(c.frames.size() - 1);
    ASSERT_TRUE(last);
    EXPECT_EQ(std::tie(last->width, last->height), std::make_tuple(4, 4));
    for (const auto& [x, y, colour] : c.expected) EXPECT_EQ(at(*last, x, y), colour) << "at " << x << "," << y;
  }
}

TEST(GifSource, FramesReadBackwardsMatchFramesReadInOrder) {
  auto source = makeGifSource(encodeGif(fourByFour(
      {solidFrame(0, 0, 4, 4, 0), withDisposal(solidFrame(1, 1, 2, 2, 1), DISPOSE_BACKGROUND), solidFrame(0, 0, 1, 1, 2)})));
  const std::optional<Image> second = source->image(1);
  const std::optional<Image> third = source->image(2);
  ASSERT_TRUE(second && third);
  EXPECT_EQ(source->image(1), second);
  EXPECT_EQ(at(*second, 1, 1), kGreen);
  EXPECT_FALSE(source->image(3));
}

TEST(GifSource, InterlacedRowsLandInTheirPlaces) {
  TestGifFrame frame = solidFrame(0, 0, 1, 10, 0);
  for (int y = 0; y < 10; ++y) frame.indices[static_cast<std::size_t>(y)] = static_cast<std::uint8_t>(y % 3);
  frame.interlaced = true;
  TestGif gif = fourByFour({frame});
  gif.width = 1;
  gif.height = 10;
  const std::optional<Image> image = makeGifSource(encodeGif(gif))->image(0);
  ASSERT_TRUE(image);
  const std::array<Rgba, 3> colours{kRed, kGreen, kBlue};
  for (int y = 0; y < 10; ++y) EXPECT_EQ(at(*image, 0, y), colours[static_cast<std::size_t>(y % 3)]) << "row " << y;
}

TEST(GifSource, ReportsDelaysAsStoredAndTheLoopCount) {
  TestGifFrame zero = solidFrame(0, 0, 4, 4, 0);
  zero.delayCentiseconds = 0;
  TestGifFrame slow = solidFrame(0, 0, 4, 4, 0);
  slow.delayCentiseconds = 7;
  TestGifFrame bare = solidFrame(0, 0, 4, 4, 0);
  bare.hasControlBlock = false;
  TestGif gif = fourByFour({zero, slow, bare});
  gif.loopCount = 3;
  auto source = makeGifSource(encodeGif(gif));
  EXPECT_EQ(source->loopCount(), 3);
  const GifFrameProperties first = *source->properties(0);
  EXPECT_EQ(std::tie(first.colorModel, first.depth, first.pixelWidth, first.pixelHeight, first.hasAlpha),
            std::make_tuple("RGB", 8, 4, 4, false));
  EXPECT_EQ(first.gif, (GifFrameProperties::Timing{0.0, 0.0}));
  EXPECT_EQ(source->properties(1)->gif, (GifFrameProperties::Timing{0.07, 0.07}));
  EXPECT_FALSE(source->properties(2)->gif);
  EXPECT_FALSE(source->properties(3));

  gif.loopCount = 0;
  EXPECT_EQ(makeGifSource(encodeGif(gif))->loopCount(), 0);
  gif.loopCount.reset();
  EXPECT_FALSE(makeGifSource(encodeGif(gif))->loopCount());
}

TEST(GifSource, DamagedFilesGiveAClearErrorOrWhatTheyReallyHold) {
  const std::vector<std::uint8_t> whole = encodeGif(fourByFour({solidFrame(0, 0, 4, 4, 0), solidFrame(0, 0, 4, 4, 1)}));

  // Cut inside the second frame's data: the first frame stays.
  std::vector<std::uint8_t> truncated(whole.begin(), whole.end() - 4);
  auto source = makeGifSource(truncated);
  EXPECT_EQ(source->count(), 1u);
  ASSERT_TRUE(source->image(0));
  EXPECT_EQ(at(*source->image(0), 3, 3), kRed);

  // Header and trailer only.
  std::vector<std::uint8_t> empty(whole.begin(), whole.begin() + 13 + 3 * 4);
  empty.push_back(0x3B);
  EXPECT_EQ(makeGifSource(empty)->count(), 0u);

  std::vector<std::uint8_t> zeroCanvas = whole;
  zeroCanvas[6] = zeroCanvas[7] = zeroCanvas[8] = zeroCanvas[9] = 0;
  EXPECT_THROW(makeGifSource(zeroCanvas), GifReadError);

  // A 65535 by 65535 canvas around one tiny frame would need 16 GiB.
  std::vector<std::uint8_t> huge = whole;
  huge[6] = huge[7] = huge[8] = huge[9] = 0xFF;
  try {
    makeGifSource(huge);
    ADD_FAILURE() << "a canvas the data can't fill was accepted";
  } catch (const GifReadError& error) {
    EXPECT_NE(std::string(error.what()).find("65535x65535"), std::string::npos) << error.what();
  }

  // A frame declaring 65535 by 65535 pixels over a few bytes of data is damage, not a frame.
  std::vector<std::uint8_t> hugeFrame = whole;
  const std::size_t descriptor = 13 + 3 * 4 + 8;  // header, palette, first control block
  ASSERT_EQ(hugeFrame[descriptor], 0x2C);
  hugeFrame[descriptor + 5] = hugeFrame[descriptor + 6] = hugeFrame[descriptor + 7] = hugeFrame[descriptor + 8] = 0xFF;
  EXPECT_EQ(makeGifSource(hugeFrame)->count(), 0u);

  const std::vector<std::uint8_t> notGif{'P', 'N', 'G', 0, 1, 2, 3};
  EXPECT_THROW(makeGifSource(notGif), GifReadError);
  EXPECT_THROW(makeGifSource(std::filesystem::path("/nonexistent/file.gif")), GifReadError);
}

}  // namespace
}  // namespace tav
