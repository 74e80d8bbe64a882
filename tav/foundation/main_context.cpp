#include "tav/foundation/main_context.hpp"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "tav/contracts/logger.hpp"

namespace tav {

namespace {

const Logger& logger() {
  static const Logger instance("MainContext");
  return instance;
}

std::atomic<std::thread::id>& mainThread() {
  static std::atomic<std::thread::id> id;
  return id;
}

/// Depth of posted work running on this thread; posted work may post and run nested dispatchers.
thread_local int postedWorkDepth = 0;

/// The first thread to touch MainContext becomes the main thread unless the host has named one.
void claimMainThreadIfUnset() {
  std::thread::id unset;
  mainThread().compare_exchange_strong(unset, std::this_thread::get_id());
}

/// The library's own main context: one thread running posted work in order. On destruction (at exit)
/// it runs what is still queued, then stops.
class DefaultWorker {
 public:
  DefaultWorker() : thread_([this] { run(); }) {}
  DefaultWorker(const DefaultWorker&) = delete;
  DefaultWorker& operator=(const DefaultWorker&) = delete;

  ~DefaultWorker() {
    {
      std::lock_guard lock(mutex_);
      stopping_ = true;
    }
    wake_.notify_one();
    // Work that ends the process would otherwise join its own thread.
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();
    } else {
      thread_.join();
    }
  }

  void enqueue(MainContext::Work work) {
    {
      std::lock_guard lock(mutex_);
      queue_.push_back(std::move(work));
    }
    wake_.notify_one();
  }

 private:
  void run() {
    for (;;) {
      MainContext::Work work;
      {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
        if (queue_.empty()) return;
        work = std::move(queue_.front());
        queue_.pop_front();
      }
      // An exception leaving this thread would end the host; the work's owner learns of it in the log.
      try {
        work();
      } catch (const std::exception& error) {
        logger().error("work posted to the main context threw: {}", error.what());
      } catch (...) {
        logger().error("work posted to the main context threw an exception that is not a std::exception");
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<MainContext::Work> queue_;  // guarded by mutex_
  bool stopping_ = false;                // guarded by mutex_
  std::thread thread_;                   // last: starts once the members above exist
};

DefaultWorker& defaultWorker() {
  static DefaultWorker worker;
  return worker;
}

struct DispatcherSlot {
  std::mutex mutex;
  std::shared_ptr<const MainContext::Dispatcher> dispatcher;  // guarded by mutex; null: the default worker
};

DispatcherSlot& dispatcherSlot() {
  static DispatcherSlot slot;
  return slot;
}

}  // namespace

bool MainContext::isCurrent() {
  claimMainThreadIfUnset();
  return postedWorkDepth > 0 || mainThread().load() == std::this_thread::get_id();
}

void MainContext::setMainThread(std::thread::id thread) { mainThread().store(thread); }

void MainContext::post(Work work) {
  claimMainThreadIfUnset();
  if (!work) return;
  Work marked = [work = std::move(work)] {
    struct DepthGuard {
      DepthGuard() { ++postedWorkDepth; }
      ~DepthGuard() { --postedWorkDepth; }
      DepthGuard(const DepthGuard&) = delete;
      DepthGuard& operator=(const DepthGuard&) = delete;
    } guard;
    work();
  };
  std::shared_ptr<const Dispatcher> dispatcher;
  {
    DispatcherSlot& slot = dispatcherSlot();
    std::lock_guard lock(slot.mutex);
    dispatcher = slot.dispatcher;
  }
  // The host's dispatcher is called without our lock held: it may post or install in turn.
  if (dispatcher) {
    (*dispatcher)(std::move(marked));
  } else {
    defaultWorker().enqueue(std::move(marked));
  }
}

void MainContext::setDispatcher(Dispatcher dispatcher) {
  claimMainThreadIfUnset();
  auto installed = dispatcher ? std::make_shared<const Dispatcher>(std::move(dispatcher)) : nullptr;
  DispatcherSlot& slot = dispatcherSlot();
  std::lock_guard lock(slot.mutex);
  slot.dispatcher = std::move(installed);
}

}  // namespace tav
