// A RunLoop whose timers fire only when a test says so, for timer-driven code without sleeps.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "tav/contracts/run_loop.hpp"

namespace tav::testing {

/// Single-threaded. Remembers every timer scheduled on it; fire() runs the actions of the valid ones.
class ManualRunLoop final : public RunLoop {
 public:
  struct Scheduled {
    Interval interval;
    std::function<void()> action;
    bool valid = true;
  };

  std::unique_ptr<RunLoopTimer> scheduleRepeating(Interval interval, std::function<void()> action) override {
    auto scheduled = std::make_shared<Scheduled>(Scheduled{interval, std::move(action)});
    timers_.push_back(scheduled);
    return std::make_unique<Timer>(scheduled);
  }

  /// Fires every valid timer once, in scheduling order.
  void fire() {
    const auto timers = timers_;
    for (const auto& timer : timers) {
      if (timer->valid) timer->action();
    }
  }
  /// How many timers are valid now.
  std::size_t validTimers() const {
    std::size_t count = 0;
    for (const auto& timer : timers_) count += timer->valid ? 1 : 0;
    return count;
  }
  /// Every timer ever scheduled, valid or not.
  const std::vector<std::shared_ptr<Scheduled>>& timers() const { return timers_; }

 private:
  class Timer final : public RunLoopTimer {
   public:
    explicit Timer(std::shared_ptr<Scheduled> scheduled) : scheduled_(std::move(scheduled)) {}
    ~Timer() override { invalidate(); }
    void invalidate() override { scheduled_->valid = false; }

   private:
    std::shared_ptr<Scheduled> scheduled_;
  };

  std::vector<std::shared_ptr<Scheduled>> timers_;
};

}  // namespace tav::testing
