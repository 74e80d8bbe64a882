// The kinds of object the library shows (scenes, filters, backgrounds) and the kinds of collection a
// user steps through for each: the whole library, templates, favourites and the user's own.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// The kind of object a CollectionManager keeps collections of. `key` names its stored values and
/// its notifications; the previous keys are where an older layout kept favourites and collections.
enum class ObjectCollectionType { scene, filter, background };

template <>
struct EnumTraits<ObjectCollectionType> {
  using T = ObjectCollectionType;
  static constexpr std::array cases{EnumCase<T>{T::scene, "scene"}, EnumCase<T>{T::filter, "filter"},
                                    EnumCase<T>{T::background, "background"}};
};

/// "SCENES", "FILTERS", "BACKGROUNDS".
std::string_view key(ObjectCollectionType type);
/// "FavouriteOverlays", "FavouriteFilters"; absent for backgrounds.
std::optional<std::string_view> previousFavouritesKey(ObjectCollectionType type);
/// "OverlayCollections", "ColourFilterCollections"; absent for backgrounds.
std::optional<std::string_view> previousCollectionsKey(ObjectCollectionType type);
/// "Tavo.Mac.App.<key>.SelectedCollectionChangedNotification.Name"
std::string selectedCollectionChangedNotificationName(ObjectCollectionType type);
/// "Tavo.Mac.App.<key>.CollectionsUpdatedNotification.Name"
std::string collectionsUpdatedNotificationName(ObjectCollectionType type);
/// "Tavo.Mac.App.<key>.ObjectsChangedNotification.Name": for the host's own use; the library never posts it.
std::string objectsChangedNotificationName(ObjectCollectionType type);

/// What a collection is. JSON: an object with the case name as its one key and an empty object as
/// its value, {"custom":{}}.
enum class CollectionType { all, templates, favourites, custom };

template <>
struct EnumTraits<CollectionType> {
  using T = CollectionType;
  static constexpr std::array cases{EnumCase<T>{T::all, "all"}, EnumCase<T>{T::templates, "templates"},
                                    EnumCase<T>{T::favourites, "favourites"}, EnumCase<T>{T::custom, "custom"}};
};

/// The symbol name a view shows for the type: "square.grid.2x2" (all), "heart" (favourites), "folder"
/// (templates, custom). Drawing the symbol is the host's business.
std::string_view imageName(CollectionType type);

/// Reads and writes the one-key form. Reading counts only the keys that name a case (as a keyed
/// reader sees them): any other number than one fails with "Invalid number of keys found, expected
/// one."; the value under the key must be an object.
template <>
struct JsonCoder<CollectionType> {
  static CollectionType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, CollectionType type);
};

}  // namespace tav
