#include "tav/library/object_collection.hpp"

#include <algorithm>
#include <stdexcept>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

ObjectCollection::ObjectCollection(std::optional<std::string> id, std::string title,
                                   const std::optional<std::string>& /*image*/, CollectionType type)
    : id_(id ? std::move(*id) : Uuid::random().toString()), title_(std::move(title)), type_(type) {}

ObjectCollection ObjectCollection::memberwise(std::string id, std::string title, std::vector<std::string> objects,
                                              CollectionType type) {
  ObjectCollection collection(std::move(id), std::move(title), std::nullopt, type);
  collection.objects_ = std::move(objects);
  return collection;
}

void ObjectCollection::add(const std::string& object) {
  if (std::find(objects_.begin(), objects_.end(), object) == objects_.end()) objects_.push_back(object);
}

void ObjectCollection::remove(const std::string& object) { std::erase(objects_, object); }

void ObjectCollection::reorder(std::size_t at, std::size_t to) { moveElement(objects_, at, to); }

void moveElement(std::vector<std::string>& items, std::size_t at, std::size_t to) {
  if (at >= items.size()) {
    throw std::out_of_range("reorder: index " + std::to_string(at) + " is not below " + std::to_string(items.size()));
  }
  if (to > items.size() - 1) {
    throw std::out_of_range("reorder: destination " + std::to_string(to) + " is past " +
                            std::to_string(items.size() - 1));
  }
  std::string moved = std::move(items[at]);
  items.erase(items.begin() + static_cast<std::ptrdiff_t>(at));
  items.insert(items.begin() + static_cast<std::ptrdiff_t>(to), std::move(moved));
}

ObjectCollection JsonCoder<ObjectCollection>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  auto id = reader.required<std::string>("id");
  auto title = reader.required<std::string>("title");
  auto objects = reader.required<std::vector<std::string>>("_objects");
  auto type = reader.required<CollectionType>("type");
  return ObjectCollection::memberwise(std::move(id), std::move(title), std::move(objects), type);
}

void JsonCoder<ObjectCollection>::encode(JsonWriter& w, const ObjectCollection& collection) {
  w.beginObject();
  w.field("id", collection.id());
  w.field("title", collection.title());
  w.field("_objects", collection.storedObjects());
  w.field("type", collection.type());
  w.endObject();
}

}  // namespace tav

std::size_t std::hash<tav::ObjectCollection>::operator()(const tav::ObjectCollection& collection) const noexcept {
  return tav::hashValues(collection.id(), collection.title(), collection.storedObjects(),
                         static_cast<int>(collection.type()));
}
