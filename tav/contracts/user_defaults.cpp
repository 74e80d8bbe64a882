#include "tav/contracts/user_defaults.hpp"

#include <vector>

#include "tav/contracts/json_coder.hpp"

namespace tav {
namespace {

std::mutex standardMutex;
std::shared_ptr<UserDefaults> standardStore;  // guarded by standardMutex

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::standard() {
  std::lock_guard lock(standardMutex);
  if (!standardStore) standardStore = std::make_shared<InMemoryUserDefaults>();
  return standardStore;
}

void UserDefaults::setStandard(std::shared_ptr<UserDefaults> store) {
  std::shared_ptr<UserDefaults> previous;
  {
    std::lock_guard lock(standardMutex);
    previous = std::exchange(standardStore, std::move(store));
  }
}

UserDefaults::ChangeHandlerID UserDefaults::addChangeHandler(ChangeHandler handler) {
  std::lock_guard lock(handlersMutex_);
  ChangeHandlerID id = nextHandlerID_++;
  handlers_.emplace(id, std::make_shared<const ChangeHandler>(std::move(handler)));
  return id;
}

void UserDefaults::removeChangeHandler(ChangeHandlerID id) {
  std::lock_guard lock(handlersMutex_);
  handlers_.erase(id);
}

void UserDefaults::notifyChanged() {
  // Handlers run outside the lock, so a handler may read the store or add and remove handlers.
  std::vector<std::shared_ptr<const ChangeHandler>> toCall;
  {
    std::lock_guard lock(handlersMutex_);
    toCall.reserve(handlers_.size());
    for (const auto& entry : handlers_) toCall.push_back(entry.second);
  }
  for (const auto& handler : toCall) {
    if (*handler) (*handler)();
  }
}

InMemoryUserDefaults::InMemoryUserDefaults(const JsonObject& contents) {
  for (const auto& member : contents) values_.emplace(member.key(), keepJson(member.value()));
}

std::optional<JsonValue> InMemoryUserDefaults::value(std::string_view key) const {
  std::lock_guard lock(mutex_);
  const JsonValue* found = values_.if_contains(key);
  if (found == nullptr) return std::nullopt;
  return keepJson(*found);
}

void InMemoryUserDefaults::store(std::string_view key, const JsonValue& value) {
  JsonValue copy = keepJson(value);
  std::lock_guard lock(mutex_);
  values_[key] = std::move(copy);
}

void InMemoryUserDefaults::erase(std::string_view key) {
  std::lock_guard lock(mutex_);
  values_.erase(key);
}

}  // namespace tav
