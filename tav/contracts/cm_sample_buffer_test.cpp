#include "tav/contracts/cm_sample_buffer.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace tav {
namespace {

std::shared_ptr<const std::uint8_t> bytes(std::size_t count) {
  return std::shared_ptr<const std::uint8_t>(new std::uint8_t[count](), std::default_delete<std::uint8_t[]>());
}

TEST(CMSampleBuffer, VideoFrameSharesThePixelsItWasGiven) {
  auto pixels = bytes(VideoFrame::packedSize(PixelFormat::nv12, 640, 360));
  const std::uint8_t* base = pixels.get();
  const auto buffer = CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, 640, 360, pixels),
                                                 CMTime::make(3, 30), CMTime::make(1, 30));
  ASSERT_NE(buffer.videoFrame(), nullptr);
  EXPECT_EQ(buffer.audioData(), nullptr);
  EXPECT_EQ(std::tie(buffer.videoFrame()->planes[0], buffer.videoFrame()->planes[1]), std::make_tuple(base, base + 640 * 360));
  EXPECT_EQ(buffer.videoFrame()->strides[1], 640);
  EXPECT_EQ(pixels.use_count(), 2);  // ours and the buffer's: nothing copied

  const CMSampleBuffer copy = CMSampleBufferCreateCopy(buffer);
  EXPECT_EQ(copy.videoFrame()->planes[0], base);
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(copy), CMTime::make(3, 30));
  EXPECT_EQ(CMSampleBufferGetDuration(copy), CMTime::make(1, 30));
  EXPECT_FALSE(CMSampleBufferGetDecodeTimeStamp(copy).isValid());
  EXPECT_EQ(CMSampleBufferGetNumSamples(copy), 1);
}

TEST(CMSampleBuffer, PackedPlanesForOddSizes) {
  // 5x3 4:2:0: luma 15 bytes, chroma 3x2 per plane.
  EXPECT_EQ(VideoFrame::packedSize(PixelFormat::yuv420p, 5, 3), 15u + 6u + 6u);
  EXPECT_EQ(VideoFrame::packedSize(PixelFormat::nv12, 5, 3), 15u + 12u);
  EXPECT_EQ(VideoFrame::packedSize(PixelFormat::bgra, 5, 3), 60u);
  auto data = bytes(27);
  const auto frame = VideoFrame::packed(PixelFormat::yuv420p, 5, 3, data);
  EXPECT_EQ(std::tuple(frame.planeCount, frame.planes[2] - frame.planes[0], frame.strides[2]), std::tuple(3, 21, 3));
}

TEST(CMSampleBuffer, AudioDurationCoversEverySample) {
  std::shared_ptr<const float> samples(new float[2 * 1024](), std::default_delete<float[]>());
  const auto buffer = CMSampleBuffer::audio(AudioBufferData{2, 48000, 1024, samples}, CMTime::make(48000, 48000));
  EXPECT_EQ(CMSampleBufferGetNumSamples(buffer), 1024);
  EXPECT_EQ(CMSampleBufferGetDuration(buffer), CMTime::make(1024, 48000));
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(buffer), CMTime::make(1, 1));
  ASSERT_NE(buffer.audioData(), nullptr);
  EXPECT_EQ(buffer.audioData()->channel(1), samples.get() + 1024);
}

TEST(CMSampleBuffer, NewTimingAcceptsOneEntryOrOnePerSample) {
  std::shared_ptr<const float> samples(new float[4](), std::default_delete<float[]>());
  const auto buffer = CMSampleBuffer::audio(AudioBufferData{1, 8000, 4, samples}, kCMTimeZero);
  const CMSampleTimingInfo shifted{CMTime::make(1, 8000), CMTime::make(5, 1), kCMTimeInvalid};

  const auto one = CMSampleBufferCreateCopyWithNewTiming(buffer, {shifted});
  ASSERT_TRUE(one.has_value());
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(*one), CMTime::make(5, 1));
  EXPECT_EQ(one->audioData()->samples.get(), samples.get());
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(buffer), kCMTimeZero);  // original untouched

  EXPECT_TRUE(CMSampleBufferCreateCopyWithNewTiming(buffer, std::vector<CMSampleTimingInfo>(4, shifted)).has_value());
  EXPECT_FALSE(CMSampleBufferCreateCopyWithNewTiming(buffer, std::vector<CMSampleTimingInfo>(2, shifted)).has_value());
  EXPECT_FALSE(CMSampleBufferCreateCopyWithNewTiming(buffer, {}).has_value());

  // Four entries of different durations add up.
  const auto perSample = CMSampleBufferCreateCopyWithNewTiming(
      buffer, {{CMTime::make(1, 2), kCMTimeZero, kCMTimeInvalid},
               {CMTime::make(1, 3), kCMTimeZero, kCMTimeInvalid},
               {CMTime::make(1, 6), kCMTimeZero, kCMTimeInvalid},
               {CMTime::make(1, 1), kCMTimeZero, kCMTimeInvalid}});
  ASSERT_TRUE(perSample.has_value());
  EXPECT_EQ(CMSampleBufferGetDuration(*perSample), CMTime::make(2, 1));
}

TEST(CMSampleBuffer, EmptyBufferHasNoTiming) {
  const CMSampleBuffer empty;
  EXPECT_TRUE(empty.isEmpty());
  EXPECT_FALSE(CMSampleBufferGetSampleTimingInfoArray(empty).has_value());
  EXPECT_FALSE(CMSampleBufferGetPresentationTimeStamp(empty).isValid());
  EXPECT_FALSE(CMSampleBufferGetDuration(empty).isValid());
  EXPECT_FALSE(CMSampleBufferCreateCopyWithNewTiming(empty, {CMSampleTimingInfo{}}).has_value());
}

}  // namespace
}  // namespace tav
