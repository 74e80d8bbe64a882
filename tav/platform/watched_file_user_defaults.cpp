#include "tav/platform/watched_file_user_defaults.hpp"

#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include "tav/contracts/json_parser.hpp"
#include "tav/contracts/logger.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("WatchedFileUserDefaults");
  return instance;
}

/// While set on a thread, store() and erase() only tell the handlers: the value is already in place.
thread_local bool announcingReload = false;

/// The keys of the file's JSON object; absent when the file is there but does not read as one (an
/// absent file is an empty store).
std::optional<std::vector<std::string>> keysInFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return std::vector<std::string>{};
  const std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  if (text.empty()) return std::nullopt;
  try {
    const JsonValue json = parseJson(text);
    if (!json.is_object()) return std::nullopt;
    std::vector<std::string> keys;
    for (const auto& member : json.get_object()) keys.emplace_back(member.key());
    return keys;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

WatchedFileUserDefaults::WatchedFileUserDefaults(std::filesystem::path file)
    : file_(std::move(file)), current_(std::make_shared<FileUserDefaults>(file_)) {
  if (auto keys = keysInFile(file_)) knownKeys_.insert(keys->begin(), keys->end());
}

std::shared_ptr<WatchedFileUserDefaults> WatchedFileUserDefaults::open(std::filesystem::path file) {
  std::shared_ptr<WatchedFileUserDefaults> store(new WatchedFileUserDefaults(std::move(file)));
  // An observer's callback may drop the last other reference while the change is announced; the
  // store then outlives the announcement and is destroyed on the watching thread afterwards.
  store->watcher_ = watchFile(store->file_, [weak = store->weak_from_this()] {
    if (auto self = weak.lock()) self->reload();
  });
  return store;
}

// The watcher goes first, so that no reload starts on a store being destroyed.
WatchedFileUserDefaults::~WatchedFileUserDefaults() { watcher_.reset(); }

std::optional<JsonValue> WatchedFileUserDefaults::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  return current_->value(key);
}

bool WatchedFileUserDefaults::synchronize() {
  std::lock_guard lock(mutex_);
  return current_->synchronize();
}

void WatchedFileUserDefaults::store(std::string_view key, const JsonValue& value) {
  if (announcingReload) return;
  std::lock_guard lock(mutex_);
  knownKeys_.emplace(key);
  current_->set(key, value);
}

void WatchedFileUserDefaults::erase(std::string_view key) {
  if (announcingReload) return;
  std::lock_guard lock(mutex_);
  current_->remove(key);
}

std::size_t WatchedFileUserDefaults::reload() {
  struct Change {
    std::string key;
    std::optional<JsonValue> value;
  };
  std::vector<Change> changes;
  {
    std::lock_guard lock(mutex_);
    const auto keys = keysInFile(file_);
    if (!keys) {
      logger().info("{} changed but does not read as settings now; keeping the values read before", file_.string());
      return 0;
    }
    knownKeys_.insert(keys->begin(), keys->end());
    auto fresh = std::make_shared<FileUserDefaults>(file_);
    for (const auto& key : knownKeys_) {
      std::optional<JsonValue> before = current_->value(key);
      std::optional<JsonValue> after = fresh->value(key);
      if (before != after) changes.push_back({key, std::move(after)});
    }
    current_ = std::move(fresh);
  }
  // The handlers learn of each change through the store's own announcement, outside the lock.
  struct Announcing {
    Announcing() { announcingReload = true; }
    ~Announcing() { announcingReload = false; }
  } announcing;
  for (const auto& change : changes) {
    if (change.value) {
      set(change.key, *change.value);
    } else {
      remove(change.key);
    }
  }
  if (!changes.empty()) logger().debug("{}: {} keys changed by another writer", file_.string(), changes.size());
  return changes.size();
}

}  // namespace tav
