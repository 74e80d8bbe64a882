// A three-way optional for partial updates: `some` sets a value, `none` leaves it alone, `clear`
// removes it. Device configurations travel as records of these.
#pragma once

#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <variant>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

template <class T>
class OptionalUpdate {
 public:
  /// `none`: leave the setting as it is.
  OptionalUpdate() : storage_(std::in_place_index<1>) {}

  static OptionalUpdate some(T value) { return OptionalUpdate(std::in_place_index<0>, std::move(value)); }
  static OptionalUpdate none() { return OptionalUpdate(); }
  static OptionalUpdate clear() { return OptionalUpdate(std::in_place_index<2>); }

  bool isSome() const { return storage_.index() == 0; }
  bool isNone() const { return storage_.index() == 1; }
  bool isClear() const { return storage_.index() == 2; }

  /// The payload of `some`, else absent.
  std::optional<T> value() const {
    if (const T* v = std::get_if<0>(&storage_)) return *v;
    return std::nullopt;
  }
  /// The payload of `some` in place, else nullptr.
  const T* valuePointer() const { return std::get_if<0>(&storage_); }

  /// The case order is some, none, clear; equal when the cases match and, for `some`, the payloads.
  friend bool operator==(const OptionalUpdate&, const OptionalUpdate&) = default;

  /// 0 for some, 1 for none, 2 for clear.
  std::size_t caseIndex() const { return storage_.index(); }

 private:
  struct None {
    friend bool operator==(None, None) { return true; }
  };
  struct Clear {
    friend bool operator==(Clear, Clear) { return true; }
  };

  template <std::size_t I, class... Args>
  explicit OptionalUpdate(std::in_place_index_t<I> index, Args&&... args) : storage_(index, std::forward<Args>(args)...) {}

  std::variant<T, None, Clear> storage_;
};

/// What a JSON null under a key means when reading an update field.
enum class OptionalUpdateNull {
  /// null is `clear`: the update's own JSON form.
  clear,
  /// null is `none`, as device configurations read it.
  none,
};

/// What happens to `clear` when writing an update field.
enum class OptionalUpdateClear {
  /// `clear` is written as null: the update's own JSON form.
  writeNull,
  /// `clear` is left out like `none`, as device configurations write it.
  omit,
};

/// Reads an update from the value under a key that is present. null follows `nullRule`; a value that
/// doesn't read as T is `none` (its DecodingError is swallowed).
template <class T>
OptionalUpdate<T> readOptionalUpdate(const JsonValue& json, const JsonPath& path,
                                     OptionalUpdateNull nullRule = OptionalUpdateNull::clear) {
  if (json.is_null()) {
    return nullRule == OptionalUpdateNull::clear ? OptionalUpdate<T>::clear() : OptionalUpdate<T>::none();
  }
  try {
    return OptionalUpdate<T>::some(JsonCoder<T>::decode(json, path));
  } catch (const DecodingError&) {
    return OptionalUpdate<T>::none();
  }
}

/// Reads the update under `key` of an object; a missing key is `none`.
template <class T>
OptionalUpdate<T> readOptionalUpdateField(const JsonObjectReader& reader, std::string_view key,
                                          OptionalUpdateNull nullRule = OptionalUpdateNull::clear) {
  const JsonValue* json = reader.find(key);
  if (json == nullptr) return OptionalUpdate<T>::none();
  return readOptionalUpdate<T>(*json, reader.path().key(key), nullRule);
}

/// Writes the member `key` for an update: `some` as its value; `none` not at all; `clear` as null or
/// not at all, by `clearRule`.
template <class T>
void writeOptionalUpdateField(JsonWriter& w, std::string_view key, const OptionalUpdate<T>& update,
                              OptionalUpdateClear clearRule = OptionalUpdateClear::writeNull) {
  if (const T* v = update.valuePointer()) {
    w.field(key, *v);
  } else if (update.isClear() && clearRule == OptionalUpdateClear::writeNull) {
    w.key(key);
    w.null();
  }
}

/// The update's own JSON form as one value: some(v) is v, clear is null. `none` has no JSON form of
/// its own, since it is written as nothing: a record holding updates writes them through
/// writeOptionalUpdateField, and encoding `none` here throws std::logic_error.
template <class T>
struct JsonCoder<OptionalUpdate<T>> {
  static OptionalUpdate<T> decode(const JsonValue& json, const JsonPath& path) {
    return readOptionalUpdate<T>(json, path, OptionalUpdateNull::clear);
  }
  static void encode(JsonWriter& w, const OptionalUpdate<T>& v) {
    if (const T* value = v.valuePointer()) {
      JsonCoder<T>::encode(w, *value);
    } else if (v.isClear()) {
      w.null();
    } else {
      throw std::logic_error("OptionalUpdate.none has no JSON value; skip the member instead");
    }
  }
};

}  // namespace tav

template <class T>
struct std::hash<tav::OptionalUpdate<T>> {
  std::size_t operator()(const tav::OptionalUpdate<T>& u) const noexcept {
    std::size_t seed = u.caseIndex();
    if (const T* v = u.valuePointer()) tav::hashCombine(seed, *v);
    return seed;
  }
};
