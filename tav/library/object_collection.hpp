// ObjectCollection: a user's named collection of library objects, stored as JSON in the defaults.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tav/library/collection_displayable.hpp"

namespace tav {

/// A plain value: id, title, the stored ids and the type. Equality and hashing cover all four.
/// JSON: {"id":..., "title":..., "_objects":[...], "type":{"custom":{}}}, every key required.
class ObjectCollection final : public CollectionDisplayable {
 public:
  /// A collection with no objects; a fresh UUID string as id when `id` is absent. `image` names a
  /// picture a caller may pass along; it is not kept.
  explicit ObjectCollection(std::optional<std::string> id = std::nullopt, std::string title = {},
                            const std::optional<std::string>& image = std::nullopt,
                            CollectionType type = CollectionType::custom);
  /// A collection with every field given, as read from storage.
  static ObjectCollection memberwise(std::string id, std::string title, std::vector<std::string> objects,
                                     CollectionType type);

  std::string id() const override { return id_; }
  std::string title() const override { return title_; }
  void setTitle(std::string title) override { title_ = std::move(title); }
  std::vector<std::string> objects() const override { return objects_; }
  std::vector<std::string> _objects() const override { return objects_; }
  void set_objects(std::vector<std::string> objects) override { objects_ = std::move(objects); }
  CollectionType type() const override { return type_; }
  /// Appends `object` unless the collection has it already.
  void add(const std::string& object) override;
  /// Removes every occurrence of `object`.
  void remove(const std::string& object) override;
  void reorder(std::size_t at, std::size_t to) override;

  /// Sets the title.
  void rename(std::string title) { title_ = std::move(title); }
  /// The stored ids without a copy.
  const std::vector<std::string>& storedObjects() const { return objects_; }

  friend bool operator==(const ObjectCollection& a, const ObjectCollection& b) {
    return a.id_ == b.id_ && a.title_ == b.title_ && a.objects_ == b.objects_ && a.type_ == b.type_;
  }

 private:
  std::string id_;
  std::string title_;
  std::vector<std::string> objects_;
  CollectionType type_ = CollectionType::custom;
};

/// Moves `items[at]` to `to`, counted after its removal; the shared rule of every reorder. Throws
/// std::out_of_range when `at` is no index or `to` is past the end after removal.
void moveElement(std::vector<std::string>& items, std::size_t at, std::size_t to);

template <>
struct JsonCoder<ObjectCollection> {
  static ObjectCollection decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const ObjectCollection& collection);
};

}  // namespace tav

template <>
struct std::hash<tav::ObjectCollection> {
  std::size_t operator()(const tav::ObjectCollection& collection) const noexcept;
};
