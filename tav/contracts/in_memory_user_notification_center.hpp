// A notification centre that keeps its notifications in memory: what a host gets without a session bus,
// and what tests drive by hand (permission answers, taps).
#pragma once

#include <map>
#include <mutex>

#include "tav/contracts/user_notification_center.hpp"

namespace tav {

/// Thread-safe. Completions and delegate calls run on the calling thread before the member returns,
/// never with the centre's lock held. A new notification is offered to the delegate's willPresent, as
/// if the application were in front.
class InMemoryUserNotificationCenter final : public UserNotificationCenter {
 public:
  /// `status` is what getNotificationSettings reports until requestAuthorization changes it; a request
  /// answers `grants` (and `error`) and moves the status to authorized or denied.
  explicit InMemoryUserNotificationCenter(
      NotificationAuthorizationStatus status = NotificationAuthorizationStatus::authorized, bool grants = true,
      ErrorText error = std::nullopt);

  void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) override;
  void getNotificationSettings(std::function<void(NotificationAuthorizationStatus)> completion) override;
  void requestAuthorization(unsigned options, std::function<void(bool, ErrorText)> completion) override;
  void setNotificationCategories(std::vector<NotificationCategory> categories) override;
  void add(NotificationRequest request, std::function<void(ErrorText)> completion) override;
  void removeDeliveredNotifications(const std::vector<std::string>& identifiers) override;
  void removePendingNotificationRequests(const std::vector<std::string>&) override {}
  void removeAllDeliveredNotifications() override;
  void removeAllPendingNotificationRequests() override {}

  /// What is shown now, oldest first.
  std::vector<DeliveredNotification> deliveredNotifications() const;
  std::vector<NotificationCategory> categories() const;
  /// The options of each requestAuthorization call, in order.
  std::vector<unsigned> authorizationRequests() const;
  /// The presentation options the delegate answered for the notification most recently added.
  std::optional<unsigned> lastPresentationOptions() const;
  /// Makes every later add fail with `error` (none: succeed again).
  void setAddError(ErrorText error);
  /// The user acts on the shown notification `identifier`: the delegate receives the response. True when
  /// there was such a notification and a delegate, and the delegate called its completion.
  bool respond(const std::string& identifier, const std::string& actionIdentifier);

 private:
  std::shared_ptr<UserNotificationCenterDelegate> currentDelegate() const;

  mutable std::mutex mutex_;
  std::weak_ptr<UserNotificationCenterDelegate> delegate_;  // guarded by mutex_
  NotificationAuthorizationStatus status_;                  // guarded by mutex_
  bool grants_;
  ErrorText grantError_;
  ErrorText addError_;                                      // guarded by mutex_
  std::vector<DeliveredNotification> delivered_;            // guarded by mutex_
  std::vector<NotificationCategory> categories_;            // guarded by mutex_
  std::vector<unsigned> authorizationRequests_;             // guarded by mutex_
  std::optional<unsigned> lastPresentationOptions_;         // guarded by mutex_
};

}  // namespace tav
