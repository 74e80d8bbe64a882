#include "tav/contracts/url.hpp"

#include <memory>

#include <curl/curl.h>

namespace tav {
namespace {

struct CurlUrlDeleter {
  void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
};
using CurlUrlHandle = std::unique_ptr<CURLU, CurlUrlDeleter>;

struct CurlStringDeleter {
  void operator()(char* text) const { curl_free(text); }
};
using CurlString = std::unique_ptr<char, CurlStringDeleter>;

// Any scheme is taken (so "tavo://" and "file://" links parse), dot segments are left as written and
// spaces are allowed, because a Url keeps the text it was given and only answers questions about it.
constexpr unsigned int kParseFlags = CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS | CURLU_ALLOW_SPACE;

CurlUrlHandle parseWithCurl(const std::string& text) {
  CurlUrlHandle handle(curl_url());
  if (!handle) return nullptr;
  if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), kParseFlags) != CURLUE_OK) return nullptr;
  return handle;
}

std::optional<std::string> curlPart(CURLU* handle, CURLUPart part) {
  char* raw = nullptr;
  if (curl_url_get(handle, part, &raw, 0) != CURLUE_OK || raw == nullptr) return std::nullopt;
  CurlString owned(raw);
  return std::string(raw);
}

bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The length of a leading "scheme:" (without the colon), 0 when the text starts with none.
std::size_t schemeLength(std::string_view text) {
  if (text.empty() || !isAlpha(text[0])) return 0;
  for (std::size_t i = 1; i < text.size(); ++i) {
    char c = text[i];
    if (c == ':') return i;
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return 0;
  }
  return 0;
}

/// Where the raw path of `text` begins and ends, following the generic URI layout
/// scheme ":" ["//" authority] path ["?" query] ["#" fragment].
struct RawPathRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

RawPathRange rawPathRange(std::string_view text) {
  std::size_t position = schemeLength(text);
  if (position > 0) ++position;  // the colon
  if (text.substr(position, 2) == "//") {
    position = text.find_first_of("/?#", position + 2);
    if (position == std::string_view::npos) return {text.size(), text.size()};
  }
  std::size_t end = text.find_first_of("?#", position);
  if (end == std::string_view::npos) end = text.size();
  return {position, end};
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Decodes %XX escapes; a "%" that does not start a valid escape stays as it is.
std::string percentDecoded(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      int high = hexValue(text[i + 1]);
      int low = hexValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out += static_cast<char>(high * 16 + low);
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

/// Characters a path keeps as they are: RFC 3986 unreserved, sub-delims, ":" "@" and "/".
bool keptInPath(unsigned char c) {
  if (isAlpha(static_cast<char>(c)) || isDigit(static_cast<char>(c))) return true;
  switch (c) {
    case '-': case '.': case '_': case '~':
    case '!': case '$': case '&': case '\'': case '(': case ')': case '*': case '+': case ',': case ';': case '=':
    case ':': case '@': case '/':
      return true;
    default:
      return false;
  }
}

std::string percentEncodedPath(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    auto byte = static_cast<unsigned char>(c);
    if (keptInPath(byte)) {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 0x0F];
    }
  }
  return out;
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  return Url(std::string(text));
}

Url Url::fileUrl(const std::filesystem::path& path) {
  std::filesystem::path absolute = path.is_absolute() ? path : std::filesystem::absolute(path);
  return Url("file://" + percentEncodedPath(absolute.generic_string()));
}

std::optional<std::string> Url::host() const {
  CurlUrlHandle handle = parseWithCurl(text_);
  if (!handle) return std::nullopt;
  std::optional<std::string> host = curlPart(handle.get(), CURLUPART_HOST);
  if (!host || host->empty()) return std::nullopt;
  return host;
}

std::string Url::scheme() const {
  std::string result;
  if (CurlUrlHandle handle = parseWithCurl(text_)) {
    result = curlPart(handle.get(), CURLUPART_SCHEME).value_or("");
  } else {
    result = text_.substr(0, schemeLength(text_));
  }
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::string Url::path() const {
  RawPathRange range = rawPathRange(text_);
  // libcurl reports "/" for "https://example.com"; a URL written without a path has none.
  if (range.begin == range.end) return {};
  if (CurlUrlHandle handle = parseWithCurl(text_)) {
    if (std::optional<std::string> raw = curlPart(handle.get(), CURLUPART_PATH)) return percentDecoded(*raw);
  }
  return percentDecoded(std::string_view(text_).substr(range.begin, range.end - range.begin));
}

std::string Url::lastPathComponent() const {
  std::string full = path();
  std::size_t end = full.find_last_not_of('/');
  if (end == std::string::npos) return {};
  std::size_t begin = full.rfind('/', end);
  begin = begin == std::string::npos ? 0 : begin + 1;
  return full.substr(begin, end + 1 - begin);
}

std::string Url::pathExtension() const {
  std::string name = lastPathComponent();
  std::size_t dot = name.rfind('.');
  // A leading dot names a hidden file, not an extension: ".profile" has none.
  if (dot == std::string::npos || dot == 0) return {};
  return name.substr(dot + 1);
}

std::optional<std::string> Url::removingCredentialsAndQuery() const {
  CurlUrlHandle handle = parseWithCurl(text_);
  if (!handle) return std::nullopt;
  const bool hasAny = curlPart(handle.get(), CURLUPART_USER) || curlPart(handle.get(), CURLUPART_PASSWORD) ||
                      curlPart(handle.get(), CURLUPART_QUERY);
  if (!hasAny) return std::nullopt;
  for (CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_QUERY}) {
    if (curl_url_set(handle.get(), part, nullptr, 0) != CURLUE_OK) return std::nullopt;
  }
  return curlPart(handle.get(), CURLUPART_URL);
}

Url Url::appendingPathComponent(std::string_view component) const {
  RawPathRange range = rawPathRange(text_);
  std::string result = text_.substr(0, range.end);
  if (result.empty() || result.back() != '/') result += '/';
  std::string_view trimmed = component;
  while (!trimmed.empty() && trimmed.front() == '/') trimmed.remove_prefix(1);
  result += percentEncodedPath(trimmed);
  result += text_.substr(range.end);
  return Url(std::move(result));
}

Url JsonCoder<Url>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_string()) detail::throwExpected(path, "a string");
  const auto& text = json.get_string();
  std::optional<Url> url = Url::parse(std::string_view(text.data(), text.size()));
  if (!url) throw DecodingError(path, "expected a URL");
  return *url;
}

}  // namespace tav
