// Merges bursts of work: however often work is handed in under one key, it runs at most once per
// key within the delay, on the trailing edge of the burst.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "tav/foundation/task_scheduler.hpp"

namespace tav {

/// The first `throttle` call for a key arms a timer of `maximumDelay` on the scheduler; calls for that
/// key until the timer fires only replace the work to run, so the newest one runs, once. Keys are
/// independent. Two runs of one key are thus at least `maximumDelay` apart.
///
/// Threads: `throttle` may be called from any thread and returns at once; work runs on the scheduler.
/// Work still waiting when the throttler is destroyed never runs.
class BatchThrottler {
 public:
  using Work = std::function<void()>;

  BatchThrottler(TaskScheduler::Duration maximumDelay, std::shared_ptr<TaskScheduler> queue);
  ~BatchThrottler() = default;
  BatchThrottler(const BatchThrottler&) = delete;
  BatchThrottler& operator=(const BatchThrottler&) = delete;

  TaskScheduler::Duration maximumDelay() const { return maximumDelay_; }
  void throttle(const std::string& key, Work work);

 private:
  struct Pending {
    std::mutex mutex;
    std::map<std::string, Work> work;  // guarded by mutex: the newest work of each armed key
  };
  TaskScheduler::Duration maximumDelay_;
  std::shared_ptr<TaskScheduler> queue_;
  std::shared_ptr<Pending> pending_ = std::make_shared<Pending>();
};

}  // namespace tav
