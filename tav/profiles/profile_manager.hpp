// The user's output profiles, the active one, and the switch of the active aspect ratio.
//
// All state is in the user defaults, so any number of managers over the same store agree; the manager
// itself holds only which store and which notification center it talks to.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/notification_center.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/profiles/profile.hpp"
#include "tav/scene/aspect_ratio.hpp"

namespace tav {

/// Holds no lock of its own: the host calls it from the main context. The store does its own locking.
///
/// A stored value that cannot be read (a damaged or half-written settings file, or a value of another
/// shape) reads as its default, with one error line naming the key and the reason; the stored value is
/// left as it is until the manager writes that key, and no other key is touched.
class ProfileManager {
 public:
  static constexpr std::string_view profilesKey = "USER_PROFILES";
  static constexpr std::string_view activeProfileKey = "ACTIVE_PROFILE";
  static constexpr std::string_view lastUsedScenesKey = "TAVO_PROFILES_LAST_USED_SCENE";

  static constexpr std::string_view profilesUpdatedNotificationName =
      "Tavo.App.ProfileManager.ProfilesUpdatedNotification.Name";
  static constexpr std::string_view activeProfileChangedNotificationName =
      "Tavo.App.ProfileManager.ActiveProfileChangedNotification.Name";
  static constexpr std::string_view aspectRatioChangedNotificationName =
      "Tavo.App.ProfileManager.AspectRatioChangedNotification.Name";

  /// A manager over `userDefaults` posting to `notificationCenter`. A null store means the standard
  /// store at each call (so a store the host installs later is used); a null center, the default one.
  explicit ProfileManager(std::shared_ptr<UserDefaults> userDefaults = nullptr,
                          NotificationCenter* notificationCenter = nullptr);

  /// The manager over the standard store and the default center. Its first use also makes
  /// PageSize::matchProfile answer with the active profile's resolution.
  static ProfileManager& shared();
  /// Makes PageSize::matchProfile answer with the resolution of shared()'s active profile (done by the
  /// first use of shared(); call again after the provider was replaced).
  static void installActiveProfileSizeProvider();

  /// The stored profiles; the six templates when none are stored.
  std::vector<Profile> profiles() const;
  void setProfiles(const std::vector<Profile>& profiles);
  /// Profile id to the id of the scene the host last used with it.
  std::map<std::string, std::string> lastUsedScenes() const;
  void setLastUsedScenes(const std::map<std::string, std::string>& scenes);

  /// The stored profile with the active id, else the first template (the stored id is not touched).
  Profile activeProfile() const;
  /// The stored active id, "DEFAULT_PROFILE_1080_30" when none is stored.
  std::string activeProfileID() const;
  AspectRatio aspectRatio() const { return activeProfile().aspectRatio(); }

  /// Stores `profileID` (not validated) as active and announces the change.
  void setActive(const std::string& profileID);
  /// Makes active the first profile of `target`'s aspect with the converted resolution and the active
  /// frame rate, creating "<active name> (<aspect title>)" when there is none.
  void switchAspectRatio(AspectRatio target);
  /// Appends a new non-template profile with a new UUID and posts profilesUpdated.
  Profile createProfile(const std::string& name, Profile::Resolution resolution, Profile::FrameRate frameRate);
  /// Updates the first profile with `id` (nothing when there is none) and posts profilesUpdated; for
  /// the active profile also activeProfileChanged, and aspectRatioChanged when its aspect changed.
  void updateProfile(const std::string& id, std::optional<std::string> name = std::nullopt,
                     std::optional<Profile::Resolution> resolution = std::nullopt,
                     std::optional<Profile::FrameRate> frameRate = std::nullopt);
  /// Removes every profile with `profileID` and its last-used scene; posts profilesUpdated even when
  /// there was none. Deleting the active profile posts nothing more: activeProfile falls back.
  void delete_(const std::string& profileID);
  /// Renames stored built-in profiles to their names in the current language.
  void migrateProfileNames();

 private:
  std::shared_ptr<UserDefaults> store() const;
  void post(std::string_view name) const;
  void storeActiveID(const std::string& id);
  void announceActiveChange(const std::string& previousID);

  std::shared_ptr<UserDefaults> userDefaults_;
  NotificationCenter* notificationCenter_;
};

}  // namespace tav
