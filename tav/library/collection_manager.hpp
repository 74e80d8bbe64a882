// CollectionManager: the favourites and named collections of one kind of library object, kept in the
// defaults, the user's selection among them, and the move from the older storage layout.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/notification_center.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/observable_value.hpp"
#include "tav/library/library_collections.hpp"
#include "tav/library/object_collection.hpp"

namespace tav {

/// One manager per kind of object, made and held by the host. Stored values, all in `defaults`:
///   "COLLECTIONS_<key>"          the JSON array of ObjectCollection
///   "FAVOURITES_<key>"           an array of ids
///   "TEMPLATES_<key>"            an array of ids
///   "MigratedCollections_<key>"  true once the older keys were moved
/// Every read goes to the defaults again; nothing is cached. Notifications go to the given center with
/// the manager as sender: selected-collection-changed when the selection changes, collections-updated
/// after each change of collections or favourites.
///
/// Not thread-safe and holds no lock: each operation reads, changes and writes in sequence, and
/// observers of the notifications run on the calling thread. Keep a manager on one context.
/// No operation throws except reorder with indices out of range; unknown ids are ignored.
class CollectionManager {
 public:
  /// Throws std::invalid_argument for a null provider or store. `notificationCenter` must outlive the
  /// manager.
  CollectionManager(ObjectCollectionType type, std::shared_ptr<LibraryCollectionProvider> provider,
                    std::shared_ptr<UserDefaults> defaults,
                    NotificationCenter& notificationCenter = NotificationCenter::defaultCenter());
  CollectionManager(const CollectionManager&) = delete;
  CollectionManager& operator=(const CollectionManager&) = delete;

  ObjectCollectionType objectType() const { return objectType_; }
  const std::shared_ptr<LibraryCollectionProvider>& provider() const { return provider_; }
  const std::shared_ptr<UserDefaults>& defaults() const { return defaults_; }

  /// The selected collection's id: absent at the start, not persisted. Watch it through
  /// `selectedCollectionIDValue()` (changes arrive on the main context) or the
  /// selected-collection-changed notification (posted at once, on the calling thread).
  std::optional<std::string> selectedCollectionID() const { return selectedCollectionID_.value(); }
  /// Sets the selection; when it differs from the old one (absent counts as a value), posts
  /// selected-collection-changed with no user info, after the new value is in place.
  void setSelectedCollectionID(std::optional<std::string> id);
  ObservableValue<std::optional<std::string>>& selectedCollectionIDValue() { return selectedCollectionID_; }

  /// The stored collections; empty when nothing is stored or what is stored does not read.
  std::vector<ObjectCollection> collections() const;
  /// Stores `collections` as JSON (removes the key when they cannot be written).
  void setCollections(const std::vector<ObjectCollection>& collections);
  /// The stored favourite ids; empty when the key is missing or holds anything but a list of texts.
  std::vector<std::string> favourites() const;
  void setFavourites(const std::vector<std::string>& favourites);
  /// The stored template ids, read like favourites.
  std::vector<std::string> templates() const;
  void setTemplates(const std::vector<std::string>& templates);

  /// A fresh library collection over the provider.
  LibraryCollection libraryCollection() const { return LibraryCollection(provider_); }
  /// A fresh favourites collection with the current favourites.
  FavouriteCollection favouriteCollection() const { return FavouriteCollection(objectType_, favourites()); }
  /// The library, the favourites, then the stored collections in stored order.
  std::vector<std::shared_ptr<CollectionDisplayable>> dataSource() const;
  /// The entry of dataSource with the selected id; the library when there is none.
  std::shared_ptr<CollectionDisplayable> selectedCollection() const;
  /// The entries of dataSource with at least one object that are not templates.
  std::vector<std::shared_ptr<CollectionDisplayable>> activeCollections() const;

  /// Appends a new custom collection, posts updated with {"id": its id} and returns it.
  ObjectCollection createCollection(const std::string& title);
  /// Removes every stored collection with the given one's id and posts updated with {"id": id}. The
  /// selection is left as it is.
  void delete_(const ObjectCollection& collection);
  /// Retitles the stored collection `id`; posts updated.
  void rename(const std::string& id, const std::string& name);
  /// Adds `item` to the favourites (for the favourites id) or to the stored collection `id` unless it
  /// is there already; posts updated either way.
  void add(const std::string& item, const std::string& id);
  /// Removes every `item` from the stored collection `id` (only stored collections); posts updated.
  void remove(const std::string& item, const std::string& id);
  /// As remove, but also for the favourites id, and posts nothing but what removeFromFavourites posts.
  void clearStale(const std::string& item, const std::string& id);
  /// Removes `item` from every stored collection and from the favourites, writing only what changes;
  /// posts nothing.
  void clearStale(const std::string& item);
  /// `collections` in the same order, each without any occurrence of `item`.
  static std::vector<ObjectCollection> clearing(const std::string& item, std::vector<ObjectCollection> collections);
  /// Adds `item` to the selected stored collection, if one is selected; posts updated.
  void addToSelected(const std::string& item);
  /// Appends `item` to the favourites (duplicates allowed); posts updated with {"added": item}.
  void addToFavourites(const std::string& item);
  /// Removes every `item` from the favourites; posts updated with {"removed": item}.
  void removeFromFavourites(const std::string& item);
  /// Moves `item` within the selected collection to `to`; nothing when it is not there.
  void reorder(const std::string& item, std::size_t to);
  /// Moves the object at `at` of the selected collection to `to`, counted after the removal: in the
  /// provider for the library, nowhere for the favourites, else in the stored collection. Posts
  /// updated (not when the selected id names no stored collection).
  void reorder(std::size_t at, std::size_t to);
  /// Selects the next entry of dataSource after the selected one, wrapping, skipping templates and,
  /// when asked, empty collections. Nothing changes when none qualifies.
  void nextCollection(bool filterEmptyCollections);
  /// As nextCollection, backwards.
  void previousCollection(bool filterEmptyCollections);
  /// Moves favourites and collections from the older keys, once per kind (never for backgrounds).
  void migrateCollections();

  /// "COLLECTIONS_<key>", "FAVOURITES_<key>", "TEMPLATES_<key>", "MigratedCollections_<key>".
  std::string collectionsKey() const;
  std::string favouritesKey() const;
  std::string templatesKey() const;
  std::string migratedKey() const;

 private:
  void postUpdated(NotificationUserInfo userInfo = {});
  /// Adds `item` to the stored collection `id` and posts updated; nothing when there is none.
  void addToStored(const std::string& item, const std::optional<std::string>& id);
  void step(bool filterEmptyCollections, bool forward);

  ObjectCollectionType objectType_;
  std::shared_ptr<LibraryCollectionProvider> provider_;
  std::shared_ptr<UserDefaults> defaults_;
  NotificationCenter& notificationCenter_;
  ObservableValue<std::optional<std::string>> selectedCollectionID_;
};

}  // namespace tav
