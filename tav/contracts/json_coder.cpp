#include "tav/contracts/json_coder.hpp"

#include <charconv>
#include <cmath>
#include <limits>

namespace tav {
namespace detail {

void throwExpected(const JsonPath& path, const char* what) {
  throw DecodingError(path, std::string("expected ") + what);
}

std::int64_t readInteger(const JsonValue& json, const JsonPath& path, std::int64_t min, std::int64_t max) {
  if (json.is_int64()) {
    std::int64_t v = json.get_int64();
    if (v >= min && v <= max) return v;
  } else if (json.is_uint64()) {
    std::uint64_t v = json.get_uint64();
    if (v <= static_cast<std::uint64_t>(max)) return static_cast<std::int64_t>(v);
  } else if (json.is_double()) {
    double v = json.get_double();
    // An integral double within range reads as that integer, as 1.0 does in every JSON reader we
    // share documents with.
    if (std::trunc(v) == v && v >= static_cast<double>(min) && v <= static_cast<double>(max) &&
        v < 9.2233720368547758e18) {
      return static_cast<std::int64_t>(v);
    }
  }
  throwExpected(path, "an integer");
}

}  // namespace detail

float JsonCoder<float>::decode(const JsonValue& json, const JsonPath& path) {
  double v = JsonCoder<double>::decode(json, path);
  if (std::abs(v) > static_cast<double>(std::numeric_limits<float>::max())) {
    throw DecodingError(path, "number does not fit in single precision");
  }
  return static_cast<float>(v);
}

void JsonCoder<float>::encode(JsonWriter& w, float v) {
  // The shortest text of the single-precision value, read back as a double: 0.8f is written "0.8".
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
  double asWritten = static_cast<double>(v);
  std::from_chars(buffer, result.ptr, asWritten);
  w.number(asWritten);
}

}  // namespace tav
