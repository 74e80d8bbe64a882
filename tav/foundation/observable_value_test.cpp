#include "tav/foundation/observable_value.hpp"

#include <gtest/gtest.h>

#include <condition_variable>
#include <string>
#include <thread>
#include <vector>

namespace tav {
namespace {

// Blocks until every piece of work posted to the main context before the call has run.
void drainMainContext() {
  std::mutex mutex;
  std::condition_variable done;
  bool ran = false;
  MainContext::post([&] {
    std::lock_guard lock(mutex);
    ran = true;
    done.notify_one();
  });
  std::unique_lock lock(mutex);
  done.wait(lock, [&] { return ran; });
}

TEST(ObservableValue, DeliversEachRealChangeInOrderUntilCancelled) {
  ObservableValue<std::string> value("idle");
  std::vector<std::string> seen;  // touched only on the main context
  auto subscription = value.subscribe([&](const std::string& v) { seen.push_back(v); });

  EXPECT_TRUE(value.set("recording"));
  EXPECT_FALSE(value.set("recording"));
  std::thread other([&] { value.set("paused"); });
  other.join();
  EXPECT_EQ(value.value(), "paused");
  drainMainContext();
  EXPECT_EQ(seen, (std::vector<std::string>{"recording", "paused"}));

  subscription.cancel();
  value.set("idle");
  drainMainContext();
  EXPECT_EQ(seen.size(), 2u);
}

TEST(ObservableValue, ChangeQueuedBeforeDestructionIsDroppedSafely) {
  int calls = 0;
  {
    ObservableValue<int> value(0);
    auto subscription = value.subscribe([&](const int&) { ++calls; });
    MainContext::post([] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); });
    value.set(1);
  }
  drainMainContext();
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace tav
