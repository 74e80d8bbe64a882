#include "tav/foundation/user_notification_manager.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/contracts/in_memory_user_notification_center.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

using NotificationString = UserNotificationManager::NotificationString;

struct RecordingDelegate final : UserNotificationDelegate {
  std::vector<NotificationCategory> categories{{"invite", {{"accept", "Accept"}, {"decline", "Decline"}}}};
  std::vector<std::string> actions;
  std::vector<NotificationCategory> notificationCategories() override { return categories; }
  void handleNotificationResponse(const NotificationResponse& response, std::function<void()> completion) override {
    actions.push_back(response.notification.request.identifier + ":" + response.actionIdentifier);
    completion();
  }
};

struct Fixture {
  testing::ScratchDirectory tables;
  std::unique_ptr<Localizer> bundle;
  std::shared_ptr<InMemoryUserNotificationCenter> center;
  std::shared_ptr<UserNotificationManager> manager;

  explicit Fixture(NotificationAuthorizationStatus status = NotificationAuthorizationStatus::authorized,
                   bool grants = true) {
    tables.write("Localizable.json", R"json({"STREAM_ENDED": "%@ streamed for %d min (%.1f%% dropped)",
                                         "PERCENT_TEXT": "100% done"})json");
    bundle = std::make_unique<Localizer>(tables.path(), "en");
    center = std::make_shared<InMemoryUserNotificationCenter>(status, grants);
    manager = UserNotificationManager::create(center, *bundle);
  }
  std::vector<std::string> titles() const {
    std::vector<std::string> result;
    for (const auto& shown : center->deliveredNotifications()) result.push_back(shown.request.content.title);
    return result;
  }
};

TEST(UserNotificationManager, SameIdentifierReplacesAndNoIdentifierAlwaysAdds) {
  Fixture f;
  f.manager->present({.identifier = "export", .title = NotificationString::string("Exporting")});
  f.manager->present({.identifier = "export", .title = NotificationString::string("Exported")});
  f.manager->present({.title = NotificationString::string("Hello")});
  f.manager->present({.title = NotificationString::string("Hello")});
  EXPECT_EQ(f.titles(), (std::vector<std::string>{"Exported", "Hello", "Hello"}));
  const auto shown = f.center->deliveredNotifications();
  EXPECT_NE(shown[1].request.identifier, shown[2].request.identifier);
  EXPECT_TRUE(Uuid::parse(shown[1].request.identifier).has_value());
  EXPECT_EQ(f.center->lastPresentationOptions(), presentBanner);

  f.manager->removeNotifications({"export"});
  EXPECT_EQ(f.titles().size(), 2u);
  f.manager->removeAll();
  EXPECT_TRUE(f.titles().empty());
}

TEST(UserNotificationManager, BuildsTheContentFromItsArguments) {
  Fixture f;
  f.manager->present("n1", NotificationString::localized("STREAM_ENDED", std::nullopt, "", {{std::string("Ada"), std::int64_t{42}, 1.25}}),
                     std::nullopt, NotificationString::localized("PERCENT_TEXT"), 3, NotificationSound::defaultSound(),
                     boost::json::object{{"stream", 7}}, "Ada", 2, std::nullopt, "streams", std::nullopt,
                     {Url::fileUrl("/tmp/thumb.png")});
  const auto shown = f.center->deliveredNotifications();
  ASSERT_EQ(shown.size(), 1u);
  const NotificationContent& content = shown[0].request.content;
  EXPECT_EQ(content.title, "Ada streamed for 42 min (1.2% dropped)");  // %.1f of 1.25 rounds to even
  EXPECT_EQ(content.subtitle, "");
  EXPECT_EQ(content.body, "100% done");  // no arguments: used as it comes
  EXPECT_EQ(content.badge, 3);
  EXPECT_EQ(content.categoryIdentifier, "");
  EXPECT_EQ(content.threadIdentifier, "streams");
  EXPECT_EQ(content.summaryArgumentCount, 2);
  EXPECT_EQ(content.userInfo.at("stream"), 7);
  ASSERT_EQ(content.attachments.size(), 1u);
  EXPECT_EQ(content.attachments[0].url.absoluteString(), "file:///tmp/thumb.png");
  EXPECT_TRUE(Uuid::parse(content.attachments[0].identifier).has_value());

  EXPECT_EQ(formattedWithArguments("%2$@ before %1$@, %s%%, %q", {std::string("a"), std::string("b")}),
            "b before a, a%, %q");
  EXPECT_EQ(formattedWithArguments("%@ and %@", {std::string("only")}), "only and %@");
}

TEST(UserNotificationManager, AsksPermissionWhenNotDeterminedAndDropsWhenRefused) {
  struct Case {
    NotificationAuthorizationStatus status;
    bool grants;
    std::size_t shown;
    std::size_t requests;
    const char* log;
  };
  const Case cases[] = {
      {NotificationAuthorizationStatus::notDetermined, true, 1, 1, "[UserNotificationManager] Granted: y, error: nil"},
      {NotificationAuthorizationStatus::notDetermined, false, 0, 1, "[UserNotificationManager] Granted: n, error: nil"},
      {NotificationAuthorizationStatus::denied, true, 0, 0, nullptr},
      {NotificationAuthorizationStatus::provisional, true, 1, 0, nullptr},
  };
  for (const Case& c : cases) {
    Fixture f(c.status, c.grants);
    ::testing::internal::CaptureStderr();
    f.manager->present({.title = NotificationString::string("Hi")});
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(f.titles().size(), c.shown);
    ASSERT_EQ(f.center->authorizationRequests().size(), c.requests);
    if (c.requests > 0) {
      EXPECT_EQ(f.center->authorizationRequests()[0], 5u);  // alert and badge
    }
    if (c.log != nullptr) {
      EXPECT_THAT(log, ::testing::HasSubstr(c.log));
    } else {
      EXPECT_EQ(log, "");
    }
  }
}

TEST(UserNotificationManager, DelegatePublishesCategoriesAndReceivesTaps) {
  Fixture f;
  auto delegate = std::make_shared<RecordingDelegate>();
  f.manager->setDelegate(delegate);
  EXPECT_EQ(f.center->categories(), delegate->categories);
  EXPECT_EQ(f.manager->delegate(), delegate);

  f.manager->present({.identifier = "invite-1", .title = NotificationString::string("Join?"), .categoryIdentifier = "invite"});
  EXPECT_TRUE(f.center->respond("invite-1", "accept"));
  EXPECT_EQ(delegate->actions, (std::vector<std::string>{"invite-1:accept"}));

  f.manager->setDelegate({});
  EXPECT_TRUE(f.center->categories().empty());
  EXPECT_TRUE(f.center->respond("invite-1", NotificationResponse::defaultActionIdentifier));  // completed by the manager

  f.center->setAddError("service refused");
  ::testing::internal::CaptureStderr();
  f.manager->present({.title = NotificationString::string("Lost")});
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, ::testing::HasSubstr("[UserNotificationManager] Error presenting notification: service refused"));
}

}  // namespace
}  // namespace tav
