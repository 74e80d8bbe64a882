#include "tav/foundation/serial_queue_run_loop.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace tav {
namespace {

// The timer fires on the queue at its own pace; the test waits for a count of fires, never for a time.
TEST(SerialQueueRunLoop, FiresOnTheQueueUntilInvalidatedAndNeverAfter) {
  SerialQueue queue("com.morvane.test.runloop");
  SerialQueueRunLoop loop(queue);
  std::mutex mutex;
  std::condition_variable fired;
  int count = 0;
  bool onQueue = true;
  auto timer = loop.scheduleRepeating(std::chrono::milliseconds(1), [&] {
    std::lock_guard lock(mutex);
    onQueue = onQueue && queue.isCurrent();
    ++count;
    fired.notify_all();
  });
  {
    std::unique_lock lock(mutex);
    fired.wait(lock, [&] { return count >= 3; });
  }
  timer->invalidate();
  int atInvalidation = 0;
  {
    std::lock_guard lock(mutex);
    atInvalidation = count;
  }
  queue.drain();
  std::lock_guard lock(mutex);
  EXPECT_EQ(count, atInvalidation);
  EXPECT_TRUE(onQueue);
}

TEST(SerialQueueRunLoop, AnActionMayInvalidateItsOwnTimer) {
  SerialQueue queue("com.morvane.test.runloop.self");
  SerialQueueRunLoop loop(queue);
  std::atomic<int> count{0};
  std::unique_ptr<RunLoopTimer> timer;
  std::mutex mutex;
  std::condition_variable done;
  {
    std::lock_guard lock(mutex);
    timer = loop.scheduleRepeating(std::chrono::milliseconds(1), [&] {
      std::lock_guard inner(mutex);
      ++count;
      timer->invalidate();
      done.notify_all();
    });
  }
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return count.load() > 0; });
  lock.unlock();
  queue.drain();
  EXPECT_EQ(count.load(), 1);
}

}  // namespace
}  // namespace tav
