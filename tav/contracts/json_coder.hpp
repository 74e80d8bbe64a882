// How values become JSON and back.
//
// Every type that the library writes to JSON has one `JsonCoder<T>` specialisation with
//   static T decode(const JsonValue& json, const JsonPath& path);   // throws DecodingError
//   static void encode(JsonWriter& writer, const T& value);
// Records write their keys in their documented order and read with their documented leniency.
// This header provides the coders of the plain types, of lists and of UUIDs; enumerations with an
// EnumTraits table are coded by enum_table.hpp.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/json/monotonic_resource.hpp>

#include "tav/contracts/decoding_error.hpp"
#include "tav/contracts/json_parser.hpp"
#include "tav/contracts/json_path.hpp"
#include "tav/contracts/json_value.hpp"
#include "tav/contracts/json_writer.hpp"

namespace tav {

template <class T>
struct JsonCoder;

/// Reads `json` as a T, naming `path` in any error.
template <class T>
T decodeJson(const JsonValue& json, const JsonPath& path) {
  return JsonCoder<T>::decode(json, path);
}

/// Parses `text` and reads it as a T. Throws DecodingError for text that is not JSON or not a T.
template <class T>
T decodeJson(std::string_view text) {
  boost::json::monotonic_resource resource(text.size() * 2 + 1024);
  JsonValue json = parseJson(text, &resource);
  return JsonCoder<T>::decode(json, JsonPath::root());
}

/// Writes `value` as compact JSON.
template <class T>
std::string encodeJson(const T& value) {
  std::string out;
  JsonWriter writer(out);
  writer.value(value);
  return out;
}

/// A deep copy of `json` on the default allocator, safe to keep after the document it came from
/// (which may live on a monotonic resource) is gone.
inline AnyCodable keepJson(const JsonValue& json) { return AnyCodable(json, boost::json::storage_ptr()); }

namespace detail {
[[noreturn]] void throwExpected(const JsonPath& path, const char* what);
std::int64_t readInteger(const JsonValue& json, const JsonPath& path, std::int64_t min, std::int64_t max);
}  // namespace detail

template <>
struct JsonCoder<bool> {
  static bool decode(const JsonValue& json, const JsonPath& path) {
    if (!json.is_bool()) detail::throwExpected(path, "a Boolean");
    return json.get_bool();
  }
  static void encode(JsonWriter& w, bool v) { w.boolean(v); }
};

/// Integers read from any JSON number that holds an integral value in range (1.0 reads as 1).
template <>
struct JsonCoder<int> {
  static int decode(const JsonValue& json, const JsonPath& path) {
    return static_cast<int>(detail::readInteger(json, path, INT32_MIN, INT32_MAX));
  }
  static void encode(JsonWriter& w, int v) { w.integer(v); }
};

template <>
struct JsonCoder<std::int64_t> {
  static std::int64_t decode(const JsonValue& json, const JsonPath& path) {
    return detail::readInteger(json, path, INT64_MIN, INT64_MAX);
  }
  static void encode(JsonWriter& w, std::int64_t v) { w.integer(v); }
};

template <>
struct JsonCoder<std::uint32_t> {
  static std::uint32_t decode(const JsonValue& json, const JsonPath& path) {
    return static_cast<std::uint32_t>(detail::readInteger(json, path, 0, UINT32_MAX));
  }
  static void encode(JsonWriter& w, std::uint32_t v) { w.integer(v); }
};

template <>
struct JsonCoder<double> {
  static double decode(const JsonValue& json, const JsonPath& path) {
    if (json.is_double()) return json.get_double();
    if (json.is_int64()) return static_cast<double>(json.get_int64());
    if (json.is_uint64()) return static_cast<double>(json.get_uint64());
    detail::throwExpected(path, "a number");
  }
  static void encode(JsonWriter& w, double v) { w.number(v); }
};

/// Single precision, as audio levels are stored. Written through its exact double value's shortest
/// single-precision text, so 0.8f is written as 0.8.
template <>
struct JsonCoder<float> {
  static float decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, float v);
};

template <>
struct JsonCoder<std::string> {
  static std::string decode(const JsonValue& json, const JsonPath& path) {
    if (!json.is_string()) detail::throwExpected(path, "a string");
    const auto& s = json.get_string();
    return std::string(s.data(), s.size());
  }
  static void encode(JsonWriter& w, const std::string& v) { w.string(v); }
};

template <>
struct JsonCoder<AnyCodable> {
  static AnyCodable decode(const JsonValue& json, const JsonPath&) { return keepJson(json); }
  static void encode(JsonWriter& w, const AnyCodable& v) { w.raw(v); }
};

template <class T>
struct JsonCoder<std::vector<T>> {
  static std::vector<T> decode(const JsonValue& json, const JsonPath& path) {
    if (!json.is_array()) detail::throwExpected(path, "an array");
    const auto& array = json.get_array();
    std::vector<T> result;
    result.reserve(array.size());
    for (std::size_t i = 0; i < array.size(); ++i) result.push_back(JsonCoder<T>::decode(array[i], path.index(i)));
    return result;
  }
  static void encode(JsonWriter& w, const std::vector<T>& v) {
    w.beginArray();
    for (const auto& element : v) JsonCoder<T>::encode(w, element);
    w.endArray();
  }
};

/// Reads the members of one JSON object by key, naming the key's path in every error.
/// A key that is missing or holds null counts as absent for `optional` and `valueOr`; `required`
/// refuses both.
class JsonObjectReader {
 public:
  /// Throws DecodingError when `json` is not an object.
  JsonObjectReader(const JsonValue& json, const JsonPath& path) : path_(path) {
    if (!json.is_object()) detail::throwExpected(path, "an object");
    object_ = &json.get_object();
  }

  const JsonObject& object() const { return *object_; }
  const JsonPath& path() const { return path_; }

  /// The raw value under `key`, null included; nullptr when the key is missing.
  /// Records are usually read in the order they were written, so the member after the last one found
  /// is tried first; a miss falls back to a scan.
  const JsonValue* find(std::string_view key) const {
    const auto* members = object_->begin();
    const std::size_t count = object_->size();
    if (cursor_ < count && sameKey(members[cursor_], key)) return &members[cursor_++].value();
    for (std::size_t i = 0; i < count; ++i) {
      if (sameKey(members[i], key)) {
        cursor_ = i + 1;
        return &members[i].value();
      }
    }
    return nullptr;
  }
  bool contains(std::string_view key) const { return find(key) != nullptr; }

  template <class T>
  T required(std::string_view key) const {
    const JsonValue* json = find(key);
    if (json == nullptr) throw DecodingError(path_.key(key), "missing required key");
    return JsonCoder<T>::decode(*json, path_.key(key));
  }

  template <class T>
  std::optional<T> optional(std::string_view key) const {
    const JsonValue* json = find(key);
    if (json == nullptr || json->is_null()) return std::nullopt;
    return JsonCoder<T>::decode(*json, path_.key(key));
  }

  template <class T>
  T valueOr(std::string_view key, T fallback) const {
    const JsonValue* json = find(key);
    if (json == nullptr || json->is_null()) return fallback;
    return JsonCoder<T>::decode(*json, path_.key(key));
  }

 private:
  static bool sameKey(const boost::json::key_value_pair& member, std::string_view key) {
    auto k = member.key();
    return k.size() == key.size() && (key.empty() || (k[0] == key[0] && std::memcmp(k.data(), key.data(), key.size()) == 0));
  }

  const JsonObject* object_ = nullptr;
  const JsonPath& path_;
  mutable std::size_t cursor_ = 0;
};

}  // namespace tav
