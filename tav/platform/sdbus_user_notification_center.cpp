#include "tav/platform/sdbus_user_notification_center.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <system_error>

#include "tav/contracts/in_memory_user_notification_center.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/foundation/serial_queue.hpp"

namespace tav {
namespace {

constexpr const char* kService = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr const char* kInterface = "org.freedesktop.Notifications";
constexpr std::uint64_t kCallTimeout = 5'000'000;  // microseconds

const Logger& logger() {
  static const Logger instance("SdBusUserNotificationCenter");
  return instance;
}

struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessageHandle = std::unique_ptr<sd_bus_message, MessageUnref>;
struct SlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using SlotHandle = std::unique_ptr<sd_bus_slot, SlotUnref>;

std::string errorText(int result) { return std::generic_category().message(-result); }

using ErrorText = UserNotificationCenter::ErrorText;

/// Called with the reply, or with the error of a call that failed (the reply is then an error message).
using ReplyHandler = std::function<void(sd_bus_message* reply, std::optional<std::string> error)>;

/// Sends `message` and calls `handler` on the bus thread with the answer. The handler's state is freed
/// with the call's slot, also when the bus closes before an answer came.
int callAsync(sd_bus* bus, sd_bus_message* message, ReplyHandler handler) {
  auto context = std::make_unique<ReplyHandler>(std::move(handler));
  sd_bus_slot* slot = nullptr;
  const int result = sd_bus_call_async(
      bus, &slot, message,
      [](sd_bus_message* reply, void* userdata, sd_bus_error*) -> int {
        const sd_bus_error* error = sd_bus_message_get_error(reply);
        std::optional<std::string> text;
        if (error != nullptr) {
          text = std::string(error->name != nullptr ? error->name : "error") + ": " +
                 (error->message != nullptr ? error->message : "");
        }
        (*static_cast<ReplyHandler*>(userdata))(reply, std::move(text));
        return 0;
      },
      context.get(), kCallTimeout);
  if (result < 0) return result;
  sd_bus_slot_set_destroy_callback(slot, [](void* userdata) { delete static_cast<ReplyHandler*>(userdata); });
  context.release();
  // The bus keeps the slot until the answer has been handled; ours is not needed.
  sd_bus_slot_set_floating(slot, 1);
  sd_bus_slot_unref(slot);
  return result;
}

/// Notify's text: the subtitle, when there is one, heads the body.
std::string bodyText(const NotificationContent& content) {
  if (content.subtitle.empty()) return content.body;
  if (content.body.empty()) return content.subtitle;
  return content.subtitle + "\n" + content.body;
}

}  // namespace

struct SdBusUserNotificationCenter::State : std::enable_shared_from_this<State> {
  explicit State(std::string name) : applicationName(std::move(name)) {}

  const std::string applicationName;

  // Used on the bus thread only.
  NotificationAuthorizationStatus status = NotificationAuthorizationStatus::notDetermined;
  std::vector<NotificationCategory> categories;
  std::map<std::string, std::uint32_t> serverIds;
  std::map<std::uint32_t, DeliveredNotification> shown;
  SlotHandle actionSlot;
  SlotHandle closedSlot;
  // Identifiers whose Notify awaits its answer, with the work that needs that answer's id (a
  // replacement, a close), run in order once it comes.
  std::map<std::string, std::vector<std::function<void()>>> awaitingId;

  std::mutex mutex;
  std::weak_ptr<UserNotificationCenterDelegate> delegate;  // guarded by mutex
  // Removals on their way, each with the number of its call: a removal acts only while it is still
  // the newest for its identifier and no request of that identifier came after it.
  std::map<std::string, std::uint64_t> closing;  // guarded by mutex
  std::uint64_t removals = 0;                     // guarded by mutex

  // Last, so that it is destroyed first: completions still queued run against the members above.
  SerialQueue callbacks{"com.morvane.UserNotificationManager.callbacks"};

  std::shared_ptr<UserNotificationCenterDelegate> currentDelegate() {
    std::lock_guard lock(mutex);
    return delegate.lock();
  }

  void forget(std::uint32_t id) {
    auto it = shown.find(id);
    if (it == shown.end()) return;
    auto mapped = serverIds.find(it->second.request.identifier);
    if (mapped != serverIds.end() && mapped->second == id) serverIds.erase(mapped);
    shown.erase(it);
  }

  /// Runs `work` now, or after the answer to the Notify of `identifier` still on its way.
  void whenIdKnown(const std::string& identifier, std::function<void()> work) {
    auto waiting = awaitingId.find(identifier);
    if (waiting != awaitingId.end()) {
      waiting->second.push_back(std::move(work));
    } else {
      work();
    }
  }

  /// The answer to the Notify of `identifier` came: run what waited for it, up to the next Notify.
  void idKnown(const std::string& identifier) {
    auto waiting = awaitingId.find(identifier);
    if (waiting == awaitingId.end()) return;
    std::vector<std::function<void()>> work = std::move(waiting->second);
    awaitingId.erase(waiting);
    for (std::size_t i = 0; i < work.size(); ++i) {
      work[i]();
      if (auto again = awaitingId.find(identifier); again != awaitingId.end()) {
        // That work sent another Notify: the rest waits for its answer in turn.
        again->second.insert(again->second.end(), std::make_move_iterator(work.begin() + static_cast<std::ptrdiff_t>(i) + 1),
                             std::make_move_iterator(work.end()));
        return;
      }
    }
  }

  void notify(sd_bus* bus, const NotificationRequest& request, const std::function<void(ErrorText)>& finish);

  void close(sd_bus* bus, std::uint32_t id) {
    MessageHandle message;
    sd_bus_message* raw = nullptr;
    int result = sd_bus_message_new_method_call(bus, &raw, kService, kPath, kInterface, "CloseNotification");
    message.reset(raw);
    if (result >= 0) result = sd_bus_message_append(raw, "u", id);
    if (result >= 0) {
      result = callAsync(bus, raw, [](sd_bus_message*, std::optional<std::string> error) {
        if (error) logger().error("Closing a notification failed: {}", *error);
      });
    }
    if (result < 0) logger().error("Closing a notification failed: {}", errorText(result));
    forget(id);
  }

  /// ActionInvoked (u id, s action_key): the user chose an action of one of our notifications.
  static int onAction(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto* state = static_cast<State*>(userdata);
    std::uint32_t id = 0;
    const char* action = nullptr;
    if (sd_bus_message_read(message, "us", &id, &action) < 0) return 0;
    auto it = state->shown.find(id);
    if (it == state->shown.end()) return 0;
    NotificationResponse response{it->second, action != nullptr ? action : ""};
    state->callbacks.async([state = state->shared_from_this(), response] {
      if (auto host = state->currentDelegate()) host->didReceive(response, [] {});
    });
    return 0;
  }

  /// NotificationClosed (u id, u reason): the notification is gone from the screen.
  static int onClosed(sd_bus_message* message, void* userdata, sd_bus_error*) {
    std::uint32_t id = 0;
    std::uint32_t reason = 0;
    if (sd_bus_message_read(message, "uu", &id, &reason) >= 0) static_cast<State*>(userdata)->forget(id);
    return 0;
  }
};

void SdBusUserNotificationCenter::State::notify(sd_bus* bus, const NotificationRequest& request,
                                                const std::function<void(ErrorText)>& finish) {
  const NotificationContent& content = request.content;
  auto known = serverIds.find(request.identifier);
  const std::uint32_t replaces = known != serverIds.end() ? known->second : 0;

  sd_bus_message* raw = nullptr;
  int result = sd_bus_message_new_method_call(bus, &raw, kService, kPath, kInterface, "Notify");
  MessageHandle message(raw);
  const std::string body = bodyText(content);
  if (result >= 0) {
    result = sd_bus_message_append(raw, "susss", applicationName.c_str(), replaces, "", content.title.c_str(),
                                   body.c_str());
  }
  if (result >= 0) result = sd_bus_message_open_container(raw, 'a', "s");
  if (result >= 0) result = sd_bus_message_append(raw, "ss", NotificationResponse::defaultActionIdentifier, "Open");
  for (const auto& category : categories) {
    if (category.identifier != content.categoryIdentifier) continue;
    for (const auto& action : category.actions) {
      if (result >= 0) result = sd_bus_message_append(raw, "ss", action.identifier.c_str(), action.title.c_str());
    }
  }
  if (result >= 0) result = sd_bus_message_close_container(raw);
  if (result >= 0) result = sd_bus_message_open_container(raw, 'a', "{sv}");
  if (result >= 0 && !content.attachments.empty()) {
    const std::string image = content.attachments.front().url.absoluteString();
    result = sd_bus_message_append(raw, "{sv}", "image-path", "s", image.c_str());
  }
  if (result >= 0) {
    result = content.sound ? sd_bus_message_append(raw, "{sv}", "sound-name", "s",
                                                   content.sound->name == "default" ? "message-new-instant"
                                                                                    : content.sound->name.c_str())
                           : sd_bus_message_append(raw, "{sv}", "suppress-sound", "b", 1);
  }
  if (result >= 0) result = sd_bus_message_close_container(raw);
  if (result >= 0) result = sd_bus_message_append(raw, "i", -1);
  if (result >= 0) {
    result = callAsync(bus, raw, [state = shared_from_this(), request, finish](sd_bus_message* reply,
                                                                              std::optional<std::string> error) {
      std::uint32_t id = 0;
      if (!error && sd_bus_message_read(reply, "u", &id) < 0) error = "the notification service gave no id";
      if (!error) {
        auto previous = state->serverIds.find(request.identifier);
        if (previous != state->serverIds.end() && previous->second != id) state->shown.erase(previous->second);
        state->serverIds[request.identifier] = id;
        state->shown[id] = DeliveredNotification{request, std::chrono::system_clock::now()};
      }
      finish(error);
      state->idKnown(request.identifier);
    });
  }
  if (result < 0) {
    finish("cannot send the notification: " + errorText(result));
    return;
  }
  awaitingId.try_emplace(request.identifier);
}

std::shared_ptr<SdBusUserNotificationCenter> SdBusUserNotificationCenter::connect(const std::string& address,
                                                                                  std::string applicationName) {
  return std::shared_ptr<SdBusUserNotificationCenter>(
      new SdBusUserNotificationCenter(openSdBus(address), std::move(applicationName)));
}

SdBusUserNotificationCenter::SdBusUserNotificationCenter(SdBusHandle bus, std::string applicationName)
    : state_(std::make_shared<State>(std::move(applicationName))), thread_(std::make_shared<SdBusThread>(std::move(bus))) {
  thread_->post([state = state_, thread = thread_.get()] {
    sd_bus_slot* action = nullptr;
    sd_bus_slot* closed = nullptr;
    // Signals are matched on path and interface, not sender: the service's unique name changes when it
    // restarts, and notifications are recognised by their ids anyway.
    int result = sd_bus_match_signal(thread->bus(), &action, nullptr, kPath, kInterface, "ActionInvoked",
                                     &State::onAction, state.get());
    if (result >= 0) {
      result = sd_bus_match_signal(thread->bus(), &closed, nullptr, kPath, kInterface, "NotificationClosed",
                                   &State::onClosed, state.get());
    }
    state->actionSlot.reset(action);
    state->closedSlot.reset(closed);
    if (result < 0) logger().error("Cannot listen for notification actions: {}", errorText(result));
  });
}

SdBusUserNotificationCenter::~SdBusUserNotificationCenter() {
  // Closes still deferred on the callback queue see the thread gone and are dropped.
  thread_->post([state = state_] {
    state->actionSlot.reset();
    state->closedSlot.reset();
  });
  thread_.reset();
}

void SdBusUserNotificationCenter::setDelegate(std::weak_ptr<UserNotificationCenterDelegate> delegate) {
  std::lock_guard lock(state_->mutex);
  state_->delegate = std::move(delegate);
}

void SdBusUserNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
  thread_->post([state = state_, completion = std::move(completion)] {
    state->callbacks.async([completion, status = state->status] { completion(status); });
  });
}

void SdBusUserNotificationCenter::requestAuthorization(unsigned, std::function<void(bool, ErrorText)> completion) {
  thread_->post([state = state_, thread = thread_.get(), completion = std::move(completion)] {
    auto answer = [state, completion](bool granted, ErrorText error) {
      state->callbacks.async([completion, granted, error] { completion(granted, error); });
    };
    sd_bus_message* raw = nullptr;
    int result = sd_bus_message_new_method_call(thread->bus(), &raw, kService, kPath, kInterface,
                                                "GetServerInformation");
    MessageHandle message(raw);
    if (result >= 0) {
      result = callAsync(thread->bus(), raw, [state, answer](sd_bus_message*, std::optional<std::string> error) {
        // A service that answers grants; one that is absent or fails leaves the question open, so a
        // service started later is still used.
        if (!error) state->status = NotificationAuthorizationStatus::authorized;
        answer(!error, error);
      });
    }
    if (result < 0) answer(false, "cannot reach the notification service: " + errorText(result));
  });
}

void SdBusUserNotificationCenter::setNotificationCategories(std::vector<NotificationCategory> categories) {
  thread_->post([state = state_, categories = std::move(categories)]() mutable {
    state->categories = std::move(categories);
  });
}

void SdBusUserNotificationCenter::add(NotificationRequest request, std::function<void(ErrorText)> completion) {
  {
    // A removal of this identifier still on its way is taken back: the new request replaces in place.
    std::lock_guard lock(state_->mutex);
    state_->closing.erase(request.identifier);
  }
  thread_->post([state = state_, thread = thread_.get(), request = std::move(request), completion = std::move(completion)] {
    auto finish = [state, completion](ErrorText error) {
      if (completion) state->callbacks.async([completion, error] { completion(error); });
    };
    state->whenIdKnown(request.identifier, [state, bus = thread->bus(), request, finish] { state->notify(bus, request, finish); });
  });
}

void SdBusUserNotificationCenter::removeDeliveredNotifications(const std::vector<std::string>& identifiers) {
  std::uint64_t removal = 0;
  {
    std::lock_guard lock(state_->mutex);
    removal = ++state_->removals;
    for (const auto& identifier : identifiers) state_->closing[identifier] = removal;
  }
  // The close goes out behind the callback queue's current task: a request of the same identifier
  // added by that task (a notification being replaced) takes the removal back first. A close still
  // waiting for an earlier notification's id is dropped once a newer removal or request came.
  state_->callbacks.async([state = state_, weakThread = std::weak_ptr<SdBusThread>(thread_), identifiers, removal] {
    auto thread = weakThread.lock();
    if (!thread) return;
    thread->post([state, thread = thread.get(), identifiers, removal] {
      for (const auto& identifier : identifiers) {
        state->whenIdKnown(identifier, [state, bus = thread->bus(), identifier, removal] {
          {
            std::lock_guard lock(state->mutex);
            auto pending = state->closing.find(identifier);
            if (pending == state->closing.end() || pending->second != removal) return;
            state->closing.erase(pending);
          }
          auto known = state->serverIds.find(identifier);
          if (known != state->serverIds.end()) state->close(bus, known->second);
        });
      }
    });
  });
}

void SdBusUserNotificationCenter::removeAllDeliveredNotifications() {
  thread_->post([state = state_, thread = thread_.get()] {
    std::vector<std::uint32_t> ids;
    for (const auto& [id, notification] : state->shown) ids.push_back(id);
    for (std::uint32_t id : ids) state->close(thread->bus(), id);
  });
}

std::shared_ptr<UserNotificationCenter> defaultUserNotificationCenter() {
  try {
    return SdBusUserNotificationCenter::connect();
  } catch (const std::exception& e) {
    static const Logger managerLogger("UserNotificationManager");
    managerLogger.info("No session bus ({}): notifications are kept in memory and not shown", e.what());
    return std::make_shared<InMemoryUserNotificationCenter>();
  }
}

}  // namespace tav
