#include "tav/scene/element_index_cache.hpp"

namespace tav {
namespace {

std::optional<std::size_t> verified(const std::unordered_map<Uuid, std::size_t>& index,
                                    const std::vector<SceneElement>& elements, const Uuid& id) {
  auto found = index.find(id);
  if (found == index.end() || found->second >= elements.size() || elements[found->second].id() != id) {
    return std::nullopt;
  }
  return found->second;
}

}  // namespace

ElementIndexCache& ElementIndexCache::operator=(const ElementIndexCache& other) {
  if (this != &other) {
    std::lock_guard lock(mutex_);
    indexes_.clear();
  }
  return *this;
}

ElementIndexCache& ElementIndexCache::operator=(ElementIndexCache&& other) noexcept {
  if (this != &other) {
    std::lock_guard lock(mutex_);
    indexes_.clear();
  }
  return *this;
}

std::optional<std::size_t> ElementIndexCache::indexOf(const std::vector<SceneElement>& elements,
                                                      const Uuid& id) const {
  std::lock_guard lock(mutex_);
  Index& index = indexes_[&elements];
  if (auto hit = verified(index, elements, id)) return hit;
  // Stale or missing: the array changed since the index was made (or never had it). Rebuild; the
  // front-most layer wins when a damaged document repeats an id.
  index.clear();
  index.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) index.try_emplace(elements[i].id(), i);
  return verified(index, elements, id);
}

}  // namespace tav
