#include "tav/foundation/task_scheduler.hpp"

#include "tav/foundation/serial_queue.hpp"

namespace tav {

SerialQueueScheduler::SerialQueueScheduler(std::string label)
    : queue_(std::make_unique<SerialQueue>(std::move(label))) {}

SerialQueueScheduler::~SerialQueueScheduler() = default;

void SerialQueueScheduler::async(Task task) { queue_->async(std::move(task)); }

void SerialQueueScheduler::asyncAfter(Duration delay, Task task) { queue_->asyncAfter(delay, std::move(task)); }

std::shared_ptr<TaskScheduler> TaskScheduler::utility() {
  // Never destroyed: delayed work of objects that live until exit must find it still there.
  static auto* const scheduler =
      new std::shared_ptr<TaskScheduler>(std::make_shared<SerialQueueScheduler>("com.morvane.utility"));
  return *scheduler;
}

}  // namespace tav
