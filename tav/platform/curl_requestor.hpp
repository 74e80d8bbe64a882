// The libcurl transport behind Requestor: one multi handle driven by a thread of its own, so requests
// to one service share a few kept-alive connections (multiplexed over HTTP/2 where the server offers
// it) instead of opening one per request.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "tav/contracts/requestor.hpp"

namespace tav {

class SerialQueue;

/// Sends requests with libcurl. TLS peer and host verification are always on; redirects are never
/// followed (a 3xx is an answer like any other); only http and https are spoken. A body larger than
/// `maximumResponseBytes` ends the transfer with responseTooLarge.
///
/// Threads: `send` and `post` may be called from any thread and return at once. Transfers run on the
/// transport's own thread; completions run one at a time, in order of completion, on a serial
/// background queue of the transport ("com.morvane.CurlRequestTransport.completions"). The destructor
/// ends transfers still in flight: their completions run with networkConnectionLost before it
/// returns. It must not be called from a completion.
class CurlRequestTransport final : public RequestTransport {
 public:
  struct Options {
    std::chrono::milliseconds connectTimeout{10'000};
    /// The whole exchange, from connecting to the last byte of the answer.
    std::chrono::milliseconds requestTimeout{30'000};
    std::size_t maximumResponseBytes = 4 * 1024 * 1024;
    /// Connections kept to one host at most; further requests wait for one of them.
    long maximumConnectionsPerHost = 4;
  };

  CurlRequestTransport() : CurlRequestTransport(Options{}) {}
  explicit CurlRequestTransport(Options options);
  ~CurlRequestTransport() override;
  CurlRequestTransport(const CurlRequestTransport&) = delete;
  CurlRequestTransport& operator=(const CurlRequestTransport&) = delete;

  void send(URLRequest request, Completion completion) override;
  void post(std::function<void()> task) override;

  /// New connections opened so far (a reused connection does not count).
  std::uint64_t connectionsOpened() const { return connectionsOpened_.load(); }

 private:
  struct Engine;
  std::unique_ptr<SerialQueue> completions_;
  std::unique_ptr<Engine> engine_;
  std::atomic<std::uint64_t> connectionsOpened_{0};
};

}  // namespace tav
