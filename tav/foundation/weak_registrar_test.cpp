#include "tav/foundation/weak_registrar.hpp"

#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tav {
namespace {

struct Sink {
  int id = 0;
};

// Collects the did-change notifications one registrar posts, with the thread each arrived on.
struct ChangeLog {
  std::mutex mutex;
  std::vector<std::string> events;
  std::vector<std::thread::id> threads;

  void add(std::string event) {
    std::lock_guard g(mutex);
    events.push_back(std::move(event));
    threads.push_back(std::this_thread::get_id());
  }
  std::vector<std::string> snapshot() {
    std::lock_guard g(mutex);
    return events;
  }
};

TEST(WeakRegistrar, RegisterThenDeregisterNotifiesBothInOrderOnTheNotifyQueue) {
  WeakRegistrar<Sink> registrar;
  ChangeLog log;
  auto observation = NotificationCenter::defaultCenter().observe(
      "Tavo.Mac.App.WeakRegistrar.RegisteredObjectsDidChangeNotification.Name",
      [&](const Notification&) { log.add("posted"); }, &registrar);
  registrar.setOnRegisterRegistered([&](const std::shared_ptr<Sink>& sink) { log.add("registered " + std::to_string(sink->id)); });
  registrar.setOnRegisteredChanged([&](WeakRegistrar<Sink>& r) {
    EXPECT_EQ(&r, &registrar);
    log.add("changed");
  });

  auto sink = std::make_shared<Sink>(Sink{7});
  registrar.register_(sink);
  registrar.deregister(sink);
  sink.reset();  // the pending callback still holds the object
  weakRegistrarNotifyQueue().drain();

  EXPECT_EQ(log.snapshot(), (std::vector<std::string>{"registered 7", "posted", "changed", "posted", "changed"}));
  for (auto id : log.threads) EXPECT_NE(id, std::this_thread::get_id());
  EXPECT_TRUE(registrar.registered().empty());
  EXPECT_FALSE(registrar.hasAnyRegistration());
}

TEST(WeakRegistrar, DeadObjectsLeaveSilentlyAndAreNeverHandedOut) {
  WeakRegistrar<Sink> registrar;
  auto kept = std::make_shared<Sink>(Sink{1});
  auto dropped = std::make_shared<Sink>(Sink{2});
  registrar.register_(kept);
  registrar.register_(dropped);
  registrar.register_(kept);  // once only
  weakRegistrarNotifyQueue().drain();

  std::size_t posts = 0;
  auto observation = NotificationCenter::defaultCenter().observe(
      std::string(WeakRegistrar<Sink>::registeredObjectsDidChangeNotificationName),
      [&](const Notification&) { ++posts; }, &registrar);
  std::weak_ptr<Sink> watch = dropped;
  dropped.reset();
  EXPECT_TRUE(watch.expired());  // the registrar kept nothing alive

  auto live = registrar.registered();
  ASSERT_EQ(live.size(), 1u);
  EXPECT_EQ(live.front()->id, 1);
  EXPECT_TRUE(registrar.hasAnyRegistration());
  weakRegistrarNotifyQueue().drain();
  EXPECT_EQ(posts, 0u);
}

TEST(WeakRegistrar, PostsWithNoCallbacksSet) {
  WeakRegistrar<Sink> registrar;
  std::size_t posts = 0;
  auto observation = NotificationCenter::defaultCenter().observe(
      "Tavo.Mac.App.WeakRegistrar.RegisteredObjectsDidChangeNotification.Name",
      [&](const Notification& n) {
        EXPECT_EQ(n.sender, &registrar);
        EXPECT_TRUE(n.userInfo.empty());
        ++posts;
      },
      &registrar);
  auto sink = std::make_shared<Sink>();
  registrar.register_(sink);
  weakRegistrarNotifyQueue().drain();
  EXPECT_EQ(posts, 1u);
}

TEST(WeakRegistrar, ForEachStopsAtTheFirstThrowAndUnlocks) {
  WeakRegistrar<Sink> registrar;
  std::vector<std::shared_ptr<Sink>> sinks;
  for (int i = 0; i < 3; ++i) {
    sinks.push_back(std::make_shared<Sink>(Sink{i}));
    registrar.register_(sinks.back());
  }
  int visited = 0;
  EXPECT_THROW(registrar.forEach([&](const std::shared_ptr<Sink>&) {
    ++visited;
    throw std::runtime_error("stop");
  }),
               std::runtime_error);
  EXPECT_EQ(visited, 1);
  EXPECT_EQ(registrar.registered().size(), 3u);  // not left locked
  visited = 0;
  registrar.forEach([&](const std::shared_ptr<Sink>&) { ++visited; });
  EXPECT_EQ(visited, 3);
  weakRegistrarNotifyQueue().drain();
}

TEST(WeakRegistrar, ManyThreadsRegisterAtOnce) {
  WeakRegistrar<Sink> registrar;
  std::vector<std::shared_ptr<Sink>> sinks(200);
  for (auto& s : sinks) s = std::make_shared<Sink>();
  std::thread a([&] { for (std::size_t i = 0; i < 100; ++i) registrar.register_(sinks[i]); });
  std::thread b([&] { for (std::size_t i = 100; i < 200; ++i) registrar.register_(sinks[i]); });
  a.join();
  b.join();
  EXPECT_EQ(registrar.registered().size(), 200u);
  weakRegistrarNotifyQueue().drain();
}

}  // namespace
}  // namespace tav
