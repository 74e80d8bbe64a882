// A flat, open-addressing map from layer or group id to a small value (an index, a count, another
// id's slot), for the structure passes that run after every edit. One allocation and linear probing
// keep 10,000 ids within a few hundred kilobytes, where node-based maps spend their time in the
// allocator and in cache misses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tav/contracts/uuid.hpp"

namespace tav::detail {

/// Map from Uuid to V. Inserting never invalidates earlier look-ups' results by value; references
/// into the map are invalidated by growth. Not thread-safe.
template <class V>
class UuidMap {
 public:
  explicit UuidMap(std::size_t expected = 0) { rehash(capacityFor(expected)); }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  /// The value stored for `id`, or nullptr.
  const V* find(const Uuid& id) const {
    std::size_t slot = locate(id);
    return slots_[slot].used ? &slots_[slot].value : nullptr;
  }
  V* find(const Uuid& id) {
    std::size_t slot = locate(id);
    return slots_[slot].used ? &slots_[slot].value : nullptr;
  }
  bool contains(const Uuid& id) const { return find(id) != nullptr; }

  /// Stores `value` under `id` unless an entry exists; returns the entry and whether it is new.
  std::pair<V*, bool> tryEmplace(const Uuid& id, V value) {
    if ((size_ + 1) * 4 > slots_.size() * 3) rehash(slots_.size() * 2);
    std::size_t slot = locate(id);
    if (slots_[slot].used) return {&slots_[slot].value, false};
    slots_[slot] = Slot{id, std::move(value), true};
    ++size_;
    return {&slots_[slot].value, true};
  }

  /// The entry for `id`, made with V{} when missing.
  V& operator[](const Uuid& id) { return *tryEmplace(id, V{}).first; }

  template <class F>
  void forEach(F&& f) const {
    for (const auto& slot : slots_) {
      if (slot.used) f(slot.key, slot.value);
    }
  }

 private:
  struct Slot {
    Uuid key;
    V value{};
    bool used = false;
  };

  static std::size_t capacityFor(std::size_t expected) {
    std::size_t capacity = 16;
    while (capacity * 3 < expected * 4 + 4) capacity *= 2;
    return capacity;
  }

  static std::size_t hashOf(const Uuid& id) { return std::hash<Uuid>()(id); }

  std::size_t locate(const Uuid& id) const {
    std::size_t mask = slots_.size() - 1;
    std::size_t slot = hashOf(id) & mask;
    while (slots_[slot].used && !(slots_[slot].key == id)) slot = (slot + 1) & mask;
    return slot;
  }

  void rehash(std::size_t capacity) {
    std::vector<Slot> old = std::move(slots_);
    slots_.assign(capacity, Slot{});
    size_ = 0;
    for (auto& slot : old) {
      if (slot.used) {
        std::size_t at = locate(slot.key);
        slots_[at] = std::move(slot);
        ++size_;
      }
    }
  }

  std::vector<Slot> slots_;
  std::size_t size_ = 0;
};

/// A set of ids over the same table.
class UuidSet {
 public:
  explicit UuidSet(std::size_t expected = 0) : map_(expected) {}
  bool insert(const Uuid& id) { return map_.tryEmplace(id, true).second; }
  bool contains(const Uuid& id) const { return map_.contains(id); }
  std::size_t size() const { return map_.size(); }
  bool empty() const { return map_.empty(); }

 private:
  UuidMap<bool> map_;
};

}  // namespace tav::detail
