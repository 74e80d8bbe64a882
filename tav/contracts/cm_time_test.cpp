#include "tav/contracts/cm_time.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>

namespace tav {
namespace {

/// Value, timescale and flags: the representation, where == compares only the instant.
std::tuple<std::int64_t, std::int32_t, std::uint32_t> parts(const CMTime& t) { return {t.value, t.timescale, t.flags}; }
constexpr std::uint32_t kValid = kCMTimeFlags_Valid;
constexpr std::uint32_t kRounded = kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded;

TEST(CMTime, ComparesExactlyAcrossTimescales) {
  EXPECT_EQ(CMTime::make(1, 2), CMTime::make(2, 4));
  EXPECT_EQ(CMTimeCompare(CMTime::make(1, 3), CMTime::make(333333333, 1000000000)), 1);
  // Differ by one part in 10^18: a double comparison would call these equal.
  const std::int64_t big = 1'000'000'000'000'000'000;
  EXPECT_LT(CMTime::make(big, 1000), CMTime::make(big + 1, 1000));
  EXPECT_EQ(CMTimeCompare(CMTime::make(big, 1'000'000'000), CMTime::make(big + 1, 1'000'000'000)), -1);
  EXPECT_EQ(CMTimeCompare(CMTime::make(-1, 30), CMTime::make(0, 1)), -1);
  EXPECT_TRUE(CMTime::make(1001, 30000) > CMTime::make(1, 30));
}

TEST(CMTime, OrdersInfinitiesIndefiniteAndInvalid) {
  const CMTime lowest = CMTime::make(std::numeric_limits<std::int64_t>::min(), 1);
  const CMTime highest = CMTime::make(std::numeric_limits<std::int64_t>::max(), 1);
  EXPECT_EQ(CMTimeCompare(kCMTimeNegativeInfinity, lowest), -1);
  EXPECT_EQ(CMTimeCompare(highest, kCMTimeIndefinite), -1);
  EXPECT_EQ(CMTimeCompare(kCMTimeIndefinite, kCMTimePositiveInfinity), -1);
  EXPECT_EQ(CMTimeCompare(kCMTimePositiveInfinity, kCMTimeInvalid), -1);
  EXPECT_EQ(CMTimeCompare(kCMTimeInvalid, CMTime{5, 0, 0, 0}), 0);
  EXPECT_EQ(CMTimeCompare(kCMTimePositiveInfinity, kCMTimePositiveInfinity), 0);
  // A later epoch is later whatever the value.
  EXPECT_EQ(CMTimeCompare(CMTime{100, 1, kCMTimeFlags_Valid, 0}, CMTime{0, 1, kCMTimeFlags_Valid, 1}), -1);
}

TEST(CMTime, ReportsValidityAndSeconds) {
  EXPECT_FALSE(kCMTimeInvalid.isValid());
  EXPECT_FALSE(CMTime::make(1, 0).isValid());
  EXPECT_TRUE(kCMTimePositiveInfinity.isValid());
  EXPECT_FALSE(kCMTimePositiveInfinity.isNumeric());
  EXPECT_TRUE(kCMTimeZero.isNumeric());
  EXPECT_DOUBLE_EQ(CMTime::make(3, 4).seconds(), 0.75);
  EXPECT_TRUE(std::isnan(kCMTimeInvalid.seconds()));
  EXPECT_TRUE(std::isnan(kCMTimeIndefinite.seconds()));
  EXPECT_EQ(kCMTimePositiveInfinity.seconds(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(kCMTimeNegativeInfinity.seconds(), -std::numeric_limits<double>::infinity());
}

TEST(CMTime, WithSecondsRoundsToNearestAndFlagsIt) {
  EXPECT_EQ(parts(CMTime::withSeconds(1.0, 1)), std::tuple(1, 1, kValid));
  EXPECT_EQ(parts(CMTime::withSeconds(0.5, 1)), std::tuple(1, 1, kRounded));  // halves away from zero
  EXPECT_EQ(CMTime::withSeconds(-0.5, 1).value, -1);
  EXPECT_EQ(CMTime::withSeconds(0.0166, 600).value, 10);  // 9.96 -> 10

  EXPECT_EQ(parts(CMTime::withSeconds(1.5, 1000000000)), std::tuple(1500000000, 1000000000, kValid));

  EXPECT_FALSE(CMTime::withSeconds(std::nan(""), 600).isValid());
  EXPECT_TRUE(CMTime::withSeconds(INFINITY, 600).isPositiveInfinity());
  EXPECT_TRUE(CMTime::withSeconds(-INFINITY, 600).isNegativeInfinity());
  // 1e11 s at a nanosecond scale does not fit 64 bits: the timescale halves until it does.
  const CMTime huge = CMTime::withSeconds(1e11, 1000000000);
  EXPECT_LT(huge.timescale, 1000000000);
  EXPECT_TRUE(huge.hasBeenRounded());
  EXPECT_NEAR(huge.seconds(), 1e11, 1.0);
}

TEST(CMTime, AddsExactlyOverTheLeastCommonMultiple) {
  EXPECT_EQ(parts(CMTime::make(1, 2) + CMTime::make(1, 3)), std::tuple(5, 6, kValid));
  EXPECT_EQ(parts(CMTime::make(1, 30) - CMTime::make(1001, 30000)), std::tuple(-1, 30000, kValid));

  EXPECT_EQ(CMTime::make(1, 30) + kCMTimeZero, CMTime::make(1, 30));
}

TEST(CMTime, FallsBackToTheLargerTimescaleWhenTheMultipleOverflows) {
  // lcm(1000000007, 999999937) is far above int32: the result takes 1000000007 and is rounded.
  // 1 + 1000000007/999999937 = 2.00000007 -> 2
  EXPECT_EQ(parts(CMTime::make(1, 1000000007) + CMTime::make(1, 999999937)), std::tuple(2, 1000000007, kRounded));
}

TEST(CMTime, OverflowingValuesHalveTheTimescaleThenBecomeInfinite) {
  const std::int64_t max = std::numeric_limits<std::int64_t>::max();
  // (2 * max / 2) at timescale 1.
  EXPECT_EQ(parts(CMTime::make(max, 2) + CMTime::make(max, 2)), std::tuple(max, 1, kRounded));
  EXPECT_TRUE((CMTime::make(max, 1) + CMTime::make(1, 1)).isPositiveInfinity());
  EXPECT_TRUE((CMTime::make(-max, 1) - CMTime::make(2, 1)).isNegativeInfinity());
}

TEST(CMTime, ArithmeticOnInvalidInfiniteAndIndefiniteTimes) {
  EXPECT_FALSE((kCMTimeInvalid + kCMTimeZero).isValid());
  EXPECT_FALSE((kCMTimeZero - kCMTimeInvalid).isValid());
  EXPECT_FALSE((kCMTimePositiveInfinity + kCMTimeNegativeInfinity).isValid());
  EXPECT_FALSE((kCMTimePositiveInfinity - kCMTimePositiveInfinity).isValid());
  EXPECT_TRUE((kCMTimePositiveInfinity - kCMTimeNegativeInfinity).isPositiveInfinity());
  EXPECT_TRUE((CMTime::make(5, 1) - kCMTimePositiveInfinity).isNegativeInfinity());
  EXPECT_TRUE((kCMTimeIndefinite + CMTime::make(5, 1)).isIndefinite());
  EXPECT_TRUE((kCMTimeIndefinite + kCMTimeNegativeInfinity).isNegativeInfinity());
  // Different nonzero epochs cannot be added.
  EXPECT_FALSE((CMTime{1, 1, kCMTimeFlags_Valid, 1} + CMTime{1, 1, kCMTimeFlags_Valid, 2}).isValid());
  EXPECT_EQ((CMTime{1, 1, kCMTimeFlags_Valid, 3} + CMTime::make(1, 1)).epoch, 3);
}

TEST(CMTime, ConvertsScaleAndClamps) {
  EXPECT_EQ(parts(CMTimeConvertScale(CMTime::make(1, 3), 90000)), std::tuple(30000, 90000, kValid));
  EXPECT_EQ(parts(CMTimeConvertScale(CMTime::make(1, 7), 10)), std::tuple(1, 10, kRounded));  // 1.43 -> 1
  EXPECT_EQ(CMTimeClamp(CMTime::make(5, 1), kCMTimeZero, CMTime::make(2, 1)), CMTime::make(2, 1));
  EXPECT_EQ(CMTimeClamp(CMTime::make(-5, 1), kCMTimeZero, CMTime::make(2, 1)), kCMTimeZero);
  EXPECT_EQ(CMTimeMinimum(CMTime::make(1, 2), CMTime::make(1, 3)), CMTime::make(1, 3));
}

}  // namespace
}  // namespace tav
