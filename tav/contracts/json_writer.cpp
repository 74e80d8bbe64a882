#include "tav/contracts/json_writer.hpp"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <cmath>
#include <limits>

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
  // JSON has no NaN or infinity. Geometry pushed past the range of a double by arithmetic is clamped
  // to the nearest number JSON holds, so a save never fails halfway and the file reads back.
  if (std::isnan(value)) {
    value = 0;
  } else if (std::isinf(value)) {
    value = std::copysign(std::numeric_limits<double>::max(), value);
  }
  openValue();
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out_.append(buffer, result.ptr);
}

void JsonWriter::string(std::string_view value) {
  openValue();
  quoted(value);
}

namespace {

// True for the bytes a JSON string must escape: control characters, '"' and '\\'.
constexpr std::array<bool, 256> kNeedsEscape = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c < 0x20; ++c) table[static_cast<std::size_t>(c)] = true;
  table['"'] = true;
  table['\\'] = true;
  return table;
}();

// True when one of the eight bytes of `word` needs escaping (a control character, '"' or '\\'):
// most text has none, and is then checked eight bytes at a time.
inline bool anyNeedsEscape(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kHighs = 0x8080808080808080ULL;
  auto hasZeroByte = [](std::uint64_t x) { return (x - kOnes) & ~x & kHighs; };
  std::uint64_t below0x20 = (word - kOnes * 0x20) & ~word & kHighs;
  return (below0x20 | hasZeroByte(word ^ (kOnes * '"')) | hasZeroByte(word ^ (kOnes * '\\'))) != 0;
}

}  // namespace

void JsonWriter::quoted(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out_ += '"';
  const char* data = text.data();
  const std::size_t size = text.size();
  std::size_t runStart = 0;
  for (std::size_t i = 0; i < size; ++i) {
    if (i + 8 <= size) {
      std::uint64_t word;
      std::memcpy(&word, data + i, 8);
      if (!anyNeedsEscape(word)) {
        i += 7;
        continue;
      }
    }
    auto c = static_cast<unsigned char>(data[i]);
    if (!kNeedsEscape[c]) continue;
    out_.append(data + runStart, i - runStart);
    runStart = i + 1;
    switch (c) {
      case '"': out_ += "\\\""; break;
      case '\\': out_ += "\\\\"; break;
      case '\b': out_ += "\\b"; break;
      case '\f': out_ += "\\f"; break;
      case '\n': out_ += "\\n"; break;
      case '\r': out_ += "\\r"; break;
      case '\t': out_ += "\\t"; break;
      default: {
        const char escape[6] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF]};
        out_.append(escape, sizeof escape);
      }
    }
  }
  out_.append(data + runStart, size - runStart);
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
