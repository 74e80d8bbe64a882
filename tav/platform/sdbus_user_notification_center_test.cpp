#include "tav/platform/sdbus_user_notification_center.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <future>
#include <map>

#include "tav/foundation/user_notification_manager.hpp"

extern char** environ;

namespace tav {
namespace {

/// A private bus: a dbus-daemon of our own, never the machine's session bus.
class PrivateBus {
 public:
  PrivateBus() {
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    const char* argv[] = {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1", nullptr};
    const int spawned = posix_spawnp(&pid_, "dbus-daemon", &actions, nullptr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    if (spawned != 0) {
      ::close(pipeFds[0]);
      throw std::runtime_error("cannot start dbus-daemon");
    }
    char c = 0;
    while (::read(pipeFds[0], &c, 1) == 1 && c != '\n') address_ += c;
    ::close(pipeFds[0]);
  }
  ~PrivateBus() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

/// One call the fake notification service received.
struct ReceivedCall {
  std::string method;
  std::uint32_t replacesId = 0;
  std::string summary{};
  std::string body{};
  std::vector<std::string> actions{};
  std::map<std::string, std::string> hints{};  // string and boolean hints, booleans as "true"/"false"
  std::uint32_t id = 0;
};

/// org.freedesktop.Notifications on the private bus, recording each call; it can fail every Notify.
class FakeNotificationService {
 public:
  explicit FakeNotificationService(const std::string& address) : thread_(openSdBus(address)) {
    std::promise<int> ready;
    thread_.post([this, &ready] {
      int result = sd_bus_add_object_vtable(thread_.bus(), &slot_, "/org/freedesktop/Notifications",
                                            "org.freedesktop.Notifications", vtable(), this);
      if (result >= 0) result = sd_bus_request_name(thread_.bus(), "org.freedesktop.Notifications", 0);
      ready.set_value(result);
    });
    if (ready.get_future().get() < 0) throw std::runtime_error("cannot register the fake service");
  }
  ~FakeNotificationService() {
    thread_.post([this] { sd_bus_slot_unref(slot_); });
  }

  void setFailing(bool failing) {
    std::lock_guard lock(mutex_);
    failing_ = failing;
  }
  /// Waits until `count` calls have come in (or five seconds have passed) and returns them all.
  std::vector<ReceivedCall> calls(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(5), [&] { return calls_.size() >= count; });
    return calls_;
  }
  void invokeAction(std::uint32_t id, const std::string& action) {
    thread_.post([this, id, action] {
      sd_bus_emit_signal(thread_.bus(), "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                         "ActionInvoked", "us", id, action.c_str());
    });
  }

 private:
  static const sd_bus_vtable* vtable() {
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", &FakeNotificationService::notify, 0),
        SD_BUS_METHOD("CloseNotification", "u", "", &FakeNotificationService::closeNotification, 0),
        SD_BUS_METHOD("GetServerInformation", "", "ssss", &FakeNotificationService::serverInformation, 0),
        SD_BUS_VTABLE_END};
    return table;
  }

  void record(ReceivedCall call) {
    std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
    changed_.notify_all();
  }

  static int notify(sd_bus_message* m, void* userdata, sd_bus_error*) {
    auto* self = static_cast<FakeNotificationService*>(userdata);
    ReceivedCall call;
    call.method = "Notify";
    const char *app = nullptr, *icon = nullptr, *summary = nullptr, *body = nullptr;
    sd_bus_message_read(m, "susss", &app, &call.replacesId, &icon, &summary, &body);
    call.summary = summary;
    call.body = body;
    char** actions = nullptr;
    sd_bus_message_read_strv(m, &actions);
    for (char** a = actions; a != nullptr && *a != nullptr; ++a) {
      call.actions.emplace_back(*a);
      free(*a);
    }
    free(actions);
    sd_bus_message_enter_container(m, 'a', "{sv}");
    while (sd_bus_message_enter_container(m, 'e', "sv") > 0) {
      const char* key = nullptr;
      sd_bus_message_read(m, "s", &key);
      const char* contents = nullptr;
      sd_bus_message_peek_type(m, nullptr, &contents);
      if (std::string(contents) == "s") {
        const char* value = nullptr;
        sd_bus_message_read(m, "v", "s", &value);
        call.hints[key] = value;
      } else if (std::string(contents) == "b") {
        int value = 0;
        sd_bus_message_read(m, "v", "b", &value);
        call.hints[key] = value ? "true" : "false";
      } else {
        sd_bus_message_skip(m, "v");
      }
      sd_bus_message_exit_container(m);
    }
    sd_bus_message_exit_container(m);
    {
      std::lock_guard lock(self->mutex_);
      if (self->failing_) {
        self->calls_.push_back(call);
        self->changed_.notify_all();
        return sd_bus_reply_method_errorf(m, "org.freedesktop.Notifications.Error.Refused", "not now");
      }
    }
    call.id = call.replacesId != 0 ? call.replacesId : ++self->nextId_;
    const std::uint32_t id = call.id;
    self->record(std::move(call));
    return sd_bus_reply_method_return(m, "u", id);
  }
  static int closeNotification(sd_bus_message* m, void* userdata, sd_bus_error*) {
    ReceivedCall call;
    call.method = "CloseNotification";
    sd_bus_message_read(m, "u", &call.id);
    static_cast<FakeNotificationService*>(userdata)->record(std::move(call));
    return sd_bus_reply_method_return(m, "");
  }
  static int serverInformation(sd_bus_message* m, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(m, "ssss", "fake", "tests", "1.0", "1.2");
  }

  SdBusThread thread_;
  sd_bus_slot* slot_ = nullptr;
  std::uint32_t nextId_ = 0;  // bus thread only
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ReceivedCall> calls_;  // guarded by mutex_
  bool failing_ = false;             // guarded by mutex_
};

struct TapDelegate final : UserNotificationDelegate {
  std::promise<std::string> tapped;
  std::vector<NotificationCategory> notificationCategories() override {
    return {{"invite", {{"accept", "Accept"}}}};
  }
  void handleNotificationResponse(const NotificationResponse& response, std::function<void()> completion) override {
    tapped.set_value(response.notification.request.identifier + ":" + response.actionIdentifier);
    completion();
  }
};

using NotificationString = UserNotificationManager::NotificationString;

TEST(SdBusUserNotificationCenter, ShowsReplacesInPlaceAndPassesActionsBack) {
  PrivateBus bus;
  FakeNotificationService service(bus.address());
  auto center = SdBusUserNotificationCenter::connect(bus.address(), "Tavo Tests");
  auto manager = UserNotificationManager::create(center);
  auto delegate = std::make_shared<TapDelegate>();
  manager->setDelegate(delegate);

  manager->present({.identifier = "invite-1",
                    .title = NotificationString::string("Join the stream?"),
                    .subtitle = NotificationString::string("Ada"),
                    .body = NotificationString::string("Starts in 5 minutes"),
                    .categoryIdentifier = "invite",
                    .attachmentFiles = {Url::fileUrl("/tmp/face.png")}});
  auto calls = service.calls(1);
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(std::tie(calls[0].replacesId, calls[0].summary, calls[0].body),
            std::make_tuple(0u, "Join the stream?", "Ada\nStarts in 5 minutes"));
  EXPECT_EQ(calls[0].actions, (std::vector<std::string>{"default", "Open", "accept", "Accept"}));
  EXPECT_EQ(calls[0].hints["image-path"], "file:///tmp/face.png");
  EXPECT_EQ(calls[0].hints["suppress-sound"], "true");

  manager->present({.identifier = "invite-1", .title = NotificationString::string("Stream started"),
                    .sound = NotificationSound::defaultSound()});
  calls = service.calls(2);
  ASSERT_EQ(calls.size(), 2u);  // no CloseNotification: replaced in place
  EXPECT_EQ(std::tie(calls[1].method, calls[1].replacesId), std::make_tuple("Notify", calls[0].id));
  EXPECT_EQ(calls[1].hints["sound-name"], "message-new-instant");

  service.invokeAction(calls[0].id, "accept");
  auto tapped = delegate->tapped.get_future();
  ASSERT_EQ(tapped.wait_for(std::chrono::seconds(5)), std::future_status::ready);
  EXPECT_EQ(tapped.get(), "invite-1:accept");

  manager->removeNotifications({"invite-1"});
  calls = service.calls(3);
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(std::tie(calls[2].method, calls[2].id), std::make_tuple("CloseNotification", calls[0].id));
}

TEST(SdBusUserNotificationCenter, AbsentOrFailingServiceReportsWithoutBlocking) {
  PrivateBus bus;
  auto center = SdBusUserNotificationCenter::connect(bus.address());
  std::promise<std::pair<bool, std::string>> answer;
  center->requestAuthorization(alertOption, [&](bool granted, UserNotificationCenter::ErrorText error) {
    answer.set_value({granted, error.value_or("")});
  });
  auto absent = answer.get_future().get();
  EXPECT_FALSE(absent.first);
  EXPECT_NE(absent.second.find("org.freedesktop.DBus.Error.ServiceUnknown"), std::string::npos) << absent.second;

  FakeNotificationService service(bus.address());
  service.setFailing(true);
  std::promise<std::string> added;
  center->add(NotificationRequest{"x", {}}, [&](UserNotificationCenter::ErrorText error) {
    added.set_value(error.value_or(""));
  });
  EXPECT_EQ(added.get_future().get(), "org.freedesktop.Notifications.Error.Refused: not now");

  EXPECT_THROW(SdBusUserNotificationCenter::connect("unix:path=/nonexistent/bus"), std::system_error);
}

}  // namespace
}  // namespace tav
