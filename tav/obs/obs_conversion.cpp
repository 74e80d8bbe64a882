#include "tav/obs/obs_conversion.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace tav {
namespace {

struct KindRow {
  std::string_view id;
  OBSSourceKind kind;
};

constexpr std::array<KindRow, 24> kKindRows{{
    {"image_source", OBSSourceKind::image},
    {"ffmpeg_source", OBSSourceKind::video},
    {"vlc_source", OBSSourceKind::video},
    {"text_ft2_source", OBSSourceKind::text},
    {"text_gdiplus", OBSSourceKind::text},
    {"text_gdiplus_v2", OBSSourceKind::text},
    {"text_gdiplus_v3", OBSSourceKind::text},
    {"color_source", OBSSourceKind::color},
    {"browser_source", OBSSourceKind::browser},
    {"av_capture_input", OBSSourceKind::camera},
    {"macos-avcapture", OBSSourceKind::camera},
    {"macos-avcapture-fast", OBSSourceKind::camera},
    {"dshow_input", OBSSourceKind::camera},
    {"display_capture", OBSSourceKind::displayCapture},
    {"monitor_capture", OBSSourceKind::displayCapture},
    {"window_capture", OBSSourceKind::windowCapture},
    {"coreaudio_input_capture", OBSSourceKind::audio},
    {"coreaudio_output_capture", OBSSourceKind::audio},
    {"wasapi_input_capture", OBSSourceKind::audio},
    {"wasapi_output_capture", OBSSourceKind::audio},
    {"pulse_input_capture", OBSSourceKind::audio},
    {"pulse_output_capture", OBSSourceKind::audio},
    {"group", OBSSourceKind::group},
    {"scene", OBSSourceKind::scene},
}};

// OBS ids of Linux and of other desktop builds and common plugins, consulted only for an id the table
// above does not hold. A collection written on Linux would otherwise read as nothing but unknowns.
constexpr std::array<KindRow, 22> kExtensionKindRows{{
    {"slideshow", OBSSourceKind::image},
    {"slideshow_v2", OBSSourceKind::image},
    {"text_pango_source", OBSSourceKind::text},
    {"linuxbrowser-source", OBSSourceKind::browser},
    {"v4l2_input", OBSSourceKind::camera},
    {"pipewire-camera-source", OBSSourceKind::camera},
    {"decklink-input", OBSSourceKind::camera},
    {"xshm_input", OBSSourceKind::displayCapture},
    {"xshm_input_v2", OBSSourceKind::displayCapture},
    {"pipewire-screen-capture-source", OBSSourceKind::displayCapture},
    {"pipewire-desktop-capture-source", OBSSourceKind::displayCapture},
    {"xcomposite_input", OBSSourceKind::windowCapture},
    {"pipewire-window-capture-source", OBSSourceKind::windowCapture},
    {"game_capture", OBSSourceKind::appCapture},
    {"syphon-input", OBSSourceKind::appCapture},
    {"alsa_input_capture", OBSSourceKind::audio},
    {"jack_output_capture", OBSSourceKind::audio},
    {"jack_input_capture", OBSSourceKind::audio},
    {"wasapi_process_output_capture", OBSSourceKind::audio},
    {"sck_audio_capture", OBSSourceKind::audio},
    {"pipewire-audio-capture-app", OBSSourceKind::audio},
    {"pipewire-audio-capture-device", OBSSourceKind::audio},
}};

// A group listed twice inside a group listed twice ... doubles the walk at each level, so a small
// hostile file could ask for billions of entries. Real collections have a few thousand items at most;
// the walk stops adding entries at this ceiling.
constexpr std::size_t kMaxFlattenedEntries = 100'000;

// The walk of flattenedEntries, with an explicit stack: a chain of groups inside groups is as deep as
// the file makes it (thousands of levels fit in a few hundred kilobytes), far beyond what recursion
// may take of the stack. `visited` holds the keys of the groups on the path from the scene to the
// current list, so only a group that contains itself is cut; a group used twice side by side is walked
// twice. Entries share the group chain of the list they lie in.
class Walker {
 public:
  Walker(const OBSCollection::SourceIndex& index, std::vector<OBSFlattenedEntry>& out) : index_(index), out_(out) {}

  void walk(const std::vector<OBSSceneItem>& sceneItems) {
    stack_.push_back(Level{&sceneItems, 0, OBSGroupChain(), false, false, std::nullopt});
    while (!stack_.empty() && out_.size() < kMaxFlattenedEntries) {
      Level& level = stack_.back();
      if (level.next == level.items->size()) {
        if (level.key) visited_.erase(*level.key);
        stack_.pop_back();
        continue;
      }
      const OBSSceneItem& item = (*level.items)[level.next++];
      step(item, level);  // may push a level: `level` is not used after this
    }
  }

 private:
  struct Level {
    const std::vector<OBSSceneItem>* items;
    std::size_t next;  // the index of the next item to walk
    OBSGroupChain groups;
    bool hidden;
    bool locked;
    std::optional<std::string_view> key;  // of the group whose items these are; none for the scene
  };

  void step(const OBSSceneItem& item, const Level& level) {
    if (item.groupItemBackup) return;
    const OBSSource* source = nullptr;
    if (item.sourceUUID) {
      if (auto it = index_.byUUID.find(*item.sourceUUID); it != index_.byUUID.end()) source = it->second;
    }
    if (source == nullptr && item.name) {
      if (auto it = index_.byName.find(*item.name); it != index_.byName.end()) source = it->second;
    }
    const std::size_t depth = level.groups.size();
    if (source == nullptr) {
      out_.push_back(OBSFlattenedEntry::unresolved(item, depth));
      return;
    }
    const bool isHidden = level.hidden || !item.visible;
    const bool isLocked = level.locked || item.locked;
    const OBSSourceKind kind = obsSourceKindFrom(*source);
    if (kind != OBSSourceKind::group) {
      out_.push_back(OBSFlattenedEntry::item(OBSResolvedItem{item, source, kind, isHidden, isLocked, level.groups}));
      return;
    }
    const std::string_view key = source->uuid ? std::string_view(*source->uuid)
                                 : item.name  ? std::string_view(*item.name)
                                              : std::string_view();
    if (visited_.contains(key)) {
      out_.push_back(OBSFlattenedEntry::cyclicGroup(item, depth));
      return;
    }
    out_.push_back(OBSFlattenedEntry::group(item, depth));
    if (!source->settings || !source->settings->items) return;
    visited_.insert(key);
    OBSGroupChain inner = level.groups.appending(OBSGroupContext{item, OBSCollection::groupSpaceSize(*source)});
    stack_.push_back(Level{&*source->settings->items, 0, std::move(inner), isHidden, isLocked, key});
  }

  const OBSCollection::SourceIndex& index_;
  std::vector<OBSFlattenedEntry>& out_;
  std::vector<Level> stack_;
  std::unordered_set<std::string_view> visited_;
};

// An affine map p -> (a x + c y + tx, b x + d y + ty).
struct Affine {
  double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

  Point apply(Point p) const { return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty}; }
  // This map applied after `first`.
  Affine after(const Affine& first) const {
    return {a * first.a + c * first.b, b * first.a + d * first.b, a * first.c + c * first.d,
            b * first.c + d * first.d, a * first.tx + c * first.ty + tx, b * first.tx + d * first.ty + ty};
  }
};

std::optional<int> roundedDegrees(double degrees) {
  const double r = std::round(degrees);  // halves away from zero
  if (!std::isfinite(r) || r < static_cast<double>(std::numeric_limits<int>::min()) ||
      r > static_cast<double>(std::numeric_limits<int>::max())) {
    return std::nullopt;
  }
  return static_cast<int>(r);
}

OBSConversion::BoundsType boundsTypeOf(const OBSSceneItem& item) {
  return OBSConversion::boundsTypeFromRawValue(item.boundsType).value_or(OBSConversion::BoundsType::none);
}

// The effective scale of a group: its display size over its space per axis where the space is above
// 0, else its own scale.
OBSConversion::Vector effectiveScale(const OBSGroupContext& g, double W, double H) {
  const auto t = OBSConversion::resolvedTransform(g.item, g.space, false, W, H);
  return {g.space.width > 0 ? t.size.width / g.space.width : t.scale.dx,
          g.space.height > 0 ? t.size.height / g.space.height : t.scale.dy};
}

}  // namespace

OBSSourceKind obsSourceKindFrom(const OBSSource& source) {
  if (!source.id) return OBSSourceKind::unknown;
  const std::string& id = *source.id;
  if (id == "screen_capture") {
    const auto type = source.settings ? source.settings->int_("type") : std::nullopt;
    if (type == 1) return OBSSourceKind::windowCapture;
    if (type == 2) return OBSSourceKind::appCapture;
    return OBSSourceKind::displayCapture;
  }
  for (const KindRow& row : kKindRows) {
    if (row.id == id) return row.kind;
  }
  for (const KindRow& row : kExtensionKindRows) {
    if (row.id == id) return row.kind;
  }
  return OBSSourceKind::unknown;
}

std::string_view rawValue(OBSFlattenedEntry::Case c) {
  switch (c) {
    case OBSFlattenedEntry::Case::item:
      return "item";
    case OBSFlattenedEntry::Case::unresolved:
      return "unresolved";
    case OBSFlattenedEntry::Case::group:
      return "group";
    case OBSFlattenedEntry::Case::cyclicGroup:
      return "cyclicGroup";
  }
  return "item";
}

std::vector<OBSFlattenedEntry> OBSCollection::flattenedEntries(std::string_view sceneName) const {
  return flattenedEntries(sceneName, sourceIndex());
}

std::vector<OBSFlattenedEntry> OBSCollection::flattenedEntries(std::string_view sceneName,
                                                               const SourceIndex& index) const {
  std::vector<OBSFlattenedEntry> out;
  auto scene = index.byName.find(sceneName);
  if (scene == index.byName.end()) return out;
  const OBSSource& source = *scene->second;
  if (!source.settings || !source.settings->items) return out;
  Walker(index, out).walk(*source.settings->items);
  return out;
}

std::vector<OBSResolvedItem> OBSCollection::flattenedItems(std::string_view sceneName) const {
  std::vector<OBSResolvedItem> items;
  for (auto& entry : flattenedEntries(sceneName)) {
    if (const auto* resolved = entry.resolvedItem()) items.push_back(*resolved);
  }
  return items;
}

namespace OBSConversion {

std::optional<BoundsType> boundsTypeFromRawValue(std::int64_t raw) {
  if (raw < 0 || raw > 6) return std::nullopt;
  return enumFromRawValue<BoundsType>(static_cast<int>(raw));
}

Point absolutePosition(OBSVec2 posRel, double W, double H) {
  return {(W + posRel.x * H) * 0.5, (H + posRel.y * H) * 0.5};
}

Size absoluteSize(OBSVec2 sizeRel, double H) { return {sizeRel.x * H * 0.5, sizeRel.y * H * 0.5}; }

Vector absoluteScale(OBSVec2 scaleRel, double refH, double H) {
  const double factor = H / refH;
  return {scaleRel.x * factor, scaleRel.y * factor};
}

Point alignmentOrigin(Align align, double w, double h) {
  const double x = align.contains(Align::right) ? w : align.contains(Align::left) ? 0 : w * 0.5;
  const double y = align.contains(Align::bottom) ? h : align.contains(Align::top) ? 0 : h * 0.5;
  return {x, y};
}

Size displaySize(BoundsType boundsType, Size bounds, Size sourceSize, Vector scale, double cropLeft, double cropTop,
                 double cropRight, double cropBottom) {
  if (boundsType != BoundsType::none && boundsType != BoundsType::maxOnly) return bounds;
  const double cw = std::max(sourceSize.width - cropLeft - cropRight, 0.0);
  const double ch = std::max(sourceSize.height - cropTop - cropBottom, 0.0);
  const double w = scale.dx * cw;
  const double h = scale.dy * ch;
  if (boundsType == BoundsType::maxOnly && bounds.width > 0 && bounds.height > 0 &&
      (bounds.width < std::abs(w) || bounds.height < std::abs(h))) {
    const double f = std::min(bounds.width / std::abs(w), bounds.height / std::abs(h));
    return {w * f, h * f};
  }
  return {w, h};
}

Point rotatedCentre(Point anchor, Size size, Align align, double degrees) {
  const Point o = alignmentOrigin(align, size.width, size.height);
  const double rx = size.width * 0.5 - o.x;
  const double ry = size.height * 0.5 - o.y;
  const double theta = degrees * std::numbers::pi / 180;
  return {anchor.x + std::cos(theta) * rx - std::sin(theta) * ry, anchor.y + std::sin(theta) * rx + std::cos(theta) * ry};
}

std::optional<Placement> placement(Point anchor, Size size, Align align, double degrees, double W, double H) {
  const auto rotation = roundedDegrees(degrees);
  if (!rotation) return std::nullopt;
  const Point c = rotatedCentre(anchor, size, align, degrees);
  return Placement{(c.x - size.width * 0.5) / W, (c.y - size.height * 0.5) / H, size.width / W, size.height / H,
                   *rotation};
}

Vector resolvedScale(const OBSSceneItem& item, double H) {
  if (item.posRel && item.scaleRel && item.scaleRef) return absoluteScale(*item.scaleRel, item.scaleRef->y, H);
  if (item.scale) return {item.scale->x, item.scale->y};
  return {1, 1};
}

Transform resolvedTransform(const OBSSceneItem& item, Size sourceSize, bool rebasesScale, double W, double H) {
  Transform t;
  Size bounds;
  if (item.posRel && item.scaleRel && item.scaleRef) {
    t.anchor = absolutePosition(*item.posRel, W, H);
    t.scale = rebasesScale ? absoluteScale(*item.scaleRel, item.scaleRef->y, H) : Vector{item.scaleRel->x, item.scaleRel->y};
    if (item.boundsRel) {
      bounds = absoluteSize(*item.boundsRel, H);
    } else if (item.bounds) {
      bounds = {item.bounds->x, item.bounds->y};
    }
  } else {
    if (item.pos) t.anchor = {item.pos->x, item.pos->y};
    t.scale = item.scale ? Vector{item.scale->x, item.scale->y} : Vector{1, 1};
    if (item.bounds) bounds = {item.bounds->x, item.bounds->y};
  }
  t.size = displaySize(boundsTypeOf(item), bounds, sourceSize, t.scale, item.cropLeft, item.cropTop, item.cropRight,
                       item.cropBottom);
  return t;
}

std::optional<Placement> resolvedPlacement(const OBSSceneItem& item, Size sourceSize, const OBSGroupChain& groups,
                                           double W, double H) {
  const Transform own = resolvedTransform(item, sourceSize, true, W, H);
  const Point c = rotatedCentre(own.anchor, own.size, Align{item.align}, item.rot);
  Affine T;
  double sx = 1;
  double sy = 1;
  double R = 0;
  for (const OBSGroupContext& g : groups.outermostFirst()) {
    const Transform gt = resolvedTransform(g.item, g.space, false, W, H);
    const Point o = alignmentOrigin(Align{g.item.align}, gt.size.width, gt.size.height);
    const Vector e{g.space.width > 0 ? gt.size.width / g.space.width : gt.scale.dx,
                   g.space.height > 0 ? gt.size.height / g.space.height : gt.scale.dy};
    const double theta = g.item.rot * std::numbers::pi / 180;
    const double cs = std::cos(theta);
    const double sn = std::sin(theta);
    // scale by e, translate by -o, rotate, translate by the anchor
    const Affine L{cs * e.dx, sn * e.dx, -sn * e.dy, cs * e.dy, gt.anchor.x + cs * -o.x - sn * -o.y,
                   gt.anchor.y + sn * -o.x + cs * -o.y};
    T = T.after(L);
    sx *= e.dx;
    sy *= e.dy;
    R += g.item.rot;
  }
  const auto rotation = roundedDegrees(item.rot + R);
  if (!rotation) return std::nullopt;
  const Point p = T.apply(c);
  const double w = own.size.width * sx;
  const double h = own.size.height * sy;
  return Placement{(p.x - w * 0.5) / W, (p.y - h * 0.5) / H, w / W, h / H, *rotation};
}

Vector contentScale(const OBSSceneItem& item, const OBSGroupChain& groups, double W, double H) {
  Vector v = resolvedScale(item, H);
  for (const OBSGroupContext& g : groups.outermostFirst()) {
    const Vector e = effectiveScale(g, W, H);
    v.dx *= e.dx;
    v.dy *= e.dy;
  }
  return v;
}

RGBA rgba(std::uint32_t v) {
  return {static_cast<double>(v & 0xFF) / 255, static_cast<double>(v >> 8 & 0xFF) / 255,
          static_cast<double>(v >> 16 & 0xFF) / 255, static_cast<double>(v >> 24 & 0xFF) / 255};
}

double fontSize(double n, Size canvasSize, double r) {
  if (!(canvasSize.width > 0) || !(r > 0)) return 0;
  return n * 1920 * (canvasSize.height / canvasSize.width) / (r * 75);
}

ScaleMode imageScaleMode(BoundsType boundsType) {
  switch (boundsType) {
    case BoundsType::scaleInner:
    case BoundsType::scaleToWidth:
    case BoundsType::scaleToHeight:
      return ScaleMode::aspectFit;
    case BoundsType::scaleOuter:
      return ScaleMode::aspectFill;
    case BoundsType::none:
    case BoundsType::stretch:
    case BoundsType::maxOnly:
      break;
  }
  return ScaleMode::stretchFill;
}

AspectRatio snapAspectRatio(double width, double height) {
  if (!(height > 0)) return AspectRatio::landscape;
  const double r = width / height;
  std::optional<AspectRatio> best;
  double bestDistance = 0;
  for (AspectRatio aspect : allCases<AspectRatio>()) {
    if (aspect == AspectRatio::unknown) continue;
    const double distance = std::abs(value(aspect) - r);
    if (std::isnan(distance)) continue;  // no distance can be measured
    if (!best || distance < bestDistance) {
      best = aspect;
      bestDistance = distance;
    }
  }
  return best.value_or(AspectRatio::landscape);
}

}  // namespace OBSConversion
}  // namespace tav
