// Dense numbers for ids, for the structure passes that keep per-layer or per-group arrays: the distinct
// ids added are numbered 0, 1, 2, ... in the order they first came, and each pass then works on plain
// arrays indexed by those numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tav/contracts/uuid.hpp"

namespace tav::detail {

/// The ids themselves lie in one array; the table over them holds 8-byte entries (slot + 1 in the low
/// half, the top of the id's hash in the high half), so that a probe compares ids only when the hashes
/// agree. Where a table holding the ids would take 24 bytes an entry, 10,000 ids then stay in L2 beside
/// the layers a pass is reading. Holds fewer than 2^32 - 1 ids (the layers or groups of one format).
/// Not thread-safe.
class UuidSlots {
 public:
  static constexpr std::uint32_t npos = std::numeric_limits<std::uint32_t>::max();

  /// Room for `expected` ids without growing.
  explicit UuidSlots(std::size_t expected = 0) { resize(expected); }

  std::size_t size() const { return ids_.size(); }
  /// The id numbered `slot`.
  const Uuid& id(std::uint32_t slot) const { return ids_[slot]; }

  /// The slot of `id`, or npos.
  std::uint32_t find(const Uuid& id) const {
    const std::uint64_t entry = table_[locate(id, hashOf(id))];
    return entry == 0 ? npos : slotIn(entry);
  }

  /// The slot of `id`, numbering it next when it is new.
  std::uint32_t insert(const Uuid& id) {
    if ((ids_.size() + 1) * 4 > table_.size() * 3) resize(2 * (ids_.size() + 1));
    const std::uint64_t hash = hashOf(id);
    const std::size_t at = locate(id, hash);
    if (table_[at] != 0) return slotIn(table_[at]);
    const auto slot = static_cast<std::uint32_t>(ids_.size());
    table_[at] = entryFor(slot, hash);
    ids_.push_back(id);
    return slot;
  }

 private:
  static constexpr std::uint64_t kTagBits = 0xFFFF'FFFF'0000'0000ULL;

  static std::uint64_t hashOf(const Uuid& id) { return std::hash<Uuid>()(id); }
  static std::uint32_t slotIn(std::uint64_t entry) { return static_cast<std::uint32_t>(entry) - 1; }
  static std::uint64_t entryFor(std::uint32_t slot, std::uint64_t hash) {
    return (hash & kTagBits) | (std::uint64_t{slot} + 1);
  }

  /// Where `id` is in the table, or the empty entry where it would go.
  std::size_t locate(const Uuid& id, std::uint64_t hash) const {
    std::size_t at = hash & mask_;
    while (table_[at] != 0 && ((table_[at] & kTagBits) != (hash & kTagBits) || ids_[slotIn(table_[at])] != id)) {
      at = (at + 1) & mask_;
    }
    return at;
  }

  /// At most three quarters full: a look-up of a missing id then ends after a few probes, mostly
  /// within one cache line of eight entries.
  void resize(std::size_t expected) {
    std::size_t capacity = 16;
    while (capacity * 3 < expected * 4) capacity *= 2;
    if (capacity <= table_.size()) return;
    table_.assign(capacity, 0);
    mask_ = capacity - 1;
    ids_.reserve(expected);
    for (std::size_t slot = 0; slot < ids_.size(); ++slot) {
      const std::uint64_t hash = hashOf(ids_[slot]);
      table_[locate(ids_[slot], hash)] = entryFor(static_cast<std::uint32_t>(slot), hash);
    }
  }

  std::vector<Uuid> ids_;
  std::vector<std::uint64_t> table_;
  std::size_t mask_ = 0;
};

}  // namespace tav::detail
