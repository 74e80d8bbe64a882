// ElementIndexCache: where a layer stands in a format's array, found by its id in near-constant time.
// A scene keeps one so that hosts can look layers up by id as often as they like on large formats,
// while edits stay as cheap as before: nothing is maintained on an edit, and a stale entry is noticed
// when it is read.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene_element.hpp"

namespace tav {

/// Thread-safe: look-ups on one cache may come from several threads. A copy starts empty (an index of
/// another value's arrays says nothing of the copy's), and caches never take part in equality.
class ElementIndexCache {
 public:
  ElementIndexCache() = default;
  ElementIndexCache(const ElementIndexCache&) {}
  ElementIndexCache(ElementIndexCache&&) noexcept {}
  ElementIndexCache& operator=(const ElementIndexCache&);
  ElementIndexCache& operator=(ElementIndexCache&&) noexcept;

  /// The index in `elements` of a layer whose id is `id`; absent when none has it. A hit whose entry
  /// still names a layer with that id costs one hash look-up; otherwise the array's index is rebuilt
  /// (linear in its length) and asked again, so a miss costs a pass over the array.
  std::optional<std::size_t> indexOf(const std::vector<SceneElement>& elements, const Uuid& id) const;

 private:
  using Index = std::unordered_map<Uuid, std::size_t>;
  mutable std::mutex mutex_;
  mutable std::unordered_map<const std::vector<SceneElement>*, Index> indexes_;  // guarded by mutex_
};

}  // namespace tav
