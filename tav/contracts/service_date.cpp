#include "tav/contracts/service_date.hpp"

#include <ctime>

#include <fmt/format.h>

namespace tav {
namespace {

/// Parses exactly `width` decimal digits at `text[at]`.
std::optional<int> digits(std::string_view text, std::size_t at, std::size_t width) {
  if (at + width > text.size()) return std::nullopt;
  int value = 0;
  for (std::size_t i = at; i < at + width; ++i) {
    char c = text[i];
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  return value;
}

}  // namespace

std::string iso8601InternetDateTime(ServiceDate date) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(
      std::chrono::floor<std::chrono::seconds>(date));
  std::tm local{};
  tzset();
  localtime_r(&seconds, &local);
  long offsetMinutes = local.tm_gmtoff / 60;
  const char sign = offsetMinutes < 0 ? '-' : '+';
  if (offsetMinutes < 0) offsetMinutes = -offsetMinutes;
  return fmt::format("{:04d}-{:02d}-{:02d}T{:02d}:{:02d}:{:02d}{}{:02d}:{:02d}", local.tm_year + 1900,
                     local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, sign,
                     offsetMinutes / 60, offsetMinutes % 60);
}

std::optional<ServiceDate> parseServiceDate(std::string_view text) {
  // yyyy-MM-ddTHH:mm:ss is 19 characters; separators at 4, 7, 10, 13 and 16.
  if (text.size() < 19 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':') {
    return std::nullopt;
  }
  auto year = digits(text, 0, 4), month = digits(text, 5, 2), day = digits(text, 8, 2);
  auto hour = digits(text, 11, 2), minute = digits(text, 14, 2), second = digits(text, 17, 2);
  if (!year || !month || !day || !hour || !minute || !second) return std::nullopt;
  const std::chrono::year_month_day ymd{std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(*month)),
                                        std::chrono::day(static_cast<unsigned>(*day))};
  if (!ymd.ok() || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;

  std::chrono::seconds offset{0};
  std::string_view zone = text.substr(19);
  if (zone == "Z") {
    zone = {};
  } else if (zone.size() == 6 && (zone[0] == '+' || zone[0] == '-') && zone[3] == ':') {
    auto hours = digits(zone, 1, 2), minutes = digits(zone, 4, 2);
    if (!hours || !minutes || *hours > 23 || *minutes > 59) return std::nullopt;
    offset = std::chrono::hours(*hours) + std::chrono::minutes(*minutes);
    if (zone[0] == '-') offset = -offset;
    zone = {};
  }
  if (!zone.empty()) return std::nullopt;
  const auto day0 = std::chrono::sys_days(ymd);
  return ServiceDate(day0 + std::chrono::hours(*hour) + std::chrono::minutes(*minute) + std::chrono::seconds(*second) -
              offset);
}

ServiceDate JsonCoder<ServiceDate>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_string()) detail::throwExpected(path, "a date text");
  const auto& s = json.get_string();
  std::string_view text(s.data(), s.size());
  if (auto date = parseServiceDate(text)) return *date;
  throw DecodingError(path, "expected a date as yyyy-MM-ddTHH:mm:ss, found \"" + std::string(text) + "\"");
}

}  // namespace tav
