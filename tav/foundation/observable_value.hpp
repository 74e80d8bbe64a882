// ObservableValue: a value that services publish for a host to watch, such as whether a recording is
// running or how long it has been. Reads are immediate from any thread; each change reaches every
// subscriber on the main context, where the host's interface lives.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "tav/foundation/main_context.hpp"

namespace tav {

/// Thread-safe. `set` may be called from any thread; subscribers are called on the main context
/// (MainContext::post), once per change, in the order the changes were made, with the value of that
/// change. Setting an equal value is no change. A subscriber is never called after its Subscription
/// is destroyed or cancelled, nor after the ObservableValue is destroyed.
template <class T>
class ObservableValue {
  struct State;  // below; named here so that Subscription can hold it (clang needs it declared first)

 public:
  using Observer = std::function<void(const T&)>;

  /// Ends its subscription when destroyed (or on cancel). Movable, not copyable.
  class Subscription {
   public:
    Subscription() = default;
    Subscription(Subscription&& other) noexcept { *this = std::move(other); }
    Subscription& operator=(Subscription&& other) noexcept {
      if (this != &other) {
        cancel();
        state_ = std::move(other.state_);
        id_ = other.id_;
        other.state_.reset();
      }
      return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { cancel(); }

    void cancel() {
      if (auto state = state_.lock()) {
        std::lock_guard lock(state->mutex);
        state->observers.erase(id_);
      }
      state_.reset();
    }

   private:
    friend class ObservableValue;
    Subscription(std::weak_ptr<typename ObservableValue::State> state, std::uint64_t id)
        : state_(std::move(state)), id_(id) {}
    std::weak_ptr<typename ObservableValue::State> state_;
    std::uint64_t id_ = 0;
  };

  explicit ObservableValue(T initial = T{}) : state_(std::make_shared<State>(std::move(initial))) {}
  ObservableValue(const ObservableValue&) = delete;
  ObservableValue& operator=(const ObservableValue&) = delete;

  T value() const {
    std::lock_guard lock(state_->mutex);
    return state_->value;
  }

  /// Stores `newValue`; when it differs from the current value, posts it to every subscriber.
  /// Returns whether the value changed.
  bool set(T newValue) {
    std::lock_guard lock(state_->mutex);
    if (state_->value == newValue) return false;
    state_->value = std::move(newValue);
    if (!state_->observers.empty()) {
      // Posted under the lock, so that the main context sees the changes in the order they were made.
      MainContext::post([weak = std::weak_ptr<State>(state_), value = state_->value] {
        auto state = weak.lock();
        if (!state) return;
        std::vector<std::pair<std::uint64_t, Observer>> observers;
        {
          std::lock_guard inner(state->mutex);
          observers.assign(state->observers.begin(), state->observers.end());
        }
        for (const auto& [id, observer] : observers) {
          {
            // Skip an observer cancelled by an earlier one in this round.
            std::lock_guard inner(state->mutex);
            if (!state->observers.contains(id)) continue;
          }
          observer(value);
        }
      });
    }
    return true;
  }

  /// Calls `observer` on the main context with each later change until the returned subscription ends.
  [[nodiscard]] Subscription subscribe(Observer observer) {
    std::lock_guard lock(state_->mutex);
    const std::uint64_t id = ++state_->nextID;
    state_->observers.emplace(id, std::move(observer));
    return Subscription(state_, id);
  }

 private:
  struct State {
    explicit State(T initial) : value(std::move(initial)) {}
    mutable std::mutex mutex;
    T value;                                    // guarded by mutex
    std::map<std::uint64_t, Observer> observers;  // guarded by mutex
    std::uint64_t nextID = 0;                   // guarded by mutex
  };
  std::shared_ptr<State> state_;
};

}  // namespace tav
