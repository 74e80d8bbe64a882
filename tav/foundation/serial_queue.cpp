#include "tav/foundation/serial_queue.hpp"

#include <exception>
#include <future>
#include <stdexcept>

#include "tav/contracts/logger.hpp"

namespace tav {

namespace {
const Logger& queueLogger() {
  static const Logger logger("SerialQueue");
  return logger;
}
}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {
  worker_ = std::thread([this] { run(); });
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (worker_.joinable()) {
    if (worker_.get_id() == std::this_thread::get_id()) {
      worker_.detach();  // the last owner let go from inside a task: the thread ends on its own
    } else {
      worker_.join();
    }
  }
}

void SerialQueue::async(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake_.notify_one();
}

void SerialQueue::asyncAfter(Clock::duration delay, Task task) {
  {
    std::lock_guard lock(mutex_);
    delayed_.emplace(std::make_pair(Clock::now() + delay, delayedSequence_++), std::move(task));
  }
  wake_.notify_one();
}

void SerialQueue::sync(const Task& task) {
  if (isCurrent()) throw std::logic_error("SerialQueue::sync called on its own queue \"" + label_ + "\"");
  std::promise<void> done;
  std::future<void> finished = done.get_future();
  async([&task, &done] {
    try {
      task();
      done.set_value();
    } catch (...) {
      done.set_exception(std::current_exception());
    }
  });
  finished.get();
}

void SerialQueue::drain() {
  if (isCurrent()) throw std::logic_error("SerialQueue::drain called on its own queue \"" + label_ + "\"");
  sync([] {});
}

bool SerialQueue::isCurrent() const { return worker_.get_id() == std::this_thread::get_id(); }

void SerialQueue::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    // Delayed tasks whose time has come join the back of the line.
    const Clock::time_point now = Clock::now();
    while (!delayed_.empty() && delayed_.begin()->first.first <= now) {
      tasks_.push_back(std::move(delayed_.begin()->second));
      delayed_.erase(delayed_.begin());
    }
    if (!tasks_.empty()) {
      Task task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      try {
        task();
      } catch (const std::exception& error) {
        queueLogger().error("a task on {} threw: {}", label_, error.what());
      } catch (...) {
        queueLogger().error("a task on {} threw an unknown exception", label_);
      }
      task = nullptr;  // captured state dies outside the lock, on this thread
      lock.lock();
      continue;
    }
    if (stopping_) return;
    if (delayed_.empty()) {
      wake_.wait(lock);
    } else {
      wake_.wait_until(lock, delayed_.begin()->first.first);
    }
  }
}

}  // namespace tav
