// Run loops for timers on the library's own contexts: a SerialQueue, and the main context.
#pragma once

#include <memory>

#include "tav/contracts/run_loop.hpp"
#include "tav/foundation/serial_queue.hpp"

namespace tav {

/// Timers whose actions run as tasks on `queue`. The queue must outlive every timer made here, or the
/// timers must be invalidated first. Thread-safe.
class SerialQueueRunLoop final : public RunLoop {
 public:
  explicit SerialQueueRunLoop(SerialQueue& queue) : queue_(queue) {}
  std::unique_ptr<RunLoopTimer> scheduleRepeating(Interval interval, std::function<void()> action) override;

 private:
  SerialQueue& queue_;
};

/// Timers whose actions run on the main context (MainContext::post). A fire is skipped while the one
/// before it still waits there, so a busy main context never builds a backlog. Thread-safe; the run loop
/// is process-wide.
class MainContextRunLoop final : public RunLoop {
 public:
  static MainContextRunLoop& shared();
  std::unique_ptr<RunLoopTimer> scheduleRepeating(Interval interval, std::function<void()> action) override;

 private:
  MainContextRunLoop();
  std::unique_ptr<SerialQueue> clock_;
};

}  // namespace tav
