#include "tav/recording/sample_buffer_shifting.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(ShiftingTimestamps, MovesValidTimesKeepsDurationsAndInvalidTimes) {
  auto samples = std::shared_ptr<const float>(new float[4]{}, std::default_delete<const float[]>());
  CMSampleBuffer audio = CMSampleBuffer::audio({2, 48000, 2, samples}, CMTime::make(96000, 48000));
  std::optional<CMSampleBuffer> shifted = shiftingTimestamps(audio, CMTime::make(-5, 1));
  ASSERT_TRUE(shifted.has_value());
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(*shifted), CMTime::make(-3, 1));  // 2 s - 5 s
  EXPECT_FALSE(CMSampleBufferGetDecodeTimeStamp(*shifted).isValid());
  EXPECT_EQ(CMSampleBufferGetDuration(*shifted), CMSampleBufferGetDuration(audio));
  EXPECT_EQ(shifted->audioData()->samples, samples);  // the payload is shared, not copied

  EXPECT_FALSE(shiftingTimestamps(CMSampleBuffer(), CMTime::make(1, 1)).has_value());
}

}  // namespace
}  // namespace tav
