// The freedesktop notification service (org.freedesktop.Notifications) on a D-Bus session bus, as a
// UserNotificationCenter.
//
// Permission is the service answering: requestAuthorization asks GetServerInformation, and grants when
// the service replies (the desktop's own settings decide what it then shows). A request whose
// identifier is shown already replaces it in place (Notify's replaces_id); a removal immediately
// followed by a request of the same identifier is such a replacement, not a close and a new one. The
// category's actions become the notification's actions, beside "default" for a click on the
// notification itself; ActionInvoked signals come back as responses to the delegate. The first
// attachment is the notification's picture ("image-path"); a sound is a "sound-name" hint, no sound
// is "suppress-sound". Badges have no counterpart and are ignored.
#pragma once

#include <memory>
#include <string>

#include "tav/contracts/user_notification_center.hpp"
#include "tav/platform/sdbus_thread.hpp"

namespace tav {

/// Every member returns at once: bus traffic runs on the bus thread, and completions and delegate calls
/// on a serial callback queue ("com.morvane.UserNotificationManager.callbacks"), so neither a slow
/// service nor a slow host holds up the other. Calls time out after 5 seconds.
class SdBusUserNotificationCenter final : public UserNotificationCenter {
 public:
  /// Connects to the bus at `address` (the session bus when empty). Throws std::system_error when there
  /// is no bus to connect to. `applicationName` is the app_name of every notification.
  static std::shared_ptr<SdBusUserNotificationCenter> connect(const std::string& address = {},
                                                              std::string applicationName = "Tavo Studio");
  ~SdBusUserNotificationCenter() override;

  void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) override;
  void getNotificationSettings(std::function<void(NotificationAuthorizationStatus)> completion) override;
  void requestAuthorization(unsigned options, std::function<void(bool, ErrorText)> completion) override;
  void setNotificationCategories(std::vector<NotificationCategory> categories) override;
  void add(NotificationRequest request, std::function<void(ErrorText)> completion) override;
  void removeDeliveredNotifications(const std::vector<std::string>& identifiers) override;
  /// Requests show at once, so nothing is ever pending: these do nothing.
  void removePendingNotificationRequests(const std::vector<std::string>&) override {}
  void removeAllDeliveredNotifications() override;
  void removeAllPendingNotificationRequests() override {}

 private:
  struct State;
  SdBusUserNotificationCenter(SdBusHandle bus, std::string applicationName);

  // Tasks on the bus thread hold the state; the callback queue lives in it, so a completion still
  // queued when the centre goes runs against live state.
  std::shared_ptr<State> state_;
  std::shared_ptr<SdBusThread> thread_;
};

}  // namespace tav
