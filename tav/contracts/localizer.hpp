// Localised texts from JSON string tables.
//
// A table is a JSON object of key to text, stored as "<directory>/<language>/<table>.json" with a
// language-neutral fallback "<directory>/<table>.json". Texts that have no entry fall back to the
// default text the caller gives, so the library shows sensible English with no tables at all.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tav {

/// Thread-safe. Tables are read once, on first use.
class Localizer {
 public:
  /// Tables under `directory` for `language` ("de", "fr"; empty: from $LC_ALL, $LC_MESSAGES, $LANG).
  explicit Localizer(std::filesystem::path directory = {}, std::string language = {});
  ~Localizer();
  Localizer(const Localizer&) = delete;
  Localizer& operator=(const Localizer&) = delete;

  /// The host application's own tables (its "main bundle"); the directory is the host's to set.
  static Localizer& mainBundle();
  /// The library's own tables, table "TavCommon".
  static Localizer& library();
  /// Points mainBundle() or library() at other tables; not while other threads use them.
  static void setMainBundleDirectory(std::filesystem::path directory, std::string language = {});
  static void setLibraryDirectory(std::filesystem::path directory, std::string language = {});

  /// The text for `key` in `table` ("Localizable" when empty); else `defaultValue` when given; else
  /// the key itself.
  std::string localized(std::string_view key, std::string_view table = {},
                        std::optional<std::string_view> defaultValue = std::nullopt) const;

  /// The languages this bundle would show, best first: the configured language and then those of
  /// $LANGUAGE ("de:fr"), keeping the ones the bundle has a table folder for. A bundle without language
  /// folders keeps them all; when none is left, the bundle's "en" (or its first language) stands alone.
  std::vector<std::string> preferredLocalizations() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The library's own text for `key`, or `defaultValue`.
std::string localizedText(std::string_view key, std::string_view defaultValue);

}  // namespace tav
