// Small builders for tests and benchmarks: layers, folders and scenes with little ceremony.
#pragma once

#include <string>
#include <vector>

#include "tav/scene/scene.hpp"

namespace tav::testing {

/// A deterministic id: "00000000-0000-4000-8000-0000000000NN" with NN the number in hex.
inline Uuid id(unsigned number) {
  std::array<std::uint8_t, 16> bytes{};
  bytes[6] = 0x40;
  bytes[8] = 0x80;
  bytes[12] = static_cast<std::uint8_t>(number >> 24);
  bytes[13] = static_cast<std::uint8_t>(number >> 16);
  bytes[14] = static_cast<std::uint8_t>(number >> 8);
  bytes[15] = static_cast<std::uint8_t>(number);
  return Uuid(bytes);
}

/// A shape layer with the given id and a name, placed at the canvas origin.
inline SceneElement shapeLayer(unsigned number) {
  SceneElementSettings settings;
  settings.name = "Layer " + std::to_string(number);
  settings.xPosition = 0;
  settings.yPosition = 0;
  settings.width = 0.5;
  settings.height = 0.5;
  return SceneElement(id(number), SceneElementType(SceneElementShapeSettings{}), settings);
}

/// A frame (stack) layer laid out in a row.
inline SceneElement frameLayer(unsigned number) {
  SceneFrameSettings frame;
  frame.direction = SceneFlexDirection::row;
  frame.justify = SceneFlexJustify::start;
  frame.align = SceneFlexAlign::center;
  return SceneElement(id(number), SceneElementType(frame), SceneElementSettings{});
}

/// `element` moved to `rect` (fractions of the canvas).
inline SceneElement at(SceneElement element, Rect rect) {
  element.settings().setRect(rect);
  return element;
}
/// A shape layer at (x, y) of size w by h, in fractions of the canvas.
inline SceneElement layerAt(unsigned number, double x, double y, double w, double h) {
  return at(shapeLayer(number), Rect(x, y, w, h));
}
/// `element` turned by `degrees`.
inline SceneElement rotated(SceneElement element, int degrees) {
  element.settings().rotation = degrees;
  return element;
}
inline SceneElement inGroup(SceneElement element, unsigned groupNumber,
                            std::optional<SceneElementGroupRole> role = std::nullopt) {
  element.setGroupMembership(SceneElementGroupMembership{id(groupNumber), role});
  return element;
}

inline SceneElement maskedBy(SceneElement element, unsigned layerNumber) {
  SceneMask mask;
  mask.layerID = id(layerNumber);
  element.settings().mask = mask;
  return element;
}

inline SceneElement inFrame(SceneElement element, unsigned frameNumber) {
  element.setFrameID(id(frameNumber));
  element.settings().layout = SceneLayoutItem{};
  return element;
}

inline SceneElementGroup folder(unsigned number, std::optional<unsigned> parent = std::nullopt, bool isMask = false) {
  SceneElementGroup group;
  group.id = id(number);
  group.kind = SceneElementGroupKind::folder;
  group.name = "Folder " + std::to_string(number);
  if (parent) group.parentGroupID = id(*parent);
  if (isMask) group.isMask = true;
  return group;
}

inline SceneElementGroup splitGroup(unsigned number) {
  SceneElementGroup group;
  group.id = id(number);
  group.kind = SceneElementGroupKind::splitVideo;
  return group;
}

/// A landscape scene holding `elements` and `groups` in its one format.
inline Scene sceneWith(std::vector<SceneElement> elements, std::vector<SceneElementGroup> groups = {}) {
  SceneFormat format;
  format.elements = std::move(elements);
  for (auto& group : groups) format.groups.emplace(group.id, std::move(group));
  return Scene(Scene::Identity{.id = "TEST_SCENE"}, "Test", AspectRatio::landscape, std::move(format));
}

/// The number given to id() for `layerID`.
inline unsigned number(const Uuid& layerID) {
  const auto& b = layerID.bytes();
  return static_cast<unsigned>(b[12]) << 24 | static_cast<unsigned>(b[13]) << 16 | static_cast<unsigned>(b[14]) << 8 |
         b[15];
}
/// The ids of `elements` in order, as numbers given to id().
inline std::vector<unsigned> numbers(const std::vector<SceneElement>& elements) {
  std::vector<unsigned> result;
  for (const auto& e : elements) result.push_back(number(e.id()));
  return result;
}
}  // namespace tav::testing
