#include "tav/foundation/serial_queue.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tav {
namespace {

using namespace std::chrono_literals;

TEST(SerialQueue, RunsTasksInPostingOrderOnOneThread) {
  SerialQueue queue("com.morvane.test.order");
  std::vector<int> order;  // touched only on the queue, read after drain
  std::vector<std::thread::id> threads;
  for (int i = 0; i < 100; ++i) {
    queue.async([&, i] {
      order.push_back(i);
      threads.push_back(std::this_thread::get_id());
    });
  }
  queue.drain();
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  for (auto id : threads) EXPECT_EQ(id, threads.front());
  EXPECT_NE(threads.front(), std::this_thread::get_id());
  EXPECT_EQ(queue.label(), "com.morvane.test.order");
}

TEST(SerialQueue, SyncWaitsAndPassesExceptionsOn) {
  SerialQueue queue("com.morvane.test.sync");
  int value = 0;
  queue.sync([&] {
    value = 3;
    EXPECT_TRUE(queue.isCurrent());
    EXPECT_THROW(queue.sync([] {}), std::logic_error);  // would wait on itself
  });
  EXPECT_EQ(value, 3);
  EXPECT_FALSE(queue.isCurrent());
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("inner"); }), std::runtime_error);
  bool ranAfterThrow = false;
  queue.sync([&] { ranAfterThrow = true; });
  EXPECT_TRUE(ranAfterThrow);
}

TEST(SerialQueue, DelayedTasksRunInDueOrderAfterTheirDelay) {
  SerialQueue queue("com.morvane.test.after");
  std::mutex m;
  std::vector<int> order;
  auto start = SerialQueue::Clock::now();
  SerialQueue::Clock::time_point ranAt;
  const auto record = [&](int task) {
    std::lock_guard g(m);
    order.push_back(task);
    if (task == 2) ranAt = SerialQueue::Clock::now();
  };
  queue.asyncAfter(40ms, [&] { record(2); });
  queue.asyncAfter(10ms, [&] { record(1); });
  queue.async([&] { record(0); });
  std::this_thread::sleep_for(80ms);
  queue.drain();
  std::lock_guard g(m);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
  EXPECT_GE(ranAt - start, 40ms);
}

TEST(SerialQueue, DestructorRunsPostedTasks) {
  int count = 0;
  {
    SerialQueue queue("com.morvane.test.drop");
    for (int i = 0; i < 10; ++i) queue.async([&] { ++count; });
  }
  EXPECT_EQ(count, 10);
}

TEST(SerialQueue, MayBeReleasedFromItsOwnTask) {
  auto queue = std::make_shared<SerialQueue>("com.morvane.test.self");
  std::promise<void> later;
  std::future<void> laterRan = later.get_future();
  std::promise<void> released;
  std::shared_future<void> mainLetGo = released.get_future().share();
  auto* holder = new std::shared_ptr<SerialQueue>(queue);
  queue->async([holder, mainLetGo] {
    mainLetGo.wait();
    delete holder;  // the last owner goes on the worker itself
  });
  queue->async([&later] { later.set_value(); });
  queue.reset();
  released.set_value();
  EXPECT_EQ(laterRan.wait_for(std::chrono::seconds(5)), std::future_status::ready);
}

}  // namespace
}  // namespace tav
