#include "tav/reporting/app_feedback_reporter.hpp"

#include <stdlib.h>

#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/foundation/exception_description.hpp"
#include "tav/foundation/staging_directory.hpp"
#include "tav/platform/atomic_file.hpp"
#include "tav/platform/curl_requestor.hpp"
#include "tav/testing/captured_log.hpp"
#include "tav/testing/loopback_http_server.hpp"
#include "tav/testing/manual_task_scheduler.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

using namespace std::chrono_literals;
using Answer = testing::LoopbackHTTPServer::Answer;
using Feedback = AppFeedbackReporter::Feedback;

class AppFeedbackReporterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv(NQSRequestor::baseURLEnvironmentVariable, server_.baseURL().c_str(), 1);
    reporter_ = std::make_unique<AppFeedbackReporter>(AppFeedbackReporter::Environment{
        transport_, std::make_shared<FixedMachineIdentity>(MachineIdentifiers{"uuid", "", std::nullopt}, ""), scheduler_});
    unsetenv(NQSRequestor::baseURLEnvironmentVariable);
  }

  /// Sends and waits for the completion; the file steps run here.
  std::exception_ptr send(const Feedback& feedback, std::vector<Url> logs = {},
                          std::map<std::string, std::string> mobileLogs = {}) {
    auto done = std::make_shared<std::promise<std::exception_ptr>>();
    reporter_->sendFeedback(feedback, std::move(logs), std::move(mobileLogs),
                            [done](std::exception_ptr error) { done->set_value(error); });
    scheduler_->runPending();
    auto future = done->get_future();
    if (future.wait_for(20s) != std::future_status::ready) throw std::runtime_error("no completion");
    std::promise<void> drained;  // the completion has returned and released what it held
    transport_->post([&drained] { drained.set_value(); });
    drained.get_future().wait();
    return future.get();
  }
  Answer uploadURL(const std::string& url) { return {200, R"({"attachments_upload_url":")" + url + "\"}"}; }

  testing::LoopbackHTTPServer server_;
  std::shared_ptr<CurlRequestTransport> transport_ = std::make_shared<CurlRequestTransport>();
  std::shared_ptr<testing::ManualTaskScheduler> scheduler_ = std::make_shared<testing::ManualTaskScheduler>();
  std::unique_ptr<AppFeedbackReporter> reporter_;
  testing::ScratchDirectory scratch_;
};

TEST_F(AppFeedbackReporterTest, PostsTheFeedbackThenPutsTheZipOfTheLogsToTheURLItGets) {
  const auto log = scratch_.write("studio.log", "line 1\n");
  scratch_.write("crash/report.txt", "boom");
  server_.script({uploadURL(server_.baseURL() + "upload/abc?sig=1"), {200, "<done/>", "text/xml"}});

  const auto error = send(Feedback{"me@example.com", "It froze", Feedback::Source::error, "evt-1"},
                          {Url::fileUrl(log), Url::fileUrl(scratch_ / "crash")}, {{"phone", "PK-bytes"}});
  EXPECT_EQ(describe(error), "");
  const auto requests = server_.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].method + " " + requests[0].target, "POST /nqs/app_feedbacks");
  EXPECT_EQ(requests[0].body,
            R"({"user_email":"me@example.com","comments":"It froze","source":"error","sentry_event_id":"evt-1"})");
  EXPECT_EQ(requests[0].header("User-Agent").substr(requests[0].header("User-Agent").size() - 4), "-1-2");
  EXPECT_EQ(requests[1].method + " " + requests[1].target, "PUT /upload/abc?sig=1");
  EXPECT_FALSE(requests[1].hasHeader("Mv-Instance"));
  EXPECT_FALSE(requests[1].hasHeader("User-Agent") && requests[1].header("User-Agent").starts_with("tavo-"));

  // The archive holds the logs at its root, each under its own name.
  const auto zip = scratch_.write("sent.zip", requests[1].body);
  StagingDirectory unpacked;
  ASSERT_TRUE(unpacked.unarchiveFiles(zip.string()));
  EXPECT_EQ(readWholeFile(unpacked.path() / "studio.log"), "line 1\n");
  EXPECT_EQ(readWholeFile(unpacked.path() / "crash" / "report.txt"), "boom");
  EXPECT_EQ(readWholeFile(unpacked.path() / "phone.zip"), "PK-bytes");
}

TEST_F(AppFeedbackReporterTest, EveryOutcomeEndsInOneCompletion) {
  const Feedback adHoc{"", "hi", Feedback::Source::adHoc, std::nullopt};
  struct Case {
    std::string name;
    std::vector<Answer> answers;
    std::vector<Url> logs;
    std::string error;  // a part of the completion's error; empty for none
    std::size_t requests;
  };
  const std::vector<Case> cases{
      {"no logs", {uploadURL(server_.baseURL() + "u"), {}}, {}, "", 2},
      {"upload status not looked at", {uploadURL(server_.baseURL() + "u"), {403, "denied"}}, {}, "", 2},
      {"feedback rejected", {{500, "{}"}}, {}, "HTTP status 500", 1},
      {"answer without the URL", {{200, "{}"}}, {}, "attachments_upload_url", 1},
      {"upload URL not a URL", {uploadURL("not a url")}, {}, "\"not a url\" is not an https URL", 1},
      {"upload unreachable", {uploadURL("http://127.0.0.1:9/u")}, {}, "127.0.0.1:9", 1},
      {"missing log", {}, {Url::fileUrl(scratch_ / "gone.log")}, (scratch_ / "gone.log").string(), 0},
      {"two logs of one name", {}, {Url::fileUrl(scratch_.write("a/x.log")), Url::fileUrl(scratch_.write("b/x.log"))},
       "already staged", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::size_t before = server_.requests().size();
    server_.script(c.answers);
    const std::string error = describe(send(adHoc, c.logs));
    EXPECT_THAT(error, c.error.empty() ? ::testing::Matcher<std::string>(::testing::IsEmpty())
                                       : ::testing::HasSubstr(c.error));
    const auto requests = server_.requests();
    ASSERT_EQ(requests.size() - before, c.requests);
    if (c.requests > 0) {
      EXPECT_EQ(requests[before].body, R"({"user_email":"","comments":"hi","source":"adHoc"})");
    }
    if (c.name == "no logs") {  // an empty archive still goes up
      const auto zip = scratch_.write("empty.zip", requests[before + 1].body);
      StagingDirectory unpacked;
      EXPECT_TRUE(unpacked.unarchiveFiles(zip.string()));
      EXPECT_TRUE(unpacked.urls().empty());
    }
  }
}

TEST_F(AppFeedbackReporterTest, ARejectedFeedbackIsLoggedWithTheRecord) {
  testing::CapturedLog log;
  server_.script({{500, "{}"}});
  send(Feedback{"a@b.c", "slow", Feedback::Source::adHoc, std::nullopt});
  const auto lines = log.texts("AppFeedbackReporter");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], ::testing::StartsWith(
      R"(Error while sending app feedback (Feedback(email: "a@b.c", comments: "slow", source: adHoc, sentryEventId: nil)) to NQS: )"));
}

}  // namespace
}  // namespace tav
