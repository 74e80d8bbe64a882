// Where a new layer lands when the user adds it next to a selected one: an index in the routed layer
// list, and the folder or frame it joins there. Scene::newElementPlacement works the place out; this
// value puts a layer into it.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_element.hpp"
#include "tav/scene/scene_element_group.hpp"
#include "tav/scene/scene_layout_item.hpp"

namespace tav {

/// The layout a layer gets on joining a frame: in the flow, shrinking but not growing, sized by its own
/// geometry on the 1920 by 1080 reference canvas; a text hugs, and so does a frame along an axis it hugs
/// its content on.
SceneLayoutItem defaultFrameMemberLayout(const SceneElement& element);

/// A plain value; equality and hashing cover all three fields.
struct ElementPlacement {
  /// Index in the routed element list at which to insert the new layer.
  std::size_t index = 0;
  /// The group the new layer joins.
  std::optional<SceneElementGroupMembership> membership;
  /// The frame the new layer joins.
  std::optional<Uuid> frameID;

  ElementPlacement() = default;
  ElementPlacement(std::size_t atIndex, std::optional<SceneElementGroupMembership> groupMembership,
                   std::optional<Uuid> inFrame)
      : index(atIndex), membership(std::move(groupMembership)), frameID(inFrame) {}

  /// A copy of `element` moved into this place: its membership becomes this one (absent or not); with
  /// a frame it also joins the frame, laid out by `memberLayout`, else its own layout, else the
  /// default layout of a new member (which unlocks the aspect ratio of any layer but text and frames),
  /// and is marked settingsUpdated. Without a frame, frame, layout and aspect lock are left untouched.
  SceneElement applied(const SceneElement& element, const std::optional<SceneLayoutItem>& memberLayout) const;

  friend bool operator==(const ElementPlacement&, const ElementPlacement&) = default;
};

}  // namespace tav

template <>
struct std::hash<tav::ElementPlacement> {
  std::size_t operator()(const tav::ElementPlacement& p) const noexcept {
    return tav::hashValues(p.index, p.membership, p.frameID);
  }
};
