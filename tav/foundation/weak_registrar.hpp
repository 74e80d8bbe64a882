// A registry of weakly held objects that tells observers when its membership changes.
//
// Services keep their delegates and sinks here: the registrar never keeps an object alive and never
// hands out one that has died. Notifications and callbacks run later, on one serial queue shared by
// every registrar, in the order of the operations that caused them.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "tav/contracts/notification_center.hpp"
#include "tav/foundation/serial_queue.hpp"

namespace tav {

/// The queue all registrars notify on ("com.morvane.tav.WeakRegistrar.notify"), made on first use.
SerialQueue& weakRegistrarNotifyQueue();

/// What a registrar offers: the live objects, and registering and deregistering one.
template <class Object>
class Registrar {
 public:
  virtual ~Registrar() = default;
  virtual std::vector<std::shared_ptr<Object>> registered() const = 0;
  virtual void register_(const std::shared_ptr<Object>& object) = 0;
  virtual void deregister(const std::shared_ptr<Object>& object) = 0;
};

/// Holds objects by std::weak_ptr. Every member may be called from any thread.
///
/// register_ and deregister change the set under the registrar's lock and return; then, on the shared
/// notify queue, register_ calls onRegisterRegistered with the object (held strongly until then, so
/// it arrives even if its owner let go meanwhile), and both post
/// registeredObjectsDidChangeNotificationName to the default NotificationCenter with the registrar as
/// sender, then call onRegisteredChanged. An object that dies leaves the set silently.
///
/// The destructor waits for a callback of this registrar that is running on the notify queue; callbacks
/// still pending for a destroyed registrar are skipped.
template <class Object>
class WeakRegistrar final : public Registrar<Object> {
 public:
  static constexpr std::string_view registeredObjectsDidChangeNotificationName =
      "Tavo.Mac.App.WeakRegistrar.RegisteredObjectsDidChangeNotification.Name";

  using RegisteredChangedHandler = std::function<void(WeakRegistrar&)>;
  using RegisterRegisteredHandler = std::function<void(const std::shared_ptr<Object>&)>;

  WeakRegistrar() : shared_(std::make_shared<Shared>()) { shared_->owner = this; }
  ~WeakRegistrar() override {
    std::lock_guard guard(shared_->mutex);
    shared_->owner = nullptr;
  }
  WeakRegistrar(const WeakRegistrar&) = delete;
  WeakRegistrar& operator=(const WeakRegistrar&) = delete;

  /// Called on the notify queue after each change is announced.
  void setOnRegisteredChanged(RegisteredChangedHandler handler) {
    std::lock_guard guard(shared_->mutex);
    shared_->onRegisteredChanged = std::move(handler);
  }
  /// Called on the notify queue with each object registered, before the change is announced.
  void setOnRegisterRegistered(RegisterRegisteredHandler handler) {
    std::lock_guard guard(shared_->mutex);
    shared_->onRegisterRegistered = std::move(handler);
  }

  /// The objects still alive, in no defined order.
  std::vector<std::shared_ptr<Object>> registered() const override {
    std::lock_guard guard(registererLock_);
    return liveObjects();
  }

  /// True while at least one registered object is alive.
  bool hasAnyRegistration() const {
    std::lock_guard guard(registererLock_);
    return std::any_of(registererSet_.begin(), registererSet_.end(),
                       [](const std::weak_ptr<Object>& o) { return !o.expired(); });
  }

  /// Adds `object` (once: registering it again changes nothing but notifies again).
  void register_(const std::shared_ptr<Object>& object) override {
    {
      std::lock_guard guard(registererLock_);
      pruneDead();
      if (indexOf(object) == registererSet_.size()) registererSet_.push_back(object);
    }
    weakRegistrarNotifyQueue().async([shared = shared_, object] {
      std::lock_guard guard(shared->mutex);
      if (shared->owner == nullptr) return;
      if (shared->onRegisterRegistered) shared->onRegisterRegistered(object);
      shared->notifyObservers();
    });
  }

  /// Removes `object` if it is registered, and announces the change either way.
  void deregister(const std::shared_ptr<Object>& object) override {
    {
      std::lock_guard guard(registererLock_);
      std::size_t index = indexOf(object);
      if (index < registererSet_.size()) registererSet_.erase(registererSet_.begin() + static_cast<std::ptrdiff_t>(index));
      pruneDead();
    }
    weakRegistrarNotifyQueue().async([shared = shared_] {
      std::lock_guard guard(shared->mutex);
      if (shared->owner == nullptr) return;
      shared->notifyObservers();
    });
  }

  /// Calls `body` on a snapshot of the live objects with the lock held throughout, so `body` must not
  /// use this registrar. The first exception ends the walk and passes to the caller; the lock is
  /// released either way.
  template <class Body>
  void forEach(Body&& body) {
    std::lock_guard guard(registererLock_);
    for (const std::shared_ptr<Object>& object : liveObjects()) body(object);
  }

 private:
  struct Shared {
    // Held while a callback of this registrar runs; recursive so that a callback may destroy it.
    std::recursive_mutex mutex;
    WeakRegistrar* owner = nullptr;
    RegisteredChangedHandler onRegisteredChanged;
    RegisterRegisteredHandler onRegisterRegistered;

    void notifyObservers() {
      NotificationCenter::defaultCenter().post(std::string(registeredObjectsDidChangeNotificationName), owner);
      if (onRegisteredChanged && owner != nullptr) onRegisteredChanged(*owner);
    }
  };

  std::vector<std::shared_ptr<Object>> liveObjects() const {
    std::vector<std::shared_ptr<Object>> live;
    live.reserve(registererSet_.size());
    for (const std::weak_ptr<Object>& weak : registererSet_) {
      if (std::shared_ptr<Object> strong = weak.lock()) live.push_back(std::move(strong));
    }
    return live;
  }
  std::size_t indexOf(const std::shared_ptr<Object>& object) const {
    std::size_t i = 0;
    for (; i < registererSet_.size(); ++i) {
      const std::weak_ptr<Object>& weak = registererSet_[i];
      if (!weak.owner_before(object) && !object.owner_before(weak)) break;
    }
    return i;
  }
  void pruneDead() {
    std::erase_if(registererSet_, [](const std::weak_ptr<Object>& o) { return o.expired(); });
  }

  mutable std::mutex registererLock_;
  std::vector<std::weak_ptr<Object>> registererSet_;  // guarded by registererLock_
  std::shared_ptr<Shared> shared_;
};

}  // namespace tav
