#include "tav/reporting/app_profile_reporter.hpp"

#include <stdlib.h>

#include <gtest/gtest.h>

#include "tav/foundation/codable_user_default.hpp"
#include "tav/testing/captured_log.hpp"
#include "tav/testing/scripted_request_transport.hpp"

namespace tav {
namespace {

using testing::ScriptedRequestTransport;
using List = std::vector<std::string>;

class AppProfileReporterTest : public ::testing::Test {
 protected:
  void SetUp() override { unsetenv(NQSRequestor::baseURLEnvironmentVariable); }
  std::optional<List> pending() const {
    return UserDefault<std::optional<List>>("NQS_PENDING_USE_CASES", std::nullopt, defaults_).get();
  }

  std::shared_ptr<InMemoryUserDefaults> defaults_ = std::make_shared<InMemoryUserDefaults>();
  std::shared_ptr<ScriptedRequestTransport> transport_ = std::make_shared<ScriptedRequestTransport>();
  AppProfileReporter reporter_{defaults_, transport_,
                               std::make_shared<FixedMachineIdentity>(MachineIdentifiers{"u", "s", std::nullopt}, "")};
};

TEST_F(AppProfileReporterTest, HoldsTheReportUntilItsOutcomeSaysOtherwise) {
  const struct {
    std::string name;
    RequestResult<HTTPResponse> answer;
    std::optional<List> kept;
  } cases[] = {
      {"success", ScriptedRequestTransport::ok(), std::nullopt},
      {"service unreachable", ScriptedRequestTransport::refused(), List{"streaming", "podcasts"}},
      {"rejected by the service", HTTPResponse{422, {}, "{}"}, std::nullopt},
      {"an answer that is not an object", ScriptedRequestTransport::ok("[]"), std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    reporter_.reportUseCases({"streaming", "podcasts"});
    EXPECT_EQ(pending(), (List{"streaming", "podcasts"}));  // held while in flight
    transport_->answerNext(c.answer);
    EXPECT_EQ(pending(), c.kept);
    defaults_->remove("NQS_PENDING_USE_CASES");
  }
  const auto sent = transport_->sent();
  EXPECT_EQ(sent[0].method + " " + sent[0].url, "POST https://nqs.morvane.com/nqs/app_profile");
  EXPECT_EQ(sent[0].body, R"({"data":{"use_cases":["streaming","podcasts"]}})");
  EXPECT_TRUE(sent[0].headers.value("User-Agent")->ends_with("-1-2"));
}

TEST_F(AppProfileReporterTest, RetrySendsTheHeldOverListAndANewReportReplacesIt) {
  testing::CapturedLog log;
  reporter_.retryPendingUseCases();
  defaults_->set("NQS_PENDING_USE_CASES", JsonValue(boost::json::array()));
  reporter_.retryPendingUseCases();
  EXPECT_EQ(std::pair(transport_->sent().size(), log.texts("AppProfileReporter").size()), std::pair(0ul, 0ul));

  reporter_.reportUseCases({"gaming"});
  transport_->answerNext(ScriptedRequestTransport::refused());
  EXPECT_EQ(pending(), List{"gaming"});
  reporter_.retryPendingUseCases();
  ASSERT_EQ(transport_->sent().size(), 2u);
  EXPECT_EQ(transport_->sent()[1].body, R"({"data":{"use_cases":["gaming"]}})");
  transport_->answerNext(ScriptedRequestTransport::refused());

  reporter_.reportUseCases({"education", "meetings"});
  EXPECT_EQ(pending(), (List{"education", "meetings"}));
  transport_->answerNext(ScriptedRequestTransport::ok());
  EXPECT_EQ(pending(), std::nullopt);
  EXPECT_EQ(log.texts("AppProfileReporter"),
            (List{"Error while reporting app profile to NQS: connection refused",
                  "Retrying a held-over app profile report of 1 use case(s)",
                  "Error while reporting app profile to NQS: connection refused"}));
}

}  // namespace
}  // namespace tav
