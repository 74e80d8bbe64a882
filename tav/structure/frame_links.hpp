// What the frame passes need of a format's layers, gathered once: the frame links, ids and kinds fit
// in a few arrays that stay in the cache. A pass that reads the layers a second time finds them in
// memory again once the format outgrows the core's cache, and that read then costs as much as the first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tav/scene/scene_element.hpp"
#include "tav/structure/uuid_slots.hpp"

namespace tav::detail {

/// Every id that matters to frame membership, numbered densely (UuidSlots): the ids frame links name
/// and the own ids of the layers in frames. A layer in no frame has a slot only when a link names its
/// id. Empty, with no slot at all, when no layer stands in a frame: the common case costs one look at
/// each layer.
struct FrameLinks {
  static constexpr std::uint32_t npos = UuidSlots::npos;

  explicit FrameLinks(const std::vector<SceneElement>& elements);

  bool empty() const { return ids.size() == 0; }
  /// Whether the layers at positions `a` and `b` have the same id.
  bool sameID(const std::vector<SceneElement>& elements, std::size_t a, std::size_t b) const {
    if (a == b) return true;
    if (ownSlot[a] != npos || ownSlot[b] != npos) return ownSlot[a] == ownSlot[b];
    return elements[a].id() == elements[b].id();
  }
  /// The first layer with the id numbered `slot`; npos when no layer has it, or for npos.
  std::uint32_t firstLayer(std::uint32_t slot) const { return slot == npos ? npos : firstOfSlot[slot]; }

  UuidSlots ids;
  /// By slot: the first layer with that id, and whether any layer with that id is a frame.
  std::vector<std::uint32_t> firstOfSlot;
  std::vector<bool> isFrameSlot;
  /// By position: the slot of the layer's own id (npos for a layer whose id has none), of the frame it
  /// names (npos for none), and whether the layer is a frame.
  std::vector<std::uint32_t> ownSlot;
  std::vector<std::uint32_t> frameSlot;
  std::vector<bool> isFrame;
};

}  // namespace tav::detail
