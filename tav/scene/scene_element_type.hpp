// The kind of a layer, with the settings of that kind.
//
// A layer is text, an image, a shape, a camera feed, a screen capture, a web page, a video file, a chat
// overlay or a frame (a stack of layers); `unknown` stands for a kind written by a later version, whose
// raw JSON the layer keeps on its own.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <variant>

#include "tav/contracts/indirect.hpp"

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/element_capture_settings.hpp"
#include "tav/scene/element_chat_message_settings.hpp"
#include "tav/scene/element_feed_settings.hpp"
#include "tav/scene/element_image_settings.hpp"
#include "tav/scene/element_shape_settings.hpp"
#include "tav/scene/element_text_settings.hpp"
#include "tav/scene/element_video_settings.hpp"
#include "tav/scene/element_web_settings.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_frame_settings.hpp"
#include "tav/scene/scene_mask.hpp"

namespace tav {

/// The arguments of SceneElementType::updateSettings: one optional payload per kind that has one. Only
/// the payload of the type's own kind is used.
struct SceneElementTypeUpdate {
  std::optional<SceneElementTextSettings> textSettings;
  std::optional<SceneElementImageSettings> imageSettings;
  std::optional<SceneElementShapeSettings> shapeSettings;
  std::optional<SceneElementFeedSettings> feedSettings;
  std::optional<SceneElementWebSettings> webSettings;
  std::optional<SceneElementCaptureSettings> captureSettings;
  std::optional<SceneElementVideoSettings> videoSettings;
  std::optional<SceneElementChatMessageSettings> chatMessageSettings;
  std::optional<SceneFrameSettings> frameSettings;
};

class SceneElementType {
 public:
  /// The ten kinds, numbered as the JSON and the variant order number them.
  enum class Case { text, image, shape, feed, capture, web, video, chatMessage, frame, unknown };

  /// The payload of `unknown`: nothing.
  struct Unknown {
    friend bool operator==(const Unknown&, const Unknown&) = default;
  };

  /// Payloads are held out of line, so a layer stays small whatever its kind.
  using Payload = std::variant<Indirect<SceneElementTextSettings>, Indirect<SceneElementImageSettings>,
                               Indirect<SceneElementShapeSettings>, Indirect<SceneElementFeedSettings>,
                               Indirect<SceneElementCaptureSettings>, Indirect<SceneElementWebSettings>,
                               Indirect<SceneElementVideoSettings>, Indirect<SceneElementChatMessageSettings>,
                               Indirect<SceneFrameSettings>, Unknown>;

  /// `unknown`.
  SceneElementType() : value_(Unknown{}) {}
  // One converting constructor per kind: a payload is its kind.
  SceneElementType(SceneElementTextSettings settings) : value_(Indirect<SceneElementTextSettings>(std::move(settings))) {}
  SceneElementType(SceneElementImageSettings settings) : value_(Indirect<SceneElementImageSettings>(std::move(settings))) {}
  SceneElementType(SceneElementShapeSettings settings) : value_(Indirect<SceneElementShapeSettings>(std::move(settings))) {}
  SceneElementType(SceneElementFeedSettings settings) : value_(Indirect<SceneElementFeedSettings>(std::move(settings))) {}
  SceneElementType(SceneElementCaptureSettings settings) : value_(Indirect<SceneElementCaptureSettings>(std::move(settings))) {}
  SceneElementType(SceneElementWebSettings settings) : value_(Indirect<SceneElementWebSettings>(std::move(settings))) {}
  SceneElementType(SceneElementVideoSettings settings) : value_(Indirect<SceneElementVideoSettings>(std::move(settings))) {}
  SceneElementType(SceneElementChatMessageSettings settings) : value_(Indirect<SceneElementChatMessageSettings>(std::move(settings))) {}
  SceneElementType(SceneFrameSettings settings) : value_(Indirect<SceneFrameSettings>(std::move(settings))) {}
  SceneElementType(Unknown) : value_(Unknown{}) {}

  static SceneElementType unknown() { return SceneElementType(); }

  Case kind() const { return static_cast<Case>(value_.index()); }
  const Payload& payload() const { return value_; }

  bool isText() const { return kind() == Case::text; }
  bool isImage() const { return kind() == Case::image; }
  bool isShape() const { return kind() == Case::shape; }
  bool isFeed() const { return kind() == Case::feed; }
  bool isCapture() const { return kind() == Case::capture; }
  bool isWeb() const { return kind() == Case::web; }
  bool isVideo() const { return kind() == Case::video; }
  bool isFrame() const { return kind() == Case::frame; }
  bool isUnknown() const { return kind() == Case::unknown; }
  /// Chat overlays are no longer offered for new layers; existing ones still show.
  bool isRetired() const { return kind() == Case::chatMessage; }

  // The payload when the type is that kind, else nullptr.
  const SceneElementTextSettings* textSettings() const { return payloadIf<SceneElementTextSettings>(); }
  const SceneElementImageSettings* imageSettings() const { return payloadIf<SceneElementImageSettings>(); }
  const SceneElementShapeSettings* shapeSettings() const { return payloadIf<SceneElementShapeSettings>(); }
  const SceneElementFeedSettings* feedSettings() const { return payloadIf<SceneElementFeedSettings>(); }
  const SceneElementCaptureSettings* captureSettings() const {
    return payloadIf<SceneElementCaptureSettings>();
  }
  const SceneElementWebSettings* webSettings() const { return payloadIf<SceneElementWebSettings>(); }
  const SceneElementVideoSettings* videoSettings() const { return payloadIf<SceneElementVideoSettings>(); }
  const SceneElementChatMessageSettings* chatMessageSettings() const {
    return payloadIf<SceneElementChatMessageSettings>();
  }
  const SceneFrameSettings* frameSettings() const { return payloadIf<SceneFrameSettings>(); }

  // The same for editing in place; the kind itself never changes through these.
  SceneElementTextSettings* textSettings() { return payloadIf<SceneElementTextSettings>(); }
  SceneElementImageSettings* imageSettings() { return payloadIf<SceneElementImageSettings>(); }
  SceneElementShapeSettings* shapeSettings() { return payloadIf<SceneElementShapeSettings>(); }
  SceneElementFeedSettings* feedSettings() { return payloadIf<SceneElementFeedSettings>(); }
  SceneElementCaptureSettings* captureSettings() { return payloadIf<SceneElementCaptureSettings>(); }
  SceneElementWebSettings* webSettings() { return payloadIf<SceneElementWebSettings>(); }
  SceneElementVideoSettings* videoSettings() { return payloadIf<SceneElementVideoSettings>(); }
  SceneElementChatMessageSettings* chatMessageSettings() {
    return payloadIf<SceneElementChatMessageSettings>();
  }
  SceneFrameSettings* frameSettings() { return payloadIf<SceneFrameSettings>(); }

  /// The `text` field of a text layer (as stored, tokens unresolved); absent for other kinds.
  std::optional<std::string> text() const;

  /// True for the kinds whose source the user picks from a list: feed, capture, video, web.
  bool shouldShowSelector() const;
  /// `luminance` for feed, capture and video, whose content is rarely transparent; absent otherwise.
  std::optional<SceneMask::Component> defaultMaskComponent() const;

  /// What the host's layer list shows for the layer: its text (tokens resolved), file name, device,
  /// capture target or page host where it has one, else the kind's localised name.
  std::string title() const;
  /// The name of the system symbol that stands for the kind ("textformat", "photo", ...).
  std::string imageName() const;

  /// On an image layer, sets `clearVariable`, so the next merge unbinds it from its variable. Does
  /// nothing to other kinds.
  void setClearVariableSetting();

  /// Merges the argument of the type's own kind into its payload (see mergePayload); does nothing when
  /// that argument is absent, and nothing to `unknown`. The kind never changes.
  void updateSettings(const SceneElementTypeUpdate& update);

  /// Merges the payload of `incoming` into this one when both are of the same kind: fields present in
  /// `incoming` replace stored ones, by each kind's own rules (see the payloads' merge members); frame
  /// settings are replaced as a whole. Of another kind, or `unknown`, nothing changes.
  void mergePayload(const SceneElementType& incoming);

  friend bool operator==(const SceneElementType&, const SceneElementType&) = default;

 private:
  template <class T>
  const T* payloadIf() const {
    const auto* boxed = std::get_if<Indirect<T>>(&value_);
    return boxed ? &**boxed : nullptr;
  }
  template <class T>
  T* payloadIf() {
    auto* boxed = std::get_if<Indirect<T>>(&value_);
    return boxed ? &**boxed : nullptr;
  }

  Payload value_;
};

/// One object with a single key, the kind's name, whose value is {"_0": payload}:
/// {"text": {"_0": {...}}}, and likewise "image", "shape", "feed", "capture", "web", "video",
/// "chatMessage", "frame"; `unknown` is {"unknown": {}}. Reading fails ("Invalid number of keys found,
/// expected one.") when the object has more than one key or none that names a kind; a bad payload
/// fails with its path.
template <>
struct JsonCoder<SceneElementType> {
  static SceneElementType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementType& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementType::Unknown> {
  std::size_t operator()(const tav::SceneElementType::Unknown&) const noexcept { return 0; }
};

template <>
struct std::hash<tav::SceneElementType> {
  std::size_t operator()(const tav::SceneElementType& t) const noexcept {
    return std::hash<tav::SceneElementType::Payload>()(t.payload());
  }
};
