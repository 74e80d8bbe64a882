#include "tav/contracts/json_parser.hpp"

#include <charconv>
#include <string>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include "tav/contracts/decoding_error.hpp"

namespace tav {
namespace {

// Builds the tree on a value_stack exactly as Boost.JSON's own parser does, except for doubles.
class ExactNumberHandler {
 public:
  static constexpr std::size_t max_object_size = boost::json::object::max_size();
  static constexpr std::size_t max_array_size = boost::json::array::max_size();
  static constexpr std::size_t max_key_size = boost::json::string::max_size();
  static constexpr std::size_t max_string_size = boost::json::string::max_size();

  explicit ExactNumberHandler(boost::json::storage_ptr storage) { stack_.reset(std::move(storage)); }

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
    double exact = approximate;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), exact);
    // Out of range (huge exponents) keeps the tokenizer's value, which saturates the same way.
    if (ec != std::errc() || end != text.data() + text.size()) exact = approximate;
    numberText_.clear();
    stack_.push_double(exact);
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

 private:
  boost::json::value_stack stack_;
  std::string numberText_;
};

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

JsonValue parseJson(std::string_view text, boost::json::storage_ptr storage) {
  boost::json::parse_options options;
  options.max_depth = 512;
  boost::json::basic_parser<ExactNumberHandler> parser(options, std::move(storage));
  boost::json::error_code ec;
  std::size_t used = parser.write_some(false, text.data(), text.size(), ec);
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
  return parser.handler().release();
}

}  // namespace tav
