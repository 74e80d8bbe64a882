#include "tav/profiles/profile_manager.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tav/contracts/json_parser.hpp"
#include "tav/platform/file_user_defaults.hpp"
#include "tav/scene/element_web_settings.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

// A manager over its own in-memory store and center, recording every notification it posts.
class ProfileManagerTest : public ::testing::Test {
 protected:
  ProfileManagerTest() {
    for (std::string_view name : {ProfileManager::profilesUpdatedNotificationName,
                                  ProfileManager::activeProfileChangedNotificationName,
                                  ProfileManager::aspectRatioChangedNotificationName}) {
      observations_.push_back(center_.observe(std::string(name), [this](const Notification& n) { posted_.push_back(n.name); }));
    }
  }

  std::vector<std::string> takePosted() { return std::exchange(posted_, {}); }

  static constexpr const char* updated = "Tavo.App.ProfileManager.ProfilesUpdatedNotification.Name";
  static constexpr const char* activeChanged = "Tavo.App.ProfileManager.ActiveProfileChangedNotification.Name";
  static constexpr const char* aspectChanged = "Tavo.App.ProfileManager.AspectRatioChangedNotification.Name";

  std::shared_ptr<InMemoryUserDefaults> store_ = std::make_shared<InMemoryUserDefaults>();
  NotificationCenter center_;
  ProfileManager manager_{store_, &center_};
  std::vector<std::string> posted_;
  std::vector<NotificationObservation> observations_;
};

using Strings = std::vector<std::string>;

TEST_F(ProfileManagerTest, FirstLaunchHasTheTemplatesAndAnUnknownActiveIdFallsBack) {
  EXPECT_EQ(manager_.profiles().size(), 6u);
  EXPECT_EQ(manager_.activeProfile().name, "Meetings HD");
  EXPECT_EQ(manager_.activeProfileID(), "DEFAULT_PROFILE_1080_30");
  EXPECT_EQ(manager_.aspectRatio(), AspectRatio::landscape);
  EXPECT_TRUE(manager_.lastUsedScenes().empty());
  EXPECT_FALSE(store_->value("USER_PROFILES"));  // reading writes nothing

  // An unknown active id falls back and is still announced.
  manager_.setActive("NO_SUCH_PROFILE");
  EXPECT_EQ(takePosted(), (Strings{activeChanged}));
  EXPECT_EQ(manager_.activeProfile().id, "DEFAULT_PROFILE_1080_30");
  EXPECT_EQ(manager_.activeProfileID(), "NO_SUCH_PROFILE");  // not touched
}

TEST_F(ProfileManagerTest, SetActiveAnnouncesAnAspectChange) {
  // With nothing stored the templates are the stored profiles, so the previous one is found.
  manager_.setActive("DEFAULT_PROFILE_1920_30");
  EXPECT_EQ(takePosted(), (Strings{activeChanged, aspectChanged}));
  manager_.setActive("GONE");
  EXPECT_EQ(takePosted(), (Strings{activeChanged, aspectChanged}));  // falls back to 16:9
  manager_.setActive("DEFAULT_PROFILE_1080_30");
  EXPECT_EQ(takePosted(), (Strings{activeChanged}));  // no stored profile has the previous id
  manager_.setActive("DEFAULT_PROFILE_720_30");
  EXPECT_EQ(takePosted(), (Strings{activeChanged}));
}

TEST_F(ProfileManagerTest, SwitchingFindsATemplateOrMakesOneAndReusesIt) {
  manager_.switchAspectRatio(AspectRatio::portrait);
  EXPECT_EQ(manager_.activeProfile().name, "Vertical HD");
  EXPECT_EQ(manager_.activeProfile().resolution, (Profile::Resolution{1080, 1920}));
  EXPECT_EQ(takePosted(), (Strings{activeChanged, aspectChanged}));

  manager_.setActive("DEFAULT_PROFILE_1080_60");
  takePosted();
  manager_.switchAspectRatio(AspectRatio::portrait);
  Profile made = manager_.activeProfile();
  EXPECT_EQ(made, Profile(made.id, "Streaming (9:16)", {1080, 1920}, {60}, false));  // not a template
  EXPECT_EQ(takePosted(), (Strings{updated, activeChanged, aspectChanged}));

  manager_.switchAspectRatio(AspectRatio::landscape);
  EXPECT_EQ(manager_.activeProfile().id, "DEFAULT_PROFILE_1080_60");
  manager_.switchAspectRatio(AspectRatio::portrait);
  EXPECT_EQ(manager_.activeProfile().id, made.id);  // reused, not made again
  EXPECT_EQ(manager_.profiles().size(), 7u);
  takePosted();

  manager_.switchAspectRatio(AspectRatio::portrait);  // already there
  EXPECT_EQ(manager_.activeProfile().id, made.id);
  EXPECT_EQ(takePosted(), (Strings{activeChanged}));
}

TEST_F(ProfileManagerTest, UpdatesPostWhatChanged) {
  manager_.setProfiles(Profile::templates());
  manager_.updateProfile("DEFAULT_PROFILE_720_30", "Calls");
  EXPECT_EQ(takePosted(), (Strings{updated}));
  EXPECT_EQ(manager_.profiles()[1].name, "Calls");

  manager_.updateProfile("DEFAULT_PROFILE_1080_30", std::nullopt, Profile::Resolution{1280, 720});
  EXPECT_EQ(takePosted(), (Strings{updated, activeChanged}));
  manager_.updateProfile("DEFAULT_PROFILE_1080_30", std::nullopt, Profile::Resolution{1080, 1920});
  EXPECT_EQ(takePosted(), (Strings{updated, activeChanged, aspectChanged}));

  manager_.updateProfile("MISSING", "x");
  EXPECT_TRUE(takePosted().empty());

  manager_.migrateProfileNames();
  EXPECT_EQ(manager_.profiles()[1].name, "Meetings");
  EXPECT_EQ(takePosted(), (Strings{updated}));
}

TEST_F(ProfileManagerTest, CreateAndDelete) {
  Profile made = manager_.createProfile("Mine", {1440, 1440}, {25});
  EXPECT_EQ(takePosted(), (Strings{updated}));
  EXPECT_EQ(made._isTemplate, false);
  ASSERT_EQ(manager_.profiles().size(), 7u);
  EXPECT_EQ(manager_.profiles().back(), made);

  manager_.setLastUsedScenes({{made.id, "SCENE-1"}, {"DEFAULT_PROFILE_720_30", "SCENE-2"}});
  manager_.setActive(made.id);
  takePosted();
  manager_.delete_(made.id);
  EXPECT_EQ(takePosted(), (Strings{updated}));  // no active-profile notification
  EXPECT_EQ(manager_.profiles().size(), 6u);
  EXPECT_EQ(manager_.lastUsedScenes(), (std::map<std::string, std::string>{{"DEFAULT_PROFILE_720_30", "SCENE-2"}}));
  EXPECT_EQ(manager_.activeProfile().id, "DEFAULT_PROFILE_1080_30");

  manager_.delete_("NOT_THERE");
  EXPECT_EQ(takePosted(), (Strings{updated}));
}

TEST_F(ProfileManagerTest, UnreadableStoredValuesReadAsDefaultsAndOtherKeysSurvive) {
  store_->set("USER_PROFILES", parseJson(R"([{"id":"A","name":"half)" R"(written"}])"));
  store_->set("ACTIVE_PROFILE", JsonValue(42));
  store_->set("OTHER_SETTING", JsonValue("kept"));
  EXPECT_EQ(manager_.profiles(), Profile::templates());
  EXPECT_EQ(manager_.activeProfile().name, "Meetings HD");
  EXPECT_EQ(store_->value("OTHER_SETTING"), JsonValue("kept"));
  EXPECT_TRUE(store_->value("USER_PROFILES")->is_array());  // left as it was
  manager_.createProfile("New", {1280, 720}, {30});
  EXPECT_EQ(manager_.profiles().size(), 7u);
  EXPECT_EQ(store_->value("OTHER_SETTING"), JsonValue("kept"));
}

TEST(ProfileManagerFile, SurvivesACorruptDefaultsFile) {
  testing::ScratchDirectory dir("tav-profiles");
  const std::filesystem::path file =
      dir.write("defaults.json", R"({"ACTIVE_PROFILE":"DEFAULT_PROFILE_720_30","USER_PROFILES":[{"id":"DEF)");  // cut short
  NotificationCenter center;
  {
    ProfileManager manager(std::make_shared<FileUserDefaults>(file), &center);
    EXPECT_EQ(manager.profiles().size(), 6u);
    EXPECT_EQ(manager.activeProfile().name, "Meetings HD");
    manager.setActive("DEFAULT_PROFILE_4K_30");
  }
  // The damaged file was set aside, not lost; the new file holds the change.
  bool keptAside = false;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    if (entry.path().filename().string().starts_with("defaults.json.corrupt-")) keptAside = true;
  }
  EXPECT_TRUE(keptAside);
  ProfileManager reopened(std::make_shared<FileUserDefaults>(file), &center);
  EXPECT_EQ(reopened.activeProfile().name, "4K");
}

TEST(ProfileManagerShared, AnswersPageSizeMatchProfile) {
  auto store = std::make_shared<InMemoryUserDefaults>();
  UserDefaults::setStandard(store);
  ProfileManager::installActiveProfileSizeProvider();
  ProfileManager::shared().setActive("NOT_STORED");
  EXPECT_EQ(PageSize::matchProfile().size(), (Size{1920, 1080}));  // the first template
  ProfileManager::shared().setActive("DEFAULT_PROFILE_1280_30");
  EXPECT_EQ(PageSize::matchProfile().size(), (Size{720, 1280}));
  UserDefaults::setStandard(std::make_shared<InMemoryUserDefaults>());
  setActiveProfileSizeProvider({});  // leave the process as other tests expect it
}

}  // namespace
}  // namespace tav
