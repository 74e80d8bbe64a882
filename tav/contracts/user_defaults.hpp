// The store of the user's persistent settings: one JSON value per key.
//
// Logic reads and writes settings through typed handles (CodableUserDefault, UserDefault) on a
// UserDefaults store. The host installs its store once at start (tavcommon_platform has a file-backed
// one); until then `standard()` is an in-memory store, so nothing is written behind the host's back.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_value.hpp"

namespace tav {

/// Thread-safe: every member may be called from any thread. Values are copied in and out, so a value
/// read stays valid whatever the store does next.
class UserDefaults {
 public:
  using ChangeHandler = std::function<void()>;
  using ChangeHandlerID = std::uint64_t;

  virtual ~UserDefaults() = default;

  /// The process-wide store: the one installed by setStandard, else an in-memory store.
  static std::shared_ptr<UserDefaults> standard();
  /// Installs the store that standard() returns from now on. Handles made before keep their store.
  static void setStandard(std::shared_ptr<UserDefaults> store);

  /// The value stored under `key`, absent when there is none.
  virtual std::optional<JsonValue> value(std::string_view key) const = 0;
  /// Stores `value` under `key` and then tells the change handlers.
  void set(std::string_view key, const JsonValue& value) {
    store(key, value);
    notifyChanged();
  }
  /// Removes the value under `key`, if any, and then tells the change handlers.
  void remove(std::string_view key) {
    erase(key);
    notifyChanged();
  }
  /// Makes sure what was stored is persistent; false when it could not be.
  virtual bool synchronize() = 0;

  /// Calls `handler` after every set or remove on this store, on the thread that made the change,
  /// with no lock of the store held. The handler learns only that something changed; it compares
  /// the keys it cares about itself.
  ChangeHandlerID addChangeHandler(ChangeHandler handler);
  void removeChangeHandler(ChangeHandlerID id);

 protected:
  virtual void store(std::string_view key, const JsonValue& value) = 0;
  virtual void erase(std::string_view key) = 0;

 private:
  void notifyChanged();

  mutable std::mutex handlersMutex_;
  std::map<ChangeHandlerID, std::shared_ptr<const ChangeHandler>> handlers_;  // guarded by handlersMutex_
  ChangeHandlerID nextHandlerID_ = 1;                                         // guarded by handlersMutex_
};

/// A store that lives as long as the process: the default store and the store of tests.
class InMemoryUserDefaults final : public UserDefaults {
 public:
  InMemoryUserDefaults() = default;
  /// Starts with the members of `contents`.
  explicit InMemoryUserDefaults(const JsonObject& contents);

  std::optional<JsonValue> value(std::string_view key) const override;
  /// Always true: there is nothing to persist.
  bool synchronize() override { return true; }

 protected:
  void store(std::string_view key, const JsonValue& value) override;
  void erase(std::string_view key) override;

 private:
  mutable std::mutex mutex_;
  JsonObject values_;  // guarded by mutex_
};

}  // namespace tav
