// The streaming JSON writer behind every document the library writes.
//
// Keys come out in the order the caller writes them (each record's coder fixes that order), numbers in
// their shortest exact form ("0.1", "1", "1.7777777777777777"), strings escaped per RFC 8259 without
// escaping "/". Unknown content (`AnyCodable`) is written back as it was read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_value.hpp"

namespace tav {

template <class T>
struct JsonCoder;

/// Writes compact JSON into a string owned by the caller. Not thread-safe; one document at a time.
/// The caller keeps the structure well formed (a key before each value in an object); the writer
/// places commas and colons.
class JsonWriter {
 public:
  explicit JsonWriter(std::string& out) : out_(out) {}

  void beginObject() { openValue(); out_ += '{'; first_ = true; }
  void endObject() { out_ += '}'; first_ = false; }
  void beginArray() { openValue(); out_ += '['; first_ = true; }
  void endArray() { out_ += ']'; first_ = false; }

  /// Starts a member of the current object; the next value written is its value.
  void key(std::string_view name);

  void null() { openValue(); out_ += "null"; }
  void boolean(bool value) { openValue(); out_ += value ? "true" : "false"; }
  void integer(std::int64_t value);
  void unsignedInteger(std::uint64_t value);
  /// Writes the shortest text that reads back as exactly `value`. JSON holds no NaN or infinity, and
  /// a save must not fail halfway: an infinity is written as the largest double of its sign
  /// (±1.7976931348623157e308) and a NaN as 0. Never throws.
  void number(double value);
  void string(std::string_view value);
  /// Writes any JSON value, keys in their stored order.
  void raw(const JsonValue& value);

  /// Writes `value` through its JsonCoder.
  template <class T>
  void value(const T& value) { JsonCoder<T>::encode(*this, value); }

  /// A member written always.
  template <class T>
  void field(std::string_view name, const T& v) { key(name); value(v); }

  /// A member written only when `v` holds a value (a std::optional or anything that tests and
  /// dereferences like one).
  template <class Optional>
  void optionalField(std::string_view name, const Optional& v) {
    if (v) field(name, *v);
  }

  /// Writes every member of `object` as a member of the current object, in stored order.
  void members(const JsonObject& object);

 private:
  void openValue() {
    if (afterKey_) {
      afterKey_ = false;
    } else if (!first_) {
      out_ += ',';
    }
    first_ = false;
  }
  void quoted(std::string_view text);

  std::string& out_;
  bool first_ = true;
  bool afterKey_ = false;
};

}  // namespace tav
