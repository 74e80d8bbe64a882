// A TaskScheduler whose clock the test moves: tasks wait until the test runs them.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "tav/foundation/task_scheduler.hpp"

namespace tav::testing {

/// Thread-safe to post to from any thread; tasks run only on the thread that calls runPending or
/// advance.
class ManualTaskScheduler final : public TaskScheduler {
 public:
  void async(Task task) override { asyncAfter(Duration::zero(), std::move(task)); }
  void asyncAfter(Duration delay, Task task) override {
    std::lock_guard lock(mutex_);
    if (delay > Duration::zero()) requestedDelays_.push_back(delay);
    tasks_.emplace(std::pair(now_ + delay, sequence_++), std::move(task));
  }

  /// Runs every task due by now (tasks they post that are due run too); returns how many ran.
  std::size_t runPending() { return advance(Duration::zero()); }
  /// Moves the clock forward by `by` and runs every task due by then, in time order.
  std::size_t advance(Duration by) {
    std::size_t ran = 0;
    Duration target;
    {
      std::lock_guard lock(mutex_);
      now_ += by;
      target = now_;
    }
    while (true) {
      Task task;
      {
        std::lock_guard lock(mutex_);
        if (tasks_.empty() || tasks_.begin()->first.first > target) break;
        task = std::move(tasks_.begin()->second);
        tasks_.erase(tasks_.begin());
      }
      task();
      ++ran;
    }
    return ran;
  }

  /// Every positive delay asked for, in order.
  std::vector<Duration> requestedDelays() const {
    std::lock_guard lock(mutex_);
    return requestedDelays_;
  }
  /// Tasks waiting, due or not.
  std::size_t waitingCount() const {
    std::lock_guard lock(mutex_);
    return tasks_.size();
  }

 private:
  mutable std::mutex mutex_;
  Duration now_{};                                                    // guarded by mutex_
  std::size_t sequence_ = 0;                                          // guarded by mutex_
  std::multimap<std::pair<Duration, std::size_t>, Task> tasks_;       // guarded by mutex_
  std::vector<Duration> requestedDelays_;                             // guarded by mutex_
};

}  // namespace tav::testing
