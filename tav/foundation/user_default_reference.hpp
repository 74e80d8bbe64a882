// Typed handles on one key of a settings store for the host: a reference that reads and writes the
// key's value, and an observer that reports each real change of that one key with its new and old
// values. The store only says that something changed somewhere; the observer turns that into a per-key
// callback by remembering the last value it saw.
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/codable_user_default.hpp"

namespace tav {

/// The value under `key` of `userDefaults`, typed. Any type with a JsonCoder may be used. A missing
/// key and a stored value that does not read as Value both read as `defaultValue`. Thread-safe as far
/// as the store is.
template <class Value>
class UserDefaultReference {
 public:
  /// Throws std::invalid_argument for a null store.
  UserDefaultReference(std::string key, Value defaultValue, std::shared_ptr<UserDefaults> userDefaults)
      : storage_(std::move(key), std::move(defaultValue), std::move(userDefaults)) {}

  const std::string& key() const { return storage_.key(); }
  const Value& defaultValue() const { return storage_.defaultValue(); }
  const std::shared_ptr<UserDefaults>& userDefaults() const { return storage_.userDefaults(); }

  Value currentValue() const { return storage_.get(); }
  void setCurrentValue(const Value& value) { storage_.set(value); }
  /// A read, a change in place and a write; not atomic against other writers.
  template <class F>
  void modifyCurrentValue(F&& modify) {
    Value value = currentValue();
    std::forward<F>(modify)(value);
    setCurrentValue(value);
  }

 private:
  CodableUserDefault<Value> storage_;
};

/// Calls `onChange(newValue, oldValue)` once for each real change of one key: a write of an equal
/// value, and changes of other keys, call nothing. On construction the callback is called at once
/// with the current value as both arguments, so a client sets itself up through the same code that
/// later handles changes.
///
/// Active from construction to destruction. Callbacks run on the thread that changed the store (for a
/// store that watches its file, the watching thread). Changes made at the same time on several threads
/// are each reported once, in the order the observer saw them; the remembered value is updated before
/// the callback runs, so a callback that writes the key again is reported as the next change. After the
/// destructor returns no new callback starts; one already running on another thread finishes.
template <std::equality_comparable Value>
class UserDefaultObserver {
 public:
  using ChangeHandler = std::function<void(const Value& newValue, const Value& oldValue)>;
  using NewValueHandler = std::function<void(const Value& newValue)>;

  UserDefaultObserver(std::string key, Value defaultValue, std::shared_ptr<UserDefaults> userDefaults,
                      ChangeHandler onChange = nullptr)
      : state_(std::make_shared<State>(UserDefaultReference<Value>(std::move(key), std::move(defaultValue),
                                                                   std::move(userDefaults)))) {
    state_->onChange = std::move(onChange);
    if (state_->onChange) state_->onChange(state_->oldValue, state_->oldValue);
    std::weak_ptr<State> weak = state_;
    handlerID_ = state_->reference.userDefaults()->addChangeHandler([weak] {
      if (auto state = weak.lock()) state->storeDidChange();
    });
  }

  /// The same with a callback that takes only the new value.
  UserDefaultObserver(std::string key, Value defaultValue, std::shared_ptr<UserDefaults> userDefaults,
                      NewValueHandler onChange)
      : UserDefaultObserver(std::move(key), std::move(defaultValue), std::move(userDefaults),
                            onChange ? ChangeHandler([onChange](const Value& newValue, const Value&) { onChange(newValue); })
                                     : ChangeHandler()) {}

  UserDefaultObserver(const UserDefaultObserver&) = delete;
  UserDefaultObserver& operator=(const UserDefaultObserver&) = delete;
  ~UserDefaultObserver() { state_->reference.userDefaults()->removeChangeHandler(handlerID_); }

  const UserDefaultReference<Value>& reference() const { return state_->reference; }
  /// The last value seen.
  Value oldValue() const {
    std::lock_guard lock(state_->mutex);
    return state_->oldValue;
  }

 private:
  struct State {
    explicit State(UserDefaultReference<Value> r) : reference(std::move(r)), oldValue(reference.currentValue()) {}

    void storeDidChange() {
      Value newValue = reference.currentValue();
      std::optional<Value> previous;
      {
        std::lock_guard lock(mutex);
        if (newValue == oldValue) return;
        previous.emplace(std::exchange(oldValue, newValue));
      }
      if (onChange) onChange(newValue, *previous);
    }

    UserDefaultReference<Value> reference;
    ChangeHandler onChange;  // set before registration, then only read
    mutable std::mutex mutex;
    Value oldValue;  // guarded by mutex once registered
  };

  std::shared_ptr<State> state_;
  UserDefaults::ChangeHandlerID handlerID_ = 0;
};

}  // namespace tav
