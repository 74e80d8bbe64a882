// CMTime: a rational media time (value / timescale) with validity, infinity and indefinite flags,
// compared and added exactly. It is the clock of every recording and playback path, so comparisons
// across timescales (1/2 == 2/4) must never go through floating point.
#pragma once

#include <compare>
#include <cstdint>

namespace tav {

enum CMTimeFlags : std::uint32_t {
  kCMTimeFlags_Valid = 1u << 0,
  kCMTimeFlags_HasBeenRounded = 1u << 1,
  kCMTimeFlags_PositiveInfinity = 1u << 2,
  kCMTimeFlags_NegativeInfinity = 1u << 3,
  kCMTimeFlags_Indefinite = 1u << 4,
  kCMTimeFlags_ImpliedValueFlagsMask =
      kCMTimeFlags_PositiveInfinity | kCMTimeFlags_NegativeInfinity | kCMTimeFlags_Indefinite,
};

/// The largest timescale a computed result may take (one nanosecond).
inline constexpr std::int32_t kCMTimeMaxTimescale = 1'000'000'000;

/// value / timescale seconds. A time is valid when the valid flag is set and its timescale is positive
/// (or it is one of the implied values: infinities and indefinite). Aggregate, so `CMTime{v, ts, f, e}`
/// spells a raw time; use `make` for an ordinary one.
struct CMTime {
  std::int64_t value = 0;
  std::int32_t timescale = 0;
  std::uint32_t flags = 0;
  std::int64_t epoch = 0;

  /// A valid time of `value / timescale` seconds; invalid when `timescale` is not positive.
  static constexpr CMTime make(std::int64_t value, std::int32_t timescale) {
    if (timescale <= 0) return CMTime{};
    return CMTime{value, timescale, kCMTimeFlags_Valid, 0};
  }

  /// `seconds` at `preferredTimescale`, rounded to nearest (halves away from zero); the rounded flag
  /// is set when the result is not exact. NaN gives an invalid time, ±inf the infinities; a value too
  /// large for the timescale halves the timescale until it fits.
  static CMTime withSeconds(double seconds, std::int32_t preferredTimescale);

  /// value / timescale as a double: NaN when invalid or indefinite, ±inf for the infinities.
  double seconds() const;

  constexpr bool isValid() const {
    if ((flags & kCMTimeFlags_Valid) == 0) return false;
    return timescale > 0 || (flags & kCMTimeFlags_ImpliedValueFlagsMask) != 0;
  }
  constexpr bool isNumeric() const {
    return isValid() && (flags & kCMTimeFlags_ImpliedValueFlagsMask) == 0;
  }
  constexpr bool isPositiveInfinity() const {
    return isValid() && (flags & kCMTimeFlags_PositiveInfinity) != 0;
  }
  constexpr bool isNegativeInfinity() const {
    return isValid() && (flags & kCMTimeFlags_NegativeInfinity) != 0;
  }
  constexpr bool isIndefinite() const { return isValid() && (flags & kCMTimeFlags_Indefinite) != 0; }
  constexpr bool hasBeenRounded() const { return (flags & kCMTimeFlags_HasBeenRounded) != 0; }
};

inline constexpr CMTime kCMTimeZero{0, 1, kCMTimeFlags_Valid, 0};
inline constexpr CMTime kCMTimeInvalid{0, 0, 0, 0};
inline constexpr CMTime kCMTimePositiveInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0};
inline constexpr CMTime kCMTimeNegativeInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_NegativeInfinity, 0};
inline constexpr CMTime kCMTimeIndefinite{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_Indefinite, 0};

/// -1, 0 or 1, exactly (128-bit cross multiplication). Every time has a place so that sorting
/// terminates: -infinity < numeric times < indefinite < +infinity < invalid; all invalid times are
/// equal to each other. Numeric times of different epochs order by epoch first.
int CMTimeCompare(CMTime a, CMTime b);

inline bool operator==(CMTime a, CMTime b) { return CMTimeCompare(a, b) == 0; }
inline std::strong_ordering operator<=>(CMTime a, CMTime b) {
  const int c = CMTimeCompare(a, b);
  return c < 0 ? std::strong_ordering::less
               : (c > 0 ? std::strong_ordering::greater : std::strong_ordering::equal);
}

/// Exact sum over the lcm of the timescales. When that lcm exceeds int32 the larger timescale is used
/// and the result is rounded (rounded flag set); a value that overflows int64 halves the timescale,
/// and at timescale 1 becomes an infinity. Invalid in gives invalid out; opposite infinities give
/// invalid; an infinity wins over a finite or indefinite operand; indefinite wins over numbers.
/// Different nonzero epochs give invalid; a zero epoch takes the other's.
CMTime operator+(CMTime a, CMTime b);

/// a + (-b), with the same rules (+inf - +inf is invalid, +inf - -inf is +inf).
CMTime operator-(CMTime a, CMTime b);

/// `time` expressed at `timescale`, rounded to nearest (halves away from zero); non-numeric times
/// are returned unchanged.
CMTime CMTimeConvertScale(CMTime time, std::int32_t timescale);

inline CMTime CMTimeMinimum(CMTime a, CMTime b) { return CMTimeCompare(b, a) < 0 ? b : a; }
inline CMTime CMTimeMaximum(CMTime a, CMTime b) { return CMTimeCompare(b, a) > 0 ? b : a; }
/// `time` held inside [lower, upper]; `lower` wins when the bounds cross.
inline CMTime CMTimeClamp(CMTime time, CMTime lower, CMTime upper) {
  return CMTimeMaximum(lower, CMTimeMinimum(time, upper));
}

}  // namespace tav
