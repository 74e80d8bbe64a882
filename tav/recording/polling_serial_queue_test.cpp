#include "tav/recording/polling_serial_queue.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tav {
namespace {

TEST(PollingSerialQueue, DrainRunsEverythingPostedBeforeInOrderAndTheDestructorTheRest) {
  std::vector<int> ran;  // touched only by the queue's tasks, read after a drain
  {
    // An interval far longer than the test: only drain and destruction wake the worker.
    PollingSerialQueue queue("com.morvane.test.polling", std::chrono::hours(1));
    for (int i = 0; i < 100; ++i) queue.async([&ran, i] { ran.push_back(i); });
    queue.async([] { throw std::runtime_error("a failing task does not stop the queue"); });
    queue.drain();
    ASSERT_EQ(ran.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(ran[static_cast<std::size_t>(i)], i);
    queue.async([&ran] { ran.push_back(100); });
    queue.async([&queue] { EXPECT_THROW(queue.drain(), std::logic_error); });
  }
  EXPECT_EQ(ran.size(), 101u);
}

}  // namespace
}  // namespace tav
