#include "obs_input.hpp"

#include <charconv>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <system_error>

#include "exit_status.hpp"
#include "input.hpp"
#include "tav/contracts/decoding_error.hpp"
#include "tav/contracts/video_track_geometry.hpp"
#include "tav/obs/obs_profile_config.hpp"
#include "tav/platform/atomic_file.hpp"

namespace tav::tool {
namespace {

/// "1920x1080" with two numbers above 0; absent otherwise.
std::optional<Size> parseCanvas(const std::string& text) {
  const auto x = text.find('x');
  if (x == std::string::npos) return std::nullopt;
  double width = 0;
  double height = 0;
  const char* begin = text.data();
  const char* end = begin + text.size();
  auto w = std::from_chars(begin, begin + x, width);
  auto h = std::from_chars(begin + x + 1, end, height);
  if (w.ec != std::errc() || w.ptr != begin + x || h.ec != std::errc() || h.ptr != end) return std::nullopt;
  if (!(width > 0) || !(height > 0)) return std::nullopt;
  return Size{width, height};
}

/// The content of a profile file; absent when it is missing. A file that is there but cannot be read
/// (a directory, no permission) is named in a warning, so the canvas it would give is not lost silently.
std::optional<std::string> readFile(const std::filesystem::path& path) {
  try {
    return readWholeFile(path);
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::no_such_file_or_directory && error.code() != std::errc::not_a_directory) {
      std::cerr << "tavo: warning: " << path.string() << ": cannot be read (" << error.code().message()
                << "); it is skipped\n";
    }
    return std::nullopt;
  }
}

void warnNoProfile(const std::filesystem::path& path) {
  std::cerr << "tavo: warning: " << path.string()
            << ": cannot be read; the canvas comes from the collection or is 1920x1080\n";
}

/// basic.ini of a profile directory; or, given OBS's configuration directory, of the profile that its
/// user.ini (global.ini before OBS 31) names as active, under basic/profiles/. Warns and returns absent
/// when neither can be read.
std::optional<std::string> readProfileBasicINI(const std::filesystem::path& dir) {
  if (auto ini = readFile(dir / "basic.ini")) return ini;
  for (const char* name : {"user.ini", "global.ini"}) {
    auto user = readFile(dir / name);
    if (!user) continue;
    if (auto active = OBSProfileConfig::activeProfileDirectory(*user)) {
      const auto path = dir / "basic" / "profiles" / *active / "basic.ini";
      if (auto ini = readFile(path)) return ini;
      warnNoProfile(path);
      return std::nullopt;
    }
  }
  warnNoProfile(dir / "basic.ini");
  return std::nullopt;
}

}  // namespace

std::optional<OBSCollection> loadCollection(const std::string& file, int& status) {
  auto input = readInput(file);
  if (!input) {
    status = kNoInput;
    return std::nullopt;
  }
  OBSCollection collection;
  try {
    collection = OBSCollection::decode(input->text);
  } catch (const DecodingError& error) {
    std::cerr << "tavo: " << input->displayName << ": not an OBS scene collection: " << error.what() << '\n';
    status = kDataError;
    return std::nullopt;
  }
  if (collection.sources.empty() && collection.sceneOrder.empty()) {
    std::cerr << "tavo: " << input->displayName
              << ": not an OBS scene collection: it has no readable sources and no scene order\n";
    status = kDataError;
    return std::nullopt;
  }
  return collection;
}

std::optional<CanvasChoice> chooseCanvas(const std::string& canvasText, const std::string& profileDir,
                                         const OBSCollection& collection, int& status) {
  if (!canvasText.empty()) {
    if (auto canvas = parseCanvas(canvasText)) return CanvasChoice{*canvas, "--canvas"};
    std::cerr << "tavo: --canvas wants WIDTHxHEIGHT with both above 0, such as 1920x1080\n";
    status = kUsage;
    return std::nullopt;
  }
  if (!profileDir.empty()) {
    if (auto ini = readProfileBasicINI(profileDir)) {
      if (auto canvas = OBSProfileConfig::canvasSize(*ini)) return CanvasChoice{*canvas, "profile"};
      std::cerr << "tavo: warning: the profile in " << profileDir
                << " names no canvas size (BaseCX, BaseCY under [Video])\n";
    }
  }
  if (collection.resolution && collection.resolution->x > 0 && collection.resolution->y > 0) {
    return CanvasChoice{collection.canvasSize(), "collection"};
  }
  return CanvasChoice{collection.canvasSize(), "fallback"};
}

void writeCanvas(JsonWriter& w, const CanvasChoice& canvas) {
  w.beginObject();
  w.field("width", canvas.size.width);
  w.field("height", canvas.size.height);
  w.key("origin");
  w.string(canvas.origin);
  w.endObject();
}

void writeOptionalText(JsonWriter& w, const std::optional<std::string>& text) {
  if (text) {
    w.string(*text);
  } else {
    w.null();
  }
}

OBSMediaSizeReader mediaSizeReader() {
  auto known = std::make_shared<std::map<std::string, std::optional<Size>>>();
  return [known](const std::string& path) -> std::optional<Size> {
    if (auto it = known->find(path); it != known->end()) return it->second;
    std::optional<Size> size;
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) {
      if (auto geometry = readVideoTrackGeometry(path)) {
        const Size shown = geometry->displaySize();
        if (shown.width > 0 && shown.height > 0) size = shown;
      }
    }
    known->emplace(path, size);
    return size;
  };
}

}  // namespace tav::tool
