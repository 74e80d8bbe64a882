#include "obs_commands.hpp"

#include <iostream>
#include <memory>
#include <string>

#include "exit_status.hpp"
#include "obs_import_command.hpp"
#include "obs_input.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/obs/obs_conversion.hpp"
#include "tav/obs/obs_item_placement.hpp"

namespace tav::tool {
namespace {

struct InspectOptions {
  std::string file;
  std::string profileDir;
  std::string canvas;
};

void writeEntry(JsonWriter& w, const OBSFlattenedEntry& entry, Size canvas, const OBSMediaSizeReader& readSize) {
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
    const OBSItemPlacement where = obsItemPlacement(*resolved, canvas, readSize);
    if (where.placement) {
      const auto& p = *where.placement;
      w.key("placement");
      w.beginObject();
      w.field("xPosition", p.xPosition);
      w.field("yPosition", p.yPosition);
      w.field("width", p.width);
      w.field("height", p.height);
      w.field("rotation", p.rotation);
      w.endObject();
      w.key("sizeFrom");
      w.string(rawValue(*where.origin));
    } else {
      w.field("noPlacement", where.reason);
    }
  }
  w.endObject();
}

int inspect(const InspectOptions& options) {
  int status = kSuccess;
  const auto collection = loadCollection(options.file, status);
  if (!collection) return status;
  const auto canvas = chooseCanvas(options.canvas, options.profileDir, *collection, status);
  if (!canvas) return status;

  const OBSMediaSizeReader readSize = mediaSizeReader();
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.key("name");
  writeOptionalText(w, collection->name);
  w.key("canvas");
  writeCanvas(w, *canvas);
  w.key("scenes");
  w.beginArray();
  const auto index = collection->sourceIndex();
  for (const std::string& scene : collection->sceneOrder) {
    w.beginObject();
    w.field("name", scene);
    w.key("entries");
    w.beginArray();
    for (const auto& entry : collection->flattenedEntries(scene, index)) writeEntry(w, entry, canvas->size, readSize);
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
      "Show a collection's scenes in scene order, each item walked through its groups, as one JSON object, with "
      "the canvas and where it came from. An item gets a placement in canvas fractions when its size can be "
      "known (from its bounding box, its source's stated size, or its picture or movie file on this machine), "
      "else the reason it has none");
  inspectCommand->add_option("COLLECTION", options->file, "The collection file; standard input for -")->required();
  inspectCommand->add_option("--profile-dir", options->profileDir,
                             "An OBS profile directory whose basic.ini gives the canvas size, or OBS's configuration "
                             "directory, whose user.ini names the active profile; one that cannot be read is a "
                             "warning");
  inspectCommand->add_option("--canvas", options->canvas,
                             "The canvas as WIDTHxHEIGHT; wins over the profile and the collection's resolution");
  inspectCommand->callback([options, &status] { status = inspect(*options); });
  addObsImportCommand(*obs, status);
}

}  // namespace tav::tool
