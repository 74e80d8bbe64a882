#include "tav/recording/recording_location_handler.hpp"

#include <unistd.h>

#include <cctype>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "tav/contracts/localizer.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/foundation/user_directories.hpp"
#include "tav/recording/video_recorder_error.hpp"

namespace tav {

namespace fs = std::filesystem;

namespace {

const Logger& logger() {
  static const Logger instance("RecordingLocationHandler");
  return instance;
}

std::string defaultFolderText(std::string_view xdgName, std::string_view fallbackName) {
  fs::path folder = userDirectory(xdgName, fallbackName);
  std::error_code error;
  if (!fs::is_directory(folder, error)) folder = homeDirectory();
  return Url::fileUrl(folder).absoluteString();
}

struct StemAndExtension {
  std::string stem;
  std::string extension;
};

/// "name.mov" -> "name", "mov"; "name" -> "name", "". A leading dot alone is no extension.
StemAndExtension split(const std::string& fileName) {
  auto dot = fileName.rfind('.');
  if (dot == std::string::npos || dot == 0) return {fileName, {}};
  return {fileName.substr(0, dot), fileName.substr(dot + 1)};
}

std::string componentName(const std::string& stem, const std::optional<std::string>& suffix,
                          const std::string& extension) {
  std::string name = stem + suffix.value_or("");
  if (!extension.empty()) name += "." + extension;
  return name;
}

/// The last component of a path, ignoring a trailing separator.
std::string lastComponent(const fs::path& path) {
  fs::path normal = path.lexically_normal();
  if (!normal.has_filename()) normal = normal.parent_path();
  return normal.filename().string();
}

fs::path parentOf(const fs::path& path) {
  fs::path normal = path.lexically_normal();
  if (!normal.has_filename()) normal = normal.parent_path();
  return normal.parent_path();
}

/// Resolves the destination of a recording or of frames from a saved path and the configuration.
Url resolveBase(const std::string& savedPath, const std::optional<TavoRecorderConfiguration>& configuration) {
  if (configuration && configuration->outputURL) {
    std::error_code error;
    fs::path parent = parentOf(configuration->outputURL->filePath());
    if (!configuration->outputURL->isFileUrl() || !fs::is_directory(parent, error)) {
      throw VideoRecorderError::missingLocation();
    }
    return *configuration->outputURL;
  }
  std::optional<Url> saved = Url::parse(savedPath);
  if (!saved || !saved->isFileUrl()) throw VideoRecorderError::missingLocation();
  fs::path directory = saved->filePath();
  std::error_code error;
  if (!fs::is_directory(directory, error) || error) throw VideoRecorderError::missingLocation();
  if (::access(directory.c_str(), W_OK) != 0) {
    logger().error("Recording save path is not writable: {}", directory.string());
    throw VideoRecorderError::fileCreationFailed();
  }
  // Listing the folder proves that the process may read it, which a plain access check can miss.
  fs::directory_iterator probe(directory, error);
  if (error) {
    logger().error("TCC probe (directory enumeration) failed at {}: {}", directory.string(), error.message());
    throw VideoRecorderError::fileCreationFailed();
  }
  if (configuration && configuration->fileName) return saved->appendingPathComponent(*configuration->fileName);
  return *saved;
}

/// Creates `parent`/`name` with its marker; a missing marker is logged and tolerated.
fs::path makeSessionFolder(const fs::path& parent, const std::string& name) {
  fs::path folder = parent / name;
  fs::create_directories(folder);  // throws the platform's error
  fs::path marker = folder / std::string(RecordingLocationHandler::sessionMarkerFileName);
  std::error_code error;
  if (!fs::exists(marker, error)) {
    std::ofstream file(marker);
    if (!file) {
      logger().error("Failed to write session marker at {}; recording won't be listed as a session", marker.string());
    }
  }
  return folder;
}

std::vector<Url> urlsIn(const fs::path& folder, const std::string& stem, const std::string& extension,
                        const std::vector<std::optional<std::string>>& suffixes) {
  std::vector<Url> urls;
  urls.reserve(suffixes.size());
  for (const auto& suffix : suffixes) urls.push_back(Url::fileUrl(folder / componentName(stem, suffix, extension)));
  return urls;
}

std::vector<Url> applySuffixes(const Url& base, const std::vector<std::optional<std::string>>& suffixes) {
  fs::path basePath = base.filePath();
  StemAndExtension parts = split(lastComponent(basePath));
  if (parts.extension.empty()) parts.extension = "png";
  return urlsIn(parentOf(basePath), parts.stem, parts.extension, suffixes);
}

}  // namespace

RecordingLocationHandler::RecordingLocationHandler(std::shared_ptr<UserDefaults> store)
    : RecordingLocationHandler(std::move(store), Settings{}) {}

RecordingLocationHandler::RecordingLocationHandler(std::shared_ptr<UserDefaults> store, Settings settings)
    : store_(std::move(store)), usesSessionSubfolder_(settings.usesSessionSubfolder) {
  if (!store_) throw std::invalid_argument("RecordingLocationHandler needs a store");
}

RecordingLocationHandler& RecordingLocationHandler::shared() {
  static RecordingLocationHandler handler;
  return handler;
}

std::shared_ptr<UserDefaults> RecordingLocationHandler::store() const {
  return store_ ? store_ : UserDefaults::standard();
}

UserDefault<std::string> RecordingLocationHandler::recordingSavePath() const {
  return UserDefault<std::string>("LocalRecorderSavePath", defaultFolderText("VIDEOS", "Videos"), store());
}
UserDefault<std::vector<std::string>> RecordingLocationHandler::recordingSavePathHistory() const {
  return UserDefault<std::vector<std::string>>("LocalRecorderSavePathHistory", {}, store());
}
UserDefault<std::string> RecordingLocationHandler::frameSavePath() const {
  return UserDefault<std::string>("FrameSavePath", defaultFolderText("DESKTOP", "Desktop"), store());
}
UserDefault<std::vector<std::string>> RecordingLocationHandler::frameSavePathHistory() const {
  return UserDefault<std::vector<std::string>>("FrameSavePathHistory", {}, store());
}
CodableUserDefault<RecordingLocation> RecordingLocationHandler::currentLocation() const {
  return RecordingLocation::current(store());
}

std::string RecordingLocationHandler::currentLocationTitle() { return currentLocation().get().title(); }

std::string RecordingLocationHandler::fileName() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char date[32];
  std::size_t length = std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
  std::string dateText;
  for (char c : std::string_view(date, length)) {
    if (c == ',') continue;
    dateText += (c == ':' || c == '/') ? '-' : c;
  }
  return detail::formatWithObjectPlaceholder(localizedText("RECORDING_FILE_NAME", "Tavo Studio Recording %@.mov"),
                                             dateText);
}

bool RecordingLocationHandler::isSessionFolder(const Url& directory) {
  std::error_code error;
  return fs::exists(directory.filePath() / std::string(sessionMarkerFileName), error);
}

std::vector<Url> RecordingLocationHandler::getRecordingURLs(
    const std::optional<TavoRecorderConfiguration>& configuration,
    const std::vector<std::optional<std::string>>& suffixes) {
  if (suffixes.empty()) return {};
  Url base = resolveBase(recordingSavePath().get(), configuration);
  if (!configuration || !configuration->outputURL) {
    StemAndExtension parts = split(fileName());
    fs::path basePath = base.filePath();
    if (suffixes.size() == 1 && !usesSessionSubfolder()) {
      return {Url::fileUrl(basePath / componentName(parts.stem, suffixes.front(), parts.extension))};
    }
    fs::path folder = makeSessionFolder(basePath, parts.stem);
    return urlsIn(folder, parts.stem, parts.extension, suffixes);
  }
  if (suffixes.size() == 1) return {base};
  fs::path basePath = base.filePath();
  StemAndExtension parts = split(lastComponent(basePath));
  if (parts.extension.empty()) parts.extension = "mov";
  fs::path parent = parentOf(basePath);
  fs::path folder = makeSessionFolder(parent, detail::uniqueDirectoryName(parts.stem, parent));
  return urlsIn(folder, parts.stem, parts.extension, suffixes);
}

std::vector<Url> RecordingLocationHandler::getFrameURLs(const TavoRecorderConfiguration& configuration,
                                                        const std::vector<std::optional<std::string>>& suffixes) const {
  if (suffixes.empty()) return {};
  if (!configuration.fileName && !configuration.outputURL) throw VideoRecorderError::missingLocation();
  Url base = resolveBase(frameSavePath().get(), configuration);
  if (!configuration.outputURL) return applySuffixes(base, suffixes);
  if (suffixes.size() == 1) return {base};
  fs::path basePath = base.filePath();
  StemAndExtension parts = split(lastComponent(basePath));
  if (parts.extension.empty()) parts.extension = "png";
  fs::path parent = parentOf(basePath);
  fs::path folder = parent / detail::uniqueDirectoryName(parts.stem, parent);
  fs::create_directories(folder);
  return urlsIn(folder, parts.stem, parts.extension, suffixes);
}

void RecordingLocationHandler::removeEmptySessionFolder(const Url& firstOutputURL) {
  fs::path folder = parentOf(firstOutputURL.filePath());
  std::error_code error;
  if (!fs::exists(folder / std::string(sessionMarkerFileName), error)) return;
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    std::string name = it->path().filename().string();
    if (name.starts_with('.')) continue;
    std::string extension = it->path().extension().string();
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (extension == ".mov" || extension == ".m4a") return;
  }
  fs::remove_all(folder, error);
}

namespace detail {

std::string uniqueDirectoryName(const std::string& name, const std::filesystem::path& parent) {
  std::error_code error;
  if (!fs::exists(parent / name, error)) return name;
  for (int number = 2;; ++number) {
    std::string candidate = name + " " + std::to_string(number);
    if (!fs::exists(parent / candidate, error)) return candidate;
  }
}

}  // namespace detail

}  // namespace tav
