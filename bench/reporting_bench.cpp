// Reporting events to the online service.
//
// BM_ReportEventCallerSide: what reporting one event costs the caller's thread (building the request
// and handing it to the reporter's background queue; nothing is encoded or sent on the caller's
// thread). Reports the median and 99th percentile in microseconds over 2,000 events: target median
// at most 5 us.
//
// BM_ReportEventsKeepAlive: 1,000 events through the libcurl transport to a small HTTP/1.1 server on
// 127.0.0.1 that keeps connections alive. Reports requests per second and the connections opened:
// target one or a handful, not one per event.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "tav/platform/curl_requestor.hpp"
#include "tav/reporting/app_event_reporter.hpp"

namespace tav::bench {
namespace {

using Clock = std::chrono::steady_clock;

class BenchReporter : public AppEventReporter {
 public:
  using AppEventReporter::AppEventReporter;
  std::vector<AppEventGeneratorType> generatorTypes() const override { return {}; }
  NQSRequestor::Platform platform() const override { return NQSRequestor::Platform::none; }
};

/// Answers every request at once with 200 and "{}", so the caller's side is measured alone.
class AnsweringTransport final : public RequestTransport {
 public:
  void send(URLRequest, Completion completion) override {
    ++sent;
    completion(HTTPResponse{200, {}, "{}"});
  }
  void post(std::function<void()> task) override { task(); }
  std::atomic<int> sent{0};
};

double percentile(std::vector<double> values, double fraction) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1))];
}

std::shared_ptr<BenchReporter> makeReporter(std::shared_ptr<RequestTransport> transport) {
  return AppEventReporter::create<BenchReporter>(AppEventReporter::Environment{
      std::move(transport), std::make_shared<FixedMachineIdentity>(MachineIdentifiers{"bench", "", std::nullopt}, ""),
      std::make_shared<SerialQueueScheduler>("com.morvane.bench.reporter"), {}});
}

void BM_ReportEventCallerSide(benchmark::State& state) {
  constexpr int kEvents = 2000;
  std::vector<double> microseconds;
  microseconds.reserve(kEvents);
  for (auto _ : state) {
    auto transport = std::make_shared<AnsweringTransport>();
    auto reporter = makeReporter(transport);
    for (int i = 0; i < kEvents; ++i) {
      const auto start = Clock::now();
      reporter->videoPlayed("intro");
      const std::chrono::duration<double, std::micro> elapsed = Clock::now() - start;
      microseconds.push_back(elapsed.count());
    }
    while (transport->sent.load() < kEvents) std::this_thread::yield();  // let the background catch up
  }
  state.counters["median_us"] = percentile(microseconds, 0.5);
  state.counters["p99_us"] = percentile(microseconds, 0.99);
}
BENCHMARK(BM_ReportEventCallerSide)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

/// A minimal HTTP/1.1 server on 127.0.0.1: one thread per connection, each request answered with
/// 200 and "{}", connections kept open until the client closes them.
class KeepAliveServer {
 public:
  KeepAliveServer() {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    socklen_t length = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 64) != 0 || ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("could not listen on 127.0.0.1");
    }
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptLoop(); });
  }
  ~KeepAliveServer() {
    stopping_ = true;
    ::shutdown(listener_, SHUT_RDWR);
    ::close(listener_);
    acceptor_.join();
    std::lock_guard lock(mutex_);
    for (int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
    for (auto& thread : connections_) thread.join();
    for (int socket : sockets_) ::close(socket);
  }

  int port() const { return port_; }
  int connectionsAccepted() const { return accepted_.load(); }
  int requestsAnswered() const { return answered_.load(); }

 private:
  void acceptLoop() {
    while (!stopping_) {
      const int socket = ::accept(listener_, nullptr, nullptr);
      if (socket < 0) return;
      ++accepted_;
      std::lock_guard lock(mutex_);
      sockets_.push_back(socket);
      connections_.emplace_back([this, socket] { serve(socket); });
    }
  }

  void serve(int socket) {
    static constexpr char kAnswer[] = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 2\r\n\r\n{}";
    std::string buffer;
    char chunk[16384];
    while (true) {
      const auto headerEnd = buffer.find("\r\n\r\n");
      if (headerEnd != std::string::npos) {
        std::size_t bodyLength = 0;
        std::string headers = buffer.substr(0, headerEnd);
        std::transform(headers.begin(), headers.end(), headers.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (const auto at = headers.find("content-length:"); at != std::string::npos) {
          bodyLength = std::stoul(headers.substr(at + 15));
        }
        if (buffer.size() >= headerEnd + 4 + bodyLength) {
          buffer.erase(0, headerEnd + 4 + bodyLength);
          if (::send(socket, kAnswer, sizeof kAnswer - 1, MSG_NOSIGNAL) < 0) return;
          ++answered_;
          continue;
        }
      }
      const ssize_t received = ::recv(socket, chunk, sizeof chunk, 0);
      if (received <= 0) return;
      buffer.append(chunk, static_cast<std::size_t>(received));
    }
  }

  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::atomic<int> accepted_{0};
  std::atomic<int> answered_{0};
  std::thread acceptor_;
  std::mutex mutex_;
  std::vector<int> sockets_;               // guarded by mutex_
  std::vector<std::thread> connections_;   // guarded by mutex_
};

void BM_ReportEventsKeepAlive(benchmark::State& state) {
  constexpr int kEvents = 1000;
  KeepAliveServer server;
  const std::string base = "http://127.0.0.1:" + std::to_string(server.port()) + "/";
  setenv(NQSRequestor::baseURLEnvironmentVariable, base.c_str(), 1);
  auto transport = std::make_shared<CurlRequestTransport>();
  auto reporter = makeReporter(transport);
  unsetenv(NQSRequestor::baseURLEnvironmentVariable);
  double seconds = 0;
  int target = 0;
  for (auto _ : state) {
    target += kEvents;
    const auto start = Clock::now();
    for (int i = 0; i < kEvents; ++i) reporter->videoPlayed("intro");
    while (server.requestsAnswered() < target) std::this_thread::sleep_for(std::chrono::microseconds(200));
    seconds += std::chrono::duration<double>(Clock::now() - start).count();
  }
  state.counters["requests_per_s"] = seconds > 0 ? static_cast<double>(target) / seconds : 0;
  state.counters["connections"] = server.connectionsAccepted();
  state.counters["failures_queued"] = static_cast<double>(reporter->pendingEvents().size());
}
BENCHMARK(BM_ReportEventsKeepAlive)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tav::bench
