// What the host's collection views work with: one interface over the whole library of a kind, its
// favourites and the user's own collections, and the provider through which the host supplies the
// library itself.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tav/library/collection_type.hpp"

namespace tav {

/// Supplies the whole library of one kind of object, in display order. Implemented by the host;
/// called on the thread that uses the CollectionManager it was given to.
class LibraryCollectionProvider {
 public:
  virtual ~LibraryCollectionProvider() = default;
  /// Every object id of the kind, in display order.
  virtual std::vector<std::string> objects() const = 0;
  /// Moves the object at `at` so that it stands at `to`, counted after its removal.
  virtual void reorder(std::size_t at, std::size_t to) = 0;
};

/// One collection as a view shows it. The members are those of the three collections that follow:
/// LibraryCollection, FavouriteCollection and ObjectCollection. Not thread-safe.
class CollectionDisplayable {
 public:
  virtual ~CollectionDisplayable() = default;

  virtual std::string id() const = 0;
  virtual std::string title() const = 0;
  virtual void setTitle(std::string title) = 0;
  /// The ids the view shows, in order.
  virtual std::vector<std::string> objects() const = 0;
  /// The stored ids; for the library this is an unused empty list.
  virtual std::vector<std::string> _objects() const = 0;
  virtual void set_objects(std::vector<std::string> objects) = 0;
  virtual CollectionType type() const = 0;
  virtual void add(const std::string& object) = 0;
  virtual void remove(const std::string& object) = 0;
  /// Moves the object at `at` to `to`, counted after its removal. `at` must be a valid index and `to`
  /// at most the count after removal (an ObjectCollection throws std::out_of_range otherwise).
  virtual void reorder(std::size_t at, std::size_t to) = 0;
};

}  // namespace tav
