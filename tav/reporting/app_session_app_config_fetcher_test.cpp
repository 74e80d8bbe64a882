#include "tav/reporting/app_session_app_config_fetcher.hpp"

#include <stdlib.h>

#include <future>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/platform/curl_requestor.hpp"
#include "tav/testing/fixed_system_specs.hpp"
#include "tav/testing/loopback_http_server.hpp"
#include "tav/testing/manual_run_loop.hpp"
#include "tav/testing/manual_task_scheduler.hpp"
#include "tav/testing/scripted_request_transport.hpp"

namespace tav {

struct StudioConfig {
  int refresh = 0;
  std::string greeting;
  static std::string configKey() { return "studio"; }
  friend bool operator==(const StudioConfig&, const StudioConfig&) = default;
};

template <>
struct JsonCoder<StudioConfig> {
  static void encode(JsonWriter& w, const StudioConfig& v) {
    w.beginObject();
    w.field("refresh", v.refresh);
    w.field("greeting", v.greeting);
    w.endObject();
  }
  static StudioConfig decode(const JsonValue& json, const JsonPath& path) {
    JsonObjectReader reader(json, path);
    return {reader.required<int>("refresh"), reader.required<std::string>("greeting")};
  }
};

namespace {

using namespace std::chrono_literals;
using testing::ScriptedRequestTransport;
using Status = NetworkPathStatus;

using FixedSpecs = testing::FixedSystemSpecs;

/// Records what its hooks are given. Used from the test's thread only, except over HTTP.
class StudioFetcher : public AppSessionAppConfigFetcher<StudioConfig> {
 public:
  using AppSessionAppConfigFetcher::AppSessionAppConfigFetcher;
  void didReceive(const std::optional<Result>& result) override { results.push_back(result && result->isSuccess()); }
  void didReceive(const StudioConfig& config) override { configs.push_back(config); }
  std::vector<bool> results;
  std::vector<StudioConfig> configs;
};

const std::string kSessionURL = "https://nqs.morvane.com/nqs/app_session";
const StudioConfig kHello{5, "hello"};
const StudioConfig kBye{7, "bye"};
HTTPResponse session(const StudioConfig& config) {
  return ScriptedRequestTransport::ok(R"({"config":)" + encodeJson(config) + "}");
}

class AppSessionAppConfigFetcherTest : public ::testing::Test {
 protected:
  void SetUp() override { unsetenv(NQSRequestor::baseURLEnvironmentVariable); }

  std::shared_ptr<StudioFetcher> start(Status initial = Status::unsatisfied) {
    auto monitor = std::make_unique<ScriptedNetworkPathMonitor>(NetworkPath{initial, {}});
    monitor_ = monitor.get();
    AppSessionEnvironment environment{
        AppConfigFetcherEnvironment{defaults_, &runLoop_, throttle_, std::move(monitor)}, transport_,
        std::make_shared<FixedMachineIdentity>(MachineIdentifiers{"uuid", "serial", std::nullopt}, "Studio"), &specs_,
        [this](const std::string& line) { lines_.push_back(line); }};
    return AppConfigFetcher<StudioConfig>::create<StudioFetcher>(NQSRequestor::Platform::mac, std::move(environment));
  }
  /// Reports `status`, lets the handler run, then lets the throttle's delay pass.
  void networkBecomes(Status status, TaskScheduler::Duration then) {
    monitor_->update(status);
    fetcher_->networkMonitorQueue().drain();
    throttle_->advance(then);
  }
  std::size_t gets() const {
    std::size_t count = 0;
    for (const auto& request : transport_->sent()) count += request.method == "GET" ? 1 : 0;
    return count;
  }

  FixedSpecs specs_;
  testing::ManualRunLoop runLoop_;
  std::shared_ptr<testing::ManualTaskScheduler> throttle_ = std::make_shared<testing::ManualTaskScheduler>();
  std::shared_ptr<InMemoryUserDefaults> defaults_ = std::make_shared<InMemoryUserDefaults>();
  std::shared_ptr<ScriptedRequestTransport> transport_ = std::make_shared<ScriptedRequestTransport>();
  ScriptedNetworkPathMonitor* monitor_ = nullptr;
  std::vector<std::string> lines_;
  std::shared_ptr<StudioFetcher> fetcher_;
};

TEST_F(AppSessionAppConfigFetcherTest, StartsAnAppSessionAndKeepsTheConfigItServes) {
  fetcher_ = start();
  const auto sent = transport_->sent();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].method + " " + sent[0].url, "POST " + kSessionURL);
  EXPECT_EQ(sent[0].body,
            R"json({"instance_payload":{"os_version":"Debian GNU/Linux 12 (bookworm)","device_model":"ThinkStation P360","device_arch":"x86_64"}})json");
  EXPECT_TRUE(sent[0].headers.value("User-Agent")->ends_with("-1-2"));
  EXPECT_TRUE(fetcher_->isFetching());
  EXPECT_EQ(fetcher_->config(), std::nullopt);

  transport_->answerNext(session(kHello));
  EXPECT_EQ(fetcher_->config(), kHello);
  EXPECT_EQ(fetcher_->previousConfig(), std::nullopt);
  EXPECT_FALSE(fetcher_->isFetching());
  EXPECT_EQ(fetcher_->results, std::vector<bool>{true});
  EXPECT_EQ(fetcher_->configs, std::vector<StudioConfig>{kHello});
  EXPECT_EQ(defaults_->value("NQSAppSessionConfig_studio"), parseJson(encodeJson(kHello), {}));
  EXPECT_EQ(lines_, (std::vector<std::string>{"[AppSessionAppConfigFetcher] Creating app session…",
                                              "[AppSessionAppConfigFetcher] Did fetch config…"}));
}

TEST_F(AppSessionAppConfigFetcherTest, ThePersistedConfigAnswersBeforeAnyNetworkCall) {
  defaults_->set("NQSAppSessionConfig_studio", parseJson(encodeJson(kBye), {}));
  fetcher_ = start();
  EXPECT_EQ(fetcher_->config(), kBye);
  EXPECT_EQ(fetcher_->previousConfig(), std::nullopt);
  transport_->answerNext(ScriptedRequestTransport::refused());
  EXPECT_EQ(fetcher_->config(), kBye);
  EXPECT_NE(lines_.back().find("[AppSessionAppConfigFetcher] Couldn't fetch config: connection refused"), std::string::npos);
}

TEST_F(AppSessionAppConfigFetcherTest, EachOutcomeMovesTheConfigsAsTheRulesSay) {
  const RequestResult<HTTPResponse> refused = ScriptedRequestTransport::refused();
  struct Case {
    std::string name;
    std::vector<RequestResult<HTTPResponse>> answers;  // the session's, then one per fetch
    std::optional<StudioConfig> config, previous;
    bool lastSucceeded;
  };
  const std::vector<Case> cases{
      {"same content twice", {session(kHello), session(kHello)}, kHello, kHello, true},
      {"a failure", {session(kHello), refused}, kHello, std::nullopt, false},
      {"a failure between two good ones", {session(kHello), refused, session(kBye)}, kBye, kHello, true},
      {"no config key", {session(kHello), ScriptedRequestTransport::ok(R"({"settings":{}})")}, kHello, std::nullopt, false},
      {"not JSON", {session(kHello), ScriptedRequestTransport::ok("<html>")}, kHello, std::nullopt, false},
      {"a config of the wrong shape", {session(kHello), ScriptedRequestTransport::ok(R"({"config":{"refresh":"x"}})")},
       kHello, std::nullopt, false},
      {"a service error", {session(kHello), HTTPResponse{503, {}, "{}"}}, kHello, std::nullopt, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    defaults_ = std::make_shared<InMemoryUserDefaults>();
    fetcher_ = start();
    for (std::size_t i = 0; i < c.answers.size(); ++i) {
      if (i > 0) fetcher_->fetchConfig();
      transport_->answerNext(c.answers[i]);
    }
    EXPECT_EQ(fetcher_->config(), c.config);
    EXPECT_EQ(fetcher_->previousConfig(), c.previous);
    EXPECT_EQ(fetcher_->result()->isSuccess(), c.lastSucceeded);
    EXPECT_EQ(fetcher_->results.back(), c.lastSucceeded);
    EXPECT_EQ(defaults_->value("NQSAppSessionConfig_studio"), parseJson(encodeJson(*c.config), {}));  // the last good one
  }
  EXPECT_NE(fetcher_->result()->errorDescription().find("503"), std::string::npos);
}

TEST_F(AppSessionAppConfigFetcherTest, TheTimerFetchesEvery900SecondsButNotWhileAFetchRuns) {
  fetcher_ = start();
  ASSERT_EQ(runLoop_.timers().size(), 1u);
  EXPECT_EQ(runLoop_.timers()[0]->interval, 900s);
  runLoop_.fire();  // the app session is still running
  EXPECT_EQ(transport_->sent().size(), 1u);

  transport_->answerNext(session(kHello));
  runLoop_.fire();
  runLoop_.fire();  // dropped: the first is running
  ASSERT_EQ(transport_->sent().size(), 2u);
  EXPECT_EQ(transport_->sent()[1].method + " " + transport_->sent()[1].url, "GET " + kSessionURL);
  EXPECT_EQ(lines_[1], "[AppSessionAppConfigFetcher] Did fetch config…");
  EXPECT_EQ(lines_[2], "[AppSessionAppConfigFetcher] Retrieving config…");
  transport_->answerNext(session(kBye));
  EXPECT_EQ(fetcher_->config(), kBye);

  fetcher_.reset();
  EXPECT_EQ(runLoop_.validTimers(), 0u);
}

TEST_F(AppSessionAppConfigFetcherTest, EachChangeToASatisfiedPathFetchesOnceAfterTheThrottle) {
  struct Case {
    std::vector<Status> statuses;  // the first is the report at start
    std::size_t fetches;
  };
  const std::vector<Case> cases{
      {{Status::satisfied}, 1},
      {{Status::unsatisfied, Status::satisfied, Status::satisfied}, 1},
      {{Status::unsatisfied, Status::satisfied, Status::unsatisfied, Status::satisfied}, 2},
      {{Status::unsatisfied, Status::unsatisfied}, 0},
  };
  for (const Case& c : cases) {
    transport_ = std::make_shared<ScriptedRequestTransport>();
    fetcher_ = start(c.statuses[0]);
    transport_->answerNext(session(kHello));
    fetcher_->networkMonitorQueue().drain();
    EXPECT_EQ(throttle_->advance(59s), 0u);  // trailing edge: nothing before the delay
    throttle_->advance(1s);
    transport_->answerAll(session(kHello));
    for (std::size_t i = 1; i < c.statuses.size(); ++i) {
      networkBecomes(c.statuses[i], 60s);
      transport_->answerAll(session(kHello));
    }
    EXPECT_EQ(gets(), c.fetches) << ::testing::PrintToString(c.statuses.size()) << " statuses";
  }
}

TEST_F(AppSessionAppConfigFetcherTest, ANetworkFlappingEvery100msFetchesAtMostOncePerThrottleWindow) {
  fetcher_ = start();
  transport_->answerNext(session(kHello));
  for (int step = 0; step < 6000; ++step) {  // ten minutes
    networkBecomes(step % 2 == 0 ? Status::satisfied : Status::unsatisfied, 100ms);
    transport_->answerAll(session(kHello));
  }
  EXPECT_EQ(gets(), 10u);  // 600 s / 60 s
  for (const auto delay : throttle_->requestedDelays()) EXPECT_EQ(delay, 60s);
}

TEST_F(AppSessionAppConfigFetcherTest, TheBaseClassRefusesToFetch) {
  AppConfigFetcherEnvironment environment{defaults_, &runLoop_, throttle_, std::make_unique<ScriptedNetworkPathMonitor>()};
  auto base = AppConfigFetcher<StudioConfig>::create<AppConfigFetcher<StudioConfig>>(std::move(environment));
  EXPECT_THAT([&] { base->fetchConfig(); }, ::testing::ThrowsMessage<std::logic_error>(::testing::StrEq(
                                                "Override fetchConfig in your _AppConfigFetcher subclass!")));
}

TEST(AppSessionAppConfigFetcherOverHTTP, PostsTheSessionAndTakesTheConfigOfTheAnswer) {
  testing::LoopbackHTTPServer server;
  server.script({{200, R"({"config":{"refresh":5,"greeting":"hello"},"extra":1})"}});
  setenv(NQSRequestor::baseURLEnvironmentVariable, server.baseURL().c_str(), 1);
  testing::ManualRunLoop runLoop;
  FixedSpecs specs;
  auto transport = std::make_shared<CurlRequestTransport>();  // released here, never on its own thread
  AppSessionEnvironment environment{
      AppConfigFetcherEnvironment{std::make_shared<InMemoryUserDefaults>(), &runLoop,
                                  std::make_shared<testing::ManualTaskScheduler>(), std::make_unique<ScriptedNetworkPathMonitor>()},
      transport, nullptr, &specs, [](const std::string&) {}};
  auto fetcher = AppConfigFetcher<StudioConfig>::create<AppSessionAppConfigFetcher<StudioConfig>>(
      NQSRequestor::Platform::mac, std::move(environment));
  unsetenv(NQSRequestor::baseURLEnvironmentVariable);

  ASSERT_TRUE(server.waitForRequests(1));
  for (int spins = 0; fetcher->isFetching() && spins < 2000; ++spins) std::this_thread::sleep_for(5ms);
  EXPECT_EQ(fetcher->config(), kHello);
  const auto request = server.requests().front();
  EXPECT_EQ(request.method + " " + request.target, "POST /nqs/app_session");
  EXPECT_NE(request.body.find(R"("device_arch":"x86_64")"), std::string::npos);
  std::promise<void> drained;  // the completion has returned: the fetcher goes here
  transport->post([&drained] { drained.set_value(); });
  drained.get_future().wait();
}

}  // namespace
}  // namespace tav
