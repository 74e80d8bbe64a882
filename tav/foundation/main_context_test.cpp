#include "tav/foundation/main_context.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace tav {
namespace {

bool isCurrentOnAnotherThread() {
  bool result = true;
  std::thread([&] { result = MainContext::isCurrent(); }).join();
  return result;
}

/// Installs a dispatcher that only collects work, so a test decides when and where it runs.
class CollectingDispatcher {
 public:
  CollectingDispatcher() {
    MainContext::setDispatcher([this](MainContext::Work work) {
      std::lock_guard lock(mutex_);
      collected_.push_back(std::move(work));
    });
  }
  ~CollectingDispatcher() { MainContext::setDispatcher({}); }
  CollectingDispatcher(const CollectingDispatcher&) = delete;
  CollectingDispatcher& operator=(const CollectingDispatcher&) = delete;

  std::vector<MainContext::Work> take() {
    std::lock_guard lock(mutex_);
    return std::exchange(collected_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<MainContext::Work> collected_;
};

TEST(MainContext, TheDeclaredThreadIsCurrentAndOthersAreNot) {
  MainContext::setMainThread();
  EXPECT_TRUE(MainContext::isCurrent());
  EXPECT_FALSE(isCurrentOnAnotherThread());

  std::thread other([] {
    MainContext::setMainThread();
    EXPECT_TRUE(MainContext::isCurrent());
  });
  std::thread::id otherID = other.get_id();
  other.join();
  EXPECT_FALSE(MainContext::isCurrent());
  MainContext::setMainThread(otherID);
  EXPECT_FALSE(MainContext::isCurrent());
  MainContext::setMainThread();
  EXPECT_TRUE(MainContext::isCurrent());
}

TEST(MainContext, DefaultWorkerRunsPostedWorkInOrderOffTheCallersThread) {
  MainContext::setMainThread();
  std::vector<int> order;  // written on the worker only, read after the last item has run
  std::vector<bool> current;
  std::promise<std::thread::id> finished;
  for (int i = 0; i < 50; ++i) {
    MainContext::post([&, i] {
      order.push_back(i);
      current.push_back(MainContext::isCurrent());
      if (i == 49) finished.set_value(std::this_thread::get_id());
    });
  }
  auto future = finished.get_future();
  ASSERT_EQ(future.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_NE(future.get(), std::this_thread::get_id());
  ASSERT_EQ(order.size(), 50u);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  EXPECT_EQ(current, std::vector<bool>(50, true));
}

TEST(MainContext, WorkThatThrowsDoesNotStopTheDefaultWorker) {
  MainContext::post([] { throw std::runtime_error("lost on purpose"); });
  std::promise<void> ran;
  MainContext::post([&] { ran.set_value(); });
  EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST(MainContext, PostsFromManyThreadsAllRun) {
  constexpr int kThreads = 4;
  constexpr int kEach = 100;
  int count = 0;  // touched on the worker only
  std::promise<int> total;
  std::vector<std::thread> posters;
  for (int t = 0; t < kThreads; ++t) {
    posters.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) MainContext::post([&] { ++count; });
    });
  }
  for (auto& poster : posters) poster.join();
  // Posted after every other item, so it runs last on the serial worker.
  MainContext::post([&] { total.set_value(count); });
  auto future = total.get_future();
  ASSERT_EQ(future.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(future.get(), kThreads * kEach);
}

TEST(MainContext, HostDispatcherRunsTheWorkAndItCountsAsMain) {
  MainContext::setMainThread();
  CollectingDispatcher dispatcher;
  bool ran = false;
  bool wasCurrent = false;
  MainContext::post([&] {
    ran = true;
    wasCurrent = MainContext::isCurrent();
  });
  MainContext::post({});  // empty work is ignored
  auto collected = dispatcher.take();
  ASSERT_EQ(collected.size(), 1u);
  EXPECT_FALSE(ran);  // never run inside post()
  // The host's loop may live on a thread other than the one declared main.
  std::thread([&] { collected[0](); }).join();
  EXPECT_EQ(std::pair(ran, wasCurrent), std::pair(true, true));
  // Outside the posted work, that thread isn't the main context.
  EXPECT_FALSE(isCurrentOnAnotherThread());
}

}  // namespace
}  // namespace tav
