#include "tav/profiles/profile_manager.hpp"

#include <algorithm>
#include <mutex>
#include <set>

#include "tav/contracts/logger.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/scene/element_web_settings.hpp"

namespace tav {

namespace {

const Logger& logger() {
  static const Logger instance("ProfileManager");
  return instance;
}

/// Logs each distinct unreadable value once per process, so a damaged file does not flood the log on
/// every read of the active profile.
void reportUnreadable(std::string_view key, const std::string& reason) {
  static std::mutex mutex;
  static std::set<std::string> reported;  // guarded by mutex
  std::string line = fmt::format("the stored value of \"{}\" cannot be read ({}); using its default", key, reason);
  {
    std::lock_guard guard(mutex);
    if (!reported.insert(line).second) return;
  }
  logger().error("{}", line);
}

/// The value under `key` as a T, else `fallback` (logged when something unreadable is stored).
template <class T>
T readOr(const UserDefaults& store, std::string_view key, T fallback) {
  std::optional<JsonValue> stored = store.value(key);
  if (!stored) return fallback;
  try {
    return JsonCoder<T>::decode(*stored, JsonPath::root());
  } catch (const DecodingError& error) {
    reportUnreadable(key, error.what());
    return fallback;
  }
}

template <class T>
void write(UserDefaults& store, std::string_view key, const T& value) {
  store.set(key, detail::storedJson(encodeJson(value)));
}

constexpr std::string_view firstTemplateID = "DEFAULT_PROFILE_1080_30";

/// Profile id to scene id, as a JSON object of texts.
struct ProfileSceneMap {
  std::map<std::string, std::string> entries;
};

}  // namespace

template <>
struct JsonCoder<ProfileSceneMap> {
  static ProfileSceneMap decode(const JsonValue& json, const JsonPath& path) {
    JsonObjectReader reader(json, path);
    ProfileSceneMap map;
    for (const auto& member : reader.object()) {
      std::string key(member.key());
      map.entries[key] = JsonCoder<std::string>::decode(member.value(), path.key(key));
    }
    return map;
  }
  static void encode(JsonWriter& w, const ProfileSceneMap& v) {
    w.beginObject();
    for (const auto& [key, value] : v.entries) w.field(key, value);
    w.endObject();
  }
};

ProfileManager::ProfileManager(std::shared_ptr<UserDefaults> userDefaults, NotificationCenter* notificationCenter)
    : userDefaults_(std::move(userDefaults)), notificationCenter_(notificationCenter) {}

ProfileManager& ProfileManager::shared() {
  static ProfileManager* manager = [] {
    auto* instance = new ProfileManager();  // never destroyed: hosts may ask from static destructors
    installActiveProfileSizeProvider();
    return instance;
  }();
  return *manager;
}

void ProfileManager::installActiveProfileSizeProvider() {
  setActiveProfileSizeProvider(
      []() -> std::optional<Size> { return ProfileManager::shared().activeProfile().resolution.size(); });
}

std::shared_ptr<UserDefaults> ProfileManager::store() const {
  return userDefaults_ ? userDefaults_ : UserDefaults::standard();
}

void ProfileManager::post(std::string_view name) const {
  NotificationCenter& center = notificationCenter_ ? *notificationCenter_ : NotificationCenter::defaultCenter();
  center.post(std::string(name));
}

std::vector<Profile> ProfileManager::profiles() const {
  return readOr<std::vector<Profile>>(*store(), profilesKey, Profile::templates());
}

void ProfileManager::setProfiles(const std::vector<Profile>& profiles) { write(*store(), profilesKey, profiles); }

std::map<std::string, std::string> ProfileManager::lastUsedScenes() const {
  return readOr<ProfileSceneMap>(*store(), lastUsedScenesKey, ProfileSceneMap{}).entries;
}

void ProfileManager::setLastUsedScenes(const std::map<std::string, std::string>& scenes) {
  write(*store(), lastUsedScenesKey, ProfileSceneMap{scenes});
}

std::string ProfileManager::activeProfileID() const {
  return readOr<std::string>(*store(), activeProfileKey, std::string(firstTemplateID));
}

Profile ProfileManager::activeProfile() const {
  const std::string id = activeProfileID();
  for (Profile& profile : profiles()) {
    if (profile.id == id) return std::move(profile);
  }
  return Profile::templates().front();
}

void ProfileManager::storeActiveID(const std::string& id) { write(*store(), activeProfileKey, id); }

void ProfileManager::announceActiveChange(const std::string& previousID) {
  post(activeProfileChangedNotificationName);
  for (const Profile& profile : profiles()) {
    if (profile.id != previousID) continue;
    if (profile.aspectRatio() != activeProfile().aspectRatio()) post(aspectRatioChangedNotificationName);
    return;
  }
}

void ProfileManager::setActive(const std::string& profileID) {
  const std::string previous = activeProfileID();
  storeActiveID(profileID);
  announceActiveChange(previous);
}

void ProfileManager::switchAspectRatio(AspectRatio target) {
  const Profile active = activeProfile();
  const Profile::Resolution converted = active.resolution.converted(target);
  std::optional<std::string> found;
  for (const Profile& p : profiles()) {
    if (p.aspectRatio() == target && p.resolution == converted && p.frameRate == active.frameRate) {
      found = p.id;
      break;
    }
  }
  if (!found) {
    found = createProfile(active.name + " (" + std::string(title(target)) + ")", converted, active.frameRate).id;
  }
  const std::string previous = activeProfileID();
  storeActiveID(*found);
  announceActiveChange(previous);
}

Profile ProfileManager::createProfile(const std::string& name, Profile::Resolution resolution,
                                      Profile::FrameRate frameRate) {
  Profile profile(Uuid::random().toString(), name, resolution, frameRate, false);
  std::vector<Profile> all = profiles();
  all.push_back(profile);
  setProfiles(all);
  post(profilesUpdatedNotificationName);
  return profile;
}

void ProfileManager::updateProfile(const std::string& id, std::optional<std::string> name,
                                   std::optional<Profile::Resolution> resolution,
                                   std::optional<Profile::FrameRate> frameRate) {
  std::vector<Profile> all = profiles();
  auto it = std::find_if(all.begin(), all.end(), [&](const Profile& p) { return p.id == id; });
  if (it == all.end()) return;
  const AspectRatio before = it->aspectRatio();
  it->update(std::move(name), resolution, frameRate);
  const AspectRatio after = it->aspectRatio();
  setProfiles(all);
  post(profilesUpdatedNotificationName);
  if (id == activeProfileID()) {
    post(activeProfileChangedNotificationName);
    if (before != after) post(aspectRatioChangedNotificationName);
  }
}

void ProfileManager::delete_(const std::string& profileID) {
  std::vector<Profile> all = profiles();
  std::erase_if(all, [&](const Profile& p) { return p.id == profileID; });
  setProfiles(all);
  std::map<std::string, std::string> scenes = lastUsedScenes();
  if (scenes.erase(profileID) > 0) setLastUsedScenes(scenes);
  post(profilesUpdatedNotificationName);
}

void ProfileManager::migrateProfileNames() {
  const std::vector<Profile> templates = Profile::templates();
  for (const Profile& stored : profiles()) {
    for (const Profile& t : templates) {
      if (stored.id == t.id && stored.name != t.name) updateProfile(stored.id, t.name);
    }
  }
}

}  // namespace tav
