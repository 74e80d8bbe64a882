#include "tav/recording/polling_serial_queue.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tav {
namespace {

TEST(PollingSerialQueue, DrainHandlesEverythingPostedBeforeInOrderAndTheDestructorDropsTheRest) {
  std::vector<int> handled;  // touched only by the handler, read after a drain
  PollingSerialQueue<int>* self = nullptr;
  {
    // An interval far longer than the test: only drain and destruction wake the worker.
    PollingSerialQueue<int> queue("com.morvane.test.polling", std::chrono::hours(1), [&](int& item) {
      if (item < 0) throw std::runtime_error("a failing item does not stop the queue");
      if (item == 1000) {
        EXPECT_THROW(self->drain(), std::logic_error);
      }
      handled.push_back(item);
    });
    self = &queue;
    for (int i = 0; i < 100; ++i) queue.post(i);
    queue.post(-1);
    queue.post(1000);
    queue.drain();
    ASSERT_EQ(handled.size(), 101u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(handled[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(handled.back(), 1000);
    queue.post(2000);
  }
  EXPECT_EQ(handled.size(), 101u) << "posted after the last drain: dropped by the destructor";
}

}  // namespace
}  // namespace tav
