// An HTTP server on 127.0.0.1 for tests of the service clients: it records every request and answers
// from a script, with delays, answers cut off mid-body and answers trickled a byte at a time.
//
// Tests only (it uses cpp-httplib, which only the test binary links). It binds the loopback address on
// an ephemeral port and never anything else.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <httplib.h>

namespace tav::testing {

class LoopbackHTTPServer {
 public:
  /// One request as it arrived.
  struct Request {
    std::string method;
    std::string path;         // without the query
    std::string target;       // the path with its query, as on the request line
    std::string version;      // "HTTP/1.1"
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    int remotePort = 0;       // tells connections apart

    /// The value of a header (names in any case); empty when absent.
    std::string header(std::string_view name) const {
      for (const auto& [key, value] : headers) {
        if (std::equal(key.begin(), key.end(), name.begin(), name.end(),
                       [](char a, char b) { return std::tolower(a) == std::tolower(b); })) {
          return value;
        }
      }
      return {};
    }
    bool hasHeader(std::string_view name) const {
      return std::any_of(headers.begin(), headers.end(), [&](const auto& field) {
        return std::equal(field.first.begin(), field.first.end(), name.begin(), name.end(),
                          [](char a, char b) { return std::tolower(a) == std::tolower(b); });
      });
    }
  };

  /// How to answer one request.
  struct Answer {
    enum class Delivery {
      whole,            // the whole body at once
      cutOffMidBody,    // announce the full length, send half the body, close the connection
      trickle,          // one byte every `trickleInterval` until the client gives up
    };
    int status = 200;
    std::string body = "{}";
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers{};
    std::chrono::milliseconds delay{0};  // before answering
    Delivery delivery = Delivery::whole;
    std::chrono::milliseconds trickleInterval{200};
  };

  LoopbackHTTPServer() {
    server_.set_keep_alive_max_count(1'000'000);
    server_.set_keep_alive_timeout(1);  // bounds how long stop() waits for an idle kept-alive connection
    auto handler = [this](const httplib::Request& request, httplib::Response& response) { handle(request, response); };
    const std::string any = ".*";
    server_.Get(any, handler);
    server_.Post(any, handler);
    server_.Put(any, handler);
    server_.Patch(any, handler);
    server_.Delete(any, handler);
    port_ = server_.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("could not bind 127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    // A stop() before the accept loop has begun would be missed by it and leave it running forever.
    while (!server_.is_running()) std::this_thread::yield();
  }

  ~LoopbackHTTPServer() { stop(); }
  LoopbackHTTPServer(const LoopbackHTTPServer&) = delete;
  LoopbackHTTPServer& operator=(const LoopbackHTTPServer&) = delete;

  /// Closes the listening socket and every connection; answers being delayed or trickled end at once.
  /// The port then refuses connections.
  void stop() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    changed_.notify_all();
    server_.stop();
    if (thread_.joinable()) thread_.join();
  }

  int port() const { return port_; }
  /// "http://127.0.0.1:<port>/".
  std::string baseURL() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

  /// Answers for the next requests, in order; once they are used up, the default answer.
  void script(std::vector<Answer> answers) {
    std::lock_guard lock(mutex_);
    for (auto& answer : answers) scripted_.push_back(std::move(answer));
  }
  void setDefaultAnswer(Answer answer) {
    std::lock_guard lock(mutex_);
    defaultAnswer_ = std::move(answer);
  }

  std::vector<Request> requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }
  /// Connections that carried at least one request.
  std::size_t connectionCount() const {
    std::lock_guard lock(mutex_);
    std::set<int> ports;
    for (const auto& request : requests_) ports.insert(request.remotePort);
    return ports.size();
  }
  /// Waits until `count` requests have arrived; false if they have not within `limit` (a failing
  /// test's guard against hanging, not a measurement).
  bool waitForRequests(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return requests_.size() >= count; });
  }

 private:
  void handle(const httplib::Request& request, httplib::Response& response) {
    Answer answer;
    {
      std::unique_lock lock(mutex_);
      Request recorded{request.method, request.path, request.target, request.version, {}, request.body, request.remote_port};
      for (const auto& field : request.headers) recorded.headers.push_back(field);
      requests_.push_back(std::move(recorded));
      if (!scripted_.empty()) {
        answer = std::move(scripted_.front());
        scripted_.pop_front();
      } else {
        answer = defaultAnswer_;
      }
      changed_.notify_all();
      if (answer.delay.count() > 0) changed_.wait_for(lock, answer.delay, [&] { return stopping_; });
    }
    response.status = answer.status;
    for (const auto& [name, value] : answer.headers) response.set_header(name, value);
    switch (answer.delivery) {
      case Answer::Delivery::whole:
        response.set_content(answer.body, answer.contentType);
        break;
      case Answer::Delivery::cutOffMidBody:
        response.set_content_provider(
            answer.body.size(), answer.contentType,
            [body = answer.body](std::size_t, std::size_t, httplib::DataSink& sink) {
              sink.write(body.data(), body.size() / 2);
              return false;  // abandons the answer and closes the connection
            });
        break;
      case Answer::Delivery::trickle:
        response.set_content_provider(
            answer.body.size(), answer.contentType,
            [this, body = answer.body, interval = answer.trickleInterval](std::size_t offset, std::size_t,
                                                                         httplib::DataSink& sink) {
              {
                std::unique_lock lock(mutex_);
                if (changed_.wait_for(lock, interval, [&] { return stopping_; })) return false;
              }
              return offset < body.size() && sink.write(body.data() + offset, 1);
            });
        break;
    }
  }

  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Request> requests_;  // guarded by mutex_
  std::deque<Answer> scripted_;    // guarded by mutex_
  Answer defaultAnswer_;           // guarded by mutex_
  bool stopping_ = false;          // guarded by mutex_
};

}  // namespace tav::testing
