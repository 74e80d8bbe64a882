#include "tav/contracts/cm_time.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace tav {
namespace {

__extension__ typedef __int128 Wide;

constexpr Wide kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr Wide kInt64Min = std::numeric_limits<std::int64_t>::min();

// Place of a time in the total order: -inf < numeric < indefinite < +inf < invalid.
int rank(const CMTime& t) {
  if (!t.isValid()) return 4;
  if (t.flags & kCMTimeFlags_NegativeInfinity) return 0;
  if (t.flags & kCMTimeFlags_PositiveInfinity) return 3;
  if (t.flags & kCMTimeFlags_Indefinite) return 2;
  return 1;
}

// numerator / denominator rounded to nearest, halves away from zero; `inexact` tells whether it rounded.
Wide divideRounded(Wide numerator, Wide denominator, bool& inexact) {
  if (denominator < 0) {
    numerator = -numerator;
    denominator = -denominator;
  }
  Wide quotient = numerator / denominator;
  const Wide remainder = numerator % denominator;
  inexact = remainder != 0;
  const Wide twice = (remainder < 0 ? -remainder : remainder) * 2;
  if (twice >= denominator) quotient += numerator < 0 ? -1 : 1;
  return quotient;
}

// The exact rational numerator/denominator (denominator > 0) as a time at `timescale`, halving the
// timescale while the value does not fit 64 bits, and becoming an infinity when even 1 does not.
CMTime fromRational(Wide numerator, Wide denominator, std::int32_t timescale, std::uint32_t extraFlags,
                    std::int64_t epoch) {
  bool rounded = false;
  while (true) {
    bool inexact = false;
    const Wide value = divideRounded(numerator * timescale, denominator, inexact);
    if (value >= kInt64Min && value <= kInt64Max) {
      std::uint32_t flags = kCMTimeFlags_Valid | extraFlags;
      if (inexact || rounded) flags |= kCMTimeFlags_HasBeenRounded;
      return CMTime{static_cast<std::int64_t>(value), timescale, flags, epoch};
    }
    if (timescale == 1) return numerator < 0 ? kCMTimeNegativeInfinity : kCMTimePositiveInfinity;
    timescale /= 2;
    rounded = true;
  }
}

CMTime negated(const CMTime& t) {
  if (t.isPositiveInfinity()) return kCMTimeNegativeInfinity;
  if (t.isNegativeInfinity()) return kCMTimePositiveInfinity;
  return t;  // numeric times are negated by the caller in wide arithmetic
}

CMTime add(const CMTime& a, const CMTime& b, bool subtract) {
  if (!a.isValid() || !b.isValid()) return kCMTimeInvalid;
  const CMTime right = subtract ? negated(b) : b;
  const bool aInfinite = a.isPositiveInfinity() || a.isNegativeInfinity();
  const bool bInfinite = right.isPositiveInfinity() || right.isNegativeInfinity();
  if (aInfinite && bInfinite) {
    return a.isPositiveInfinity() == right.isPositiveInfinity() ? (a.isPositiveInfinity() ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity)
                                                                 : kCMTimeInvalid;
  }
  if (aInfinite) return a.isPositiveInfinity() ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
  if (bInfinite) return right.isPositiveInfinity() ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
  if (a.isIndefinite() || b.isIndefinite()) return kCMTimeIndefinite;
  if (a.epoch != 0 && b.epoch != 0 && a.epoch != b.epoch) return kCMTimeInvalid;
  const std::int64_t epoch = a.epoch != 0 ? a.epoch : b.epoch;

  const std::int64_t common = std::lcm(static_cast<std::int64_t>(a.timescale), static_cast<std::int64_t>(b.timescale));
  const std::int32_t timescale = common <= std::numeric_limits<std::int32_t>::max()
                                     ? static_cast<std::int32_t>(common)
                                     : std::max(a.timescale, b.timescale);
  const Wide bValue = subtract ? -static_cast<Wide>(b.value) : static_cast<Wide>(b.value);
  const Wide numerator = static_cast<Wide>(a.value) * b.timescale + bValue * a.timescale;
  const Wide denominator = static_cast<Wide>(a.timescale) * b.timescale;
  const std::uint32_t carried = (a.flags | b.flags) & kCMTimeFlags_HasBeenRounded;
  return fromRational(numerator, denominator, timescale, carried, epoch);
}

}  // namespace

CMTime CMTime::withSeconds(double seconds, std::int32_t preferredTimescale) {
  if (std::isnan(seconds) || preferredTimescale <= 0) return kCMTimeInvalid;
  if (std::isinf(seconds)) return seconds > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
  std::int32_t timescale = preferredTimescale;
  bool halved = false;
  // 2^63 as a double: anything at or beyond it does not fit an int64.
  constexpr double kLimit = 9223372036854775808.0;
  while (true) {
    const double scaled = seconds * static_cast<double>(timescale);
    const double roundedValue = std::round(scaled);  // halves away from zero
    if (std::fabs(roundedValue) < kLimit) {
      std::uint32_t flags = kCMTimeFlags_Valid;
      if (roundedValue != scaled || halved) flags |= kCMTimeFlags_HasBeenRounded;
      return CMTime{static_cast<std::int64_t>(roundedValue), timescale, flags, 0};
    }
    if (timescale == 1) return seconds > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    timescale /= 2;
    halved = true;
  }
}

double CMTime::seconds() const {
  if (!isValid() || isIndefinite()) return std::numeric_limits<double>::quiet_NaN();
  if (isPositiveInfinity()) return std::numeric_limits<double>::infinity();
  if (isNegativeInfinity()) return -std::numeric_limits<double>::infinity();
  return static_cast<double>(value) / static_cast<double>(timescale);
}

int CMTimeCompare(CMTime a, CMTime b) {
  const int ra = rank(a);
  const int rb = rank(b);
  if (ra != rb) return ra < rb ? -1 : 1;
  if (ra != 1) return 0;
  if (a.epoch != b.epoch) return a.epoch < b.epoch ? -1 : 1;
  const Wide left = static_cast<Wide>(a.value) * b.timescale;
  const Wide right = static_cast<Wide>(b.value) * a.timescale;
  if (left == right) return 0;
  return left < right ? -1 : 1;
}

CMTime operator+(CMTime a, CMTime b) { return add(a, b, false); }

CMTime operator-(CMTime a, CMTime b) { return add(a, b, true); }

CMTime CMTimeConvertScale(CMTime time, std::int32_t timescale) {
  if (!time.isNumeric()) return time;
  if (timescale <= 0) return kCMTimeInvalid;
  if (time.timescale == timescale) return time;
  CMTime result = fromRational(time.value, time.timescale, timescale, time.flags & kCMTimeFlags_HasBeenRounded,
                               time.epoch);
  return result;
}

}  // namespace tav
