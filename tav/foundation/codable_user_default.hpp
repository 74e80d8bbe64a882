// Typed handles on one key of a UserDefaults store.
//
// CodableUserDefault<T> stores any value that has a JsonCoder as JSON under its key; UserDefault<T> is
// the same handle limited to the plain values a settings store holds directly (texts, lists of texts,
// Booleans, numbers). A std::optional<T> is stored as present or absent: setting an empty optional
// removes the key.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/user_defaults.hpp"

namespace tav {

namespace detail {

template <class T>
struct IsStdOptional : std::false_type {};
template <class U>
struct IsStdOptional<std::optional<U>> : std::true_type {
  using Value = U;
};

/// `json` from compact JSON text, on the default allocator (a store keeps it).
JsonValue storedJson(std::string_view text);
/// One debug line for a stored value that no longer reads as its type (an older or newer format).
void logUnreadableDefault(std::string_view key, const std::exception& error);

}  // namespace detail

/// A typed value under `key` of `userDefaults`. Thread-safe as far as the store is: get and set may be
/// called from any thread. The handle itself holds no state but its configuration.
template <class T>
class CodableUserDefault {
 public:
  /// Throws std::invalid_argument for a null store.
  CodableUserDefault(std::string key, T defaultValue,
                     std::shared_ptr<UserDefaults> userDefaults = UserDefaults::standard(),
                     bool synchronizes = false)
      : key_(std::move(key)),
        defaultValue_(std::move(defaultValue)),
        userDefaults_(std::move(userDefaults)),
        synchronizes_(synchronizes) {
    if (!userDefaults_) throw std::invalid_argument("CodableUserDefault \"" + key_ + "\" needs a store");
  }

  const std::string& key() const { return key_; }
  const T& defaultValue() const { return defaultValue_; }
  const std::shared_ptr<UserDefaults>& userDefaults() const { return userDefaults_; }
  bool synchronizes() const { return synchronizes_; }

  /// The stored value, or the default when nothing readable is stored under the key. For an optional
  /// T a stored null reads as empty; a missing key reads as the default.
  T get() const {
    std::optional<JsonValue> stored = userDefaults_->value(key_);
    if (!stored) return defaultValue_;
    try {
      if constexpr (detail::IsStdOptional<T>::value) {
        if (stored->is_null()) return T();
        return T(JsonCoder<typename detail::IsStdOptional<T>::Value>::decode(*stored, JsonPath::root()));
      } else {
        return JsonCoder<T>::decode(*stored, JsonPath::root());
      }
    } catch (const DecodingError& error) {
      detail::logUnreadableDefault(key_, error);
      return defaultValue_;
    }
  }

  /// Stores `value` as JSON under the key (removes the key for an empty optional), then asks the store
  /// to persist when the handle synchronizes.
  void set(const T& value) {
    if constexpr (detail::IsStdOptional<T>::value) {
      if (!value) {
        userDefaults_->remove(key_);
      } else {
        userDefaults_->set(key_, detail::storedJson(encodeJson(*value)));
      }
    } else {
      userDefaults_->set(key_, detail::storedJson(encodeJson(value)));
    }
    if (synchronizes_) userDefaults_->synchronize();
  }

 private:
  std::string key_;
  T defaultValue_;
  std::shared_ptr<UserDefaults> userDefaults_;
  bool synchronizes_;
};

namespace detail {
template <class T>
concept PlainDefault = std::is_same_v<T, std::string> || std::is_same_v<T, std::vector<std::string>> ||
                       std::is_same_v<T, bool> || std::is_same_v<T, int> || std::is_same_v<T, double> ||
                       std::is_same_v<T, std::int64_t>;
template <class T>
concept PlainDefaultOrOptional = PlainDefault<T> || (IsStdOptional<T>::value && PlainDefault<typename IsStdOptional<T>::Value>);
}  // namespace detail

/// A handle on a plain value: a text, a list of texts, a Boolean or a number, or an optional of one.
/// Numbers read leniently across their JSON forms (1.0 reads as the integer 1; an integer reads as
/// a double); a value of another kind reads as the default.
template <detail::PlainDefaultOrOptional T>
class UserDefault : public CodableUserDefault<T> {
 public:
  using CodableUserDefault<T>::CodableUserDefault;
};

}  // namespace tav
