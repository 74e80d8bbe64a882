#include "tav/contracts/in_memory_user_notification_center.hpp"

#include <algorithm>
#include <atomic>

namespace tav {

InMemoryUserNotificationCenter::InMemoryUserNotificationCenter(NotificationAuthorizationStatus status, bool grants,
                                                               ErrorText error)
    : status_(status), grants_(grants), grantError_(std::move(error)) {}

std::shared_ptr<UserNotificationCenterDelegate> InMemoryUserNotificationCenter::currentDelegate() const {
  std::lock_guard lock(mutex_);
  return delegate_.lock();
}

void InMemoryUserNotificationCenter::setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

void InMemoryUserNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
  NotificationAuthorizationStatus status;
  {
    std::lock_guard lock(mutex_);
    status = status_;
  }
  completion(status);
}

void InMemoryUserNotificationCenter::requestAuthorization(unsigned options,
                                                          std::function<void(bool, ErrorText)> completion) {
  {
    std::lock_guard lock(mutex_);
    authorizationRequests_.push_back(options);
    status_ = grants_ ? NotificationAuthorizationStatus::authorized : NotificationAuthorizationStatus::denied;
  }
  completion(grants_, grantError_);
}

void InMemoryUserNotificationCenter::setNotificationCategories(std::vector<NotificationCategory> categories) {
  std::lock_guard lock(mutex_);
  categories_ = std::move(categories);
}

void InMemoryUserNotificationCenter::add(NotificationRequest request, std::function<void(ErrorText)> completion) {
  ErrorText error;
  DeliveredNotification notification{std::move(request), std::chrono::system_clock::now()};
  {
    std::lock_guard lock(mutex_);
    error = addError_;
    if (!error) {
      // A request under an identifier already shown takes its place.
      std::erase_if(delivered_, [&](const DeliveredNotification& shown) {
        return shown.request.identifier == notification.request.identifier;
      });
      delivered_.push_back(notification);
    }
  }
  if (!error) {
    if (auto delegate = currentDelegate()) {
      delegate->willPresent(notification, [this](unsigned options) {
        std::lock_guard lock(mutex_);
        lastPresentationOptions_ = options;
      });
    }
  }
  if (completion) completion(error);
}

void InMemoryUserNotificationCenter::removeDeliveredNotifications(const std::vector<std::string>& identifiers) {
  std::lock_guard lock(mutex_);
  std::erase_if(delivered_, [&](const DeliveredNotification& shown) {
    return std::find(identifiers.begin(), identifiers.end(), shown.request.identifier) != identifiers.end();
  });
}

void InMemoryUserNotificationCenter::removeAllDeliveredNotifications() {
  std::lock_guard lock(mutex_);
  delivered_.clear();
}

std::vector<DeliveredNotification> InMemoryUserNotificationCenter::deliveredNotifications() const {
  std::lock_guard lock(mutex_);
  return delivered_;
}

std::vector<NotificationCategory> InMemoryUserNotificationCenter::categories() const {
  std::lock_guard lock(mutex_);
  return categories_;
}

std::vector<unsigned> InMemoryUserNotificationCenter::authorizationRequests() const {
  std::lock_guard lock(mutex_);
  return authorizationRequests_;
}

std::optional<unsigned> InMemoryUserNotificationCenter::lastPresentationOptions() const {
  std::lock_guard lock(mutex_);
  return lastPresentationOptions_;
}

void InMemoryUserNotificationCenter::setAddError(ErrorText error) {
  std::lock_guard lock(mutex_);
  addError_ = std::move(error);
}

bool InMemoryUserNotificationCenter::respond(const std::string& identifier, const std::string& actionIdentifier) {
  std::optional<DeliveredNotification> notification;
  {
    std::lock_guard lock(mutex_);
    for (const auto& shown : delivered_) {
      if (shown.request.identifier == identifier) notification = shown;
    }
  }
  auto delegate = currentDelegate();
  if (!notification || !delegate) return false;
  // The delegate may keep the completion and call it later, after this call has returned.
  auto completed = std::make_shared<std::atomic<bool>>(false);
  delegate->didReceive(NotificationResponse{*notification, actionIdentifier}, [completed] { *completed = true; });
  return completed->load();
}

}  // namespace tav
