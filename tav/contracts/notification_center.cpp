#include "tav/contracts/notification_center.hpp"

#include <algorithm>
#include <utility>

namespace tav {

// Each entry carries its own recursive mutex: a call holds it while the handler runs, and
// unregistering takes it to clear `active`, so after reset() returns no call is still running on
// another thread. Recursive, so a handler may drop its own token.
struct NotificationObservation::Entry {
  NotificationCenter* center = nullptr;  // guarded by callMutex; null once the center is gone
  std::string name;
  const void* sender = nullptr;
  NotificationCenter::Handler handler;
  std::recursive_mutex callMutex;
  bool active = true;  // guarded by callMutex
};

NotificationObservation& NotificationObservation::operator=(NotificationObservation&& other) noexcept {
  if (this != &other) {
    reset();
    entry_ = std::move(other.entry_);
  }
  return *this;
}

void NotificationObservation::reset() {
  if (!entry_) return;
  std::shared_ptr<Entry> entry = std::move(entry_);
  entry_.reset();
  NotificationCenter* center = nullptr;
  {
    std::lock_guard lock(entry->callMutex);
    entry->active = false;
    center = entry->center;
    entry->center = nullptr;
  }
  if (center != nullptr) {
    std::lock_guard lock(center->mutex_);
    auto& entries = center->entries_;
    entries.erase(std::remove(entries.begin(), entries.end(), entry), entries.end());
  }
}

NotificationCenter::~NotificationCenter() {
  std::lock_guard lock(mutex_);
  for (auto& entry : entries_) {
    std::lock_guard entryLock(entry->callMutex);
    entry->center = nullptr;
  }
}

NotificationCenter& NotificationCenter::defaultCenter() {
  static NotificationCenter center;
  return center;
}

NotificationObservation NotificationCenter::observe(std::string name, Handler handler, const void* sender) {
  auto entry = std::make_shared<NotificationObservation::Entry>();
  entry->center = this;
  entry->name = std::move(name);
  entry->sender = sender;
  entry->handler = std::move(handler);
  std::lock_guard lock(mutex_);
  entries_.push_back(entry);
  return NotificationObservation(std::move(entry));
}

void NotificationCenter::post(const Notification& notification) {
  std::vector<std::shared_ptr<NotificationObservation::Entry>> matching;
  {
    std::lock_guard lock(mutex_);
    for (const auto& entry : entries_) {
      if (entry->name == notification.name && (entry->sender == nullptr || entry->sender == notification.sender)) {
        matching.push_back(entry);
      }
    }
  }
  for (const auto& entry : matching) {
    std::lock_guard lock(entry->callMutex);
    if (entry->active && entry->handler) entry->handler(notification);
  }
}

void NotificationCenter::post(std::string name, const void* sender, NotificationUserInfo userInfo) {
  post(Notification{std::move(name), sender, std::move(userInfo)});
}

std::size_t NotificationCenter::observerCount(std::string_view name) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(entries_.begin(), entries_.end(), [&](const auto& entry) { return entry->name == name; }));
}

}  // namespace tav
