// Seeding one aspect's format from another and moving layer geometry between canvases of different
// aspects.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "tav/scene/scene.hpp"
#include "tav/structure/uuid_index.hpp"

namespace tav {
namespace {

// A side within this of the whole canvas counts as the whole canvas, and a layer within this of it
// as fitting the canvas: stored fractions carry rounding from earlier edits.
constexpr double kWholeCanvasTolerance = 0.001;

enum class Anchor { leading, centre, trailing };

/// The edge a layer keeps its distance to along one axis: a frame's own constraint when it has one,
/// else the third of the canvas its centre lies in. A centre exactly on 1/3 or 2/3 is centred.
Anchor anchorFor(std::optional<SceneFrameConstraint> constraint, double centre) {
  if (constraint) {
    switch (*constraint) {
      case SceneFrameConstraint::leading:
        return Anchor::leading;
      case SceneFrameConstraint::center:
        return Anchor::centre;
      case SceneFrameConstraint::trailing:
        return Anchor::trailing;
    }
  }
  if (centre < 1.0 / 3.0) return Anchor::leading;
  if (centre > 2.0 / 3.0) return Anchor::trailing;
  return Anchor::centre;
}

/// The new origin along one axis of a layer at `origin` with old size `size` and new size `newSize`,
/// where `scale` turns a source fraction into a target fraction of the same length in points.
double translatedOrigin(double origin, double size, double newSize, double scale, Anchor anchor) {
  double result = 0;
  switch (anchor) {
    case Anchor::leading:
      result = origin * scale;
      break;
    case Anchor::trailing:
      result = 1 - newSize - (1 - origin - size) * scale;
      break;
    case Anchor::centre:
      result = origin + size * 0.5 - newSize * 0.5;
      break;
  }
  // A layer that fits the canvas is kept on it; an over-sized one stays where it was put.
  if (newSize <= 1) {
    result = std::max(result, 0.0);
    result = std::min(result, 1 - newSize);
  }
  return result;
}

}  // namespace

bool Scene::ensureFormat(AspectRatio aspect, std::optional<AspectRatio> seedingFrom) {
  if (formats_.contains(aspect)) return false;
  if (seedingFrom) {
    if (const SceneFormat* seed = format(*seedingFrom)) {
      SceneFormat copy = copyFormat(*seed, *seedingFrom, aspect);
      formats_.emplace(aspect, std::move(copy));
      return true;
    }
  }
  SceneFormat empty;
  empty._backgroundColor = SceneColor::opaqueBlack();
  formats_.emplace(aspect, std::move(empty));
  return true;
}

SceneFormat Scene::copyFormat(const SceneFormat& format, AspectRatio source, AspectRatio target) {
  detail::UuidMap<Uuid> groupMap(format.groups.size());
  for (const auto& [id, group] : format.groups) groupMap.tryEmplace(id, Uuid::random());

  SceneFormat result;
  result.elements.reserve(format.elements.size());
  detail::UuidMap<Uuid> elementMap(format.elements.size());
  for (const auto& old : format.elements) {
    // The clone has a new id, its video file copied under that id (shared when the copy fails), and
    // no membership, frame, update flag, layout or mask; the layout is the format's own to keep.
    SceneElement copy = SceneElement::copyOf(old);
    elementMap.tryEmplace(old.id(), copy.id());
    copy.settings().layout = old.settings().layout;
    copy.clearUnknownTypeStorage();
    if (const auto& membership = old.groupMembership()) {
      if (const Uuid* group = groupMap.find(membership->groupID)) {
        copy.setGroupMembership(SceneElementGroupMembership{*group, membership->role});
      }
    }
    translateInPlace(copy, source, target);
    result.elements.push_back(std::move(copy));
  }

  // Links between layers, now that every new id is known. Links that leave the format are dropped.
  for (std::size_t i = 0; i < format.elements.size(); ++i) {
    const SceneElement& old = format.elements[i];
    SceneElement& copy = result.elements[i];
    if (old.frameID()) {
      if (const Uuid* frame = elementMap.find(*old.frameID())) copy.setFrameID(*frame);
    }
    const auto& mask = old.settings().mask;
    if (mask && mask->layerID) {
      if (const Uuid* layer = elementMap.find(*mask->layerID)) {
        SceneMask remapped = *mask;
        remapped.layerID = *layer;
        copy.settings().mask = remapped;
      }
    }
  }

  for (const auto& [id, group] : format.groups) {
    std::optional<Uuid> parent;
    if (group.parentGroupID) {
      if (const Uuid* mapped = groupMap.find(*group.parentGroupID)) parent = *mapped;
    }
    const Uuid newID = *groupMap.find(id);
    result.groups.emplace(newID, group.reborn(newID, parent));
  }

  result.background = format.background;
  result.backgroundLooping = format.backgroundLooping;
  result._backgroundColor = format._backgroundColor;
  result.backgroundScaling = format.backgroundScaling;
  result.backgroundOpacity = format.backgroundOpacity;
  result._backgroundGradient = format._backgroundGradient;
  result.additionalProperties = format.additionalProperties;
  return result;
}

SceneElement Scene::translated(const SceneElement& element, AspectRatio source, AspectRatio target) {
  SceneElement result = element;
  translateInPlace(result, source, target);
  return result;
}

void Scene::translateInPlace(SceneElement& element, AspectRatio source, AspectRatio target) {
  if (source == target) return;
  auto& settings = element.settings();
  if (!settings.xPosition || !settings.yPosition || !settings.width || !settings.height) return;
  const double x = *settings.xPosition;
  const double y = *settings.yPosition;
  const double w = *settings.width;
  const double h = *settings.height;
  const Size from = canonicalSize(source);
  const Size to = canonicalSize(target);
  // Fractions that keep a length in points from one canvas to the other.
  const double scaleX = from.width / to.width;
  const double scaleY = from.height / to.height;

  double nw = std::abs(w - 1) <= kWholeCanvasTolerance ? 1 : w * scaleX;
  double nh = std::abs(h - 1) <= kWholeCanvasTolerance ? 1 : h * scaleY;
  // A layer that fitted the source canvas still fits, keeping its proportions; one already larger
  // than the canvas is left as large.
  if (w <= 1 + kWholeCanvasTolerance && h <= 1 + kWholeCanvasTolerance) {
    const double f = std::min(1 / nw, 1 / nh);
    if (f < 1) {
      nw *= f;
      nh *= f;
    }
  }

  const SceneFrameSettings* frame = element.type().frameSettings();
  const std::optional<SceneFrameConstraint> horizontal =
      frame != nullptr ? frame->horizontalConstraint : std::optional<SceneFrameConstraint>();
  const std::optional<SceneFrameConstraint> vertical =
      frame != nullptr ? frame->verticalConstraint : std::optional<SceneFrameConstraint>();
  const double nx = translatedOrigin(x, w, nw, scaleX, anchorFor(horizontal, x + w * 0.5));
  const double ny = translatedOrigin(y, h, nh, scaleY, anchorFor(vertical, y + h * 0.5));

  settings.xPosition = nx;
  settings.yPosition = ny;
  settings.width = nw;
  settings.height = nh;
  element.setSettingsUpdated(true);
}

Scene Scene::translatingGeometry(AspectRatio target) const {
  const AspectRatio source = aspectRatio();
  Scene copy = *this;
  if (source == target) return copy;
  auto found = copy.formats_.find(source);
  if (found == copy.formats_.end()) return copy;
  for (auto& element : found->second.elements) translateInPlace(element, source, target);
  return copy;
}

}  // namespace tav
