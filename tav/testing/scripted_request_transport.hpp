// A RequestTransport that keeps each request until the test answers it.
#pragma once

#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "tav/contracts/requestor.hpp"

namespace tav::testing {

/// Thread-safe. Completions run on the thread of the test that answers.
class ScriptedRequestTransport final : public RequestTransport {
 public:
  void send(URLRequest request, Completion completion) override {
    std::lock_guard lock(mutex_);
    sent_.push_back(request);
    waiting_.emplace_back(std::move(request), std::move(completion));
  }
  void post(std::function<void()> task) override {
    std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }

  /// Every request sent so far, answered or not.
  std::vector<URLRequest> sent() const {
    std::lock_guard lock(mutex_);
    return sent_;
  }
  std::size_t waitingCount() const {
    std::lock_guard lock(mutex_);
    return waiting_.size();
  }
  /// Completes the oldest request waiting with `result`; throws std::logic_error when none waits.
  void answerNext(RequestResult<HTTPResponse> result) {
    Completion completion;
    {
      std::lock_guard lock(mutex_);
      if (waiting_.empty()) throw std::logic_error("no request is waiting");
      completion = std::move(waiting_.front().second);
      waiting_.pop_front();
    }
    completion(std::move(result));
  }
  /// Answers every request waiting, including those sent meanwhile, with `result`.
  void answerAll(const RequestResult<HTTPResponse>& result) {
    while (waitingCount() > 0) answerNext(result);
  }
  /// Runs the tasks handed to post.
  void runPosted() {
    std::vector<std::function<void()>> tasks;
    {
      std::lock_guard lock(mutex_);
      tasks.swap(posted_);
    }
    for (auto& task : tasks) task();
  }

  static HTTPResponse ok(std::string body = "{}") { return HTTPResponse{200, {}, std::move(body)}; }
  static RequestorError refused() {
    return RequestorError(RequestorError::Kind::cannotConnectToHost, "connection refused");
  }

 private:
  mutable std::mutex mutex_;
  std::vector<URLRequest> sent_;                                    // guarded by mutex_
  std::deque<std::pair<URLRequest, Completion>> waiting_;           // guarded by mutex_
  std::vector<std::function<void()>> posted_;                       // guarded by mutex_
};

}  // namespace tav::testing
