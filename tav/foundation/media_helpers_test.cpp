#include "tav/foundation/media_helpers.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tav/foundation/time_text.hpp"
#include "tav/profiles/profile.hpp"

namespace tav {
namespace {

/// A GIF of `frames` one-pixel images, each after a graphic control extension.
std::vector<std::uint8_t> gifOfFrames(int frames) {
  std::vector<std::uint8_t> bytes{'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF};
  for (int i = 0; i < frames; ++i) {
    const std::uint8_t control[] = {0x21, 0xF9, 4, 0, 10, 0, 0, 0};
    // Image descriptor, then LZW data of one pixel: minimum code size 2, one block of two bytes.
    const std::uint8_t image[] = {0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 0, 2, 2, 0x44, 0x01, 0};
    bytes.insert(bytes.end(), std::begin(control), std::end(control));
    bytes.insert(bytes.end(), std::begin(image), std::end(image));
  }
  bytes.push_back(0x3B);
  return bytes;
}

class FixedImageSource : public ImageSource {
 public:
  FixedImageSource(std::string type, std::size_t count) : type_(std::move(type)), count_(count) {}
  std::string type() const override { return type_; }
  std::size_t count() const override { return count_; }

 private:
  std::string type_;
  std::size_t count_;
};

TEST(MediaHelpers, AnimatedGIFNeedsTheGIFTypeAndMoreThanOneImage) {
  EXPECT_TRUE(isAnimatedGIF(FixedImageSource("com.compuserve.gif", 2)));
  EXPECT_FALSE(isAnimatedGIF(FixedImageSource("com.compuserve.gif", 1)));
  EXPECT_FALSE(isAnimatedGIF(FixedImageSource("public.png", 12)));

  auto two = gifOfFrames(2);
  EXPECT_TRUE(isAnimatedGIF(std::span<const std::uint8_t>(two)));
  auto source = makeImageSource(two);
  ASSERT_TRUE(source);
  EXPECT_EQ(std::tuple(source->type(), source->count()), std::tuple("com.compuserve.gif", 2u));
  EXPECT_EQ(makeImageSource(gifOfFrames(5))->count(), 5u);

  auto one = gifOfFrames(1);
  EXPECT_FALSE(isAnimatedGIF(std::span<const std::uint8_t>(one)));
  // Cut inside the second image: only the first reads whole.
  const auto whole = gifOfFrames(2);
  const std::vector<std::uint8_t> cut(whole.begin(), whole.end() - 6);
  EXPECT_FALSE(isAnimatedGIF(std::span<const std::uint8_t>(cut)));
  const std::uint8_t png[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  EXPECT_FALSE(isAnimatedGIF(std::span<const std::uint8_t>(png)));
  EXPECT_FALSE(makeImageSource(png));
  EXPECT_FALSE(isAnimatedGIF(std::span<const std::uint8_t>()));
}

TEST(MediaHelpers, BytesFillTheFirstBufferOfThePCMBuffer) {
  const float samples[] = {0.5f, -0.25f, 1.0f, 0.125f};
  std::vector<std::uint8_t> bytes(sizeof(samples) + 3);  // three stray bytes make no frame
  std::memcpy(bytes.data(), samples, sizeof(samples));

  auto planar = makePCMBuffer(bytes, AudioFormat(48000, 2));
  ASSERT_TRUE(planar);
  // A capacity of 19 bytes / 4 bytes per frame.
  EXPECT_EQ(std::tuple(planar->frameCapacity(), planar->frameLength()), std::tuple(4u, 4u));
  EXPECT_EQ(std::vector<float>(planar->floatChannelData(0), planar->floatChannelData(0) + 4),
            (std::vector<float>{0.5f, -0.25f, 1.0f, 0.125f}));
  EXPECT_EQ(planar->floatChannelData(1)[0], 0.0f);

  auto interleaved = makePCMBuffer(bytes, AudioFormat(48000, 2, true));
  ASSERT_TRUE(interleaved);
  EXPECT_EQ(interleaved->frameCapacity(), 2u);  // 8 bytes per frame
  EXPECT_EQ(interleaved->floatChannelData(0)[3], 0.125f);

  EXPECT_THROW(makePCMBuffer(bytes, AudioFormat(48000, 0, true)), std::invalid_argument);
  EXPECT_FALSE(makePCMBuffer(bytes, AudioFormat(48000, 0)));  // no channel: no buffer to make
}

TEST(MediaHelpers, PCMBufferFromASampleBufferCopiesEveryChannel) {
  auto samples = std::shared_ptr<const float>(new float[6]{1, 2, 3, -1, -2, -3}, std::default_delete<float[]>());
  auto audio = CMSampleBuffer::audio(AudioBufferData{2, 44100, 3, samples}, kCMTimeZero);
  auto buffer = AudioPCMBuffer::create(audio);
  ASSERT_TRUE(buffer);
  EXPECT_EQ(buffer->format(), AudioFormat(44100, 2));
  EXPECT_EQ(std::pair(buffer->frameCapacity(), buffer->frameLength()), std::pair(3u, 3u));
  EXPECT_EQ(buffer->floatChannelData(1)[2], -3.0f);
  auto list = buffer->audioBufferList();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(std::tie(list[0].mDataByteSize, list[0].mData[1]), std::make_tuple(12u, 2.0f));

  EXPECT_FALSE(AudioPCMBuffer::create(CMSampleBuffer()));
  auto pixels = std::shared_ptr<const std::uint8_t>(new std::uint8_t[6]{}, std::default_delete<std::uint8_t[]>());
  EXPECT_FALSE(AudioPCMBuffer::create(
      CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, 2, 2, pixels), kCMTimeZero)));
  auto silent = CMSampleBuffer::audio(AudioBufferData{2, 44100, 0, samples}, kCMTimeZero);
  EXPECT_FALSE(AudioPCMBuffer::create(silent));
  EXPECT_THROW(buffer->setFrameLength(4), std::out_of_range);
}

TEST(MediaHelpers, TimeTextsAndFrameDurations) {
  EXPECT_EQ((std::vector{humanReadable(CMTime::make(599, 10)), humanReadable(CMTime::make(3600, 1)),
                         humanReadable(kCMTimeInvalid), humanReadable(kCMTimeIndefinite)}),
            (std::vector<std::optional<std::string>>{"00:59", "1:00:00", std::nullopt, std::nullopt}));

  CMTime frame = Profile::FrameRate{29.97}.cmTime();
  EXPECT_EQ(std::tie(frame.value, frame.timescale), std::make_tuple(1, 29));
  EXPECT_TRUE(frame.isNumeric());
  EXPECT_EQ(Profile::FrameRate{60}.cmTime(), CMTime::make(1, 60));
  EXPECT_EQ(Profile::FrameRate{1e12}.cmTimeTimescale(), 2147483647);
  EXPECT_FALSE(Profile::FrameRate{std::nan("")}.cmTime().isValid());
}

}  // namespace
}  // namespace tav
