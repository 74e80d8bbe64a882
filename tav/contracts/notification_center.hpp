// In-process notifications: a poster names an event, observers that registered for that name hear it.
//
// Services tell the host and each other about changes they do not own the reaction to (a list of
// variables changed, a recording finished) by posting here. Observing is scoped: an observer lives as
// long as the token it was given.
#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tav {

/// What a notification carries besides its name, by key ("id" -> a std::string, ...).
using NotificationUserInfo = std::map<std::string, std::any, std::less<>>;

/// One posted event. `sender` identifies the posting object for observers that filter by it; it is
/// never dereferenced.
struct Notification {
  std::string name;
  const void* sender = nullptr;
  NotificationUserInfo userInfo;

  /// The value under `key` when it is there and holds a T; nullptr otherwise.
  template <class T>
  const T* info(std::string_view key) const {
    auto it = userInfo.find(key);
    return it == userInfo.end() ? nullptr : std::any_cast<T>(&it->second);
  }
};

class NotificationCenter;

/// Keeps one observation alive. Destroying (or resetting) the token unregisters it; once that returns,
/// the handler is not called again, except that a call already running on the destroying thread
/// itself (a handler that drops its own token) finishes. Move-only.
class NotificationObservation {
 public:
  NotificationObservation() = default;
  NotificationObservation(NotificationObservation&&) noexcept = default;
  NotificationObservation& operator=(NotificationObservation&& other) noexcept;
  NotificationObservation(const NotificationObservation&) = delete;
  NotificationObservation& operator=(const NotificationObservation&) = delete;
  ~NotificationObservation() { reset(); }

  /// Unregisters now; does nothing for an empty token.
  void reset();
  bool isActive() const { return static_cast<bool>(entry_); }

  /// Shared between the token and the center's registry; public only for the center.
  struct Entry;

 private:
  friend class NotificationCenter;
  explicit NotificationObservation(std::shared_ptr<Entry> entry) : entry_(std::move(entry)) {}
  std::shared_ptr<Entry> entry_;
};

/// Thread-safe: post and observe from any thread. Handlers run on the posting thread, synchronously,
/// in the order they registered, with no lock of the center held (a handler may post or observe).
class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;

  NotificationCenter() = default;
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  ~NotificationCenter();

  /// The process-wide center.
  static NotificationCenter& defaultCenter();

  /// Calls `handler` for every notification named `name`; with `sender` set, only for those posted
  /// by that sender. Hold the returned token for as long as the handler should be called.
  [[nodiscard]] NotificationObservation observe(std::string name, Handler handler, const void* sender = nullptr);

  void post(const Notification& notification);
  void post(std::string name, const void* sender = nullptr, NotificationUserInfo userInfo = {});

  /// Number of live observations of `name`; for diagnostics and tests.
  std::size_t observerCount(std::string_view name) const;

 private:
  friend class NotificationObservation;
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<NotificationObservation::Entry>> entries_;  // guarded by mutex_
};

}  // namespace tav
