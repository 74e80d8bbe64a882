// Date: a point in time as the platform's date type holds it, seconds since 2001-01-01 00:00:00 UTC
// (the reference date) in a double.
#pragma once

#include <chrono>
#include <cmath>
#include <cstdint>
#include <compare>
#include <functional>

#include "tav/contracts/json_coder.hpp"

namespace tav {

/// A plain value. Ordered and hashable by its seconds.
struct Date {
  /// Seconds from 1970-01-01 to the reference date 2001-01-01, both UTC.
  static constexpr double referenceDateSince1970 = 978307200.0;

  double timeIntervalSinceReferenceDate = 0;

  static Date fromTimeIntervalSince1970(double seconds) { return Date{seconds - referenceDateSince1970}; }
  static Date fromTimePoint(std::chrono::system_clock::time_point time) {
    return fromTimeIntervalSince1970(std::chrono::duration<double>(time.time_since_epoch()).count());
  }
  static Date now() { return fromTimePoint(std::chrono::system_clock::now()); }

  double timeIntervalSince1970() const { return timeIntervalSinceReferenceDate + referenceDateSince1970; }
  /// Seconds from `other` to this date.
  double timeIntervalSince(const Date& other) const {
    return timeIntervalSinceReferenceDate - other.timeIntervalSinceReferenceDate;
  }

  friend auto operator<=>(const Date&, const Date&) = default;
  friend bool operator==(const Date&, const Date&) = default;
};

/// The platform coder's default form: a JSON number of seconds since the reference date, written as an
/// integer when it is a whole number of seconds (700000000, not 7e+08). Any JSON number reads.
template <>
struct JsonCoder<Date> {
  static Date decode(const JsonValue& json, const JsonPath& path) { return Date{JsonCoder<double>::decode(json, path)}; }
  static void encode(JsonWriter& w, const Date& date) {
    const double seconds = date.timeIntervalSinceReferenceDate;
    // Whole seconds within the range where every integer is exact as a double.
    if (std::trunc(seconds) == seconds && std::fabs(seconds) <= 9007199254740992.0) {
      w.integer(static_cast<std::int64_t>(seconds));
    } else {
      w.number(seconds);
    }
  }
};

}  // namespace tav

template <>
struct std::hash<tav::Date> {
  std::size_t operator()(const tav::Date& date) const noexcept {
    return std::hash<double>()(date.timeIntervalSinceReferenceDate);
  }
};
