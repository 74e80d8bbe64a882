#include "tav/library/collection_manager.hpp"

#include <algorithm>
#include <stdexcept>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/foundation/codable_user_default.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("CollectionManager");
  return instance;
}

/// A list of texts under `key`; empty for a missing key or any other value.
std::vector<std::string> stringArray(const UserDefaults& defaults, std::string_view key) {
  std::optional<JsonValue> stored = defaults.value(key);
  if (!stored || !stored->is_array()) return {};
  std::vector<std::string> result;
  result.reserve(stored->get_array().size());
  for (const auto& element : stored->get_array()) {
    if (!element.is_string()) return {};
    result.emplace_back(element.get_string().data(), element.get_string().size());
  }
  return result;
}

void setStringArray(UserDefaults& defaults, std::string_view key, const std::vector<std::string>& values) {
  JsonArray array;
  array.reserve(values.size());
  for (const auto& value : values) array.emplace_back(value);
  defaults.set(key, JsonValue(std::move(array)));
}

/// The collections under `key`: the JSON array itself, or JSON text of one (as bytes are kept by
/// stores that hold data). Anything else reads as none.
std::vector<ObjectCollection> storedCollections(const UserDefaults& defaults, std::string_view key) {
  std::optional<JsonValue> stored = defaults.value(key);
  if (!stored) return {};
  try {
    if (stored->is_string()) return decodeJson<std::vector<ObjectCollection>>(std::string_view(stored->get_string()));
    return decodeJson<std::vector<ObjectCollection>>(*stored, JsonPath::root());
  } catch (const DecodingError& error) {
    logger().debug("stored collections under \"{}\" do not read ({}); taken as none", key, error.what());
    return {};
  }
}

}  // namespace

CollectionManager::CollectionManager(ObjectCollectionType type, std::shared_ptr<LibraryCollectionProvider> provider,
                                     std::shared_ptr<UserDefaults> defaults, NotificationCenter& notificationCenter)
    : objectType_(type),
      provider_(std::move(provider)),
      defaults_(std::move(defaults)),
      notificationCenter_(notificationCenter),
      selectedCollectionID_(std::nullopt) {
  if (!provider_) throw std::invalid_argument("CollectionManager needs a library provider");
  if (!defaults_) throw std::invalid_argument("CollectionManager needs a defaults store");
}

std::string CollectionManager::collectionsKey() const { return "COLLECTIONS_" + std::string(key(objectType_)); }
std::string CollectionManager::favouritesKey() const { return "FAVOURITES_" + std::string(key(objectType_)); }
std::string CollectionManager::templatesKey() const { return "TEMPLATES_" + std::string(key(objectType_)); }
std::string CollectionManager::migratedKey() const {
  return "MigratedCollections_" + std::string(key(objectType_));
}

void CollectionManager::setSelectedCollectionID(std::optional<std::string> id) {
  if (!selectedCollectionID_.set(std::move(id))) return;
  notificationCenter_.post(selectedCollectionChangedNotificationName(objectType_), this);
}

std::vector<ObjectCollection> CollectionManager::collections() const {
  return storedCollections(*defaults_, collectionsKey());
}

void CollectionManager::setCollections(const std::vector<ObjectCollection>& collections) {
  try {
    defaults_->set(collectionsKey(), detail::storedJson(encodeJson(collections)));
  } catch (const std::exception& error) {
    logger().error("collections of {} cannot be written ({}); the key is removed", key(objectType_), error.what());
    defaults_->remove(collectionsKey());
  }
}

std::vector<std::string> CollectionManager::favourites() const { return stringArray(*defaults_, favouritesKey()); }
void CollectionManager::setFavourites(const std::vector<std::string>& favourites) {
  setStringArray(*defaults_, favouritesKey(), favourites);
}
std::vector<std::string> CollectionManager::templates() const { return stringArray(*defaults_, templatesKey()); }
void CollectionManager::setTemplates(const std::vector<std::string>& templates) {
  setStringArray(*defaults_, templatesKey(), templates);
}

std::vector<std::shared_ptr<CollectionDisplayable>> CollectionManager::dataSource() const {
  std::vector<std::shared_ptr<CollectionDisplayable>> source;
  source.push_back(std::make_shared<LibraryCollection>(libraryCollection()));
  source.push_back(std::make_shared<FavouriteCollection>(favouriteCollection()));
  for (auto& collection : collections()) source.push_back(std::make_shared<ObjectCollection>(std::move(collection)));
  return source;
}

std::shared_ptr<CollectionDisplayable> CollectionManager::selectedCollection() const {
  if (const auto selected = selectedCollectionID()) {
    for (auto& entry : dataSource()) {
      if (entry->id() == *selected) return entry;
    }
  }
  return std::make_shared<LibraryCollection>(libraryCollection());
}

std::vector<std::shared_ptr<CollectionDisplayable>> CollectionManager::activeCollections() const {
  std::vector<std::shared_ptr<CollectionDisplayable>> active;
  for (auto& entry : dataSource()) {
    if (!entry->objects().empty() && entry->type() != CollectionType::templates) active.push_back(std::move(entry));
  }
  return active;
}

void CollectionManager::postUpdated(NotificationUserInfo userInfo) {
  notificationCenter_.post(collectionsUpdatedNotificationName(objectType_), this, std::move(userInfo));
}

ObjectCollection CollectionManager::createCollection(const std::string& title) {
  ObjectCollection collection(std::nullopt, title, std::nullopt, CollectionType::custom);
  auto stored = collections();
  stored.push_back(collection);
  setCollections(stored);
  postUpdated({{"id", collection.id()}});
  return collection;
}

void CollectionManager::delete_(const ObjectCollection& collection) {
  const std::string id = collection.id();
  auto stored = collections();
  std::erase_if(stored, [&](const ObjectCollection& c) { return c.id() == id; });
  setCollections(stored);
  postUpdated({{"id", id}});
}

void CollectionManager::rename(const std::string& id, const std::string& name) {
  auto stored = collections();
  auto it = std::find_if(stored.begin(), stored.end(), [&](const ObjectCollection& c) { return c.id() == id; });
  if (it == stored.end()) return;
  it->rename(name);
  setCollections(stored);
  postUpdated();
}

void CollectionManager::addToStored(const std::string& item, const std::optional<std::string>& id) {
  if (!id) return;
  auto stored = collections();
  auto it = std::find_if(stored.begin(), stored.end(), [&](const ObjectCollection& c) { return c.id() == *id; });
  if (it == stored.end()) return;
  it->add(item);
  setCollections(stored);
  postUpdated();
}

void CollectionManager::add(const std::string& item, const std::string& id) {
  if (id == FavouriteCollection::favouritesID(objectType_)) {
    addToFavourites(item);
    return;
  }
  addToStored(item, id);
}

void CollectionManager::remove(const std::string& item, const std::string& id) {
  auto stored = collections();
  auto it = std::find_if(stored.begin(), stored.end(), [&](const ObjectCollection& c) { return c.id() == id; });
  if (it == stored.end()) return;
  it->remove(item);
  setCollections(stored);
  postUpdated();
}

void CollectionManager::clearStale(const std::string& item, const std::string& id) {
  if (id == FavouriteCollection::favouritesID(objectType_)) {
    removeFromFavourites(item);
    return;
  }
  auto stored = collections();
  auto it = std::find_if(stored.begin(), stored.end(), [&](const ObjectCollection& c) { return c.id() == id; });
  if (it == stored.end()) return;
  it->remove(item);
  setCollections(stored);
}

std::vector<ObjectCollection> CollectionManager::clearing(const std::string& item,
                                                          std::vector<ObjectCollection> collections) {
  for (auto& collection : collections) collection.remove(item);
  return collections;
}

void CollectionManager::clearStale(const std::string& item) {
  const auto stored = collections();
  auto cleared = clearing(item, stored);
  if (cleared != stored) setCollections(cleared);
  auto favourites = this->favourites();
  if (std::find(favourites.begin(), favourites.end(), item) != favourites.end()) {
    std::erase(favourites, item);
    setFavourites(favourites);
  }
}

void CollectionManager::addToSelected(const std::string& item) { addToStored(item, selectedCollectionID()); }

void CollectionManager::addToFavourites(const std::string& item) {
  auto favourites = this->favourites();
  favourites.push_back(item);
  setFavourites(favourites);
  postUpdated({{"added", item}});
}

void CollectionManager::removeFromFavourites(const std::string& item) {
  auto favourites = this->favourites();
  std::erase(favourites, item);
  setFavourites(favourites);
  postUpdated({{"removed", item}});
}

void CollectionManager::reorder(const std::string& item, std::size_t to) {
  const auto objects = selectedCollection()->objects();
  auto it = std::find(objects.begin(), objects.end(), item);
  if (it == objects.end()) return;
  reorder(static_cast<std::size_t>(it - objects.begin()), to);
}

void CollectionManager::reorder(std::size_t at, std::size_t to) {
  auto selected = selectedCollection();
  switch (selected->type()) {
    case CollectionType::favourites:
      selected->reorder(at, to);  // does nothing: favourites keep their stored order
      postUpdated();
      return;
    case CollectionType::all:
      selected->reorder(at, to);
      postUpdated();
      return;
    case CollectionType::templates:
    case CollectionType::custom: break;
  }
  const auto id = selectedCollectionID();
  auto stored = collections();
  auto it = std::find_if(stored.begin(), stored.end(), [&](const ObjectCollection& c) { return id && c.id() == *id; });
  if (it == stored.end()) return;
  it->reorder(at, to);
  setCollections(stored);
  postUpdated();
}

void CollectionManager::step(bool filterEmptyCollections, bool forward) {
  const auto source = dataSource();
  const std::string selectedID = selectedCollection()->id();
  auto found = std::find_if(source.begin(), source.end(), [&](const auto& entry) { return entry->id() == selectedID; });
  if (found == source.end()) return;
  const std::size_t index = static_cast<std::size_t>(found - source.begin());
  const std::size_t count = source.size();
  // Every other entry once, starting next to the selection and wrapping round; never the selection.
  for (std::size_t offset = 1; offset < count; ++offset) {
    const std::size_t candidate = forward ? (index + offset) % count : (index + count - offset) % count;
    const auto& entry = source[candidate];
    if (entry->type() == CollectionType::templates) continue;
    if (filterEmptyCollections && entry->objects().empty()) continue;
    setSelectedCollectionID(entry->id());
    return;
  }
}

void CollectionManager::nextCollection(bool filterEmptyCollections) { step(filterEmptyCollections, true); }
void CollectionManager::previousCollection(bool filterEmptyCollections) { step(filterEmptyCollections, false); }

void CollectionManager::migrateCollections() {
  const std::optional<JsonValue> migrated = defaults_->value(migratedKey());
  if (migrated && migrated->is_bool() && migrated->get_bool()) return;
  const auto favouritesKey = previousFavouritesKey(objectType_);
  const auto collectionsKey = previousCollectionsKey(objectType_);
  if (!favouritesKey || !collectionsKey) return;

  const auto oldFavourites = stringArray(*defaults_, *favouritesKey);
  const auto oldCollections = storedCollections(*defaults_, *collectionsKey);
  for (const auto& item : oldFavourites) addToFavourites(item);
  for (const auto& old : oldCollections) {
    const ObjectCollection created = createCollection(old.title());
    for (const auto& item : old.storedObjects()) add(item, created.id());
  }
  defaults_->set(migratedKey(), JsonValue(true));
  logger().info("moved {} favourites and {} collections of {} from the older keys", oldFavourites.size(),
                oldCollections.size(), key(objectType_));
}

}  // namespace tav
