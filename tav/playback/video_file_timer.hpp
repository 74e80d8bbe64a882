// VideoFileTimer: what drives a video file controller's ticks. The deadline timer paces them at the
// frame duration from a monotonic start, so that a slow tick never shifts the ones after it; the
// manual timer lets a host (or a test) fire each tick itself, from its own display clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "tav/foundation/serial_queue.hpp"

namespace tav {

/// Ticks `tick` on a serial queue. `schedule` and `cancel` are called on that queue (the controller's
/// reading queue); a cancelled or replaced schedule never ticks again.
class VideoFileTimer {
 public:
  virtual ~VideoFileTimer() = default;
  /// Replaces any schedule: `tick` runs on `queue` at once, then every `interval`.
  virtual void schedule(const std::shared_ptr<SerialQueue>& queue, std::chrono::nanoseconds interval,
                        std::function<void()> tick) = 0;
  virtual void cancel() = 0;
};

/// Tick n runs at start + n * interval on the steady clock, with no leeway. A tick that runs late does
/// not move the grid; deadlines already missed when a tick ends are skipped, not run in a burst.
class DeadlineVideoFileTimer final : public VideoFileTimer {
 public:
  DeadlineVideoFileTimer() = default;
  ~DeadlineVideoFileTimer() override { cancel(); }
  void schedule(const std::shared_ptr<SerialQueue>& queue, std::chrono::nanoseconds interval,
                std::function<void()> tick) override;
  void cancel() override;

 private:
  struct Schedule;
  std::shared_ptr<Schedule> current_;  // touched on the queue only
};

/// Ticks only when `fire` is called. Thread-safe; `fire` must not be called on the timer's queue.
class ManualVideoFileTimer final : public VideoFileTimer {
 public:
  void schedule(const std::shared_ptr<SerialQueue>& queue, std::chrono::nanoseconds interval,
                std::function<void()> tick) override;
  void cancel() override;

  /// Runs one tick on the queue and waits for it. False (and nothing runs) while nothing is scheduled.
  bool fire();
  /// Waits until every task already posted to the queue has run (deliveries after a prefetch, say).
  void drain();
  bool isScheduled() const;
  /// The interval of the present schedule; zero when none.
  std::chrono::nanoseconds interval() const;
  /// How many times a schedule was set up.
  std::uint64_t scheduleCount() const;

 private:
  mutable std::mutex mutex_;
  std::weak_ptr<SerialQueue> queue_;       // guarded by mutex_
  std::function<void()> tick_;             // guarded by mutex_
  std::chrono::nanoseconds interval_{0};   // guarded by mutex_
  std::uint64_t generation_ = 0;           // guarded by mutex_
  std::uint64_t scheduleCount_ = 0;        // guarded by mutex_
  bool scheduled_ = false;                 // guarded by mutex_
};

}  // namespace tav
