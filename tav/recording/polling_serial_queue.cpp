#include "tav/recording/polling_serial_queue.hpp"

#include <exception>
#include <stdexcept>
#include <utility>

#include "tav/contracts/logger.hpp"

namespace tav {

PollingSerialQueue::PollingSerialQueue(std::string label, std::chrono::microseconds interval)
    : label_(std::move(label)), state_(std::make_shared<State>()) {
  worker_ = std::thread([state = state_, label = label_, interval] { run(state, label, interval); });
}

PollingSerialQueue::~PollingSerialQueue() {
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

void PollingSerialQueue::async(Task task) {
  std::lock_guard lock(state_->mutex);
  state_->tasks.push_back(std::move(task));
  ++state_->posted;
}

void PollingSerialQueue::drain() {
  if (worker_.get_id() == std::this_thread::get_id()) {
    throw std::logic_error("PollingSerialQueue::drain called on its own queue \"" + label_ + "\"");
  }
  std::unique_lock lock(state_->mutex);
  const std::uint64_t target = state_->posted;
  if (state_->completed >= target) return;
  state_->urgent = true;
  state_->wake.notify_one();
  state_->ran.wait(lock, [&] { return state_->completed >= target; });
}

void PollingSerialQueue::run(const std::shared_ptr<State>& state, const std::string& label,
                             std::chrono::microseconds interval) {
  const Logger logger("PollingSerialQueue");
  std::unique_lock lock(state->mutex);
  while (true) {
    state->wake.wait_for(lock, interval, [&] { return state->urgent || state->stopping; });
    state->urgent = false;
    while (!state->tasks.empty()) {
      Task task = std::move(state->tasks.front());
      state->tasks.pop_front();
      lock.unlock();
      try {
        task();
      } catch (const std::exception& e) {
        logger.error("A task on {} threw: {}", label, e.what());
      } catch (...) {
        logger.error("A task on {} threw", label);
      }
      task = nullptr;  // released before the count moves, so a drain sees its captures gone
      lock.lock();
      ++state->completed;
      state->ran.notify_all();
    }
    if (state->stopping) return;
  }
}

}  // namespace tav
