// Where a service runs its background work and its timers, behind one small interface so that tests
// can run the timers on a clock of their own.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tav {

class SerialQueue;

/// Runs tasks off the caller's thread. Every member may be called from any thread and returns at
/// once.
class TaskScheduler {
 public:
  using Task = std::function<void()>;
  using Duration = std::chrono::steady_clock::duration;

  virtual ~TaskScheduler() = default;
  /// Runs `task` soon, behind the tasks posted before it.
  virtual void async(Task task) = 0;
  /// Runs `task` once `delay` has passed on the scheduler's clock.
  virtual void asyncAfter(Duration delay, Task task) = 0;

  /// The process-wide background scheduler for low-priority work (one serial queue,
  /// "com.morvane.utility"), alive until the process ends.
  static std::shared_ptr<TaskScheduler> utility();
};

/// A TaskScheduler over one SerialQueue of its own, on the steady clock.
class SerialQueueScheduler final : public TaskScheduler {
 public:
  explicit SerialQueueScheduler(std::string label);
  ~SerialQueueScheduler() override;
  void async(Task task) override;
  void asyncAfter(Duration delay, Task task) override;

 private:
  std::unique_ptr<SerialQueue> queue_;
};

}  // namespace tav
