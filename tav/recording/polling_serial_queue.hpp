// A serial queue for the capture path: posting a task never wakes the worker, so the caller pays for
// a lock and a push, not for a system call. The worker looks for work on its own every `interval`.
//
// Waking a sleeping thread costs several microseconds of the poster's time (a futex call, and often a
// context switch on a busy machine); at 30 frames a second the worker sleeps between every two frames,
// so an ordinary queue would charge that to every frame. The price here is up to `interval` of latency
// and one timed wake-up per interval while the queue lives.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace tav {

/// Runs posted tasks one at a time, in the order posted, on one worker thread owned from construction
/// to destruction. async and drain may be called from any thread; drain not from a task of this queue
/// (it would wait for itself: std::logic_error). The destructor runs what was posted and joins the
/// worker; destroyed from one of its own tasks, it lets the worker finish on its own.
class PollingSerialQueue {
 public:
  using Task = std::function<void()>;

  PollingSerialQueue(std::string label, std::chrono::microseconds interval);
  ~PollingSerialQueue();
  PollingSerialQueue(const PollingSerialQueue&) = delete;
  PollingSerialQueue& operator=(const PollingSerialQueue&) = delete;

  const std::string& label() const { return label_; }

  /// Posts `task` behind every task posted before; returns at once without waking the worker. A task
  /// that throws is logged and the queue goes on.
  void async(Task task);
  /// Wakes the worker and blocks until every task posted before the call has run.
  void drain();

 private:
  // Shared with the worker, so that a queue released from one of its own tasks stays valid until the
  // worker has finished what was posted.
  struct State {
    std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable ran;
    std::deque<Task> tasks;       // guarded by mutex
    std::uint64_t posted = 0;     // guarded by mutex
    std::uint64_t completed = 0;  // guarded by mutex
    bool urgent = false;          // guarded by mutex: a drain is waiting
    bool stopping = false;        // guarded by mutex
  };
  static void run(const std::shared_ptr<State>& state, const std::string& label, std::chrono::microseconds interval);

  const std::string label_;
  std::shared_ptr<State> state_;
  std::thread worker_;
};

}  // namespace tav
