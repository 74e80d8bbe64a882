// Where a controller's repeating timer fires: the run loop of the code that started it. The library
// has no loop of its own, so the host says which one (a serial queue, its main context).
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tav {

/// A scheduled repeating timer. Destroying it invalidates it.
class RunLoopTimer {
 public:
  virtual ~RunLoopTimer() = default;
  /// Stops the timer. Once this returns the timer's action is not running on another thread and never
  /// runs again; it may be called from within the action itself.
  virtual void invalidate() = 0;
};

/// Runs timers' actions one at a time on one thread or serial context. Thread-safe.
class RunLoop {
 public:
  using Interval = std::chrono::duration<double>;
  virtual ~RunLoop() = default;
  /// Fires `action` every `interval` (the first time one interval from now) on this run loop until the
  /// timer is invalidated. Like a platform timer, fires that fall due while the loop is busy are not
  /// made up later: the timer keeps its schedule.
  virtual std::unique_ptr<RunLoopTimer> scheduleRepeating(Interval interval, std::function<void()> action) = 0;
};

}  // namespace tav
