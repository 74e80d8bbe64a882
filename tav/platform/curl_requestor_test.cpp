#include "tav/platform/curl_requestor.hpp"

#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "tav/testing/loopback_http_server.hpp"

namespace tav {
namespace {

using testing::LoopbackHTTPServer;
using Answer = LoopbackHTTPServer::Answer;
using Kind = RequestorError::Kind;

struct Outcome {
  RequestResult<AnyCodable> result;
  std::thread::id completionThread;
};

/// Sends one request and waits for its completion (the wait is a guard against a hang, not a measure).
Outcome exchange(Requestor& requestor, const std::string& method, const std::string& path,
                 const Requestor::Query& query = {}) {
  std::promise<Outcome> promise;
  auto completion = [&promise](RequestResult<AnyCodable> result) {
    promise.set_value(Outcome{std::move(result), std::this_thread::get_id()});
  };
  if (method == "GET") {
    requestor.get<AnyCodable>(path, query, completion);
  } else {
    requestor.post<AnyCodable>(path, query, Requestor::Body::json(std::string("hello")), completion);
  }
  auto future = promise.get_future();
  if (future.wait_for(std::chrono::seconds(20)) != std::future_status::ready) throw std::runtime_error("no completion");
  return future.get();
}

std::shared_ptr<CurlRequestTransport> makeTransport() {
  CurlRequestTransport::Options options;
  options.requestTimeout = std::chrono::milliseconds(400);
  options.maximumResponseBytes = 10'000;
  return std::make_shared<CurlRequestTransport>(options);
}

TEST(CurlRequestTransport, SendsTheRequestAsBuiltAndReusesOneConnection) {
  LoopbackHTTPServer server;
  auto transport = makeTransport();
  Requestor requestor(transport);
  requestor.setAPIBase(Url::parse(server.baseURL() + "base"));

  Outcome first = exchange(requestor, "POST", "nqs/things", {{"b", "2 3"}, {"a", "x/y"}});
  ASSERT_TRUE(first.result.isSuccess()) << first.result.error().what();
  EXPECT_NE(first.completionThread, std::this_thread::get_id());
  for (int i = 0; i < 19; ++i) ASSERT_TRUE(exchange(requestor, "GET", "nqs/things").result.isSuccess());

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 20u);
  EXPECT_EQ(std::make_tuple(requests[0].method, requests[0].target, requests[0].header("Content-Type"), requests[0].body),
            std::make_tuple("POST", "/base/nqs/things?a=x%2Fy&b=2%203", "application/json", "\"hello\""));
  EXPECT_EQ(std::tie(requests[1].method, requests[1].body), std::make_tuple("GET", ""));
  EXPECT_EQ(server.connectionCount(), 1u);
  EXPECT_EQ(transport->connectionsOpened(), 1u);
}

TEST(CurlRequestTransport, TellsFailuresToReachTheServiceFromItsAnswers) {
  struct Case {
    const char* name;
    Answer answer;
    Kind kind;
    bool isURLLoadingError;
  };
  const std::string huge(50'000, 'x');
  const Case cases[] = {
      {"status 500", Answer{.status = 500}, Kind::unacceptableStatusCode, false},
      {"malformed body", Answer{.body = "{not json"}, Kind::decodingFailed, false},
      {"redirect elsewhere", Answer{.status = 302, .headers = {{"Location", "ftp://127.0.0.1/x"}}},
       Kind::unacceptableStatusCode, false},
      {"huge body", Answer{.body = "\"" + huge + "\""}, Kind::responseTooLarge, false},
      {"closed mid-answer", Answer{.body = "\"" + huge.substr(0, 1000) + "\"", .delivery = Answer::Delivery::cutOffMidBody},
       Kind::networkConnectionLost, true},
      {"slow loris", Answer{.body = "\"abcdefghijklmnop\"", .delivery = Answer::Delivery::trickle,
                            .trickleInterval = std::chrono::milliseconds(150)},
       Kind::timedOut, true},
      {"no answer in time", Answer{.delay = std::chrono::milliseconds(3000)}, Kind::timedOut, true},
  };
  for (const Case& c : cases) {
    LoopbackHTTPServer server;
    server.script({c.answer});
    Requestor requestor(makeTransport());
    requestor.setAPIBase(Url::parse(server.baseURL()));
    Outcome outcome = exchange(requestor, "POST", "nqs/app_events");
    ASSERT_FALSE(outcome.result.isSuccess()) << c.name;
    EXPECT_EQ(kindName(outcome.result.error().kind()), kindName(c.kind)) << c.name << ": " << outcome.result.error().what();
    EXPECT_EQ(outcome.result.error().isURLLoadingError(), c.isURLLoadingError) << c.name;
    EXPECT_EQ(server.requests().size(), 1u) << c.name;  // nothing followed, nothing retried here
  }
}

TEST(CurlRequestTransport, RefusedConnectionIsAFailureToReachTheService) {
  std::string base;
  {
    LoopbackHTTPServer closed;
    base = closed.baseURL();
  }
  Requestor requestor(makeTransport());
  requestor.setAPIBase(Url::parse(base));
  Outcome outcome = exchange(requestor, "GET", "nqs/app_session");
  ASSERT_FALSE(outcome.result.isSuccess());
  EXPECT_EQ(outcome.result.error().kind(), Kind::cannotConnectToHost) << outcome.result.error().what();
  EXPECT_TRUE(outcome.result.error().isURLLoadingError());
}

TEST(Requestor, AcceptsHTTPSAndPlainHTTPOnlyOnLoopback) {
  const std::pair<const char*, bool> cases[] = {
      {"https://nqs.example.org/", true},   {"http://127.0.0.1:8080/", true}, {"http://127.9.8.7/", true},
      {"http://LOCALHOST/", true},          {"http://[::1]:9000/", true},     {"http://example.org/", false},
      {"http://128.0.0.1/", false},         {"http://127.0.0.1.example.org/", false},
      {"ftp://127.0.0.1/", false},          {"nqs", false},
  };
  for (const auto& [text, accepted] : cases) EXPECT_EQ(Requestor::isAcceptableBase(*Url::parse(text)), accepted) << text;

  Requestor requestor(makeTransport());
  requestor.setAPIBase(Url::parse("http://example.org/"));
  Outcome outcome = exchange(requestor, "GET", "nqs/app_session");
  ASSERT_FALSE(outcome.result.isSuccess());
  EXPECT_EQ(outcome.result.error().kind(), Kind::invalidRequest);
  EXPECT_NE(std::string(outcome.result.error().what()).find("http://example.org/"), std::string::npos);
  EXPECT_NE(outcome.completionThread, std::this_thread::get_id());
}

}  // namespace
}  // namespace tav
