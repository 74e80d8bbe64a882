// The bare lock for short critical sections on hot paths (per-frame state), and the box that guards a
// value with one.
//
// Neither is recursive: a body run under the lock must not take the same lock again (that deadlocks).
#pragma once

#include <mutex>
#include <utility>

namespace tav {

/// A non-recursive mutual-exclusion lock. Any thread may lock; the thread that locked unlocks. It is
/// neither copied nor moved, so it keeps its address for its whole life, and it lives inline in the
/// object that holds it: a hot path that takes it touches the holder's cache lines and no others.
class UnfairLock {
 public:
  UnfairLock() = default;
  UnfairLock(const UnfairLock&) = delete;
  UnfairLock& operator=(const UnfairLock&) = delete;

  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }
  bool try_lock() { return mutex_.try_lock(); }

  /// Runs `body` with the lock held and returns what it returned. The lock is released also when
  /// `body` throws, and the exception passes to the caller.
  template <class Body>
  decltype(auto) whileLocked(Body&& body) {
    std::lock_guard guard(mutex_);
    return std::forward<Body>(body)();
  }

 private:
  std::mutex mutex_;
};

/// A value guarded by its own UnfairLock.
///
/// `wrappedValue()` and `setWrappedValue()` are each one critical section. Reading, changing and
/// writing back through them is two critical sections with the change outside the lock, so another
/// thread's write in between is lost: use `mutate` for any read-modify-write, it is the only atomic one.
template <class Value>
class Locked {
 public:
  explicit Locked(Value wrappedValue = Value()) : value_(std::move(wrappedValue)) {}
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

  /// A copy of the value, taken under the lock.
  Value wrappedValue() const {
    return lock_.whileLocked([this] { return value_; });
  }
  /// Replaces the value under the lock.
  void setWrappedValue(Value newValue) {
    lock_.whileLocked([&] { value_ = std::move(newValue); });
  }
  /// The box itself, as a wrapped property's projected value is.
  Locked& projectedValue() { return *this; }

  /// Runs `body(Value&)` with the lock held throughout and returns what it returns. On a throw the lock
  /// is released and whatever `body` changed before throwing stays changed.
  template <class Body>
  decltype(auto) mutate(Body&& body) {
    return lock_.whileLocked([&]() -> decltype(auto) { return std::forward<Body>(body)(value_); });
  }

 private:
  // The lock first: it is touched first, and the start of the value then shares its cache line.
  mutable UnfairLock lock_;
  Value value_;  // guarded by lock_
};

}  // namespace tav
