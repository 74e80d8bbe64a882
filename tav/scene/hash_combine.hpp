// Hashing of records over all their fields.
//
// Scene values hash every stored field; this folds the hashes of several fields into one, in the
// manner of boost::hash_combine, so each record's std::hash is one line.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace tav {

/// Mixes the hash of `value` into `seed`.
template <class T>
void hashCombine(std::size_t& seed, const T& value) {
  seed ^= std::hash<T>()(value) + 0x9E3779B97F4A7C15ULL + (seed << 6) + (seed >> 2);
}

/// Lists hash their elements in order.
template <class T>
void hashCombine(std::size_t& seed, const std::vector<T>& values) {
  hashCombine(seed, values.size());
  for (const auto& value : values) hashCombine(seed, value);
}

/// The combined hash of all `values`, in order.
template <class... Ts>
std::size_t hashValues(const Ts&... values) {
  std::size_t seed = 0;
  (hashCombine(seed, values), ...);
  return seed;
}

}  // namespace tav
