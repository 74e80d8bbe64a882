#include "tav/scene/scene_element.hpp"

#include <array>
#include <string_view>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/logger.hpp"

namespace tav {
namespace {

constexpr std::array<std::string_view, 7> kElementKeys = {"id",           "type",           "settings",
                                                          "stockImageName", "additionalProperties",
                                                          "groupMembership", "frameID"};

bool isElementKey(std::string_view key) {
  for (auto known : kElementKeys) {
    if (key == known) return true;
  }
  return false;
}

const Logger& logger() {
  static const Logger instance("SceneElement");
  return instance;
}

}  // namespace

SceneElement SceneElement::copyOf(const SceneElement& instance) {
  SceneElement copy = instance;
  copy.id_ = Uuid::random();
  copy.groupMembership_.reset();
  copy.frameID_.reset();
  copy.settingsUpdated_.reset();
  copy.settings_.layout.reset();
  copy.settings_.mask.reset();
  if (const auto* video = instance.type_.videoSettings(); video != nullptr && video->reference) {
    try {
      auto duplicate = HostTransferAssetManager::shared().duplicate(*video->reference, copy.id_.toString());
      SceneElementVideoSettings settings = *video;
      settings.reference = std::move(duplicate);
      copy.type_ = SceneElementType(std::move(settings));
    } catch (const std::exception& error) {
      // The clone keeps pointing at the source's file; the layer still plays.
      logger().error("Could not duplicate the video of layer {}: {}", instance.id_.toString(), error.what());
    }
  }
  return copy;
}

std::optional<Position> SceneElement::position() const {
  if (const auto* feed = type_.feedSettings()) return feed->position;
  return std::nullopt;
}

bool SceneElement::update(const std::optional<SceneElementSettings>& settings,
                          const std::optional<SceneElementType>& type) {
  settingsUpdated_ = false;
  if (settings && settings_.applyUpdate(*settings)) settingsUpdated_ = true;
  if (!type || type->isUnknown()) return *settingsUpdated_;
  // A type of another case never replaces the stored one, yet any incoming type asks for a redraw.
  type_.mergePayload(*type);
  settingsUpdated_ = true;
  return true;
}

SceneElement JsonCoder<SceneElement>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader in(json, path);
  auto id = in.required<Uuid>("id");
  auto settings = in.required<SceneElementSettings>("settings");
  auto stockImageName = in.optional<std::string>("stockImageName");
  auto groupMembership = in.optional<SceneElementGroupMembership>("groupMembership");
  auto frameID = in.optional<Uuid>("frameID");

  SceneElement element(id, SceneElementType::unknown(), std::move(settings), std::move(groupMembership), frameID);
  element.stockImageName_ = std::move(stockImageName);

  // A kind this version cannot read is not an error: the layer becomes `unknown` and keeps the raw
  // value to write it back.
  if (const JsonValue* type = in.find("type"); type != nullptr && !type->is_null()) {
    try {
      element.type_ = JsonCoder<SceneElementType>::decode(*type, path.key("type"));
    } catch (const DecodingError&) {
      element.unknownTypeStorage_.emplace("type", keepJson(*type));
    }
  }

  for (const auto& member : in.object()) {
    std::string_view key(member.key().data(), member.key().size());
    if (isElementKey(key)) continue;
    if (member.value().is_null()) {
      element.additionalProperties_.erase(key);
    } else {
      element.additionalProperties_[key] = keepJson(member.value());
    }
  }
  return element;
}

void JsonCoder<SceneElement>::encode(JsonWriter& w, const SceneElement& v) {
  w.beginObject();
  w.field("id", v.id_);
  w.field("settings", v.settings_);
  w.optionalField("stockImageName", v.stockImageName_);
  w.optionalField("groupMembership", v.groupMembership_);
  w.optionalField("frameID", v.frameID_);
  w.members(v.additionalProperties_);
  if (!v.type_.isUnknown()) {
    w.field("type", v.type_);
  } else {
    w.members(v.unknownTypeStorage_);
  }
  w.endObject();
}

}  // namespace tav

std::size_t std::hash<tav::SceneElement>::operator()(const tav::SceneElement& e) const noexcept {
  std::size_t seed = std::hash<tav::Uuid>()(e.id());
  auto mix = [&seed](double v) { seed ^= std::hash<double>()(v) + 0x9E3779B97F4A7C15ULL + (seed << 6) + (seed >> 2); };
  const auto& s = e.settings();
  mix(s.xPosition.value_or(-1));
  mix(s.yPosition.value_or(-1));
  mix(s.width.value_or(-1));
  mix(s.height.value_or(-1));
  return seed;
}
