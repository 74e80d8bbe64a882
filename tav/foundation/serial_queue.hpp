// A serial task context: one worker thread that runs posted tasks one at a time, in the order posted.
//
// Services that the system describes as running "on a queue" own one of these; timers and delayed
// work are posted with asyncAfter, since the library has no main loop of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace tav {

/// Owns its worker thread from construction to destruction. Every member may be called from any
/// thread, including from a task on this queue (except sync and drain, which would wait on
/// themselves: they throw std::logic_error there). The destructor runs the tasks already posted
/// (not the delayed ones whose time has not come) and joins the worker; destroyed from one of its own
/// tasks, it lets the worker finish them on its own instead.
class SerialQueue {
 public:
  using Task = std::function<void()>;
  using Clock = std::chrono::steady_clock;

  explicit SerialQueue(std::string label);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  /// The reverse-domain label given at construction ("com.morvane....").
  const std::string& label() const { return label_; }

  /// Posts `task` behind every task posted before; returns at once. A task that throws is logged and
  /// the queue goes on.
  void async(Task task);
  /// Posts `task` to run once `delay` has passed; tasks due at the same time run in posting order.
  void asyncAfter(Clock::duration delay, Task task);
  /// Posts `task` and blocks until it has run. Exceptions of `task` pass to the caller.
  void sync(const Task& task);
  /// Blocks until every task posted before the call (delayed ones whose time has come included)
  /// has run.
  void drain();
  /// True when called from a task running on this queue.
  bool isCurrent() const;

 private:
  // Shared with the worker, so that a queue released from one of its own tasks stays valid until the
  // worker has finished what was posted.
  struct State {
    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Task> tasks;                                                     // guarded by mutex
    std::multimap<std::pair<Clock::time_point, std::uint64_t>, Task> delayed;  // guarded by mutex
    std::uint64_t delayedSequence = 0;                                          // guarded by mutex
    bool stopping = false;                                                      // guarded by mutex
  };
  static void run(const std::shared_ptr<State>& state, const std::string& label);

  const std::string label_;
  std::shared_ptr<State> state_;
  std::thread worker_;
};

}  // namespace tav
