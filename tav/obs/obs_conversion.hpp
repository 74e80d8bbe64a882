// From a decoded OBS collection to what a scene needs: the kind of each source, the items of a scene
// walked through nested groups, and the geometry that turns an OBS item (and the groups around it)
// into canvas fractions as layers store them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/geometry.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/obs/obs_group_chain.hpp"
#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

/// What an OBS source is, by its OBS id. The raw value is the case's name.
enum class OBSSourceKind {
  image, video, text, color, browser, camera, displayCapture, windowCapture, appCapture, audio, group, scene, unknown
};

template <>
struct EnumTraits<OBSSourceKind> {
  using E = OBSSourceKind;
  static constexpr std::array cases{
      EnumCase<E>{E::image, "image"},          EnumCase<E>{E::video, "video"},
      EnumCase<E>{E::text, "text"},            EnumCase<E>{E::color, "color"},
      EnumCase<E>{E::browser, "browser"},      EnumCase<E>{E::camera, "camera"},
      EnumCase<E>{E::displayCapture, "displayCapture"}, EnumCase<E>{E::windowCapture, "windowCapture"},
      EnumCase<E>{E::appCapture, "appCapture"}, EnumCase<E>{E::audio, "audio"},
      EnumCase<E>{E::group, "group"},          EnumCase<E>{E::scene, "scene"},
      EnumCase<E>{E::unknown, "unknown"},
  };
  static constexpr E unknownCase = E::unknown;
};

/// The kind of `source` by its exact id; "screen_capture" goes by its setting "type" (1 window,
/// 2 application, anything else display). An id that the core table of OBS's macOS and Windows ids does
/// not hold is looked up in an extension table of Linux and other desktop ids ("v4l2_input",
/// "xshm_input", "pipewire-...-source", "xcomposite_input", "alsa_input_capture", "text_pango_source",
/// "linuxbrowser-source", "slideshow", "game_capture", ...). A source without an id, or with an id in
/// neither table, is `unknown`.
OBSSourceKind obsSourceKindFrom(const OBSSource& source);

/// An item with its source found. `isHidden` and `isLocked` include the groups around it; `groups`
/// runs outermost first and is shared with the other entries in the same groups. `source` points into
/// the collection that was flattened and is never null.
struct OBSResolvedItem {
  OBSSceneItem item;
  const OBSSource* source = nullptr;
  OBSSourceKind kind = OBSSourceKind::unknown;
  bool isHidden = false;
  bool isLocked = false;
  OBSGroupChain groups;
  friend bool operator==(const OBSResolvedItem&, const OBSResolvedItem&) = default;
};

/// One step of a flattened scene: a resolved item, an item whose source is missing, a group that was
/// entered (its members follow), or a group that was refused because it contains itself.
/// `depth` is the number of groups around the entry.
class OBSFlattenedEntry {
 public:
  enum class Case { item, unresolved, group, cyclicGroup };

  static OBSFlattenedEntry item(OBSResolvedItem resolved) {
    const std::size_t depth = resolved.groups.size();
    return OBSFlattenedEntry(Case::item, std::move(resolved), depth);
  }
  static OBSFlattenedEntry unresolved(OBSSceneItem item, std::size_t depth) {
    return OBSFlattenedEntry(Case::unresolved, std::move(item), depth);
  }
  static OBSFlattenedEntry group(OBSSceneItem item, std::size_t depth) {
    return OBSFlattenedEntry(Case::group, std::move(item), depth);
  }
  static OBSFlattenedEntry cyclicGroup(OBSSceneItem item, std::size_t depth) {
    return OBSFlattenedEntry(Case::cyclicGroup, std::move(item), depth);
  }

  Case kind() const { return case_; }
  std::size_t depth() const { return depth_; }
  /// The resolved item of an `item` entry; nullptr for the other cases.
  const OBSResolvedItem* resolvedItem() const { return std::get_if<OBSResolvedItem>(&payload_); }
  /// The scene item of any entry (for `item`, the resolved item's).
  const OBSSceneItem& sceneItem() const {
    if (const auto* resolved = resolvedItem()) return resolved->item;
    return std::get<OBSSceneItem>(payload_);
  }

  friend bool operator==(const OBSFlattenedEntry&, const OBSFlattenedEntry&) = default;

 private:
  OBSFlattenedEntry(Case c, std::variant<OBSResolvedItem, OBSSceneItem> payload, std::size_t depth)
      : case_(c), payload_(std::move(payload)), depth_(depth) {}
  Case case_;
  std::variant<OBSResolvedItem, OBSSceneItem> payload_;
  std::size_t depth_;
};

/// "item", "unresolved", "group", "cyclicGroup".
std::string_view rawValue(OBSFlattenedEntry::Case c);

/// The geometry of OBS items as pure functions. Total on finite numbers; nothing here throws.
namespace OBSConversion {

/// A scale or a direction, per axis.
struct Vector {
  double dx = 0;
  double dy = 0;
  friend bool operator==(const Vector&, const Vector&) = default;
};

/// Alignment bits of an item's anchor; an axis without a bit set is centred.
struct Align {
  std::int64_t rawValue = 0;
  static constexpr std::int64_t left = 1;
  static constexpr std::int64_t right = 2;
  static constexpr std::int64_t top = 4;
  static constexpr std::int64_t bottom = 8;
  bool contains(std::int64_t bit) const { return (rawValue & bit) != 0; }
  friend bool operator==(const Align&, const Align&) = default;
};

enum class BoundsType { none, stretch, scaleInner, scaleOuter, scaleToWidth, scaleToHeight, maxOnly };

/// The bounds type with that raw value (0 to 6); absent for any other integer.
std::optional<BoundsType> boundsTypeFromRawValue(std::int64_t raw);

/// A layer's box in canvas fractions: the unrotated box with the item's centre, and whole degrees.
struct Placement {
  double xPosition = 0;
  double yPosition = 0;
  double width = 0;
  double height = 0;
  int rotation = 0;
  friend bool operator==(const Placement&, const Placement&) = default;
};

struct Transform {
  Point anchor;
  Size size;
  Vector scale;
  friend bool operator==(const Transform&, const Transform&) = default;
};

struct RGBA {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 0;
  friend bool operator==(const RGBA&, const RGBA&) = default;
};

/// The relative form's anchor: x = (W + posRel.x * H) / 2, y = (H + posRel.y * H) / 2.
Point absolutePosition(OBSVec2 posRel, double canvasWidth, double canvasHeight);
/// (sizeRel.x * H / 2, sizeRel.y * H / 2).
Size absoluteSize(OBSVec2 sizeRel, double canvasHeight);
/// scaleRel * (H / scaleRefHeight) on both axes.
Vector absoluteScale(OBSVec2 scaleRel, double scaleRefHeight, double canvasHeight);
/// The anchor's offset inside a box of w by h; right wins over left, bottom over top.
Point alignmentOrigin(Align align, double width, double height);
/// The size an item shows at: its bounds for a bounding type, else the cropped source scaled (fitted
/// into the bounds for maxOnly when it is larger).
Size displaySize(BoundsType boundsType, Size bounds, Size sourceSize, Vector scale, double cropLeft, double cropTop,
                 double cropRight, double cropBottom);
/// The item's centre after rotating its box about the anchor.
Point rotatedCentre(Point anchor, Size displaySize, Align align, double rotationDegrees);
/// The placement of one item without groups; absent when the rotation is not finite or does not fit
/// an int.
std::optional<Placement> placement(Point anchor, Size displaySize, Align align, double rotationDegrees,
                                   double canvasWidth, double canvasHeight);
/// The item's scale in canvas pixels: the rebased relative scale, else `scale`, else (1, 1).
Vector resolvedScale(const OBSSceneItem& item, double canvasHeight);
/// The item's anchor, display size and scale, from the relative form when posRel, scaleRel and
/// scaleRef are all there, else from the absolute form.
Transform resolvedTransform(const OBSSceneItem& item, Size sourceSize, bool rebasesScale, double canvasWidth,
                            double canvasHeight);
/// The whole road from an item, through its groups (outermost first), to a layer's box.
std::optional<Placement> resolvedPlacement(const OBSSceneItem& item, Size sourceSize, const OBSGroupChain& groups,
                                           double canvasWidth, double canvasHeight);
/// resolvedScale times each group's effective scale.
Vector contentScale(const OBSSceneItem& item, const OBSGroupChain& groups, double canvasWidth, double canvasHeight);
/// A colour stored as ABGR: the lowest byte is red.
RGBA rgba(std::uint32_t abgr);
/// n * 1920 * (H / W) / (renderScale * 75); 0 for a width or render scale that is not above 0.
double fontSize(double normalizedHeight, Size canvasSize, double renderScale);
ScaleMode imageScaleMode(BoundsType boundsType);
/// The aspect ratio nearest to width / height (the earlier case on a tie); landscape when the height
/// is not above 0 or no distance can be measured.
AspectRatio snapAspectRatio(double width, double height);

}  // namespace OBSConversion

template <>
struct EnumTraits<OBSConversion::BoundsType> {
  using E = OBSConversion::BoundsType;
  static constexpr std::array cases{
      EnumCase<E, int>{E::none, 0},         EnumCase<E, int>{E::stretch, 1},       EnumCase<E, int>{E::scaleInner, 2},
      EnumCase<E, int>{E::scaleOuter, 3},   EnumCase<E, int>{E::scaleToWidth, 4},  EnumCase<E, int>{E::scaleToHeight, 5},
      EnumCase<E, int>{E::maxOnly, 6},
  };
};

}  // namespace tav
