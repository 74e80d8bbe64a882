#include "tav/contracts/notification_center.hpp"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace tav {
namespace {

TEST(NotificationCenter, DeliversByNameAndSenderWithUserInfo) {
  NotificationCenter center;
  int sender = 0;
  int other = 0;
  std::vector<std::string> heard;
  auto any = center.observe("A", [&](const Notification& n) {
    const std::string* id = n.info<std::string>("id");
    heard.push_back("any:" + (id ? *id : std::string("-")));
  });
  auto fromSender = center.observe("A", [&](const Notification&) { heard.push_back("sender"); }, &sender);
  auto otherName = center.observe("B", [&](const Notification&) { heard.push_back("B"); });

  center.post("A", &sender, {{"id", std::string("x")}});
  center.post("A", &other);
  center.post("C");
  EXPECT_EQ(heard, (std::vector<std::string>{"any:x", "sender", "any:-"}));
}

TEST(NotificationCenter, TokenUnregistersOnDestructionAndReset) {
  NotificationCenter center;
  int calls = 0;
  {
    auto token = center.observe("A", [&](const Notification&) { ++calls; });
    center.post("A");
    EXPECT_EQ(center.observerCount("A"), 1u);
  }
  center.post("A");
  EXPECT_EQ(std::pair(calls, center.observerCount("A")), std::pair(1, std::size_t{0}));

  auto token = center.observe("A", [&](const Notification&) { ++calls; });
  NotificationObservation moved = std::move(token);
  center.post("A");
  moved.reset();
  center.post("A");
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(moved.isActive());
}

TEST(NotificationCenter, HandlerMayDropItsOwnTokenAndPostAgain) {
  NotificationCenter center;
  int calls = 0;
  NotificationObservation token;
  token = center.observe("A", [&](const Notification&) {
    ++calls;
    token.reset();
    center.post("A");  // no longer observed: not heard again
  });
  center.post("A");
  EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, ConcurrentPostsAndObservationsAreSafe) {
  NotificationCenter center;
  std::atomic<int> calls{0};
  auto steady = center.observe("A", [&](const Notification&) { calls.fetch_add(1); });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        auto transient = center.observe("A", [](const Notification&) {});
        center.post("A");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(calls.load(), 2000);
  EXPECT_EQ(center.observerCount("A"), 1u);
}

}  // namespace
}  // namespace tav
