#include "library_commands.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exit_status.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/library/collection_manager.hpp"
#include "tav/platform/file_user_defaults.hpp"

namespace tav::tool {
namespace {

struct LibraryOptions {
  std::string defaultsFile;  // empty: the user's settings file
  std::string kind;          // empty: every kind (list) or "scene" (changes)
  std::string item;
  std::string collection;
  bool remove = false;
};

/// The tool has no library of its own: the whole library of a kind is every id that its favourites,
/// templates and collections name, in the order first named.
class NamedObjectsProvider final : public LibraryCollectionProvider {
 public:
  std::vector<std::string> ids;
  std::vector<std::string> objects() const override { return ids; }
  void reorder(std::size_t at, std::size_t to) override { moveElement(ids, at, to); }
  void include(const std::vector<std::string>& more) {
    for (const auto& id : more) {
      if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
    }
  }
};

std::shared_ptr<UserDefaults> openDefaults(const LibraryOptions& options) {
  return std::make_shared<FileUserDefaults>(options.defaultsFile.empty() ? FileUserDefaults::defaultPath()
                                                                         : std::filesystem::path(options.defaultsFile));
}

/// The manager of one kind, with the older layout already moved over.
std::unique_ptr<CollectionManager> managerFor(ObjectCollectionType type, std::shared_ptr<UserDefaults> defaults,
                                              NotificationCenter& center) {
  auto provider = std::make_shared<NamedObjectsProvider>();
  auto manager = std::make_unique<CollectionManager>(type, provider, std::move(defaults), center);
  manager->migrateCollections();
  provider->include(manager->favourites());
  provider->include(manager->templates());
  for (const auto& collection : manager->collections()) provider->include(collection.storedObjects());
  return manager;
}

std::optional<ObjectCollectionType> parseKind(const std::string& text, int& status) {
  if (auto kind = enumFromRawValue<ObjectCollectionType>(text)) return kind;
  std::cerr << "tavo: not a kind of library object: \"" << text << "\" (expected scene, filter or background)\n";
  status = kUsage;
  return std::nullopt;
}

/// {"kind", "collections": [{"id", "title", "type", "objects"}, ...]}: the library, the favourites and
/// the stored collections, as a host's collection view lists them.
void writeKind(JsonWriter& w, const CollectionManager& manager) {
  w.beginObject();
  w.field("kind", std::string(rawValue(manager.objectType())));
  w.key("collections");
  w.beginArray();
  for (const auto& entry : manager.dataSource()) {
    w.beginObject();
    w.field("id", entry->id());
    w.field("title", entry->title());
    w.field("type", std::string(rawValue(entry->type())));
    w.field("objects", entry->objects());
    w.endObject();
  }
  w.endArray();
  w.field("templates", manager.templates());
  w.endObject();
}

void list(const LibraryOptions& options, int& status) {
  std::vector<ObjectCollectionType> kinds;
  if (options.kind.empty()) {
    for (auto kind : allCases<ObjectCollectionType>()) kinds.push_back(kind);
  } else if (auto kind = parseKind(options.kind, status)) {
    kinds.push_back(*kind);
  } else {
    return;
  }
  NotificationCenter center;
  auto defaults = openDefaults(options);
  std::string out;
  JsonWriter w(out);
  w.beginArray();
  for (auto kind : kinds) writeKind(w, *managerFor(kind, defaults, center));
  w.endArray();
  std::cout << out << '\n';
  status = kSuccess;
}

/// The manager of the kind a change names (scenes unless --kind says otherwise); null with the status
/// set for an unknown kind.
std::unique_ptr<CollectionManager> managerToChange(const LibraryOptions& options, NotificationCenter& center,
                                                   int& status) {
  auto kind = parseKind(options.kind.empty() ? "scene" : options.kind, status);
  if (!kind) return nullptr;
  return managerFor(*kind, openDefaults(options), center);
}

void favourite(const LibraryOptions& options, int& status) {
  NotificationCenter center;
  auto manager = managerToChange(options, center, status);
  if (!manager) return;
  if (options.remove) {
    manager->removeFromFavourites(options.item);
  } else {
    manager->addToFavourites(options.item);
  }
  std::cout << encodeJson(manager->favourites()) << '\n';
  status = kSuccess;
}

void collect(const LibraryOptions& options, int& status) {
  NotificationCenter center;
  auto manager = managerToChange(options, center, status);
  if (!manager) return;
  std::optional<ObjectCollection> target;
  for (const auto& collection : manager->collections()) {
    if (collection.id() == options.collection || collection.title() == options.collection) {
      target = collection;
      break;
    }
  }
  if (!target) {
    if (options.remove) {
      std::cerr << "tavo: no " << rawValue(manager->objectType()) << " collection has the id or title \"" << options.collection << "\"\n";
      status = kDataError;
      return;
    }
    target = manager->createCollection(options.collection);
  }
  if (options.remove) {
    manager->remove(options.item, target->id());
  } else {
    manager->add(options.item, target->id());
  }
  for (const auto& collection : manager->collections()) {
    if (collection.id() == target->id()) std::cout << encodeJson(collection) << '\n';
  }
  status = kSuccess;
}

}  // namespace

void addLibraryCommands(CLI::App& app, int& status) {
  auto options = std::make_shared<LibraryOptions>();
  auto* library = app.add_subcommand("library", "Favourites and collections of scenes, filters and backgrounds");
  library->require_subcommand(1);
  library->fallthrough();
  library->add_option("--defaults", options->defaultsFile,
                      "The settings file (default: $XDG_CONFIG_HOME/tavo/defaults.json)");
  library->add_option("--kind", options->kind, "scene, filter or background (list: every kind; others: scene)");

  auto* listCommand = library->add_subcommand("list", "Show the collections of each kind as JSON");
  listCommand->callback([options, &status] { list(*options, status); });

  auto* favouriteCommand = library->add_subcommand("favourite", "Add an object to the favourites and show them");
  favouriteCommand->add_option("ID", options->item, "The object's id")->required();
  favouriteCommand->add_flag("--remove", options->remove, "Remove it (every occurrence) instead");
  favouriteCommand->callback([options, &status] { favourite(*options, status); });

  auto* collectCommand = library->add_subcommand(
      "collect", "Add an object to a collection (made when no collection has that id or title) and show it");
  collectCommand->add_option("ID", options->item, "The object's id")->required();
  collectCommand->add_option("COLLECTION", options->collection, "The collection's id or title")->required();
  collectCommand->add_flag("--remove", options->remove, "Remove the object from the collection instead");
  collectCommand->callback([options, &status] { collect(*options, status); });
}

}  // namespace tav::tool
