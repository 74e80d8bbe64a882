#include "tav/foundation/user_notification_manager.hpp"

#include <charconv>

#include "tav/contracts/logger.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/foundation/printf_text.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("UserNotificationManager");
  return instance;
}

std::string describe(const NotificationFormatArgument& argument) {
  if (const auto* text = std::get_if<std::string>(&argument)) return *text;
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return std::to_string(*integer);
  return printfText("%g", std::get<double>(argument));
}

/// One placeholder filled, or absent when it cannot be (no such argument, or the wrong kind).
std::optional<std::string> filled(char conversion, const std::string& flags, const NotificationFormatArgument& argument) {
  switch (conversion) {
    case '@':
    case 's':
      return describe(argument);
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X': {
      std::int64_t value = 0;
      if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
        value = *integer;
      } else if (const auto* number = std::get_if<double>(&argument)) {
        value = static_cast<std::int64_t>(*number);
      } else {
        return std::nullopt;
      }
      return printfText(("%" + flags + "ll" + conversion).c_str(), static_cast<long long>(value));
    }
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G': {
      double value = 0;
      if (const auto* number = std::get_if<double>(&argument)) {
        value = *number;
      } else if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
        value = static_cast<double>(*integer);
      } else {
        return std::nullopt;
      }
      return printfText(("%" + flags + conversion).c_str(), value);
    }
    default:
      return std::nullopt;
  }
}

}  // namespace

std::string formattedWithArguments(std::string_view format, const std::vector<NotificationFormatArgument>& arguments) {
  std::string out;
  std::size_t nextArgument = 0;
  std::size_t at = 0;
  while (at < format.size()) {
    const std::size_t percent = format.find('%', at);
    if (percent == std::string_view::npos) {
      out.append(format.substr(at));
      break;
    }
    out.append(format.substr(at, percent - at));
    if (percent + 1 < format.size() && format[percent + 1] == '%') {
      out += '%';
      at = percent + 2;
      continue;
    }
    // %[position$][flags][width][.precision][length]conversion
    std::size_t cursor = percent + 1;
    std::optional<std::size_t> position;
    std::size_t digitsEnd = cursor;
    while (digitsEnd < format.size() && format[digitsEnd] >= '0' && format[digitsEnd] <= '9') ++digitsEnd;
    if (digitsEnd > cursor && digitsEnd < format.size() && format[digitsEnd] == '$') {
      std::size_t value = 0;
      std::from_chars(format.data() + cursor, format.data() + digitsEnd, value);
      if (value > 0) position = value - 1;
      cursor = digitsEnd + 1;
    }
    std::string flags;
    while (cursor < format.size() && std::string_view("-+ #0123456789.").find(format[cursor]) != std::string_view::npos) {
      flags += format[cursor++];
    }
    while (cursor < format.size() && std::string_view("hlqLzjt").find(format[cursor]) != std::string_view::npos) {
      ++cursor;  // lengths are ours to choose from the argument's own type
    }
    if (cursor >= format.size()) {
      out.append(format.substr(percent));
      break;
    }
    const char conversion = format[cursor];
    const std::size_t index = position.value_or(nextArgument);
    std::optional<std::string> text;
    if (index < arguments.size()) text = filled(conversion, flags, arguments[index]);
    if (text) {
      out += *text;
      if (!position) ++nextArgument;
    } else {
      out.append(format.substr(percent, cursor + 1 - percent));
    }
    at = cursor + 1;
  }
  return out;
}

std::string UserNotificationManager::NotificationString::resolved(const Localizer& bundle) const {
  if (const auto* plain = std::get_if<Plain>(&value_)) return plain->text;
  const auto& localized = std::get<Localized>(value_);
  std::optional<std::string_view> fallback;
  if (localized.value) fallback = *localized.value;
  std::string text = bundle.localized(localized.key, {}, fallback);
  if (!localized.arguments) return text;
  return formattedWithArguments(text, *localized.arguments);
}

UserNotificationManager& UserNotificationManager::shared() {
  static const std::shared_ptr<UserNotificationManager> instance = create(defaultUserNotificationCenter());
  return *instance;
}

std::shared_ptr<UserNotificationManager> UserNotificationManager::create(std::shared_ptr<UserNotificationCenter> center,
                                                                         const Localizer& bundle) {
  std::shared_ptr<UserNotificationManager> manager(new UserNotificationManager(std::move(center), bundle));
  manager->center_->setDelegate(manager->weak_from_this());
  return manager;
}

UserNotificationManager::UserNotificationManager(std::shared_ptr<UserNotificationCenter> center, const Localizer& bundle)
    : center_(std::move(center)), bundle_(bundle) {}

std::shared_ptr<UserNotificationDelegate> UserNotificationManager::delegate() const {
  std::lock_guard lock(delegateMutex_);
  return delegate_.lock();
}

void UserNotificationManager::setDelegate(std::weak_ptr<UserNotificationDelegate> delegate) {
  {
    std::lock_guard lock(delegateMutex_);
    delegate_ = delegate;
  }
  auto alive = delegate.lock();
  center_->setNotificationCategories(alive ? alive->notificationCategories() : std::vector<NotificationCategory>{});
}

void UserNotificationManager::present(Presentation presentation) {
  auto shared = std::make_shared<const Presentation>(std::move(presentation));
  auto self = shared_from_this();
  center_->getNotificationSettings([self, shared](NotificationAuthorizationStatus status) {
    switch (status) {
      case NotificationAuthorizationStatus::authorized:
      case NotificationAuthorizationStatus::provisional:
        self->deliver(*shared);
        return;
      case NotificationAuthorizationStatus::notDetermined:
        self->center_->requestAuthorization(alertOption | badgeOption, [self, shared](bool granted,
                                                                                       UserNotificationCenter::ErrorText error) {
          logger().info("Granted: {}, error: {}", granted ? "y" : "n", error ? *error : std::string("nil"));
          if (granted) self->deliver(*shared);
        });
        return;
      default:
        return;
    }
  });
}

void UserNotificationManager::present(std::optional<std::string> identifier, std::optional<NotificationString> title,
                                      std::optional<NotificationString> subtitle, std::optional<NotificationString> body,
                                      std::optional<int> badge, std::optional<NotificationSound> sound,
                                      boost::json::object userInfo, std::string summaryArgument,
                                      int summaryArgumentCount, std::optional<std::string> categoryIdentifier,
                                      std::string threadIdentifier, std::optional<std::string> targetContentIdentifier,
                                      std::vector<Url> attachmentFiles) {
  present(Presentation{std::move(identifier), std::move(title), std::move(subtitle), std::move(body), badge,
                       std::move(sound), std::move(userInfo), std::move(summaryArgument), summaryArgumentCount,
                       std::move(categoryIdentifier), std::move(threadIdentifier), std::move(targetContentIdentifier),
                       std::move(attachmentFiles)});
}

void UserNotificationManager::deliver(const Presentation& p) {
  auto text = [this](const std::optional<NotificationString>& string) {
    return string ? string->resolved(bundle_) : std::string();
  };
  NotificationContent content;
  content.title = text(p.title);
  content.subtitle = text(p.subtitle);
  content.body = text(p.body);
  content.badge = p.badge;
  content.sound = p.sound;
  content.userInfo = p.userInfo;
  content.summaryArgument = p.summaryArgument;
  content.summaryArgumentCount = p.summaryArgumentCount;
  content.threadIdentifier = p.threadIdentifier;
  content.categoryIdentifier = p.categoryIdentifier.value_or("");
  content.targetContentIdentifier = p.targetContentIdentifier;
  for (const Url& file : p.attachmentFiles) {
    content.attachments.push_back(NotificationAttachment{Uuid::random().toString(), file});
  }
  std::string identifier;
  if (p.identifier) {
    identifier = *p.identifier;
    center_->removeDeliveredNotifications({identifier});
    center_->removePendingNotificationRequests({identifier});
  } else {
    identifier = Uuid::random().toString();
  }
  center_->add(NotificationRequest{std::move(identifier), std::move(content)},
               [](UserNotificationCenter::ErrorText error) {
                 if (error) logger().error("Error presenting notification: {}", *error);
               });
}

void UserNotificationManager::removeNotifications(const std::vector<std::string>& identifiers) {
  center_->removeDeliveredNotifications(identifiers);
  center_->removePendingNotificationRequests(identifiers);
}

void UserNotificationManager::removeAll() {
  center_->removeAllDeliveredNotifications();
  center_->removeAllPendingNotificationRequests();
}

void UserNotificationManager::willPresent(const DeliveredNotification& notification,
                                          std::function<void(unsigned)> completion) {
  logger().debug("willPresent (while app frontmost): {} \"{}\"", notification.request.identifier,
                 notification.request.content.title);
  completion(presentBanner);
}

void UserNotificationManager::didReceive(const NotificationResponse& response, std::function<void()> completion) {
  if (auto host = delegate()) {
    host->handleNotificationResponse(response, std::move(completion));
  } else {
    completion();
  }
}

}  // namespace tav
