#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tav/foundation/synchronized_lock.hpp"
#include "tav/foundation/unfair_lock.hpp"

namespace tav {
namespace {

// Runs `body` on two threads that start together, so their iterations overlap.
template <class Body>
void onTwoThreads(Body body) {
  std::atomic<int> ready{0};
  auto start = [&] {
    ready.fetch_add(1);
    while (ready.load() < 2) std::this_thread::yield();
    body();
  };
  std::thread a(start), b(start);
  a.join();
  b.join();
}

TEST(UnfairLock, WhileLockedReturnsBodyResultAndUnlocksOnThrow) {
  UnfairLock lock;
  EXPECT_EQ(lock.whileLocked([] { return 42; }), 42);
  EXPECT_THROW(lock.whileLocked([]() -> int { throw std::runtime_error("body failed"); }), std::runtime_error);
  EXPECT_TRUE(lock.try_lock());  // released by the throw
  lock.unlock();
}

TEST(UnfairLock, ExcludesOtherThreads) {
  UnfairLock lock;
  long counter = 0;
  onTwoThreads([&] {
    for (int i = 0; i < 1000; ++i) lock.whileLocked([&] { counter += 1; });
  });
  EXPECT_EQ(counter, 2000);
}

TEST(Locked, MutateIsAtomicAcrossThreads) {
  Locked<int> box(0);
  onTwoThreads([&] {
    for (int i = 0; i < 1000; ++i) box.mutate([](int& v) { v += 1; });
  });
  EXPECT_EQ(box.wrappedValue(), 2000);
}

TEST(Locked, ReadThenWriteIsTwoCriticalSections) {
  // A get, a change outside the lock and a set: another thread's write between the get and the set is
  // overwritten. Interleave them by hand so the lost update is certain rather than likely.
  Locked<int> box(0);
  int read = box.wrappedValue();                        // first critical section
  std::thread other([&] { box.mutate([](int& v) { v += 1; }); });
  other.join();                                         // the other thread's +1 lands here
  box.setWrappedValue(read + 1);                        // second critical section
  EXPECT_EQ(box.wrappedValue(), 1);                     // one of the two increments was lost
}

TEST(Locked, MutateKeepsChangesMadeBeforeAThrowAndUnlocks) {
  Locked<std::vector<int>> box;
  EXPECT_THROW(box.mutate([](std::vector<int>& v) {
    v.push_back(7);
    throw std::runtime_error("half done");
  }),
               std::runtime_error);
  EXPECT_EQ(box.wrappedValue(), std::vector<int>{7});
  EXPECT_EQ(box.mutate([](std::vector<int>& v) { return v.size(); }), 1u);  // not left locked
  EXPECT_EQ(&box.projectedValue(), &box);
}

TEST(SynchronizedLock, CopiesShareTheLockAndNotTheValue) {
  SynchronizedLock<std::string> a(std::string("one"));
  SynchronizedLock<std::string> b = a;
  b.setValue("two");
  EXPECT_EQ(std::pair(a.value(), b.value()), (std::pair<std::string, std::string>("one", "two")));
  EXPECT_EQ(a.lock(), b.lock());
}

TEST(SynchronizedLock, ValueReadThenWriteIsTwoCriticalSections) {
  SynchronizedLock<int> box(10);
  int read = box.value();
  std::thread other([&] { box.synchronized([](int& v) { v *= 2; }); });
  other.join();
  box.setValue(read + 1);
  EXPECT_EQ(box.value(), 11);  // the doubling in between was lost
}

TEST(SynchronizedLock, SynchronizedIsAtomicAndUnlocksOnThrow) {
  SynchronizedLock<int> box(0);
  onTwoThreads([&] {
    for (int i = 0; i < 1000; ++i) box.synchronized([](int& v) { v += 1; });
  });
  EXPECT_EQ(box.value(), 2000);
  EXPECT_THROW(box.synchronized([](int& v) {
    v = -1;
    throw std::runtime_error("stop");
  }),
               std::runtime_error);
  EXPECT_EQ(box.value(), -1);

  std::mutex m;
  EXPECT_EQ(synchronized(m, [] { return 5; }), 5);
  EXPECT_THROW(synchronized(m, []() -> int { throw std::runtime_error("x"); }), std::runtime_error);
  EXPECT_TRUE(m.try_lock());
  m.unlock();
}

}  // namespace
}  // namespace tav
