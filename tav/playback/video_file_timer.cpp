#include "tav/playback/video_file_timer.hpp"

#include <algorithm>
#include <atomic>
#include <utility>

namespace tav {

struct DeadlineVideoFileTimer::Schedule {
  std::weak_ptr<SerialQueue> queue;
  std::chrono::nanoseconds interval;
  std::function<void()> tick;
  SerialQueue::Clock::time_point start;
  std::int64_t nextIndex = 0;
  std::atomic<bool> cancelled{false};
};

void DeadlineVideoFileTimer::schedule(const std::shared_ptr<SerialQueue>& queue, std::chrono::nanoseconds interval,
                                      std::function<void()> tick) {
  cancel();
  auto schedule = std::make_shared<Schedule>();
  schedule->queue = queue;
  schedule->interval = interval.count() > 0 ? interval : std::chrono::nanoseconds(1);
  schedule->tick = std::move(tick);
  schedule->start = SerialQueue::Clock::now();
  current_ = schedule;
  // Each run posts the next; the schedule lives as long as a posted run holds it.
  struct Runner {
    static void run(const std::shared_ptr<Schedule>& s) {
      if (s->cancelled) return;
      s->tick();
      if (s->cancelled) return;
      auto queue = s->queue.lock();
      if (!queue) return;
      const auto now = SerialQueue::Clock::now();
      const std::int64_t due = (now - s->start) / s->interval + 1;  // the first deadline still ahead
      s->nextIndex = std::max(s->nextIndex + 1, due);
      const auto deadline = s->start + s->nextIndex * s->interval;
      queue->asyncAfter(std::chrono::duration_cast<SerialQueue::Clock::duration>(deadline - now),
                        [s] { run(s); });
    }
  };
  queue->async([schedule] { Runner::run(schedule); });
}

void DeadlineVideoFileTimer::cancel() {
  if (current_) current_->cancelled = true;
  current_.reset();
}

void ManualVideoFileTimer::schedule(const std::shared_ptr<SerialQueue>& queue, std::chrono::nanoseconds interval,
                                    std::function<void()> tick) {
  std::lock_guard lock(mutex_);
  queue_ = queue;
  tick_ = std::move(tick);
  interval_ = interval;
  ++generation_;
  ++scheduleCount_;
  scheduled_ = true;
}

void ManualVideoFileTimer::cancel() {
  std::lock_guard lock(mutex_);
  ++generation_;
  scheduled_ = false;
  tick_ = nullptr;
  interval_ = std::chrono::nanoseconds(0);
}

bool ManualVideoFileTimer::fire() {
  std::shared_ptr<SerialQueue> queue;
  std::uint64_t generation = 0;
  {
    std::lock_guard lock(mutex_);
    if (!scheduled_) return false;
    queue = queue_.lock();
    generation = generation_;
  }
  if (!queue) return false;
  bool ran = false;
  queue->sync([&] {
    std::function<void()> tick;
    {
      std::lock_guard lock(mutex_);
      // Cancelled or replaced between the look above and this task.
      if (!scheduled_ || generation != generation_) return;
      tick = tick_;
    }
    ran = true;
    tick();
  });
  return ran;
}

void ManualVideoFileTimer::drain() {
  std::shared_ptr<SerialQueue> queue;
  {
    std::lock_guard lock(mutex_);
    queue = queue_.lock();
  }
  if (queue) queue->drain();
}

bool ManualVideoFileTimer::isScheduled() const {
  std::lock_guard lock(mutex_);
  return scheduled_;
}

std::chrono::nanoseconds ManualVideoFileTimer::interval() const {
  std::lock_guard lock(mutex_);
  return interval_;
}

std::uint64_t ManualVideoFileTimer::scheduleCount() const {
  std::lock_guard lock(mutex_);
  return scheduleCount_;
}

}  // namespace tav
