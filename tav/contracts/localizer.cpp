#include "tav/contracts/localizer.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <system_error>
#include <unordered_map>

#include <boost/json/monotonic_resource.hpp>

#include "tav/contracts/json_parser.hpp"
#include "tav/contracts/logger.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("Localizer");
  return instance;
}

/// The language part of a POSIX locale name: "de_DE.UTF-8" is "de"; "C" and "POSIX" have none.
std::string languageOfLocale(std::string_view locale) {
  std::string_view language = locale.substr(0, locale.find_first_of("_.@"));
  if (language == "C" || language == "POSIX") return {};
  return std::string(language);
}

/// The language of messages as the environment sets it, by the usual precedence of the variables.
std::string environmentLanguage() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return languageOfLocale(value);
  }
  return {};
}

std::filesystem::path directoryFromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr ? std::filesystem::path(value) : std::filesystem::path();
}

using Table = std::unordered_map<std::string, std::string>;

/// Adds the entries of the table file at `file` that `table` does not have yet. A missing file is
/// normal (most languages lack most tables); a file that cannot be read or is not a JSON object of
/// texts is reported and skipped, so a broken translation never costs the default texts.
void mergeTableFile(const std::filesystem::path& file, Table& table) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) return;
  std::ifstream input(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
  if (!input.good() && !input.eof()) {
    logger().error("ignoring string table {}: {}", file.string(), std::generic_category().message(errno));
    return;
  }
  try {
    boost::json::monotonic_resource resource;
    JsonValue json = parseJson(text, &resource);
    if (!json.is_object()) {
      logger().error("ignoring string table {}: expected a JSON object of texts", file.string());
      return;
    }
    std::size_t skipped = 0;
    for (const auto& member : json.get_object()) {
      if (!member.value().is_string()) {
        ++skipped;
        continue;
      }
      const auto& value = member.value().get_string();
      table.emplace(std::string(member.key()), std::string(value.data(), value.size()));
    }
    if (skipped > 0) logger().error("string table {}: ignoring {} entries that are not texts", file.string(), skipped);
  } catch (const std::exception& e) {
    logger().error("ignoring string table {}: {}", file.string(), e.what());
  }
}

}  // namespace

struct Localizer::Impl {
  std::mutex mutex;
  std::filesystem::path directory;              // guarded by mutex
  std::string language;                         // guarded by mutex
  std::map<std::string, Table, std::less<>> tables;  // guarded by mutex; read on first use

  void configure(std::filesystem::path newDirectory, std::string newLanguage) {
    std::lock_guard lock(mutex);
    directory = std::move(newDirectory);
    language = newLanguage.empty() ? environmentLanguage() : std::move(newLanguage);
    tables.clear();
  }

  /// The table of that name, read now if this is its first use. Called with `mutex` held.
  const Table& table(std::string_view name) {
    auto it = tables.find(name);
    if (it != tables.end()) return it->second;
    Table loaded;
    if (!directory.empty()) {
      std::string fileName = std::string(name) + ".json";
      // The language's own table wins; the language-neutral table fills its gaps.
      if (!language.empty()) mergeTableFile(directory / language / fileName, loaded);
      mergeTableFile(directory / fileName, loaded);
    }
    return tables.emplace(std::string(name), std::move(loaded)).first->second;
  }
};

Localizer::Localizer(std::filesystem::path directory, std::string language) : impl_(std::make_unique<Impl>()) {
  impl_->configure(std::move(directory), std::move(language));
}

Localizer::~Localizer() = default;

Localizer& Localizer::mainBundle() {
  static Localizer instance(directoryFromEnvironment("TAV_MAIN_BUNDLE_DIR"));
  return instance;
}

Localizer& Localizer::library() {
  static Localizer instance(directoryFromEnvironment("TAV_LOCALIZATION_DIR"));
  return instance;
}

void Localizer::setMainBundleDirectory(std::filesystem::path directory, std::string language) {
  mainBundle().impl_->configure(std::move(directory), std::move(language));
}

void Localizer::setLibraryDirectory(std::filesystem::path directory, std::string language) {
  library().impl_->configure(std::move(directory), std::move(language));
}

std::string Localizer::localized(std::string_view key, std::string_view table,
                                 std::optional<std::string_view> defaultValue) const {
  {
    std::lock_guard lock(impl_->mutex);
    const Table& entries = impl_->table(table.empty() ? std::string_view("Localizable") : table);
    auto it = entries.find(std::string(key));
    if (it != entries.end()) return it->second;
  }
  return std::string(defaultValue.value_or(key));
}

std::vector<std::string> Localizer::preferredLocalizations() const {
  std::filesystem::path directory;
  std::vector<std::string> candidates;
  {
    std::lock_guard lock(impl_->mutex);
    directory = impl_->directory;
    if (!impl_->language.empty()) candidates.push_back(impl_->language);
  }
  if (const char* list = std::getenv("LANGUAGE"); list != nullptr) {
    std::string_view rest(list);
    while (!rest.empty()) {
      const std::size_t colon = rest.find(':');
      std::string language = languageOfLocale(rest.substr(0, colon));
      if (!language.empty() && std::find(candidates.begin(), candidates.end(), language) == candidates.end()) {
        candidates.push_back(std::move(language));
      }
      rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    }
  }
  std::vector<std::string> bundleLanguages;
  std::error_code error;
  if (!directory.empty()) {
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
      if (entry.is_directory(error)) bundleLanguages.push_back(entry.path().filename().string());
    }
  }
  if (bundleLanguages.empty()) return candidates.empty() ? std::vector<std::string>{"en"} : candidates;
  std::vector<std::string> preferred;
  for (const std::string& language : candidates) {
    if (std::find(bundleLanguages.begin(), bundleLanguages.end(), language) != bundleLanguages.end()) {
      preferred.push_back(language);
    }
  }
  if (preferred.empty()) {
    std::sort(bundleLanguages.begin(), bundleLanguages.end());
    const bool hasEnglish = std::find(bundleLanguages.begin(), bundleLanguages.end(), "en") != bundleLanguages.end();
    preferred.push_back(hasEnglish ? std::string("en") : bundleLanguages.front());
  }
  return preferred;
}

std::string localizedText(std::string_view key, std::string_view defaultValue) {
  return Localizer::library().localized(key, "TavCommon", defaultValue);
}

}  // namespace tav
