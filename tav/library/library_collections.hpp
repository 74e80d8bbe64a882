// The two collections a CollectionManager makes rather than stores: the whole library of a kind, read
// from the host's provider, and the user's favourites.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tav/library/collection_displayable.hpp"

namespace tav {

/// The whole library ("LIBRARY_COLLECTION", type `all`). Its objects are asked of the provider at each
/// read; add and remove do nothing; reorder moves the object in the provider. The title is the
/// localised "LIBRARY_TITLE", "All" by default.
class LibraryCollection final : public CollectionDisplayable {
 public:
  /// Throws std::invalid_argument for a null provider.
  explicit LibraryCollection(std::shared_ptr<LibraryCollectionProvider> provider);

  static constexpr const char* libraryID = "LIBRARY_COLLECTION";

  std::string id() const override { return id_; }
  std::string title() const override { return title_; }
  void setTitle(std::string title) override { title_ = std::move(title); }
  std::vector<std::string> objects() const override { return provider_->objects(); }
  std::vector<std::string> _objects() const override { return objects_; }
  void set_objects(std::vector<std::string> objects) override { objects_ = std::move(objects); }
  CollectionType type() const override { return type_; }
  void add(const std::string&) override {}
  void remove(const std::string&) override {}
  void reorder(std::size_t at, std::size_t to) override { provider_->reorder(at, to); }

  const std::shared_ptr<LibraryCollectionProvider>& provider() const { return provider_; }

 private:
  std::string id_ = libraryID;
  std::string title_;
  CollectionType type_ = CollectionType::all;
  std::vector<std::string> objects_;
  std::shared_ptr<LibraryCollectionProvider> provider_;
};

/// The favourites of a kind ("FAVOURITE_" + key, type `favourites`), over the stored list. Its own
/// add, remove and reorder do nothing: favourites change through the CollectionManager. The title is
/// the localised "OVERLAY_FAVOURITE", "Favourites" by default.
class FavouriteCollection final : public CollectionDisplayable {
 public:
  FavouriteCollection(ObjectCollectionType objectCollectionType, std::vector<std::string> objects);

  /// "FAVOURITE_" + the kind's key.
  static std::string favouritesID(ObjectCollectionType objectType);

  std::string id() const override { return favouritesID(objectType_); }
  std::string title() const override { return title_; }
  void setTitle(std::string title) override { title_ = std::move(title); }
  std::vector<std::string> objects() const override { return objects_; }
  std::vector<std::string> _objects() const override { return objects_; }
  void set_objects(std::vector<std::string> objects) override { objects_ = std::move(objects); }
  CollectionType type() const override { return type_; }
  void add(const std::string&) override {}
  void remove(const std::string&) override {}
  void reorder(std::size_t, std::size_t) override {}

  ObjectCollectionType objectType() const { return objectType_; }

 private:
  std::string title_;
  std::vector<std::string> objects_;
  CollectionType type_ = CollectionType::favourites;
  ObjectCollectionType objectType_;
};

}  // namespace tav
