#include "tav/library/collection_type.hpp"

namespace tav {

std::string_view key(ObjectCollectionType type) {
  switch (type) {
    case ObjectCollectionType::scene: return "SCENES";
    case ObjectCollectionType::filter: return "FILTERS";
    case ObjectCollectionType::background: return "BACKGROUNDS";
  }
  return "";
}

std::optional<std::string_view> previousFavouritesKey(ObjectCollectionType type) {
  switch (type) {
    case ObjectCollectionType::scene: return "FavouriteOverlays";
    case ObjectCollectionType::filter: return "FavouriteFilters";
    case ObjectCollectionType::background: return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::string_view> previousCollectionsKey(ObjectCollectionType type) {
  switch (type) {
    case ObjectCollectionType::scene: return "OverlayCollections";
    case ObjectCollectionType::filter: return "ColourFilterCollections";
    case ObjectCollectionType::background: return std::nullopt;
  }
  return std::nullopt;
}

namespace {
std::string notificationName(ObjectCollectionType type, std::string_view suffix) {
  std::string name = "Tavo.Mac.App.";
  name += key(type);
  name += suffix;
  return name;
}
}  // namespace

std::string selectedCollectionChangedNotificationName(ObjectCollectionType type) {
  return notificationName(type, ".SelectedCollectionChangedNotification.Name");
}

std::string collectionsUpdatedNotificationName(ObjectCollectionType type) {
  return notificationName(type, ".CollectionsUpdatedNotification.Name");
}

std::string objectsChangedNotificationName(ObjectCollectionType type) {
  return notificationName(type, ".ObjectsChangedNotification.Name");
}

std::string_view imageName(CollectionType type) {
  switch (type) {
    case CollectionType::all: return "square.grid.2x2";
    case CollectionType::favourites: return "heart";
    case CollectionType::templates:
    case CollectionType::custom: return "folder";
  }
  return "folder";
}

CollectionType JsonCoder<CollectionType>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_object()) detail::throwExpected(path, "an object");
  std::optional<CollectionType> found;
  const JsonValue* payload = nullptr;
  std::size_t caseKeys = 0;
  for (const auto& member : json.get_object()) {
    const std::string_view name(member.key().data(), member.key().size());
    if (auto type = enumFromRawValue<CollectionType>(name)) {
      ++caseKeys;
      found = type;
      payload = &member.value();
    }
  }
  if (caseKeys != 1) throw DecodingError(path, "Invalid number of keys found, expected one.");
  if (!payload->is_object()) detail::throwExpected(path.key(rawValue(*found)), "an object");
  return *found;
}

void JsonCoder<CollectionType>::encode(JsonWriter& w, CollectionType type) {
  w.beginObject();
  w.key(rawValue(type));
  w.beginObject();
  w.endObject();
  w.endObject();
}

}  // namespace tav
