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

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), state_(std::make_shared<State>()) {
  worker_ = std::thread([state = state_, label = label_] { run(state, label); });
}

SerialQueue::~SerialQueue() {
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
  }
  state_->wake.notify_all();
  if (worker_.get_id() == std::this_thread::get_id()) {
    worker_.detach();  // released from one of its own tasks: the worker ends on its own
  } else {
    worker_.join();
  }
}

void SerialQueue::async(Task task) {
  {
    std::lock_guard lock(state_->mutex);
    state_->tasks.push_back(std::move(task));
  }
  state_->wake.notify_one();
}

void SerialQueue::asyncAfter(Clock::duration delay, Task task) {
  {
    std::lock_guard lock(state_->mutex);
    state_->delayed.emplace(std::make_pair(Clock::now() + delay, state_->delayedSequence++), std::move(task));
  }
  state_->wake.notify_one();
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

void SerialQueue::run(const std::shared_ptr<State>& state, const std::string& label) {
  std::unique_lock lock(state->mutex);
  for (;;) {
    // Delayed tasks whose time has come join the back of the line.
    const Clock::time_point now = Clock::now();
    while (!state->delayed.empty() && state->delayed.begin()->first.first <= now) {
      state->tasks.push_back(std::move(state->delayed.begin()->second));
      state->delayed.erase(state->delayed.begin());
    }
    if (!state->tasks.empty()) {
      Task task = std::move(state->tasks.front());
      state->tasks.pop_front();
      lock.unlock();
      try {
        task();
      } catch (const std::exception& error) {
        queueLogger().error("a task on {} threw: {}", label, error.what());
      } catch (...) {
        queueLogger().error("a task on {} threw an unknown exception", label);
      }
      task = nullptr;  // captured state dies outside the lock, on this thread
      lock.lock();
      continue;
    }
    if (state->stopping) return;
    if (state->delayed.empty()) {
      state->wake.wait(lock);
    } else {
      state->wake.wait_until(lock, state->delayed.begin()->first.first);
    }
  }
}

}  // namespace tav
