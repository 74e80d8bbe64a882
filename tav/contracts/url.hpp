// Addresses of web pages and files.
//
// A Url keeps the text it was made from and answers questions about its parts through libcurl's URL
// parser. Text that libcurl cannot take apart (no scheme, say) is still a Url: it simply has no host.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_coder.hpp"

namespace tav {

class Url {
 public:
  /// A Url of any non-empty text; absent for empty text.
  static std::optional<Url> parse(std::string_view text);
  /// "file://" plus the absolute, percent-encoded form of `path`.
  static Url fileUrl(const std::filesystem::path& path);

  /// The text as given (or as built by fileUrl / appendingPathComponent).
  const std::string& absoluteString() const { return text_; }
  /// The host, when the text has a scheme and a non-empty host.
  std::optional<std::string> host() const;
  /// The scheme in lower case, empty when there is none.
  std::string scheme() const;
  /// The percent-decoded path ("" when there is none).
  std::string path() const;
  bool isFileUrl() const { return scheme() == "file"; }
  /// The local path of a file URL.
  std::filesystem::path filePath() const { return std::filesystem::path(path()); }
  /// The last non-empty segment of the path.
  std::string lastPathComponent() const;
  /// The text after the last "." of lastPathComponent, empty when there is none.
  std::string pathExtension() const;
  /// The path with one more segment (percent-encoded as needed).
  Url appendingPathComponent(std::string_view component) const;
  /// The text without its user, password and query, as the URL parser writes the remaining parts;
  /// absent when the text does not parse as a URL with a scheme or has none of the three.
  std::optional<std::string> removingCredentialsAndQuery() const;

  friend bool operator==(const Url&, const Url&) = default;

 private:
  explicit Url(std::string text) : text_(std::move(text)) {}
  std::string text_;
};

/// A Url is written as its absolute text; any non-empty string reads.
template <>
struct JsonCoder<Url> {
  static Url decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Url& v) { w.string(v.absoluteString()); }
};

}  // namespace tav
