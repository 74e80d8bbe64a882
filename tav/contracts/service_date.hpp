// ServiceDate: a moment in time as the online service's records stamp it (session records, app
// events). Unlike Date, which documents store as seconds since 2001, these dates travel as RFC 3339 texts: written with the local time zone's offset and no fractional seconds
// ("2026-03-01T10:00:00+01:00"), read either in that form or as "yyyy-MM-dd'T'HH:mm:ss" without an
// offset, which is taken as GMT (the service writes its dates so).
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_coder.hpp"

namespace tav {

using ServiceDate = std::chrono::system_clock::time_point;

/// `date` to whole seconds as "yyyy-MM-ddTHH:mm:ss±hh:mm" in the time zone in effect now (the local
/// zone as the C library reads it, so a change of TZ shows on the next call). Thread-safe.
std::string iso8601InternetDateTime(ServiceDate date);
/// Reads "yyyy-MM-ddTHH:mm:ss" as GMT, or the same followed by "Z" or "±hh:mm" as RFC 3339 says.
/// Absent for any other text (fractional seconds included) or an impossible date.
std::optional<ServiceDate> parseServiceDate(std::string_view text);

template <>
struct JsonCoder<ServiceDate> {
  static ServiceDate decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const ServiceDate& v) { w.string(iso8601InternetDateTime(v)); }
};

}  // namespace tav
