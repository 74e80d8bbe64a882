#include "tav/contracts/json_parser.hpp"
#include "tav/contracts/json_parser_keeping_out_of_range.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/error.hpp>
#include <boost/json/value_stack.hpp>

#include "tav/contracts/decoding_error.hpp"
#include "tav/contracts/json_path.hpp"

namespace tav {
namespace {

// The one fault of a number the tokenizer accepts but a double cannot hold.
constexpr const char* kNumberOutOfRange =
    "number out of range: a double cannot hold it (its magnitude is at most 1.7976931348623157e308)";

// The value of a number's text, read exactly. Absent when its magnitude is beyond the largest double;
// a number too small to tell from zero reads as the nearest double (0 or a subnormal), as it would
// anywhere else.
std::optional<double> exactDouble(std::string_view text, double approximate) {
  double exact = approximate;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), exact);
  if (ec == std::errc() && end == text.data() + text.size()) return exact;
  if (ec == std::errc::result_out_of_range) {
    // from_chars does not say which way it left the range: strtod does (HUGE_VAL or a tiny value).
    const std::string copy(text);
    const double rounded = std::strtod(copy.c_str(), nullptr);
    if (std::isfinite(rounded)) return rounded;
    return std::nullopt;
  }
  if (!std::isfinite(approximate)) return std::nullopt;
  return approximate;
}

// Builds the tree on a value_stack exactly as Boost.JSON's own parser does, except for doubles, which
// are read exactly and refused when a double cannot hold them.
class ExactNumberHandler {
 public:
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  ExactNumberHandler(boost::json::storage_ptr storage, bool keepOutOfRange) : keepOutOfRange_(keepOutOfRange) {
    stack_.reset(std::move(storage));
  }

  bool on_document_begin(boost::json::error_code&) { return true; }
  bool on_document_end(boost::json::error_code&) { return true; }
  bool on_object_begin(boost::json::error_code&) { return true; }
  bool on_object_end(std::size_t n, boost::json::error_code&) {
    stack_.push_object(n);
    return true;
  }
  bool on_array_begin(boost::json::error_code&) { return true; }
  bool on_array_end(std::size_t n, boost::json::error_code&) {
    stack_.push_array(n);
    return true;
  }
  bool on_key_part(boost::json::string_view s, std::size_t, boost::json::error_code&) {
    stack_.push_chars(s);
    return true;
  }
  bool on_key(boost::json::string_view s, std::size_t, boost::json::error_code&) {
    stack_.push_key(s);
    return true;
  }
  bool on_string_part(boost::json::string_view s, std::size_t, boost::json::error_code&) {
    stack_.push_chars(s);
    return true;
  }
  bool on_string(boost::json::string_view s, std::size_t, boost::json::error_code&) {
    stack_.push_string(s);
    return true;
  }
  bool on_number_part(boost::json::string_view s, boost::json::error_code&) {
    numberText_.append(s.data(), s.size());
    return true;
  }
  bool on_int64(std::int64_t i, boost::json::string_view, boost::json::error_code&) {
    numberText_.clear();
    stack_.push_int64(i);
    return true;
  }
  bool on_uint64(std::uint64_t u, boost::json::string_view, boost::json::error_code&) {
    numberText_.clear();
    stack_.push_uint64(u);
    return true;
  }
  bool on_double(double approximate, boost::json::string_view s, boost::json::error_code&) {
    std::string_view text(s.data(), s.size());
    if (!numberText_.empty()) {
      numberText_.append(s.data(), s.size());
      text = numberText_;
    }
    std::optional<double> exact = exactDouble(text, approximate);
    numberText_.clear();
    if (!exact) {
      if (!keepOutOfRange_) {
        outOfRange_ = true;
        return false;
      }
      exact = std::copysign(std::numeric_limits<double>::infinity(), approximate);
      sawOutOfRange_ = true;
    }
    stack_.push_double(*exact);
    return true;
  }
  bool on_bool(bool b, boost::json::error_code&) {
    stack_.push_bool(b);
    return true;
  }
  bool on_null(boost::json::error_code&) {
    stack_.push_null();
    return true;
  }
  bool on_comment_part(boost::json::string_view, boost::json::error_code&) { return true; }
  bool on_comment(boost::json::string_view, boost::json::error_code&) { return true; }

  JsonValue release() { return stack_.release(); }
  bool stoppedAtOutOfRange() const { return outOfRange_; }
  bool sawOutOfRange() const { return sawOutOfRange_; }

 private:
  boost::json::value_stack stack_;
  std::string numberText_;
  bool keepOutOfRange_ = false;
  bool outOfRange_ = false;     // parsing stopped at a number a double cannot hold
  bool sawOutOfRange_ = false;  // such a number was kept as an infinity
};

// A second pass, made only to report a number out of range: follows the path of every value and
// stops at the first such number, so the happy path pays nothing for paths.
class PathFinder {
 public:
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  bool on_document_begin(boost::json::error_code&) { return true; }
  bool on_document_end(boost::json::error_code&) { return true; }
  bool on_object_begin(boost::json::error_code&) { return open(false); }
  bool on_object_end(std::size_t, boost::json::error_code&) { return close(); }
  bool on_array_begin(boost::json::error_code&) { return open(true); }
  bool on_array_end(std::size_t, boost::json::error_code&) { return close(); }
  bool on_key_part(boost::json::string_view s, std::size_t, boost::json::error_code&) {
    keyText_.append(s.data(), s.size());
    return true;
  }
  bool on_key(boost::json::string_view s, std::size_t, boost::json::error_code&) {
    keyText_.append(s.data(), s.size());
    levels_.back().key = std::move(keyText_);
    keyText_.clear();
    return true;
  }
  bool on_string_part(boost::json::string_view, std::size_t, boost::json::error_code&) { return true; }
  bool on_string(boost::json::string_view, std::size_t, boost::json::error_code&) { return scalar(); }
  bool on_number_part(boost::json::string_view s, boost::json::error_code&) {
    numberText_.append(s.data(), s.size());
    return true;
  }
  bool on_int64(std::int64_t, boost::json::string_view, boost::json::error_code&) { return number(); }
  bool on_uint64(std::uint64_t, boost::json::string_view, boost::json::error_code&) { return number(); }
  bool on_double(double approximate, boost::json::string_view s, boost::json::error_code&) {
    numberText_.append(s.data(), s.size());
    if (!exactDouble(numberText_, approximate)) {
      path_ = currentPath();
      return false;
    }
    return number();
  }
  bool on_bool(bool, boost::json::error_code&) { return scalar(); }
  bool on_null(boost::json::error_code&) { return scalar(); }
  bool on_comment_part(boost::json::string_view, boost::json::error_code&) { return true; }
  bool on_comment(boost::json::string_view, boost::json::error_code&) { return true; }

  /// The path of the first number out of range; else where the parse stopped.
  std::string path() const { return path_.empty() ? currentPath() : path_; }

 private:
  struct Level {
    bool isArray = false;
    std::size_t index = 0;  // of the array element being read
    std::string key;        // of the object member being read
  };

  bool open(bool isArray) {
    levels_.push_back(Level{isArray, 0, {}});
    return true;
  }
  bool close() {
    levels_.pop_back();
    return scalar();
  }
  bool number() {
    numberText_.clear();
    return scalar();
  }
  // A value of the enclosing array is complete: the next one has the next index.
  bool scalar() {
    if (!levels_.empty() && levels_.back().isArray) ++levels_.back().index;
    return true;
  }
  std::string currentPath() const {
    std::string out;
    for (const Level& level : levels_) {
      if (level.isArray) {
        out += '[' + std::to_string(level.index) + ']';
      } else {
        if (!out.empty()) out += '.';
        out += level.key;
      }
    }
    return out.empty() ? JsonPath::root().toString() : out;
  }

  std::vector<Level> levels_;
  std::string keyText_;
  std::string numberText_;
  std::string path_;
};

std::string pathOfNumberOutOfRange(std::string_view text) {
  boost::json::parse_options options;
  options.max_depth = 512;
  boost::json::basic_parser<PathFinder> finder(options);
  boost::json::error_code ec;
  finder.write_some(false, text.data(), text.size(), ec);
  return finder.handler().path();
}

std::string describePosition(std::string_view text, std::size_t offset) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

namespace {

JsonValue parse(std::string_view text, boost::json::storage_ptr storage, bool keepOutOfRange, bool* sawOutOfRange) {
  boost::json::parse_options options;
  options.max_depth = 512;
  boost::json::basic_parser<ExactNumberHandler> parser(options, std::move(storage), keepOutOfRange);
  boost::json::error_code ec;
  std::size_t used = parser.write_some(false, text.data(), text.size(), ec);
  if (parser.handler().stoppedAtOutOfRange() || ec == boost::json::error::exponent_overflow) {
    // An exponent past the tokenizer's own limit (beyond two billion) is out of range too, either way.
    throw DecodingError(pathOfNumberOutOfRange(text),
                        std::string(kNumberOutOfRange) + " (at " + describePosition(text, used) + ")");
  }
  if (!ec && used < text.size()) {
    // Only white space may follow the document.
    std::size_t rest = text.find_first_not_of(" \t\r\n", used);
    if (rest != std::string_view::npos) {
      throw DecodingError(JsonPath::root(),
                          "invalid JSON at " + describePosition(text, rest) + ": extra data after the document");
    }
  }
  if (ec) {
    throw DecodingError(JsonPath::root(), "invalid JSON at " + describePosition(text, used) + ": " + ec.message());
  }
  if (sawOutOfRange != nullptr) *sawOutOfRange = parser.handler().sawOutOfRange();
  return parser.handler().release();
}

}  // namespace

JsonValue parseJson(std::string_view text, boost::json::storage_ptr storage) {
  return parse(text, std::move(storage), false, nullptr);
}

JsonValue parseJsonKeepingOutOfRange(std::string_view text, boost::json::storage_ptr storage, bool& sawOutOfRange) {
  return parse(text, std::move(storage), true, &sawOutOfRange);
}

}  // namespace tav
