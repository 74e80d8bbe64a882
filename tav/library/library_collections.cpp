#include "tav/library/library_collections.hpp"

#include <stdexcept>

#include "tav/contracts/localizer.hpp"

namespace tav {

LibraryCollection::LibraryCollection(std::shared_ptr<LibraryCollectionProvider> provider)
    : title_(localizedText("LIBRARY_TITLE", "All")), provider_(std::move(provider)) {
  if (!provider_) throw std::invalid_argument("LibraryCollection needs a provider");
}

FavouriteCollection::FavouriteCollection(ObjectCollectionType objectCollectionType, std::vector<std::string> objects)
    : title_(localizedText("OVERLAY_FAVOURITE", "Favourites")),
      objects_(std::move(objects)),
      objectType_(objectCollectionType) {}

std::string FavouriteCollection::favouritesID(ObjectCollectionType objectType) {
  return "FAVOURITE_" + std::string(key(objectType));
}

}  // namespace tav
