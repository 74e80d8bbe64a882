// The desktop's user notifications: what the library asks of the system's notification service, and
// the records that pass between them.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/object.hpp>

#include "tav/contracts/url.hpp"

namespace tav {

enum class NotificationAuthorizationStatus { notDetermined = 0, denied = 1, authorized = 2, provisional = 3 };

/// Bits of what a notification may do, as asked for when requesting permission.
enum NotificationAuthorizationOption : unsigned { badgeOption = 1, soundOption = 2, alertOption = 4 };

/// Bits of how a notification shows while the application is in front.
enum NotificationPresentationOption : unsigned {
  presentBadge = 1,
  presentSound = 2,
  presentAlert = 4,
  presentList = 8,
  presentBanner = 16,
};

/// A button on a notification.
struct NotificationAction {
  std::string identifier;
  std::string title;
  friend bool operator==(const NotificationAction&, const NotificationAction&) = default;
};

/// The actions that notifications of one category offer.
struct NotificationCategory {
  std::string identifier;
  std::vector<NotificationAction> actions;
  friend bool operator==(const NotificationCategory&, const NotificationCategory&) = default;
};

/// A sound by its name in the sound theme; "default" is the service's own message sound.
struct NotificationSound {
  std::string name = "default";
  static NotificationSound defaultSound() { return {}; }
  friend bool operator==(const NotificationSound&, const NotificationSound&) = default;
};

/// A picture shown with a notification.
struct NotificationAttachment {
  std::string identifier;
  Url url;
  friend bool operator==(const NotificationAttachment&, const NotificationAttachment&) = default;
};

struct NotificationContent {
  std::string title;
  std::string subtitle;
  std::string body;
  std::optional<int> badge;
  std::optional<NotificationSound> sound;
  boost::json::object userInfo;
  std::string summaryArgument;
  int summaryArgumentCount = 0;
  std::string categoryIdentifier;
  std::string threadIdentifier;
  std::optional<std::string> targetContentIdentifier;
  std::vector<NotificationAttachment> attachments;
  friend bool operator==(const NotificationContent&, const NotificationContent&) = default;
};

/// A notification to show at once under `identifier`.
struct NotificationRequest {
  std::string identifier;
  NotificationContent content;
  friend bool operator==(const NotificationRequest&, const NotificationRequest&) = default;
};

/// A notification the service shows.
struct DeliveredNotification {
  NotificationRequest request;
  std::chrono::system_clock::time_point date;
};

/// The user's answer to a notification: the action chosen, or `defaultActionIdentifier` for a click on
/// the notification itself.
struct NotificationResponse {
  static constexpr const char* defaultActionIdentifier = "default";
  DeliveredNotification notification;
  std::string actionIdentifier;
};

/// Told what happens to the centre's notifications. Called on the centre's callback context, never
/// with a centre lock held; each completion must be called once.
class UserNotificationCenterDelegate {
 public:
  virtual ~UserNotificationCenterDelegate() = default;
  /// A notification arrives while the application is in front: answer how it shows (presentation bits).
  virtual void willPresent(const DeliveredNotification& notification, std::function<void(unsigned)> completion) = 0;
  /// The user acted on a notification.
  virtual void didReceive(const NotificationResponse& response, std::function<void()> completion) = 0;
};

/// The system's notification service. Every member returns at once and may be called from any thread;
/// completions run later on the centre's callback context (an in-memory centre may run them before
/// returning). A service that is absent or failing never blocks a caller: completions report it.
class UserNotificationCenter {
 public:
  using ErrorText = std::optional<std::string>;
  virtual ~UserNotificationCenter() = default;

  virtual void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) = 0;
  virtual void getNotificationSettings(std::function<void(NotificationAuthorizationStatus)> completion) = 0;
  /// Asks for permission with `options` (NotificationAuthorizationOption bits).
  virtual void requestAuthorization(unsigned options, std::function<void(bool granted, ErrorText error)> completion) = 0;
  /// Replaces the categories the application offers.
  virtual void setNotificationCategories(std::vector<NotificationCategory> categories) = 0;
  /// Shows `request`; the completion gets the error text when it cannot.
  virtual void add(NotificationRequest request, std::function<void(ErrorText error)> completion) = 0;
  virtual void removeDeliveredNotifications(const std::vector<std::string>& identifiers) = 0;
  virtual void removePendingNotificationRequests(const std::vector<std::string>& identifiers) = 0;
  virtual void removeAllDeliveredNotifications() = 0;
  virtual void removeAllPendingNotificationRequests() = 0;
};

/// The session's notification service over D-Bus, or an in-memory centre (with a log line saying why)
/// when there is no session bus. Defined in tavcommon_platform.
std::shared_ptr<UserNotificationCenter> defaultUserNotificationCenter();

}  // namespace tav
