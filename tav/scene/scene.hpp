// The scene document: one arrangement (SceneFormat) per aspect ratio, plus the document's identity,
// name, thumbnail, audio mix and transition.
//
// The routed accessors (elements(), groups(), the background fields) address the format of
// `activeAspect` when it is set, else of `primaryAspect`. Reads of a missing format give neutral values;
// writes create the format. Every structural operation works on the routed format, which is why a
// caller that must act on one given aspect works on `withActiveAspect(aspect)`.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

#include "tav/contracts/geometry.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/audio_configuration.hpp"
#include "tav/scene/device_configuration.hpp"
#include "tav/scene/element_index_cache.hpp"
#include "tav/scene/element_placement.hpp"
#include "tav/scene/scene_enums.hpp"
#include "tav/scene/scene_format.hpp"
#include "tav/scene/scene_transition.hpp"

namespace tav {

struct FolderGroup;
class GroupMemberCounts;

/// Formats by aspect; iterates in the order of AspectRatio's cases.
using SceneFormatMap = std::map<AspectRatio, SceneFormat>;

/// A plain value with value semantics: copying a scene copies its formats.
///
/// Invariants: `formats()` has at least one entry once a scene is decoded or constructed, and
/// removeFormat never removes the last one; `primaryAspect()` names an entry after decoding; a decoded
/// scene has no `activeAspect`.
class Scene {
 public:
  /// The version new documents carry. Nothing migrates by it; stored versions are written back as read.
  static constexpr int currentSceneVersion = 6;

  /// The fields fixed for a document's life.
  struct Identity {
    /// Text, not a UUID: stock scenes have ids such as "DEFAULT_SCENE_1".
    std::string id{};
    std::optional<std::string> templateID{};
    /// True when the name is a localisation reference "key" or "key:table".
    std::optional<bool> hasLocalisedName{};
    bool isTemplate = false;
    std::optional<std::string> webOverlayID{};
  };

  /// A scene of one format, stored under `primaryAspect`.
  Scene(Identity identity, std::string name, AspectRatio primaryAspect = AspectRatio::landscape,
        SceneFormat format = {});

  // New scenes and copies (scene_factories.cpp).

  /// A new document of one format under `aspectRatio` holding `elements`, no groups and an opaque
  /// black background; version 6, thumbnail kept up to date, a random thumbnail actor.
  static Scene withElements(std::string id, std::optional<TransferAssetReference> thumbnail, std::string name,
                            AspectRatio aspectRatio, std::vector<SceneElement> elements);
  /// The stock scene of `aspect`: id "DEFAULT_SCENE_" and the aspect's raw text, the localised name
  /// "Default", and one full-canvas camera following the default device. Every call gives new layer ids.
  static Scene defaultScene(AspectRatio aspect);
  /// A copy under a new id: copyOf(instance, no template, resetID true, no override).
  static Scene copyOf(const Scene& instance);
  /// A copy of `instance` in which every layer and group of every format has a new id (links among
  /// them rewritten). The scene id is `override`'s when given, else new when `resetID`, else kept; with
  /// `resetID` the thumbnail is duplicated in the shared asset store for the new id (the old one is
  /// kept when that fails). `templateID` is the argument's; `activeAspect` starts absent. With an
  /// `override` whose first routed feed names a device, the first feed of every format shows that
  /// device instead of the default one.
  static Scene copyOf(const Scene& instance, std::optional<std::string> templateID, bool resetID,
                      const std::optional<Scene>& override);
  /// copyOf(*this).
  Scene copy() const { return copyOf(*this); }

  // Identity.
  const std::string& id() const { return identity_.id; }
  const std::optional<std::string>& templateID() const { return identity_.templateID; }
  const std::optional<bool>& hasLocalisedName() const { return identity_.hasLocalisedName; }
  bool isTemplate() const { return identity_.isTemplate; }
  const std::optional<std::string>& webOverlayID() const { return identity_.webOverlayID; }
  /// True when the id contains "DEFAULT_SCENE".
  bool isDefault() const;

  /// The stored name, or a localisation reference when hasLocalisedName is true.
  const std::string& _name() const { return name_; }
  /// The name to show: the stored name, or its localisation looked up in the host's tables.
  std::string name() const;
  /// Sets the stored name; hasLocalisedName doesn't change.
  void renameOverlay(std::string name) { name_ = std::move(name); }

  const std::optional<int>& version() const { return version_; }
  void updateVersion(std::optional<int> version) { version_ = version; }

  const std::optional<AudioConfiguration>& audioConfiguration() const { return audioConfiguration_; }
  void setAudioConfiguration(std::optional<AudioConfiguration> c) { audioConfiguration_ = std::move(c); }

  const std::optional<SceneTransitionConfig>& transitionConfig() const { return transitionConfig_; }
  void setTransitionConfig(std::optional<SceneTransitionConfig> c) { transitionConfig_ = std::move(c); }

  // Thumbnail.
  /// `_thumbnail`, else the older `_reference`.
  std::optional<TransferAssetReference> thumbnail() const { return thumbnail_ ? thumbnail_ : reference_; }
  void setThumbnail(std::optional<TransferAssetReference> t) { thumbnail_ = std::move(t); }
  const std::optional<TransferAssetReference>& _thumbnail() const { return thumbnail_; }
  const std::optional<TransferAssetReference>& _reference() const { return reference_; }
  void setReference(std::optional<TransferAssetReference> r) { reference_ = std::move(r); }
  /// Moves an older `_reference` into `_thumbnail`; nothing when there is none.
  void updateAssetReference();
  bool shouldAutoUpdateThumbnail() const { return shouldAutoUpdateThumbnail_; }
  void setShouldAutoUpdateThumbnail(bool value) { shouldAutoUpdateThumbnail_ = value; }
  const std::optional<ThumbnailActor>& thumbnailActor() const { return thumbnailActor_; }
  void setThumbnailActor(std::optional<ThumbnailActor> actor) { thumbnailActor_ = actor; }

  /// Top-level JSON keys this version doesn't know, written back at the top level.
  const JsonObject& additionalProperties() const { return additionalProperties_; }
  void setAdditionalProperties(JsonObject properties) { additionalProperties_ = std::move(properties); }

  // Aspects and formats.
  AspectRatio primaryAspect() const { return primaryAspect_; }
  const std::optional<AspectRatio>& activeAspect() const { return activeAspect_; }
  void setActiveAspect(std::optional<AspectRatio> aspect) { activeAspect_ = aspect; }
  /// A copy whose routed accessors address `aspect`.
  Scene withActiveAspect(std::optional<AspectRatio> aspect) const;
  /// The routed aspect: `activeAspect`, else `primaryAspect`.
  AspectRatio aspectRatio() const { return activeAspect_.value_or(primaryAspect_); }

  const SceneFormatMap& formats() const { return formats_; }
  /// The aspects that have a format, in AspectRatio case order.
  std::vector<AspectRatio> supportedAspects() const;
  /// True when there is a format for `aspect`, even one with no layers.
  bool hasFormat(AspectRatio aspect) const { return formats_.contains(aspect); }
  /// The format at `aspect`, unrouted; nullptr when there is none.
  const SceneFormat* format(AspectRatio aspect) const;
  /// Stores `format` under `aspect`, replacing any.
  void setFormat(SceneFormat format, AspectRatio aspect) { formats_.insert_or_assign(aspect, std::move(format)); }
  /// Applies `edit` to the format at `aspect`, made empty first when missing.
  void updateFormat(AspectRatio aspect, const std::function<void(SceneFormat&)>& edit) { edit(formats_[aspect]); }
  /// Removes the format at `aspect` unless it is the last one. A removed primary aspect moves to the
  /// first remaining aspect; a removed active aspect is cleared.
  void removeFormat(AspectRatio aspect);

  // Routed reads: the routed format's field, neutral when there is no such format.
  const std::vector<SceneElement>& elements() const;
  const SceneElementGroupMap& groups() const;
  const std::optional<Background>& background() const;
  const std::optional<Looping>& backgroundLooping() const;
  const std::optional<ScaleMode>& backgroundScaling() const;
  const std::optional<double>& backgroundOpacity() const;
  const std::optional<SceneGradient>& _backgroundGradient() const;
  const std::optional<SceneColor>& _backgroundColor() const;
  /// `_backgroundColor`, else opaque black.
  SceneColor backgroundColor() const;

  // Routed writes: replace one field of the routed format, creating the format when missing.
  void setElements(std::vector<SceneElement> elements) { routedFormatForEditing().elements = std::move(elements); }
  void setGroups(SceneElementGroupMap groups) { routedFormatForEditing().groups = std::move(groups); }
  void setBackground(std::optional<Background> b) { routedFormatForEditing().background = std::move(b); }
  void setBackgroundLooping(std::optional<Looping> l) { routedFormatForEditing().backgroundLooping = l; }
  void setBackgroundScaling(std::optional<ScaleMode> s) { routedFormatForEditing().backgroundScaling = s; }
  void setBackgroundOpacity(std::optional<double> o) { routedFormatForEditing().backgroundOpacity = o; }
  void setBackgroundGradient(std::optional<SceneGradient> g) { routedFormatForEditing()._backgroundGradient = std::move(g); }
  void setBackgroundColor(std::optional<SceneColor> c) { routedFormatForEditing()._backgroundColor = c; }

  /// The routed format for editing in place, created empty when missing. The structure operations use
  /// it to edit layers and groups without copying the whole array.
  SceneFormat& routedFormatForEditing() { return formats_[aspectRatio()]; }

  // Unrouted reads of one aspect: neutral values when the aspect has no format.
  const std::vector<SceneElement>& elements(AspectRatio aspect) const;
  const SceneElementGroupMap& groups(AspectRatio aspect) const;
  const std::optional<Background>& background(AspectRatio aspect) const;
  SceneColor backgroundColor(AspectRatio aspect) const;

  // Look-ups by id. Repeated look-ups on one format cost a hash look-up each; the first after an edit
  // that moved or removed the layer asked for costs one pass over the array. Pointers are valid until
  // the next edit of the scene.
  /// The index of the routed format's layer with `id`; absent when it has none.
  std::optional<std::size_t> indexOfElement(const Uuid& id) const {
    return elementIndexCache_.indexOf(elements(), id);
  }
  /// The index of the layer with `id` in the format at `aspect`; absent when it has none.
  std::optional<std::size_t> indexOfElement(const Uuid& id, AspectRatio aspect) const {
    return elementIndexCache_.indexOf(elements(aspect), id);
  }
  /// The routed format's layer with `id`; null when it has none.
  const SceneElement* elementWithID(const Uuid& id) const;
  /// The layer with `id` in the format at `aspect`; null when it has none.
  const SceneElement* elementWithID(const Uuid& id, AspectRatio aspect) const;

  /// The layers of all formats, in aspect order.
  std::vector<SceneElement> allElements() const;
  /// The present backgrounds of all formats, in aspect order.
  std::vector<Background> allBackgrounds() const;

  // Edits of the routed format's layers. Index arguments out of range are a caller error
  // (std::out_of_range).
  /// Adds `element` unless an equal one (every field) is present: appended with `atBack`, else
  /// inserted at `index` (0...count).
  void addElement(const SceneElement& element, std::optional<std::size_t> index, bool atBack);
  /// Replaces the layer at `index` (0..<count).
  void update(std::size_t index, SceneElement element);
  /// Removes every layer with `id`, then drops the groups this leaves without members.
  void removeElement(const Uuid& id);
  /// Takes the first layer equal to `element` out and inserts `element` at `to` (0...count after the
  /// removal); nothing when no layer is equal.
  void reorder(const SceneElement& element, std::size_t to);
  /// Moves the layer at `at` to `to`.
  void move(std::size_t at, std::size_t to);

  // Camera settings across the feed layers of every format (scene_device_configuration.cpp). A feed
  // shows `defaultDeviceID` when its defaultDevice is true, whatever deviceID it stores, else its own
  // deviceID; feeds showing no device are left out.

  using EffectiveDeviceConfiguration = tav::EffectiveDeviceConfiguration;
  /// One entry per device, in the order first met walking the layers of `aspects` in the order given
  /// (aspects without a format add nothing), each with the configuration of its first feed.
  std::vector<EffectiveDeviceConfiguration> effectiveDeviceConfigurations(
      const std::vector<AspectRatio>& aspects, const std::optional<std::string>& defaultDeviceID) const;
  /// Merges `configuration` into every feed of `deviceID` in every format but `excluding`, as a feed
  /// update carrying that configuration would, and marks each changed layer settingsUpdated. A feed
  /// whose configuration already equals it (both absent included) is skipped. An absent
  /// `configuration` can't clear a stored one, yet the feed still counts as changed. True when at
  /// least one layer changed.
  bool setDeviceConfiguration(const std::optional<DeviceConfiguration>& configuration, const std::string& deviceID,
                              std::optional<AspectRatio> excluding, const std::optional<std::string>& defaultDeviceID);

  // Structure of the routed format: read-only questions (tav/structure/element_groups.cpp). Queries
  // never fail: an id that names nothing gives an empty or absent result, and walks up the folder
  // chain stop at a group seen before, so a cycle of parents cannot hang them.

  /// The folder with `groupID` and its direct members; absent when the group is missing, is not a
  /// folder, or has no direct member.
  std::optional<FolderGroup> folderGroupWithID(const Uuid& groupID) const;
  /// The folder that directly holds the element.
  std::optional<FolderGroup> folderGroupContaining(const Uuid& elementID) const;
  /// Every folder with direct members, by the lower bound of its index range.
  std::vector<FolderGroup> folderGroups() const;
  /// The folders whose parent is `groupID` (direct children only).
  std::vector<Uuid> nestedFolderIDs(const Uuid& groupID) const;
  /// The element's group, then its parent, out to the outermost; empty without a membership.
  std::vector<Uuid> groupAncestry(const Uuid& elementID) const;
  /// `groupID` itself, then its parent, out to the outermost; empty when the group is missing.
  std::vector<Uuid> groupAncestryByGroupID(const Uuid& groupID) const;
  /// The elements, in array order, whose group is `groupID` or lies inside it.
  std::vector<SceneElement> elementsRecursive(const Uuid& groupID) const;
  /// For every group, how many elements stand in it directly or in groups inside it. Groups with no
  /// such element have no entry. (tav/structure/group_member_counts.hpp)
  GroupMemberCounts transitiveMemberCounts() const;
  /// The innermost mask folder around the element.
  std::optional<Uuid> maskGroupAncestorOfElement(const Uuid& elementID) const;
  /// The innermost mask folder that is `groupID` or around it.
  std::optional<Uuid> maskGroupAncestorOfGroup(const Uuid& groupID) const;
  /// True when a mask link has exactly one end in `ids`.
  bool hasMaskLinkOutside(const std::vector<Uuid>& ids) const;
  /// True when one of `ids` stands in a mask folder and masks or is masked by a layer.
  bool containsMaskRole(const std::vector<Uuid>& ids) const;

  // Primitive group edits of the routed format.
  /// Stores `group` under its id, replacing any.
  void addGroup(SceneElementGroup group);
  /// Removes the group and every element's membership in it; touches nothing else.
  void removeGroup(const Uuid& groupID);

  // Repair passes of the routed format (tav/structure/scene_repair_passes.cpp). Each is silent and
  // total, drops what cannot be kept field by field, marks every layer whose settings it mends with
  // settingsUpdated, and never deletes a layer.

  /// Removes folders with too few transitive members (two for a mask folder) and split groups without
  /// both bookends in one sweep, frees their members, lifts groups whose parent is gone to the top,
  /// then repairs mask references and frame membership.
  void cleanupOrphanGroups();
  /// Drops masks whose layer is missing, and every mask on a cycle of mask links.
  void repairMaskReferences();
  /// Releases layers whose frame is missing, is no frame, or leads back to them (with their layout).
  void repairFrameMembership();
  /// Drops mask links that cross the edge of a mask folder.
  void releaseMaskLinksAcrossGroups();
  /// Gathers each folder's layers (nested folders included) into one block, outer folders first.
  void normaliseGroupContiguity();
  /// Puts each frame's subtree directly in front of the frame.
  void normaliseFrameContiguity();
  /// Mends every format in turn: cleanupOrphanGroups, then normaliseGroupContiguity, then
  /// normaliseFrameContiguity. The active aspect is left as it was.
  void repairAllFormats();
  /// `elements` reordered so that every frame's subtree stands directly in front of it, children
  /// before their frame.
  static std::vector<SceneElement> frameRenderOrder(const std::vector<SceneElement>& elements);

  // Aspect formats (aspect_formats.cpp). A format seeded from another gets fresh ids throughout, so
  // no layer or group is ever shared between two formats.

  /// Creates the format for `aspect` unless there is one: a copy of the format at `seedingFrom`
  /// translated to `aspect` when that format exists, else an empty format with an opaque black
  /// background. True when a format was created. The primary and active aspects don't change.
  bool ensureFormat(AspectRatio aspect, std::optional<AspectRatio> seedingFrom = std::nullopt);
  /// A format that looks like `format` on a canvas of `target`, sharing no identity with it: new ids
  /// for every layer and group, links among them rewritten, links leaving the format dropped, layer
  /// masks kept only when their layer is copied too, and every layer's geometry translated. Video files
  /// are duplicated for the new layers (the old file is shared when that fails).
  static SceneFormat copyFormat(const SceneFormat& format, AspectRatio source, AspectRatio target);
  /// `element` with its geometry moved from a `source` canvas to a `target` canvas so that it keeps
  /// its size in points and its distance to the nearest edge (by thirds, or a frame's constraints),
  /// fitted and clamped to the canvas when it fitted before. The id is unchanged. An element lacking
  /// any of the four geometry fields, or equal aspects, give the element back unchanged.
  static SceneElement translated(const SceneElement& element, AspectRatio source, AspectRatio target);
  /// translated() in place, for callers that own the element already.
  static void translateInPlace(SceneElement& element, AspectRatio source, AspectRatio target);
  /// A copy for previewing the routed format on a canvas of `target`: its layers translated, still
  /// stored under the routed aspect, with the same ids. A plain copy when the aspects are equal or
  /// the routed aspect has no format.
  Scene translatingGeometry(AspectRatio target) const;

  // Placement of new layers and transfer between formats (tav/structure/element_transfer.cpp).

  /// Where a layer the user adds next to the layer `nextTo` goes in the routed format: directly in
  /// front of it, in its frame or its folder, and between a split's bookends when it is one. Absent
  /// when `nextTo` is absent or names no layer of the routed format.
  std::optional<ElementPlacement> newElementPlacement(const std::optional<Uuid>& nextTo) const;

  /// How transferElements places the copies on the target canvas.
  class TransferPlacement {
   public:
    /// Moves the selection as a block so that `grabOffset`, a fraction of the selection's bounding
    /// box, lies at the canvas point `at` (canvas fractions), kept on the canvas where it fits.
    struct Anchored {
      Point grabOffset;
      Point at;
      friend bool operator==(const Anchored&, const Anchored&) = default;
    };
    /// Leaves the copies where geometry translation puts them.
    struct Translated {
      friend bool operator==(const Translated&, const Translated&) = default;
    };

    static TransferPlacement anchored(Point grabOffset, Point at) { return TransferPlacement(Anchored{grabOffset, at}); }
    static TransferPlacement translated() { return TransferPlacement(Translated{}); }

    bool isAnchored() const { return std::holds_alternative<Anchored>(value_); }
    bool isTranslated() const { return std::holds_alternative<Translated>(value_); }
    /// The payload of `anchored`; nullptr for `translated`.
    const Anchored* anchoredPlacement() const { return std::get_if<Anchored>(&value_); }

    friend bool operator==(const TransferPlacement&, const TransferPlacement&) = default;

   private:
    explicit TransferPlacement(std::variant<Anchored, Translated> value) : value_(value) {}
    std::variant<Anchored, Translated> value_;
  };

  /// Copies (and with `removingSource` moves) the layers `ids` of the format at `from` into the
  /// format at `to`, created empty when missing, in front of what stands there. Locked layers of the
  /// selection are left out, then the selection grows to what it cannot live without: both bookends
  /// and the sandwiched layers of a split, a frame's whole subtree, and both ends of every mask link.
  /// The copies are reborn (new ids, links rewritten), keep the folder tree under `rootFolderID`, form
  /// a new split group where both bookends came along, take `resolvedGeometry`'s rectangle by source
  /// id where given, are translated to the target canvas and then placed by `placement`. The target
  /// format is then made contiguous again; a move takes the whole closure out of the source and drops
  /// the groups this empties. Returns the copies' ids in order; empty, with the document unchanged,
  /// when `from` equals `to`, `from` has no format, or nothing is left to copy. `activeAspect` is as
  /// it was on return.
  std::vector<Uuid> transferElements(const std::unordered_set<Uuid>& ids, AspectRatio from, AspectRatio to,
                                     const TransferPlacement& placement, bool removingSource,
                                     std::optional<Uuid> rootFolderID,
                                     const std::unordered_map<Uuid, Rect>& resolvedGeometry);

  /// Equal when every stored field but `activeAspect` is equal.
  friend bool operator==(const Scene& a, const Scene& b);

 private:
  friend struct JsonCoder<Scene>;
  Scene() = default;

  /// One field of the format at `aspect`, or that field's neutral (empty) value when there is none.
  template <class T>
  const T& fieldOf(AspectRatio aspect, T SceneFormat::*field) const {
    static const T neutral{};
    const SceneFormat* f = format(aspect);
    return f ? f->*field : neutral;
  }

  Identity identity_;
  std::string name_;
  ElementIndexCache elementIndexCache_;
  SceneFormatMap formats_;
  AspectRatio primaryAspect_ = AspectRatio::landscape;
  std::optional<AspectRatio> activeAspect_;
  std::optional<int> version_;
  std::optional<AudioConfiguration> audioConfiguration_;
  std::optional<TransferAssetReference> thumbnail_;
  bool shouldAutoUpdateThumbnail_ = true;
  std::optional<ThumbnailActor> thumbnailActor_;
  std::optional<SceneTransitionConfig> transitionConfig_;
  JsonObject additionalProperties_;
  std::optional<TransferAssetReference> reference_;
};

/// The scene document. The primary format is written at the top level, every other format under
/// "formats"; decoding folds the old single-format layout in, keeps unknown top-level keys, and mends
/// each format's frame membership and mask links.
template <>
struct JsonCoder<Scene> {
  static Scene decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Scene& scene);
};

}  // namespace tav

template <>
struct std::hash<tav::Scene> {
  /// Consistent with ==: hashes the identity, the name, the primary aspect's raw text and the layer
  /// ids of each format.
  std::size_t operator()(const tav::Scene& scene) const noexcept;
};
