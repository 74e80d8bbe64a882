// Bounds-checked lookup and wrap-around stepping through arrays, and lists joined for reading.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace tav {

/// The element at `index` when it is one of the collection's indices; nullptr otherwise (negative,
/// or at or past the end).
template <class Collection>
auto safeAt(const Collection& collection, std::ptrdiff_t index) -> decltype(&*std::begin(collection)) {
  if (index < 0 || static_cast<std::size_t>(index) >= std::size(collection)) return nullptr;
  return &*std::next(std::begin(collection), index);
}

/// The next element after `currentIndex` that `skipIf` does not refuse, wrapping to the start once.
/// Never the element at `currentIndex` itself. From index 0 there is nothing to wrap back to, so the
/// search ends at the end of the array. Absent when nothing qualifies.
template <class T>
std::optional<T> nextElement(const std::vector<T>& array, std::ptrdiff_t currentIndex,
                             const std::function<bool(const T&)>& skipIf = nullptr) {
  const auto count = static_cast<std::ptrdiff_t>(array.size());
  std::ptrdiff_t i = currentIndex + 1;
  bool wrapped = false;
  for (;;) {
    if (i >= count) {
      if (wrapped || currentIndex == 0) return std::nullopt;
      i = 0;
      wrapped = true;
    }
    if (wrapped && i == currentIndex) return std::nullopt;
    const T* element = safeAt(array, i);
    if (element == nullptr) return std::nullopt;
    if (!skipIf || !skipIf(*element)) return *element;
    ++i;
  }
}

/// The mirror of nextElement: steps downward and wraps once to the last index, unless that is
/// `currentIndex` itself.
template <class T>
std::optional<T> previousElement(const std::vector<T>& array, std::ptrdiff_t currentIndex,
                                 const std::function<bool(const T&)>& skipIf = nullptr) {
  const auto count = static_cast<std::ptrdiff_t>(array.size());
  std::ptrdiff_t i = currentIndex - 1;
  bool wrapped = false;
  for (;;) {
    if (i < 0) {
      if (wrapped || count - 1 == currentIndex) return std::nullopt;
      i = count - 1;
      wrapped = true;
    }
    if (wrapped && i == currentIndex) return std::nullopt;
    const T* element = safeAt(array, i);
    if (element == nullptr) return std::nullopt;
    if (!skipIf || !skipIf(*element)) return *element;
    --i;
  }
}

/// The texts as a list for reading: "a", "a and b", "a, b and c" with the library's localised
/// conjunction ("LIST_AND", default "and") and separator ("LIST_SEPARATOR", default ", "); empty for
/// no texts.
std::string joinedAsLocalizedList(const std::vector<std::string>& texts);

}  // namespace tav
