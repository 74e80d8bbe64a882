#include "tav/foundation/batch_throttler.hpp"

#include <gtest/gtest.h>

#include "tav/testing/manual_task_scheduler.hpp"

namespace tav {
namespace {

using namespace std::chrono_literals;

TEST(BatchThrottler, RunsTheNewestWorkOfABurstOncePerKeyAtTheEndOfTheDelay) {
  auto queue = std::make_shared<testing::ManualTaskScheduler>();
  std::vector<std::string> ran;
  auto throttler = std::make_unique<BatchThrottler>(60s, queue);
  throttler->throttle("config", [&] { ran.push_back("first"); });
  queue->advance(30s);
  throttler->throttle("config", [&] { ran.push_back("second"); });
  throttler->throttle("other", [&] { ran.push_back("other"); });
  queue->advance(29s);
  EXPECT_TRUE(ran.empty());
  queue->advance(1s);  // 60 s after the burst began
  EXPECT_EQ(ran, std::vector<std::string>{"second"});
  queue->advance(30s);  // "other" began 30 s later
  EXPECT_EQ(ran, (std::vector<std::string>{"second", "other"}));

  throttler->throttle("config", [&] { ran.push_back("third"); });  // a new burst
  queue->advance(60s);
  EXPECT_EQ(ran.back(), "third");

  throttler->throttle("config", [&] { ran.push_back("never"); });
  throttler.reset();
  queue->advance(1h);
  EXPECT_EQ(ran.size(), 3u);
}

}  // namespace
}  // namespace tav
