#include "obs_commands.hpp"

#include <charconv>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "exit_status.hpp"
#include "input.hpp"
#include "tav/contracts/decoding_error.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/obs/obs_conversion.hpp"
#include "tav/obs/obs_profile_config.hpp"
#include "tav/platform/atomic_file.hpp"

namespace tav::tool {
namespace {

struct InspectOptions {
  std::string file;
  std::string profileDir;
  std::string canvas;
};

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

/// The size a source shows at when its settings tell it: "width" and "height" (colour and browser
/// sources), else "cx" and "cy"; both above 0.
std::optional<Size> sourceSize(const OBSSource& source) {
  if (!source.settings) return std::nullopt;
  for (auto [w, h] : {std::pair{"width", "height"}, std::pair{"cx", "cy"}}) {
    auto width = source.settings->double_(w);
    auto height = source.settings->double_(h);
    if (width && height && *width > 0 && *height > 0) return Size{*width, *height};
  }
  return std::nullopt;
}

void writeOptionalText(JsonWriter& w, const std::optional<std::string>& text) {
  if (text) {
    w.string(*text);
  } else {
    w.null();
  }
}

void writeEntry(JsonWriter& w, const OBSFlattenedEntry& entry, const std::optional<Size>& canvas) {
  w.beginObject();
  w.key("entry");
  w.string(rawValue(entry.kind()));
  w.key("item");
  writeOptionalText(w, entry.sceneItem().name);
  w.key("depth");
  w.unsignedInteger(entry.depth());
  if (const OBSResolvedItem* resolved = entry.resolvedItem()) {
    w.key("source");
    writeOptionalText(w, resolved->source->name);
    w.key("kind");
    w.string(rawValue(resolved->kind));
    w.field("isHidden", resolved->isHidden);
    w.field("isLocked", resolved->isLocked);
    const auto size = sourceSize(*resolved->source);
    if (canvas && size) {
      if (auto p = OBSConversion::resolvedPlacement(resolved->item, *size, resolved->groups, canvas->width,
                                                    canvas->height)) {
        w.key("placement");
        w.beginObject();
        w.field("xPosition", p->xPosition);
        w.field("yPosition", p->yPosition);
        w.field("width", p->width);
        w.field("height", p->height);
        w.field("rotation", p->rotation);
        w.endObject();
      }
    }
  }
  w.endObject();
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

/// basic.ini of a profile directory; or, given OBS's configuration directory, of the profile that its
/// user.ini (global.ini before OBS 31) names as active, under basic/profiles/. Reports and returns absent
/// when neither can be read.
std::optional<std::string> readProfileBasicINI(const std::filesystem::path& dir) {
  if (auto ini = readFile(dir / "basic.ini")) return ini;
  for (const char* name : {"user.ini", "global.ini"}) {
    auto user = readFile(dir / name);
    if (!user) continue;
    if (auto active = OBSProfileConfig::activeProfileDirectory(*user)) {
      const auto path = dir / "basic" / "profiles" / *active / "basic.ini";
      if (auto ini = readFile(path)) return ini;
      std::cerr << "tavo: " << path.string() << ": cannot be read\n";
      return std::nullopt;
    }
  }
  std::cerr << "tavo: " << (dir / "basic.ini").string() << ": cannot be read\n";
  return std::nullopt;
}

int inspect(const InspectOptions& options) {
  std::optional<Size> canvas;
  if (!options.canvas.empty()) {
    canvas = parseCanvas(options.canvas);
    if (!canvas) {
      std::cerr << "tavo: --canvas wants WIDTHxHEIGHT with both above 0, such as 1920x1080\n";
      return kUsage;
    }
  }
  auto input = readInput(options.file);
  if (!input) return kNoInput;

  OBSCollection collection;
  try {
    collection = OBSCollection::decode(input->text);
  } catch (const DecodingError& error) {
    std::cerr << "tavo: " << input->displayName << ": not an OBS scene collection: " << error.what() << '\n';
    return kDataError;
  }
  if (collection.sources.empty() && collection.sceneOrder.empty()) {
    std::cerr << "tavo: " << input->displayName
              << ": not an OBS scene collection: it has no readable sources and no scene order\n";
    return kDataError;
  }

  if (!canvas && !options.profileDir.empty()) {
    auto ini = readProfileBasicINI(options.profileDir);
    if (!ini) return kNoInput;
    canvas = OBSProfileConfig::canvasSize(*ini);
  }
  if (!canvas && collection.resolution && collection.resolution->x > 0 && collection.resolution->y > 0) {
    canvas = Size{collection.resolution->x, collection.resolution->y};
  }

  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.key("name");
  writeOptionalText(w, collection.name);
  w.key("canvas");
  if (canvas) {
    w.beginObject();
    w.field("width", canvas->width);
    w.field("height", canvas->height);
    w.endObject();
  } else {
    w.null();
  }
  w.key("scenes");
  w.beginArray();
  const auto index = collection.sourceIndex();
  for (const std::string& scene : collection.sceneOrder) {
    w.beginObject();
    w.field("name", scene);
    w.key("entries");
    w.beginArray();
    for (const auto& entry : collection.flattenedEntries(scene, index)) writeEntry(w, entry, canvas);
    w.endArray();
    w.endObject();
  }
  w.endArray();
  w.endObject();
  std::cout << out << '\n';
  return kSuccess;
}

}  // namespace

void addObsCommands(CLI::App& app, int& status) {
  auto* obs = app.add_subcommand("obs", "Read OBS Studio scene collections");
  obs->require_subcommand(1);

  auto options = std::make_shared<InspectOptions>();
  auto* inspectCommand = obs->add_subcommand(
      "inspect",
      "Show a collection's scenes in scene order, each item walked through its groups, as one JSON object; "
      "items whose source tells its size in its settings (width/height or cx/cy) get a placement in canvas "
      "fractions");
  inspectCommand->add_option("COLLECTION", options->file, "The collection file; standard input for -")->required();
  inspectCommand->add_option("--profile-dir", options->profileDir,
                             "An OBS profile directory whose basic.ini gives the canvas size, or OBS's configuration "
                             "directory, whose user.ini names the active profile");
  inspectCommand->add_option("--canvas", options->canvas,
                             "The canvas as WIDTHxHEIGHT; wins over the profile and the collection's resolution");
  inspectCommand->callback([options, &status] { status = inspect(*options); });
}

}  // namespace tav::tool
