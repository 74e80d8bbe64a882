// A value record guarded by a shared lock object, and the run-under-lock helper for any lockable.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace tav {

/// Runs `block()` with `lockable` locked (any type with lock() and unlock()), unlocking also when the
/// block throws; returns what the block returned.
template <class Lockable, class Block>
decltype(auto) synchronized(Lockable& lockable, Block&& block) {
  std::lock_guard guard(lockable);
  return std::forward<Block>(block)();
}

/// A value with a lock. Copies of the record share the lock object and have separate values, so a
/// copy still serialises with its original (as a shared lock must) without sharing state.
///
/// `value()` and `setValue()` are each one critical section; a read-modify-write through them is not
/// atomic. `synchronized` is. The lock is not recursive: a block must not use the same record again.
template <class Value>
class SynchronizedLock {
 public:
  explicit SynchronizedLock(Value value) : _value(std::move(value)), lock_(std::make_shared<std::mutex>()) {}

  SynchronizedLock(const SynchronizedLock& other) : _value(other.value()), lock_(other.lock_) {}
  SynchronizedLock& operator=(const SynchronizedLock& other) {
    if (this != &other) {
      Value copy = other.value();
      lock_ = other.lock_;
      setValue(std::move(copy));
    }
    return *this;
  }

  /// A copy of the value, taken under the lock.
  Value value() const {
    std::lock_guard guard(*lock_);
    return _value;
  }
  /// Replaces the value under the lock.
  void setValue(Value newValue) {
    std::lock_guard guard(*lock_);
    _value = std::move(newValue);
  }

  /// Runs `block(Value&)` with the lock held throughout, unlocking also on a throw.
  template <class Block>
  decltype(auto) synchronized(Block&& block) {
    std::lock_guard guard(*lock_);
    return std::forward<Block>(block)(_value);
  }

  /// The lock object, shared with every copy.
  const std::shared_ptr<std::mutex>& lock() const { return lock_; }

 private:
  Value _value;                       // guarded by *lock_
  std::shared_ptr<std::mutex> lock_;
};

}  // namespace tav
