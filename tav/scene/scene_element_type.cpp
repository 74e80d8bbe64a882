#include "tav/scene/scene_element_type.hpp"

#include <array>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tav/contracts/localizer.hpp"
#include "tav/scene/display_host.hpp"
#include "tav/scene/text_variable_resolver.hpp"

namespace tav {
namespace {

using Case = SceneElementType::Case;
using Payload = SceneElementType::Payload;

/// The JSON key of each kind, in the order of Case (and of the variant).
constexpr std::array<std::string_view, 10> kCaseNames{"text",  "image", "shape",       "feed",  "capture",
                                                      "web",   "video", "chatMessage", "frame", "unknown"};
static_assert(kCaseNames.size() == std::variant_size_v<Payload>);

constexpr const char* kKeyCountError = "Invalid number of keys found, expected one.";
constexpr std::string_view kPayloadKey = "_0";

/// The file name without its last extension ("clip.final.mov" gives "clip.final").
std::string withoutLastExtension(const std::string& fileName) {
  std::size_t dot = fileName.rfind('.');
  if (dot == std::string::npos) return fileName;
  return fileName.substr(0, dot);
}

std::string feedTitle(const SceneElementFeedSettings& feed) {
  if (feed.deviceName) return *feed.deviceName;
  if (feed.position == Position::primary) return localizedText("PRIMARY_ELEMENT_FEED_TITLE", "Primary source");
  if (feed.position == Position::secondary) {
    return localizedText("SECONDARY_ELEMENT_FEED_TITLE", "Secondary source");
  }
  return localizedText("ELEMENT_FEED_TITLE", "Video source");
}

/// Decodes the payload of alternative `Index` from {"_0": payload}.
template <std::size_t Index>
SceneElementType decodePayload(const JsonValue& json, const JsonPath& path) {
  using Alternative = std::variant_alternative_t<Index, Payload>;
  if constexpr (std::is_same_v<Alternative, SceneElementType::Unknown>) {
    // The kind without a payload is an empty object; what else it holds is not ours to read.
    if (!json.is_object()) detail::throwExpected(path, "an object");
    return SceneElementType::unknown();
  } else {
    using T = std::remove_cvref_t<decltype(*std::declval<Alternative>())>;
    JsonObjectReader reader(json, path);
    return SceneElementType(reader.required<T>(kPayloadKey));
  }
}

template <std::size_t... Indices>
SceneElementType decodeCase(std::size_t index, const JsonValue& json, const JsonPath& path,
                            std::index_sequence<Indices...>) {
  using Decoder = SceneElementType (*)(const JsonValue&, const JsonPath&);
  static constexpr std::array<Decoder, sizeof...(Indices)> decoders{&decodePayload<Indices>...};
  return decoders[index](json, path);
}

}  // namespace

std::optional<std::string> SceneElementType::text() const {
  if (const auto* settings = textSettings()) return settings->text;
  return std::nullopt;
}

bool SceneElementType::shouldShowSelector() const {
  switch (kind()) {
    case Case::feed:
    case Case::capture:
    case Case::video:
    case Case::web:
      return true;
    default:
      return false;
  }
}

std::optional<SceneMask::Component> SceneElementType::defaultMaskComponent() const {
  switch (kind()) {
    case Case::feed:
    case Case::capture:
    case Case::video:
      return SceneMask::Component::luminance;
    default:
      return std::nullopt;
  }
}

std::string SceneElementType::title() const {
  switch (kind()) {
    case Case::text:
      if (const auto& text = textSettings()->text) return resolveVariableTokens(*text);
      return localizedText("ELEMENT_TEXT_TITLE", "Text");
    case Case::image:
      if (const auto& fileName = imageSettings()->fileName; fileName && !fileName->empty()) return *fileName;
      return localizedText("ELEMENT_IMAGE_TITLE", "Image");
    case Case::shape:
      return localizedText("ELEMENT_SHAPE_TITLE", "Shape");
    case Case::feed:
      return feedTitle(*feedSettings());
    case Case::capture:
      // The capture target's own name, or the plain (unlocalised) name of its kind.
      if (auto target = captureSettings()->captureType()) return target->name();
      return "Screen Capture";
    case Case::web:
      if (const auto& url = webSettings()->url) return displayHost(*url);
      return localizedText("ELEMENT_WEB_TITLE", "Web");
    case Case::video:
      if (const auto& fileName = videoSettings()->fileName; fileName && !fileName->empty()) {
        std::string name = withoutLastExtension(*fileName);
        return name.empty() ? *fileName : name;
      }
      return localizedText("ELEMENT_VIDEO_TITLE", "Video file");
    case Case::chatMessage:
      return localizedText("ELEMENT_CHAT_MESSAGE_TITLE", "Chat message");
    case Case::frame:
      return localizedText("ELEMENT_FRAME_TITLE", "Stack");
    case Case::unknown:
      break;
  }
  return localizedText("ELEMENT_UNKNOWN_TITLE", "Unknown");
}

std::string SceneElementType::imageName() const {
  switch (kind()) {
    case Case::text:
      return "textformat";
    case Case::image:
      return "photo";
    case Case::shape:
      return "square";
    case Case::feed:
      return "video";
    case Case::capture:
      return "macwindow";
    case Case::web:
      return "globe";
    case Case::video:
      return "film";
    case Case::chatMessage:
      return "bubble.left.and.bubble.right";
    case Case::frame:
      return frameSettings()->direction == SceneFlexDirection::column ? "rectangle.split.1x2" : "rectangle.split.2x1";
    case Case::unknown:
      break;
  }
  return "questionmark.square";
}

void SceneElementType::setClearVariableSetting() {
  if (auto* settings = imageSettings()) settings->clearVariable = true;
}

void SceneElementType::updateSettings(const SceneElementTypeUpdate& update) {
  switch (kind()) {
    case Case::text:
      if (update.textSettings) textSettings()->merge(*update.textSettings);
      break;
    case Case::image:
      if (update.imageSettings) imageSettings()->merge(*update.imageSettings);
      break;
    case Case::shape:
      if (update.shapeSettings) shapeSettings()->merge(*update.shapeSettings);
      break;
    case Case::feed:
      if (update.feedSettings) feedSettings()->merge(*update.feedSettings);
      break;
    case Case::capture:
      if (update.captureSettings) captureSettings()->merge(*update.captureSettings);
      break;
    case Case::web:
      if (update.webSettings) webSettings()->merge(*update.webSettings);
      break;
    case Case::video:
      if (update.videoSettings) videoSettings()->merge(*update.videoSettings);
      break;
    case Case::chatMessage:
      if (update.chatMessageSettings) chatMessageSettings()->merge(*update.chatMessageSettings);
      break;
    case Case::frame:
      if (update.frameSettings) *frameSettings() = *update.frameSettings;
      break;
    case Case::unknown:
      break;
  }
}

void SceneElementType::mergePayload(const SceneElementType& incoming) {
  if (incoming.kind() != kind()) return;
  std::visit(
      [this](const auto& incomingPayload) {
        using T = std::decay_t<decltype(incomingPayload)>;
        auto& stored = std::get<T>(value_);
        if constexpr (std::is_same_v<T, Indirect<SceneFrameSettings>>) {
          *stored = *incomingPayload;  // a frame's layout is taken as a whole
        } else if constexpr (!std::is_same_v<T, Unknown>) {
          stored->merge(*incomingPayload);
        }
      },
      incoming.value_);
}

SceneElementType JsonCoder<SceneElementType>::decode(const JsonValue& json, const JsonPath& path) {
  if (!json.is_object()) detail::throwExpected(path, "an object");
  const JsonObject& object = json.get_object();
  if (object.size() != 1) throw DecodingError(path, kKeyCountError);
  const auto& member = *object.begin();
  std::string_view key(member.key().data(), member.key().size());
  for (std::size_t index = 0; index < kCaseNames.size(); ++index) {
    if (kCaseNames[index] != key) continue;
    JsonPath casePath = path.key(kCaseNames[index]);
    return decodeCase(index, member.value(), casePath, std::make_index_sequence<std::variant_size_v<Payload>>());
  }
  throw DecodingError(path, kKeyCountError);
}

void JsonCoder<SceneElementType>::encode(JsonWriter& w, const SceneElementType& v) {
  w.beginObject();
  w.key(kCaseNames[v.payload().index()]);
  w.beginObject();
  std::visit(
      [&w](const auto& payload) {
        using T = std::decay_t<decltype(payload)>;
        if constexpr (!std::is_same_v<T, SceneElementType::Unknown>) w.field(kPayloadKey, *payload);
      },
      v.payload());
  w.endObject();
  w.endObject();
}

}  // namespace tav
