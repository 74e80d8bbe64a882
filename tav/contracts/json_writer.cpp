#include "tav/contracts/json_writer.hpp"

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace tav {

void JsonWriter::key(std::string_view name) {
  if (!first_) out_ += ',';
  first_ = false;
  quoted(name);
  out_ += ':';
  afterKey_ = true;
}

void JsonWriter::integer(std::int64_t value) {
  openValue();
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::unsignedInteger(std::uint64_t value) {
  openValue();
  char buffer[24];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::number(double value) {
  if (!std::isfinite(value)) throw std::domain_error("JSON cannot hold a NaN or an infinite number");
  openValue();
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::string(std::string_view value) {
  openValue();
  quoted(value);
}

void JsonWriter::quoted(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out_ += '"';
  std::size_t runStart = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out_.append(text.data() + runStart, i - runStart);
    runStart = i + 1;
    switch (c) {
      case '"': out_ += "\\\""; break;
      case '\\': out_ += "\\\\"; break;
      case '\b': out_ += "\\b"; break;
      case '\f': out_ += "\\f"; break;
      case '\n': out_ += "\\n"; break;
      case '\r': out_ += "\\r"; break;
      case '\t': out_ += "\\t"; break;
      default:
        out_ += "\\u00";
        out_ += kHex[c >> 4];
        out_ += kHex[c & 0xF];
    }
  }
  out_.append(text.data() + runStart, text.size() - runStart);
  out_ += '"';
}

void JsonWriter::raw(const JsonValue& value) {
  switch (value.kind()) {
    case boost::json::kind::null: null(); break;
    case boost::json::kind::bool_: boolean(value.get_bool()); break;
    case boost::json::kind::int64: integer(value.get_int64()); break;
    case boost::json::kind::uint64: unsignedInteger(value.get_uint64()); break;
    case boost::json::kind::double_: number(value.get_double()); break;
    case boost::json::kind::string: {
      const auto& s = value.get_string();
      string(std::string_view(s.data(), s.size()));
      break;
    }
    case boost::json::kind::array:
      beginArray();
      for (const auto& element : value.get_array()) raw(element);
      endArray();
      break;
    case boost::json::kind::object:
      beginObject();
      members(value.get_object());
      endObject();
      break;
  }
}

void JsonWriter::members(const JsonObject& object) {
  for (const auto& member : object) {
    key(std::string_view(member.key().data(), member.key().size()));
    raw(member.value());
  }
}

}  // namespace tav
