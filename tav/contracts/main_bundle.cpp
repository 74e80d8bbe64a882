#include "tav/contracts/main_bundle.hpp"

#include <cstdlib>
#include <mutex>

namespace tav {
namespace {

/// "de_DE.UTF-8" gives "de"; "C", "POSIX" and nothing give "en".
std::string languageFromEnvironment() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    std::string text(value);
    text = text.substr(0, text.find_first_of("_.@"));
    if (text.empty() || text == "C" || text == "POSIX") return "en";
    return text;
  }
  return "en";
}

struct Installed {
  std::mutex mutex;
  std::optional<MainBundle> bundle;  // guarded by mutex
};

Installed& installed() {
  static Installed value;
  return value;
}

}  // namespace

MainBundle MainBundle::current() {
  Installed& state = installed();
  std::lock_guard lock(state.mutex);
  if (!state.bundle) state.bundle = MainBundle{std::nullopt, {languageFromEnvironment()}};
  return *state.bundle;
}

void MainBundle::setCurrent(MainBundle bundle) {
  Installed& state = installed();
  std::lock_guard lock(state.mutex);
  state.bundle = std::move(bundle);
}

}  // namespace tav
