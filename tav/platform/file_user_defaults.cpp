#include "tav/platform/file_user_defaults.hpp"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include <boost/json/monotonic_resource.hpp>
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <pwd.h>
#include <unistd.h>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/json_parser_keeping_out_of_range.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/platform/atomic_file.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("FileUserDefaults");
  return instance;
}

std::filesystem::path homeDirectory() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
  if (const passwd* entry = ::getpwuid(::getuid()); entry != nullptr && entry->pw_dir != nullptr) {
    return entry->pw_dir;
  }
  return std::filesystem::current_path();
}

/// "20240501T101502.123Z": sortable, free of characters that file systems or shells dislike.
std::string utcTimestamp() {
  auto now = std::chrono::system_clock::now();
  auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  return fmt::format("{:%Y%m%dT%H%M%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(now)),
                     milliseconds);
}

/// True when `value` holds a number JSON cannot write back (read from a number beyond a double's range).
bool holdsNonFiniteNumber(const JsonValue& value) {
  switch (value.kind()) {
    case boost::json::kind::double_: return !std::isfinite(value.get_double());
    case boost::json::kind::array:
      for (const auto& element : value.get_array()) {
        if (holdsNonFiniteNumber(element)) return true;
      }
      return false;
    case boost::json::kind::object:
      for (const auto& member : value.get_object()) {
        if (holdsNonFiniteNumber(member.value())) return true;
      }
      return false;
    default: return false;
  }
}

}  // namespace

FileUserDefaults::FileUserDefaults(std::filesystem::path file) : file_(std::move(file)) {
  // A process killed while saving leaves its temporary file beside the settings file.
  for (const auto& stale : removeStaleTemporaryFiles(file_)) {
    logger().info("removed {}, left by a save that was cut off", stale.string());
  }
  load();
}

std::optional<std::string> FileUserDefaults::saveError() const {
  std::lock_guard lock(mutex_);
  return saveError_;
}

std::filesystem::path FileUserDefaults::defaultPath() {
  // The XDG rules ignore a relative XDG_CONFIG_HOME.
  const char* configHome = std::getenv("XDG_CONFIG_HOME");
  std::filesystem::path base;
  if (configHome != nullptr && *configHome != '\0' && std::filesystem::path(configHome).is_absolute()) {
    base = configHome;
  } else {
    base = homeDirectory() / ".config";
  }
  return base / "tavo" / "defaults.json";
}

void FileUserDefaults::load() {
  std::lock_guard lock(mutex_);
  std::string text;
  try {
    text = readWholeFile(file_);
  } catch (const std::system_error& error) {
    if (error.code() == std::errc::no_such_file_or_directory) return;  // a first start
    // The file is there but cannot be read: writing over it could destroy settings that a fix of
    // its permissions would bring back.
    logger().error("cannot read the settings file {}: {}; settings will not be saved this session",
                   file_.string(), error.code().message());
    writable_ = false;
    saveError_ = "cannot read " + file_.string() + " (" + error.code().message() + "), so it is not overwritten";
    return;
  }
  try {
    boost::json::monotonic_resource resource(text.size() * 2 + 1024);
    bool sawOutOfRange = false;
    JsonValue json = parseJsonKeepingOutOfRange(text, &resource, sawOutOfRange);
    if (!json.is_object()) {
      keepAside("the file does not hold a JSON object");
      return;
    }
    for (const auto& member : json.get_object()) {
      // Each key is a setting of its own: one value no double can hold loses that setting alone.
      if (sawOutOfRange && holdsNonFiniteNumber(member.value())) {
        logger().error("the settings file {} holds a number out of range under \"{}\"; that setting reads as absent",
                       file_.string(), std::string_view(member.key().data(), member.key().size()));
        continue;
      }
      values_.emplace(member.key(), keepJson(member.value()));
    }
  } catch (const DecodingError& error) {
    keepAside(text.empty() ? std::string("the file is empty") : error.what());
  }
}

void FileUserDefaults::keepAside(const std::string& reason) {
  std::filesystem::path aside = file_;
  aside += ".corrupt-" + utcTimestamp();
  // Never replace a file kept aside before.
  std::error_code error;
  for (int suffix = 1; std::filesystem::exists(aside, error); ++suffix) {
    aside = file_;
    aside += ".corrupt-" + utcTimestamp() + "-" + std::to_string(suffix);
  }
  std::filesystem::rename(file_, aside, error);
  if (error) {
    logger().error("the settings file {} is damaged ({}) and cannot be moved aside ({}); starting with "
                   "default settings, which will not be saved this session",
                   file_.string(), reason, error.message());
    writable_ = false;
    saveError_ = file_.string() + " is damaged and cannot be moved aside (" + error.message() + ")";
    return;
  }
  logger().error("the settings file {} is damaged ({}); kept it as {} and starting with default settings",
                 file_.string(), reason, aside.string());
}

std::optional<JsonValue> FileUserDefaults::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  const JsonValue* found = values_.if_contains(key);
  if (found == nullptr) return std::nullopt;
  return keepJson(*found);
}

void FileUserDefaults::store(std::string_view key, const JsonValue& value) {
  JsonValue copy = keepJson(value);
  std::lock_guard lock(mutex_);
  values_[key] = std::move(copy);
  unsaved_ = true;
  persist();
}

void FileUserDefaults::erase(std::string_view key) {
  std::lock_guard lock(mutex_);
  if (!values_.erase(key)) return;
  unsaved_ = true;
  persist();
}

bool FileUserDefaults::synchronize() {
  std::lock_guard lock(mutex_);
  if (!unsaved_) return writable_;
  return persist();
}

bool FileUserDefaults::persist() {
  if (!writable_) return false;
  std::string text;
  JsonWriter writer(text);
  writer.beginObject();
  writer.members(values_);
  writer.endObject();
  text += '\n';
  try {
    if (file_.has_parent_path()) std::filesystem::create_directories(file_.parent_path());
    // Settings may hold account details: readable by the user alone.
    writeFileAtomically(file_, text, 0600);
  } catch (const std::system_error& error) {
    logger().error("cannot save the settings file {}: {}", file_.string(), error.what());
    saveError_ = error.what();
    return false;
  }
  unsaved_ = false;
  saveError_.reset();
  return true;
}

}  // namespace tav
