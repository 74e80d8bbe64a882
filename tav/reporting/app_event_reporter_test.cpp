#include "tav/reporting/app_event_reporter.hpp"

#include <stdlib.h>

#include <gtest/gtest.h>

#include "tav/foundation/web_address.hpp"
#include "tav/platform/curl_requestor.hpp"
#include "tav/reporting/session_records.hpp"
#include "tav/testing/loopback_http_server.hpp"
#include "tav/testing/manual_task_scheduler.hpp"
#include "tav/testing/scripted_request_transport.hpp"

namespace tav {
namespace {

using namespace std::chrono_literals;
using testing::ManualTaskScheduler;
using testing::ScriptedRequestTransport;

class SessionEndedGenerator : public BaseAppEventGenerator<SessionEndedGenerator, NQSTavoSession> {
 public:
  using BaseAppEventGenerator::BaseAppEventGenerator;
  static AppEventType eventType() { return AppEventType::sessionEnded; }
};

class ForgetfulGenerator : public BaseAppEventGenerator<ForgetfulGenerator, VideoPlayedEvent> {
 public:
  using BaseAppEventGenerator::BaseAppEventGenerator;
};

class HostReporter : public AppEventReporter {
 public:
  using AppEventReporter::AppEventReporter;
  std::vector<AppEventGeneratorType> generatorTypes() const override {
    return {AppEventGeneratorType::of<SessionEndedGenerator>()};
  }
  NQSRequestor::Platform platform() const override { return NQSRequestor::Platform::mac; }
};

const ServiceDate kNow = ServiceDate(std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + 9h);
const MachineIdentifiers kIdentifiers{"uuid", "serial", std::nullopt};

class AppEventReporterTest : public ::testing::Test {
 protected:
  void SetUp() override { unsetenv(NQSRequestor::baseURLEnvironmentVariable); }

  std::shared_ptr<HostReporter> makeReporter(std::shared_ptr<RequestTransport> transport) {
    return AppEventReporter::create<HostReporter>(AppEventReporter::Environment{
        std::move(transport), std::make_shared<FixedMachineIdentity>(kIdentifiers, "Studio"), scheduler_,
        [] { return kNow; }});
  }
  /// Reports "video.played" for `uid` and lets the reporter hand it to the transport.
  void report(const std::string& uid) {
    reporter_->videoPlayed(uid);
    scheduler_->runPending();
  }
  /// The "uid" of each queued event's payload, in queue order.
  std::vector<std::string> pendingUIDs() {
    std::vector<std::string> uids;
    for (const auto& event : reporter_->pendingEvents()) {
      const JsonValue body = parseJson(encodeJson(event), boost::json::storage_ptr());
      uids.emplace_back(body.at("data").at("object").at("uid").as_string());
    }
    return uids;
  }
  void failAll() { transport_->answerAll(ScriptedRequestTransport::refused()); }

  std::shared_ptr<ManualTaskScheduler> scheduler_ = std::make_shared<ManualTaskScheduler>();
  std::shared_ptr<ScriptedRequestTransport> transport_ = std::make_shared<ScriptedRequestTransport>();
  std::shared_ptr<HostReporter> reporter_ = makeReporter(transport_);
};

TEST_F(AppEventReporterTest, SendsEachEventAsOneRequestWithItsPayloadUnderDataObject) {
  report("intro");
  reporter_->sceneRemoved();
  NQSTavoSession session{Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F").value(), kNow, kNow + 60s, "c-1",
                         MediaType::video, std::nullopt, std::nullopt, {}, {}, {}, std::nullopt, {}};
  reporter_->generator<SessionEndedGenerator>()->publishEvent(session);
  scheduler_->runPending();

  const auto sent = transport_->sent();
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_EQ(sent[0].method + " " + sent[0].url, "POST https://nqs.morvane.com/nqs/app_events");
  EXPECT_EQ(sent[0].headers.value("User-Agent"), "tavo-" + mainBundleInfo().version.value_or("") + "-1-2");
  const JsonValue first = parseJson(sent[0].body, boost::json::storage_ptr());
  const std::string id(first.at("id").as_string());
  const std::string date = iso8601InternetDateTime(kNow);
  EXPECT_EQ(sent[0].body, R"({"id":")" + id + R"(","type":"video.played","data":{"object":{"uid":"intro"}},"date_created":")" + date + "\"}");
  EXPECT_TRUE(Uuid::parse(id).has_value());
  EXPECT_EQ(sent[1].body.find("\"data\""), std::string::npos);
  EXPECT_NE(sent[1].body.find(R"("type":"scene.removed")"), std::string::npos);
  EXPECT_NE(sent[2].body.find(R"("type":"tavo_session.ended","data":{"object":{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","date_started":)"),
            std::string::npos);
  EXPECT_NE(sent[2].body.find(R"("consumer_id":"c-1","media_type":)"), std::string::npos);
  EXPECT_NE(sent[2].body.find(R"("source_info":[],"scene_info":[],"audio_info":[],"stream_deck_info":[]})"),
            std::string::npos);
}

TEST_F(AppEventReporterTest, TheSeventeenthFailedEventPushesOutTheFirst) {
  for (int i = 1; i <= 17; ++i) {
    report(std::to_string(i));
    failAll();
  }
  std::vector<std::string> expected;
  for (int i = 2; i <= 17; ++i) expected.push_back(std::to_string(i));
  EXPECT_EQ(pendingUIDs(), expected);
}

TEST_F(AppEventReporterTest, BackOffGrowsByThreeAndStaysAtThreeHundredSeconds) {
  report("a");
  failAll();
  for (int failures = 1; failures <= 6; ++failures) {
    EXPECT_EQ(reporter_->consecutiveFailures(), failures);
    const auto wait = reporter_->retryDelay(failures);
    EXPECT_EQ(scheduler_->advance(wait - 1s), 0u) << "fired early after " << failures << " failures";
    EXPECT_EQ(scheduler_->advance(1s), 1u);  // the flush sends the event again
    failAll();
  }
  using S = TaskScheduler::Duration;
  EXPECT_EQ(scheduler_->requestedDelays(),
            (std::vector<S>{S(5s), S(15s), S(45s), S(135s), S(300s), S(300s), S(300s)}));
  EXPECT_EQ(transport_->sent().size(), 7u);
  for (const auto& request : transport_->sent()) EXPECT_EQ(request.body, transport_->sent()[0].body);  // same id and date
}

TEST_F(AppEventReporterTest, FailuresWithinOneWaitCountOnce) {
  report("a");
  report("b");
  report("c");
  failAll();
  EXPECT_EQ(std::tuple(reporter_->consecutiveFailures(), scheduler_->requestedDelays().size()), std::tuple(1, 1u));
  EXPECT_EQ(pendingUIDs(), (std::vector<std::string>{"a", "b", "c"}));

  // A success resets the count and flushes; the flushed event failing again while the first timer is
  // still armed leaves the count at 0: delay 0, and no second timer.
  report("d");
  transport_->answerNext(ScriptedRequestTransport::ok());
  EXPECT_EQ(reporter_->consecutiveFailures(), 0);
  EXPECT_TRUE(reporter_->pendingEvents().empty());
  EXPECT_EQ(transport_->waitingCount(), 3u);  // a, b and c sent again
  failAll();
  EXPECT_EQ(std::tuple(reporter_->consecutiveFailures(), scheduler_->requestedDelays().size()), std::tuple(0, 1u));
  EXPECT_TRUE(reporter_->isRetryScheduled());
}

TEST_F(AppEventReporterTest, AnswersOfTheServiceDropTheEvent) {
  report("a");
  failAll();
  for (const RequestResult<HTTPResponse>& answer :
       {RequestResult<HTTPResponse>(HTTPResponse{500, {}, "{}"}), RequestResult<HTTPResponse>(ScriptedRequestTransport::ok("[1]")),
        RequestResult<HTTPResponse>(ScriptedRequestTransport::ok("not json"))}) {
    report("rejected");
    transport_->answerNext(answer);
  }
  EXPECT_EQ(pendingUIDs(), std::vector<std::string>{"a"});  // waits for the next success or the timer
  EXPECT_EQ(std::tuple(reporter_->consecutiveFailures(), scheduler_->requestedDelays().size()), std::tuple(1, 1u));
}

TEST_F(AppEventReporterTest, LateResultsAndTimersOfAGoneReporterAreDropped) {
  report("a");
  reporter_.reset();
  EXPECT_NO_THROW(failAll());
  EXPECT_EQ(scheduler_->advance(1h), 0u);
}

TEST_F(AppEventReporterTest, ClassesWithoutTheirOverridesAreRefused) {
  try {
    AppEventReporter::create<AppEventReporter>(AppEventReporter::Environment{transport_, nullptr, scheduler_, {}});
    FAIL() << "a reporter without overrides started";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "Override in your subclass.");
  }
  try {
    ForgetfulGenerator(reporter_).publishEvent(VideoPlayedEvent{"x"});
    FAIL() << "a generator without its event type published";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "Don't use BaseAppEventGenerator directly, and override eventType in your subclass.");
  }
}

TEST(AppEventReporterOverHTTP, PostsToTheServiceAndQueuesWhileItIsUnreachable) {
  testing::LoopbackHTTPServer server;
  setenv(NQSRequestor::baseURLEnvironmentVariable, server.baseURL().c_str(), 1);
  auto transport = std::make_shared<CurlRequestTransport>();
  auto scheduler = std::make_shared<ManualTaskScheduler>();
  auto reporter = AppEventReporter::create<HostReporter>(
      AppEventReporter::Environment{transport, std::make_shared<FixedMachineIdentity>(kIdentifiers, ""), scheduler, {}});
  unsetenv(NQSRequestor::baseURLEnvironmentVariable);

  reporter->screenViewed(ReportableScreenType::main, std::nullopt, std::nullopt);
  scheduler->runPending();
  ASSERT_TRUE(server.waitForRequests(1));
  const auto request = server.requests().front();
  EXPECT_EQ(request.method + " " + request.target + " " + request.version, "POST /nqs/app_events HTTP/1.1");
  EXPECT_EQ(request.header("Content-Type"), "application/json");
  EXPECT_EQ(request.header("Mv-Instance"), reporter->requestor().instance());
  EXPECT_FALSE(request.hasHeader("Mv-Referrer"));
  EXPECT_NE(request.body.find(R"("type":"screen.viewed","data":{"object":{"uid":"main"}})"), std::string::npos);

  server.stop();  // refuses from now on
  for (int i = 0; i < 20; ++i) reporter->videoPlayed(std::to_string(i));
  scheduler->runPending();
  for (int spins = 0; reporter->pendingEvents().size() < 16 && spins < 2000; ++spins) std::this_thread::sleep_for(5ms);
  EXPECT_EQ(std::tuple(reporter->pendingEvents().size(), reporter->consecutiveFailures()), std::tuple(16u, 1));
}

}  // namespace
}  // namespace tav
