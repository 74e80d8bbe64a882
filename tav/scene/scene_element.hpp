// One layer of a scene format: its identity, its kind with the kind's settings, its geometry and
// common settings, and its place in the structure (group membership and parent frame).
//
// A layer written by a later version with a kind this version cannot read keeps the raw "type" JSON
// and writes it back, so documents pass through without loss.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene_element_group.hpp"
#include "tav/scene/scene_element_settings.hpp"
#include "tav/scene/scene_element_type.hpp"

namespace tav {

struct SceneVariable;

/// A plain value. Equality and hashing cover every stored field, the private ones included, so two
/// layers with one id but different settings are different layers.
class SceneElement {
 public:
  SceneElement(Uuid id, SceneElementType type, SceneElementSettings settings,
               std::optional<SceneElementGroupMembership> groupMembership = std::nullopt,
               std::optional<Uuid> frameID = std::nullopt)
      : id_(id),
        type_(std::move(type)),
        groupMembership_(std::move(groupMembership)),
        frameID_(frameID),
        settings_(std::move(settings)) {}

  /// The clone of a layer, for copy and paste: a new random id, and no group membership, frame,
  /// update flag, layout or mask. A video layer's file is duplicated in the asset store for the new
  /// id; when that fails the clone shares the source's file.
  static SceneElement copyOf(const SceneElement& instance);
  /// copyOf(*this).
  SceneElement copy() const { return copyOf(*this); }

  // New layers of each kind (scene_element_factories.cpp). Each has a new random id and no group
  // membership, frame, update flag or unknown content, and starts from the settings defaults of its
  // kind. They don't fail: a file or asset that cannot be read leaves the sizes it would give absent.

  /// Centred white Arial text, regular weight, font size 0.18.
  static SceneElement fromText(std::string text);
  /// A chat overlay with avatars and service badges shown.
  static SceneElement fromChatTheme(std::optional<ChatLayerTheme> theme);
  /// A white shape sized for a canvas of `aspect`.
  static SceneElement fromShape(ShapeElementType shape, AspectRatio aspect);
  /// Stores `imageData` in the shared asset store under the new id; the layer fills its frame
  /// (aspectFill) and keeps `imageSize`'s shape on `canvasSize`.
  static SceneElement fromImageData(std::string_view imageData, Size imageSize, bool isAnimated, Size canvasSize,
                                    std::optional<std::string> fileName);
  /// A looping video of the file at `videoURL`, stored in the shared asset store under the new id. Its
  /// size is the displayed size of the file's first video track (natural size turned by the track's
  /// transform); without a readable video track the sizes are absent and the layer is 0.25 high.
  static SceneElement fromVideoURL(const Url& videoURL, Size canvasSize);
  /// A capture of `type`, sized as an image of `initialSize`.
  static SceneElement fromCaptureType(const CaptureType& type, std::optional<Size> initialSize, Size canvasSize);
  /// An image layer that shows the variable `variable` (defined with the scene variables, in
  /// tav/library/). Its size is the variable's image's, 64 by 64 for "profilePicture", else absent; it
  /// doesn't lock its aspect ratio.
  static SceneElement fromVariable(const SceneVariable& variable, Size canvasSize);
  /// A web page over the whole canvas, with its audio.
  static SceneElement fromURL(const Url& url);
  /// A camera at the top left, `size` wide and high.
  static SceneElement fromDevice(std::optional<std::string> deviceID, bool defaultDevice, double size);
  /// A camera following the default device: the whole canvas for the primary position, else a small
  /// picture-in-picture at the lower left.
  static SceneElement fromPosition(Position position, std::optional<std::string> sourceType);
  /// A frame (stack) layer.
  static SceneElement fromFrame(const SceneFrameSettings& frame, SceneElementSettings settings);

  const Uuid& id() const { return id_; }

  const SceneElementType& type() const { return type_; }
  SceneElementType& type() { return type_; }
  void setType(SceneElementType type) { type_ = std::move(type); }

  const SceneElementSettings& settings() const { return settings_; }
  SceneElementSettings& settings() { return settings_; }
  void setSettings(SceneElementSettings settings) { settings_ = std::move(settings); }

  const std::optional<SceneElementGroupMembership>& groupMembership() const { return groupMembership_; }
  void setGroupMembership(std::optional<SceneElementGroupMembership> m) { groupMembership_ = std::move(m); }

  /// The frame layer this layer belongs to.
  const std::optional<Uuid>& frameID() const { return frameID_; }
  void setFrameID(std::optional<Uuid> frameID) { frameID_ = frameID; }

  /// The result of the last update(); never stored in a document.
  std::optional<bool> settingsUpdated() const { return settingsUpdated_; }
  void setSettingsUpdated(std::optional<bool> updated) { settingsUpdated_ = updated; }

  /// The feed position of a camera layer, else absent.
  std::optional<Position> position() const;

  /// Applies a partial change from the host and tells whether the layer needs drawing again.
  /// Present settings fields replace stored ones that differ; an incoming type of the stored case
  /// merges into the stored payload; any incoming type other than `unknown` reports a change.
  bool update(const std::optional<SceneElementSettings>& settings, const std::optional<SceneElementType>& type);

  // Kept for older documents and for content of later versions; read-only for callers.
  const std::optional<std::string>& stockImageName() const { return stockImageName_; }
  const JsonObject& unknownTypeStorage() const { return unknownTypeStorage_; }
  const JsonObject& additionalProperties() const { return additionalProperties_; }
  /// Forgets the raw JSON of an unreadable "type", for a copy that must not carry it along.
  void clearUnknownTypeStorage() { unknownTypeStorage_ = JsonObject(); }

  friend bool operator==(const SceneElement&, const SceneElement&) = default;

 private:
  friend struct JsonCoder<SceneElement>;

  // The structure passes read the id, kind, group and frame of every layer after every edit: they
  // come first, so that a pass touches one or two cache lines of each 400-byte layer instead of three.
  Uuid id_;
  SceneElementType type_;
  std::optional<SceneElementGroupMembership> groupMembership_;
  std::optional<Uuid> frameID_;
  std::optional<bool> settingsUpdated_;
  SceneElementSettings settings_;
  /// Raw JSON of a "type" this version cannot read, under the key "type"; empty when none.
  JsonObject unknownTypeStorage_;
  std::optional<std::string> stockImageName_;
  /// Element-level JSON keys this version does not know; empty when none.
  JsonObject additionalProperties_;
};

/// JSON keys: "id", "settings", "stockImageName"?, "groupMembership"?, "frameID"?, unknown keys, "type".
template <>
struct JsonCoder<SceneElement> {
  static SceneElement decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElement& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElement> {
  /// Consistent with ==: hashes the id and the geometry, which every equal pair shares.
  std::size_t operator()(const tav::SceneElement& e) const noexcept;
};
