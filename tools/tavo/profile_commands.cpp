#include "profile_commands.hpp"

#include <charconv>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "exit_status.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/platform/file_user_defaults.hpp"
#include "tav/profiles/profile_manager.hpp"

namespace tav::tool {
namespace {

struct ProfileOptions {
  std::string defaultsFile;  // empty: the user's settings file
  std::string name;
  std::string resolution;
  double frameRate = 0;
  std::string id;
  std::string aspect;
};

/// The settings file of a command and the profile manager over it.
struct Settings {
  std::shared_ptr<FileUserDefaults> defaults;
  ProfileManager manager;
};

Settings settingsFor(const ProfileOptions& options, NotificationCenter& center) {
  std::filesystem::path file =
      options.defaultsFile.empty() ? FileUserDefaults::defaultPath() : std::filesystem::path(options.defaultsFile);
  auto defaults = std::make_shared<FileUserDefaults>(file);
  return Settings{defaults, ProfileManager(defaults, &center)};
}

/// After a command that changes the settings: true when the file holds the change. Otherwise reports
/// the file and the reason, and the command exits with kCannotCreate instead of showing a result.
bool saved(FileUserDefaults& defaults) {
  if (defaults.synchronize()) return true;
  std::cerr << "tavo: " << defaults.file().string() << ": cannot create output: "
            << defaults.saveError().value_or("the settings could not be saved") << '\n';
  return false;
}

void printProfile(const Profile& profile) { std::cout << encodeJson(profile) << '\n'; }

/// {"active": id, "aspectRatio": raw, "profiles": [...]}: the id and aspect of the profile in effect
/// (the first built-in one when the stored id names none), then every profile in order.
void printList(const ProfileManager& manager) {
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.field("active", manager.activeProfile().id);
  w.field("aspectRatio", std::string(rawValue(manager.aspectRatio())));
  w.field("profiles", manager.profiles());
  w.endObject();
  std::cout << out << '\n';
}

/// "1920x1080" as a resolution of positive sides.
std::optional<Profile::Resolution> parseResolution(const std::string& text) {
  const auto x = text.find('x');
  if (x == std::string::npos) return std::nullopt;
  Profile::Resolution r;
  const char* begin = text.data();
  const char* end = text.data() + text.size();
  auto [p1, e1] = std::from_chars(begin, begin + x, r.width);
  auto [p2, e2] = std::from_chars(begin + x + 1, end, r.height);
  if (e1 != std::errc() || e2 != std::errc() || p1 != begin + x || p2 != end || r.width <= 0 || r.height <= 0) {
    return std::nullopt;
  }
  return r;
}

}  // namespace

void addProfileCommands(CLI::App& app, int& status) {
  auto options = std::make_shared<ProfileOptions>();
  auto* profiles = app.add_subcommand("profiles", "List, add and select output profiles in the user's settings");
  profiles->require_subcommand(1);
  profiles->fallthrough();  // --defaults may also follow the sub-command
  profiles->add_option("--defaults", options->defaultsFile,
                       "The settings file (default: $XDG_CONFIG_HOME/tavo/defaults.json)");

  auto* list = profiles->add_subcommand("list", "Show the profiles and the active one as JSON");
  list->callback([options, &status] {
    NotificationCenter center;
    printList(settingsFor(*options, center).manager);
    status = kSuccess;
  });

  auto* add = profiles->add_subcommand("add", "Add a profile and show it");
  add->add_option("NAME", options->name, "The name shown to the user")->required();
  add->add_option("RESOLUTION", options->resolution, "WIDTHxHEIGHT in pixels, such as 1920x1080")->required();
  add->add_option("FPS", options->frameRate, "Frames per second, such as 30 or 29.97")->required();
  add->callback([options, &status] {
    std::optional<Profile::Resolution> resolution = parseResolution(options->resolution);
    if (!resolution) {
      std::cerr << "tavo: not a resolution: \"" << options->resolution << "\" (expected WIDTHxHEIGHT, such as 1920x1080)\n";
      status = kUsage;
      return;
    }
    if (!(options->frameRate > 0 && options->frameRate <= 1000)) {
      std::cerr << "tavo: not a frame rate: " << options->frameRate << " (expected more than 0 and at most 1000)\n";
      status = kUsage;
      return;
    }
    NotificationCenter center;
    Settings settings = settingsFor(*options, center);
    Profile made = settings.manager.createProfile(options->name, *resolution, Profile::FrameRate{options->frameRate});
    if (!saved(*settings.defaults)) {
      status = kCannotCreate;
      return;
    }
    printProfile(made);
    status = kSuccess;
  });

  auto* select = profiles->add_subcommand("select", "Make a stored profile the active one and show it");
  select->add_option("ID", options->id, "The profile's id, as list shows it")->required();
  select->callback([options, &status] {
    NotificationCenter center;
    Settings settings = settingsFor(*options, center);
    ProfileManager& manager = settings.manager;
    for (const Profile& profile : manager.profiles()) {
      if (profile.id != options->id) continue;
      manager.setActive(profile.id);
      if (!saved(*settings.defaults)) {
        status = kCannotCreate;
        return;
      }
      printProfile(manager.activeProfile());
      status = kSuccess;
      return;
    }
    std::cerr << "tavo: no profile has the id \"" << options->id << "\"\n";
    status = kDataError;
  });

  auto* switchAspect = profiles->add_subcommand(
      "switch-aspect", "Switch to a profile of another aspect ratio (made when there is none) and show it");
  switchAspect->add_option("ASPECT", options->aspect, "landscape, portrait, fourByThree, threeByFour or square")
      ->required();
  switchAspect->callback([options, &status] {
    std::optional<AspectRatio> aspect = enumFromRawValue<AspectRatio>(options->aspect);
    if (!aspect || *aspect == AspectRatio::unknown) {
      std::cerr << "tavo: not an aspect ratio: \"" << options->aspect
                << "\" (expected landscape, portrait, fourByThree, threeByFour or square)\n";
      status = kUsage;
      return;
    }
    NotificationCenter center;
    Settings settings = settingsFor(*options, center);
    settings.manager.switchAspectRatio(*aspect);
    if (!saved(*settings.defaults)) {
      status = kCannotCreate;
      return;
    }
    printProfile(settings.manager.activeProfile());
    status = kSuccess;
  });
}

}  // namespace tav::tool
