#include "tav/contracts/service_date.hpp"

#include <stdlib.h>

#include <gtest/gtest.h>

#include "tav/testing/scoped_environment_variable.hpp"

namespace tav {
namespace {

using namespace std::chrono;

/// Sets TZ for one test and puts back what was there; tzset makes the C library read it again.
struct TimeZone {
  explicit TimeZone(const char* zone) {
    variable.emplace("TZ", zone);
    tzset();
  }
  ~TimeZone() {
    variable.reset();
    tzset();
  }
  std::optional<testing::ScopedEnvironmentVariable> variable;
};

const ServiceDate kMarchFirstNineUTC = ServiceDate(sys_days(year(2026) / 3 / 1) + hours(9));

TEST(ServiceDate, WritesTheLocalOffsetWithoutFractions) {
  {
    TimeZone zone("CET-1");
    EXPECT_EQ(encodeJson(kMarchFirstNineUTC + milliseconds(750)), "\"2026-03-01T10:00:00+01:00\"");
  }
  for (const auto& [name, text] : {std::pair{"UTC0", "2026-03-01T09:00:00+00:00"},
                                   std::pair{"<-0330>3:30", "2026-03-01T05:30:00-03:30"}}) {
    TimeZone zone(name);
    EXPECT_EQ(iso8601InternetDateTime(kMarchFirstNineUTC), text) << name;
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
