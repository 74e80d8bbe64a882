#include "tav/obs/obs_item_placement.hpp"

#include <cmath>

namespace tav {
namespace {

bool isFiniteSize(Size s) { return std::isfinite(s.width) && std::isfinite(s.height); }

bool isFinite(const OBSConversion::Placement& p) {
  return std::isfinite(p.xPosition) && std::isfinite(p.yPosition) && std::isfinite(p.width) &&
         std::isfinite(p.height);
}

/// The first "value" of a list of {"value": path} records.
std::optional<std::string> firstListedPath(const OBSSettings& settings, std::string_view key) {
  const auto it = settings.values.find(key);
  if (it == settings.values.end() || it->second.array() == nullptr) return std::nullopt;
  for (const OBSJSONValue& entry : *it->second.array()) {
    if (const auto* object = entry.object()) {
      const auto value = object->find("value");
      if (value != object->end() && value->second.string() != nullptr) return *value->second.string();
    }
  }
  return std::nullopt;
}

/// Why an item of this kind states no size of its own.
std::string noSizeReason(OBSSourceKind kind) {
  switch (kind) {
    case OBSSourceKind::text:
      return "a text's size is known only once it is drawn, and the item has no bounding box";
    case OBSSourceKind::camera:
    case OBSSourceKind::displayCapture:
    case OBSSourceKind::windowCapture:
    case OBSSourceKind::appCapture:
      return "a capture's size is known only while it runs, and the item has no bounding box";
    case OBSSourceKind::audio:
      return "an audio source shows no picture";
    default:
      return "its source states no size and the item has no bounding box";
  }
}

}  // namespace

std::string_view rawValue(OBSSizeOrigin origin) {
  switch (origin) {
    case OBSSizeOrigin::bounds:
      return "bounds";
    case OBSSizeOrigin::source:
      return "source";
    case OBSSizeOrigin::canvas:
      return "canvas";
    case OBSSizeOrigin::file:
      return "file";
  }
  return "source";
}

std::optional<Size> obsStatedSourceSize(const OBSSource& source) {
  if (!source.settings) return std::nullopt;
  for (auto [w, h] : {std::pair{"width", "height"}, std::pair{"cx", "cy"}}) {
    const auto width = source.settings->double_(w);
    const auto height = source.settings->double_(h);
    if (width && height && *width > 0 && *height > 0 && isFiniteSize(Size{*width, *height})) {
      return Size{*width, *height};
    }
  }
  return std::nullopt;
}

std::optional<std::string> obsMediaFilePath(const OBSSource& source) {
  if (!source.settings || !source.id) return std::nullopt;
  const OBSSettings& settings = *source.settings;
  std::optional<std::string> path;
  const std::string& id = *source.id;
  if (id == "image_source") {
    path = settings.string("file");
  } else if (id == "ffmpeg_source") {
    if (settings.bool_("is_local_file").value_or(true)) path = settings.string("local_file");
  } else if (id == "slideshow" || id == "slideshow_v2") {
    path = firstListedPath(settings, "files");
  } else if (id == "vlc_source") {
    path = firstListedPath(settings, "playlist");
  }
  if (path && path->empty()) return std::nullopt;
  return path;
}

OBSItemPlacement obsItemPlacement(const OBSResolvedItem& resolved, Size canvas, const OBSMediaSizeReader& readSize) {
  using OBSConversion::BoundsType;
  const OBSSceneItem& item = resolved.item;
  const BoundsType boundsType = OBSConversion::boundsTypeFromRawValue(item.boundsType).value_or(BoundsType::none);

  std::optional<Size> sourceSize;
  OBSSizeOrigin origin = OBSSizeOrigin::source;
  if (boundsType != BoundsType::none && boundsType != BoundsType::maxOnly) {
    // The box is the bounds whatever the source's size.
    const Size box = OBSConversion::resolvedTransform(item, Size{0, 0}, true, canvas.width, canvas.height).size;
    if (!(box.width > 0 && box.height > 0)) return {std::nullopt, std::nullopt, "its bounding box is empty"};
    sourceSize = Size{0, 0};
    origin = OBSSizeOrigin::bounds;
  } else if (auto stated = obsStatedSourceSize(*resolved.source)) {
    sourceSize = stated;
  } else if (resolved.kind == OBSSourceKind::scene) {
    sourceSize = canvas;
    origin = OBSSizeOrigin::canvas;
  } else if (auto path = obsMediaFilePath(*resolved.source)) {
    if (readSize) sourceSize = readSize(*path);
    if (!sourceSize) return {std::nullopt, std::nullopt, "its file \"" + *path + "\" is not on this machine or cannot be read"};
    origin = OBSSizeOrigin::file;
  } else {
    return {std::nullopt, std::nullopt, noSizeReason(resolved.kind)};
  }

  const auto placement = OBSConversion::resolvedPlacement(item, *sourceSize, resolved.groups, canvas.width, canvas.height);
  if (!placement) return {std::nullopt, std::nullopt, "its rotation is not a whole number of degrees that can be stored"};
  if (!isFinite(*placement)) return {std::nullopt, std::nullopt, "its position, scale or size is not a finite number"};
  return {placement, origin, {}};
}

}  // namespace tav
