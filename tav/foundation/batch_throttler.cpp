#include "tav/foundation/batch_throttler.hpp"

#include <utility>

namespace tav {

BatchThrottler::BatchThrottler(TaskScheduler::Duration maximumDelay, std::shared_ptr<TaskScheduler> queue)
    : maximumDelay_(maximumDelay), queue_(std::move(queue)) {}

void BatchThrottler::throttle(const std::string& key, Work work) {
  {
    std::lock_guard lock(pending_->mutex);
    auto [slot, armed] = pending_->work.try_emplace(key);
    slot->second = std::move(work);
    if (!armed) return;  // the timer of this burst is running; it will take the newest work
  }
  queue_->asyncAfter(maximumDelay_, [weak = std::weak_ptr<Pending>(pending_), key] {
    auto pending = weak.lock();
    if (!pending) return;
    Work due;
    {
      std::lock_guard lock(pending->mutex);
      auto found = pending->work.find(key);
      if (found == pending->work.end()) return;
      due = std::move(found->second);
      pending->work.erase(found);
    }
    if (due) due();
  });
}

}  // namespace tav
