// The library's single door to the desktop's user notifications: it asks for permission when needed,
// replaces an earlier notification that has the same identifier, and passes the user's taps back to
// the host.
//
//   auto& notifications = tav::UserNotificationManager::shared();
//   notifications.setDelegate(myDelegate);          // offers its categories, receives the taps
//   notifications.present({.identifier = "export-done",
//                          .title = NotificationString::string("Export finished"),
//                          .body = NotificationString::localized("EXPORT_DONE_BODY", "%@ is ready", "", {{name}})});
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tav/contracts/localizer.hpp"
#include "tav/contracts/user_notification_center.hpp"

namespace tav {

/// The host's side: the categories it offers and what it does when the user acts on a notification.
/// Called on the notification centre's callback context.
class UserNotificationDelegate {
 public:
  virtual ~UserNotificationDelegate() = default;
  virtual std::vector<NotificationCategory> notificationCategories() = 0;
  /// Must call `completion` once the response is handled.
  virtual void handleNotificationResponse(const NotificationResponse& response, std::function<void()> completion) = 0;
};

/// A format argument of a localised notification text: "%@" and "%s" take any, "%d" and its kin an
/// integer, "%f", "%e", "%g" a number.
using NotificationFormatArgument = std::variant<std::string, std::int64_t, double>;

/// Fills the printf-style placeholders of `format` ("%@", "%d", "%.1f", positional "%2$@", "%%") with
/// `arguments`. A placeholder without an argument, or of a kind it does not know, stays as written.
std::string formattedWithArguments(std::string_view format, const std::vector<NotificationFormatArgument>& arguments);

/// Any thread may call any member. present() returns at once; the rest of its work runs on the centre's
/// callback context. The shared instance lives as long as the process; instances made with create()
/// as long as the host holds them.
class UserNotificationManager final : public UserNotificationCenterDelegate,
                                      public std::enable_shared_from_this<UserNotificationManager> {
 public:
  /// A text that may have to be localised.
  class NotificationString {
   public:
    struct Plain {
      std::string text;
    };
    struct Localized {
      std::string key;
      std::optional<std::string> value;
      std::string comment;
      std::optional<std::vector<NotificationFormatArgument>> arguments;
    };
    /// Shown unchanged.
    static NotificationString string(std::string text) { return NotificationString(Plain{std::move(text)}); }
    /// The main bundle's text for `key` (else `value`, else the key); with `arguments`, that text is a
    /// format for them. Without arguments it is used as it comes, so a "%" in it stays.
    static NotificationString localized(std::string key, std::optional<std::string> value = std::nullopt,
                                        std::string comment = {},
                                        std::optional<std::vector<NotificationFormatArgument>> arguments = std::nullopt) {
      return NotificationString(Localized{std::move(key), std::move(value), std::move(comment), std::move(arguments)});
    }
    const std::variant<Plain, Localized>& value() const { return value_; }
    /// The text, resolved through `bundle`.
    std::string resolved(const Localizer& bundle) const;

   private:
    explicit NotificationString(std::variant<Plain, Localized> value) : value_(std::move(value)) {}
    std::variant<Plain, Localized> value_;
  };

  /// The arguments of present(), in their order; all but the identifier and texts have neutral defaults.
  struct Presentation {
    std::optional<std::string> identifier{};
    std::optional<NotificationString> title{};
    std::optional<NotificationString> subtitle{};
    std::optional<NotificationString> body{};
    std::optional<int> badge{};
    std::optional<NotificationSound> sound{};
    boost::json::object userInfo{};
    std::string summaryArgument{};
    int summaryArgumentCount = 0;
    std::optional<std::string> categoryIdentifier{};
    std::string threadIdentifier{};
    std::optional<std::string> targetContentIdentifier{};
    std::vector<Url> attachmentFiles{};
  };

  /// The process's manager over defaultUserNotificationCenter(), made on first use.
  static UserNotificationManager& shared();
  /// A manager over `center`, which it becomes the delegate of. Texts are localised through `bundle`,
  /// which must outlive the manager.
  static std::shared_ptr<UserNotificationManager> create(std::shared_ptr<UserNotificationCenter> center,
                                                         const Localizer& bundle = Localizer::mainBundle());

  std::shared_ptr<UserNotificationDelegate> delegate() const;
  /// Holds `delegate` weakly and hands the centre its categories (none when the delegate is empty).
  void setDelegate(std::weak_ptr<UserNotificationDelegate> delegate);

  /// Shows a notification once permission allows: asked for (alert and badge) while not determined;
  /// dropped when denied. A given `identifier` replaces the notification shown under it; without one,
  /// each call makes a new notification.
  void present(Presentation presentation);
  void present(std::optional<std::string> identifier, std::optional<NotificationString> title,
               std::optional<NotificationString> subtitle, std::optional<NotificationString> body,
               std::optional<int> badge, std::optional<NotificationSound> sound, boost::json::object userInfo,
               std::string summaryArgument, int summaryArgumentCount, std::optional<std::string> categoryIdentifier,
               std::string threadIdentifier, std::optional<std::string> targetContentIdentifier,
               std::vector<Url> attachmentFiles);

  /// Removes the shown notifications and pending requests with these identifiers.
  void removeNotifications(const std::vector<std::string>& identifiers);
  /// Removes every shown notification and pending request.
  void removeAll();

  // As the centre's delegate.
  void willPresent(const DeliveredNotification& notification, std::function<void(unsigned)> completion) override;
  void didReceive(const NotificationResponse& response, std::function<void()> completion) override;

 private:
  UserNotificationManager(std::shared_ptr<UserNotificationCenter> center, const Localizer& bundle);
  void deliver(const Presentation& presentation);

  std::shared_ptr<UserNotificationCenter> center_;
  const Localizer& bundle_;
  mutable std::mutex delegateMutex_;
  std::weak_ptr<UserNotificationDelegate> delegate_;  // guarded by delegateMutex_
};

}  // namespace tav
