// A serial queue for the capture path: posting an item never wakes the worker and never allocates, so
// the caller pays for one lock and one move into a vector that keeps its capacity, not for a system
// call or a trip through the allocator. The worker looks for work on its own every `interval`.
//
// Waking a sleeping thread costs several microseconds of the poster's time (a futex call, and often a
// context switch on a busy machine); at 30 frames a second the worker sleeps between every two frames,
// so an ordinary queue would charge that to every frame. A capture thread also arrives with cold caches
// after sleeping until its next frame is due, so every cache line the post touches counts: items are
// typed (no type-erased task to allocate per post) and the handler is given once, at construction.
// The price is up to `interval` of latency and one timed wake-up per interval while the queue lives.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tav/contracts/logger.hpp"

namespace tav {

/// Hands posted items, one at a time and in the order posted, to `handler` on one worker thread owned
/// from construction to destruction. post and drain may be called from any thread; drain not from the
/// handler (it would wait for itself: std::logic_error). A handler that throws is logged and the queue
/// goes on. The destructor drops what was posted but not yet handled (drain first to have it handled)
/// and joins the worker; destroyed from its own handler, it lets the worker end on its own, and the
/// handler is not called again (not even for the rest of the batch it was handling).
template <class Item>
class PollingSerialQueue {
 public:
  using Handler = std::function<void(Item&)>;

  PollingSerialQueue(std::string label, std::chrono::microseconds interval, Handler handler)
      : state_(std::make_shared<State>()), label_(std::move(label)) {
    state_->handler = std::move(handler);
    worker_ = std::thread([state = state_, label = label_, interval] { run(*state, label, interval); });
  }

  ~PollingSerialQueue() {
    {
      std::lock_guard lock(state_->mutex);
      state_->stopping = true;
    }
    state_->wake.notify_one();
    if (worker_.get_id() == std::this_thread::get_id()) {
      worker_.detach();
    } else {
      worker_.join();
    }
  }

  PollingSerialQueue(const PollingSerialQueue&) = delete;
  PollingSerialQueue& operator=(const PollingSerialQueue&) = delete;

  const std::string& label() const { return label_; }

  /// Queues `item` behind every item posted before; returns at once without waking the worker.
  void post(Item item) {
    std::lock_guard lock(state_->mutex);
    state_->pending.push_back(std::move(item));
  }

  /// Wakes the worker and blocks until every item posted before the call has been handled.
  void drain() {
    if (worker_.get_id() == std::this_thread::get_id()) {
      throw std::logic_error("PollingSerialQueue::drain called on its own queue \"" + label_ + "\"");
    }
    std::unique_lock lock(state_->mutex);
    const std::uint64_t target = state_->completed + state_->handling + state_->pending.size();
    if (state_->completed >= target) return;
    state_->urgent = true;
    state_->wake.notify_one();
    state_->ran.wait(lock, [&] { return state_->completed >= target; });
  }

 private:
  // Shared with the worker, so that a queue released from its own handler stays valid until the
  // worker has seen that it is stopping. A post touches only the first cache line (the lock and the
  // vector) and the slot it fills.
  struct alignas(64) State {
    std::mutex mutex;
    std::vector<Item> pending;    // guarded by mutex
    std::uint64_t handling = 0;   // guarded by mutex: items the worker has taken and not finished
    std::uint64_t completed = 0;  // guarded by mutex
    std::condition_variable wake;
    std::condition_variable ran;
    bool urgent = false;          // guarded by mutex: a drain is waiting
    // Written under mutex; read without it between two items, so that a queue destroyed by its own
    // handler never calls the handler again.
    std::atomic<bool> stopping{false};
    Handler handler;              // set before the worker starts, then only read by it
  };

  static void run(State& state, const std::string& label, std::chrono::microseconds interval) {
    const Logger logger("PollingSerialQueue");
    // Swapped with `pending` under the lock, so that both vectors keep their capacity and the posting
    // side never allocates once the queue has seen its largest batch.
    std::vector<Item> batch;
    std::unique_lock lock(state.mutex);
    while (!state.stopping) {
      state.wake.wait_for(lock, interval, [&] { return state.urgent || state.stopping; });
      state.urgent = false;
      if (state.stopping) break;
      batch.swap(state.pending);
      if (batch.empty()) continue;
      state.handling = batch.size();
      lock.unlock();
      for (Item& item : batch) {
        if (state.stopping.load()) break;
        try {
          state.handler(item);
        } catch (const std::exception& e) {
          logger.error("A task on {} threw: {}", label, e.what());
        } catch (...) {
          logger.error("A task on {} threw", label);
        }
      }
      const auto handled = static_cast<std::uint64_t>(batch.size());
      batch.clear();  // released before the count moves, so a drain sees the items gone
      lock.lock();
      state.completed += handled;
      state.handling = 0;
      state.ran.notify_all();
    }
    // Dropped, not handled: whatever the handler works on may already be gone.
    state.completed += state.handling + state.pending.size();
    state.handling = 0;
    state.pending.clear();
    state.ran.notify_all();
  }

  // The state first: a post reads nothing else, and it then shares a cache line with what the
  // owner placed before the queue.
  std::shared_ptr<State> state_;
  const std::string label_;
  std::thread worker_;
};

}  // namespace tav
