#include "obs_import_command.hpp"

#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "exit_status.hpp"
#include "obs_input.hpp"
#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/obs/obs_import.hpp"
#include "tav/platform/atomic_file.hpp"
#include "tav/platform/directory_transfer_asset_manager.hpp"

namespace tav::tool {
namespace {

struct ImportOptions {
  std::string file;
  std::vector<std::string> scenes;
  std::string profileDir;
  std::string canvas;
  std::string out = ".";
};

/// A file name for a scene: its name with path separators, control characters and a leading dot
/// replaced, at most 120 bytes cut at a character boundary, made unique among `taken` with " (2)"...
std::string fileNameFor(const std::string& scene, std::set<std::string>& taken) {
  std::string base;
  for (char c : scene) {
    const auto byte = static_cast<unsigned char>(c);
    base += (c == '/' || c == '\\' || byte < 0x20 || byte == 0x7F) ? '_' : c;
  }
  if (base.size() > 120) {
    std::size_t cut = 120;
    while (cut > 0 && (static_cast<unsigned char>(base[cut]) & 0xC0) == 0x80) --cut;
    base.resize(cut);
  }
  if (base.empty() || base.front() == '.') base.insert(0, "Scene ");
  std::string name = base + ".json";
  for (int n = 2; taken.contains(name); ++n) name = base + " (" + std::to_string(n) + ").json";
  taken.insert(name);
  return name;
}

/// The scenes to import: those asked for, else the scene order, else every scene source; each once.
std::vector<std::string> scenesToImport(const OBSCollection& collection, const std::vector<std::string>& asked,
                                        std::vector<std::string>& warnings) {
  std::vector<std::string> names = asked;
  if (names.empty()) names = collection.sceneOrder;
  if (names.empty()) {
    for (const OBSSource& source : collection.sources) {
      if (source.id == "scene" && source.name) names.push_back(*source.name);
    }
  }
  std::vector<std::string> unique;
  std::set<std::string> seen;
  for (const std::string& name : names) {
    if (seen.insert(name).second) {
      unique.push_back(name);
    } else {
      warnings.push_back("scene \"" + name + "\" is named more than once; it is imported once");
    }
  }
  for (const std::string& name : unique) {
    std::size_t count = 0;
    for (const OBSSource& source : collection.sources) count += source.id == "scene" && source.name == name ? 1 : 0;
    if (count > 1) {
      warnings.push_back(std::to_string(count) + " scenes are named \"" + name + "\"; the last of them is imported");
    }
  }
  return unique;
}

void writeNote(JsonWriter& w, const OBSImportNote& note) {
  w.beginObject();
  w.key("item");
  writeOptionalText(w, note.item);
  w.key("entry");
  w.string(rawValue(note.entry));
  if (note.kind) {
    w.key("kind");
    w.string(rawValue(*note.kind));
  }
  if (note.sourceID) w.field("obsKind", *note.sourceID);
  if (note.layerID) w.field("layer", note.layerID->toString());
  if (note.sizeOrigin) {
    w.key("sizeFrom");
    w.string(rawValue(*note.sizeOrigin));
  }
  if (!note.reasons.empty()) {
    w.key("reasons");
    w.beginArray();
    for (const std::string& reason : note.reasons) w.string(reason);
    w.endArray();
  }
  w.endObject();
}

int runImport(const ImportOptions& options) {
  int status = kSuccess;
  const auto collection = loadCollection(options.file, status);
  if (!collection) return status;
  const auto canvas = chooseCanvas(options.canvas, options.profileDir, *collection, status);
  if (!canvas) return status;

  const auto index = collection->sourceIndex();
  std::vector<std::string> warnings;
  const std::vector<std::string> scenes = scenesToImport(*collection, options.scenes, warnings);
  for (const std::string& name : options.scenes) {
    const auto it = index.byName.find(name);
    if (it == index.byName.end() || it->second->id != "scene") {
      std::cerr << "tavo: " << options.file << ": no scene named \"" << name << "\"\n";
      return kDataError;
    }
  }

  const std::filesystem::path out(options.out);
  std::error_code error;
  std::filesystem::create_directories(out, error);
  if (error) {
    std::cerr << "tavo: " << out.string() << ": " << error.message() << '\n';
    return kCannotCreate;
  }
  // Pictures and movies of new layers are kept beside the documents.
  HostTransferAssetManager::setShared(std::make_shared<DirectoryTransferAssetManager>(out / "assets"));

  OBSImportOptions importOptions;
  importOptions.canvas = canvas->size;
  importOptions.readSize = mediaSizeReader();
  importOptions.readBytes = [](const std::string& path) -> std::optional<std::string> {
    try {
      return readWholeFile(path);
    } catch (const std::exception&) {
      return std::nullopt;
    }
  };

  std::string report;
  JsonWriter w(report);
  w.beginObject();
  w.key("name");
  writeOptionalText(w, collection->name);
  w.key("canvas");
  writeCanvas(w, *canvas);
  w.key("aspectRatio");
  w.string(rawValue(OBSConversion::snapAspectRatio(canvas->size.width, canvas->size.height)));
  w.key("scenes");
  w.beginArray();
  std::set<std::string> taken;
  for (const std::string& name : scenes) {
    const OBSSceneImport imported = importOBSScene(*collection, index, name, importOptions);
    const std::string fileName = fileNameFor(name, taken);
    try {
      writeFileAtomically(out / fileName, encodeJson(imported.scene) + '\n');
    } catch (const std::exception& failure) {
      std::cerr << "tavo: " << (out / fileName).string() << ": " << failure.what() << '\n';
      return kCannotCreate;
    }
    w.beginObject();
    w.field("name", name);
    w.field("file", (out / fileName).string());
    w.field("layers", static_cast<std::int64_t>(imported.scene.elements().size()));
    for (OBSImportOutcome outcome :
         {OBSImportOutcome::imported, OBSImportOutcome::approximated, OBSImportOutcome::leftOut}) {
      w.key(rawValue(outcome));
      w.beginArray();
      for (const OBSImportNote& note : imported.notes) {
        if (note.outcome == outcome) writeNote(w, note);
      }
      w.endArray();
    }
    w.endObject();
  }
  w.endArray();
  w.key("warnings");
  w.beginArray();
  for (const std::string& warning : warnings) w.string(warning);
  w.endArray();
  w.endObject();
  std::cout << report << '\n';
  return kSuccess;
}

}  // namespace

void addObsImportCommand(CLI::App& obs, int& status) {
  auto options = std::make_shared<ImportOptions>();
  auto* command = obs.add_subcommand(
      "import",
      "Turn OBS scenes into scene documents, one file per scene in --out, and print a JSON report of what was "
      "imported, approximated and left out. Groups become folders; pictures and movies found on this machine "
      "are stored in --out/assets");
  command->add_option("COLLECTION", options->file, "The collection file; standard input for -")->required();
  command->add_option("--scene", options->scenes, "A scene to import (repeatable); all scenes in scene order by default");
  command->add_option("--profile-dir", options->profileDir,
                      "An OBS profile directory, or OBS's configuration directory, for the canvas size");
  command->add_option("--canvas", options->canvas,
                      "The canvas as WIDTHxHEIGHT; wins over the profile and the collection's resolution");
  command->add_option("--out", options->out, "The folder for the documents; the current folder by default");
  command->callback([options, &status] { status = runImport(*options); });
}

}  // namespace tav::tool
