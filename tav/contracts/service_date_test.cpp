#include "tav/contracts/service_date.hpp"

#include <stdlib.h>

#include <gtest/gtest.h>

namespace tav {
namespace {

using namespace std::chrono;

/// Sets TZ for one test and puts back what was there.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* old = getenv("TZ")) previous_ = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZone() {
    if (previous_) setenv("TZ", previous_->c_str(), 1); else unsetenv("TZ");
    tzset();
  }

 private:
  std::optional<std::string> previous_;
};

const ServiceDate kMarchFirstNineUTC = ServiceDate(sys_days(year(2026) / 3 / 1) + hours(9));

TEST(ServiceDate, WritesTheLocalOffsetWithoutFractions) {
  {
    TimeZone zone("CET-1");
    EXPECT_EQ(encodeJson(kMarchFirstNineUTC + milliseconds(750)), "\"2026-03-01T10:00:00+01:00\"");
  }
  {
    TimeZone zone("UTC0");
    EXPECT_EQ(iso8601InternetDateTime(kMarchFirstNineUTC), "2026-03-01T09:00:00+00:00");
  }
  {
    TimeZone zone("<-0330>3:30");
    EXPECT_EQ(iso8601InternetDateTime(kMarchFirstNineUTC), "2026-03-01T05:30:00-03:30");
  }
}

TEST(ServiceDate, ReadsTextWithoutOffsetAsGMT) {
  TimeZone zone("CET-1");
  EXPECT_EQ(decodeJson<ServiceDate>("\"2026-03-01T09:00:00\""), kMarchFirstNineUTC);
  EXPECT_EQ(decodeJson<ServiceDate>("\"2026-03-01T10:00:00+01:00\""), kMarchFirstNineUTC);
  EXPECT_EQ(decodeJson<ServiceDate>("\"2026-03-01T09:00:00Z\""), kMarchFirstNineUTC);
  for (const char* bad : {"\"2026-03-01 09:00:00\"", "\"2026-02-30T09:00:00\"", "\"2026-03-01T09:00:00.5\"", "12"}) {
    EXPECT_THROW(decodeJson<ServiceDate>(bad), DecodingError) << bad;
  }
}

}  // namespace
}  // namespace tav
