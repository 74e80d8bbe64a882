#include "tav/scene/element_video_settings.hpp"

#include <filesystem>

#include "tav/contracts/host_transfer_asset_manager.hpp"

namespace tav {

std::optional<Url> SceneElementVideoSettings::url() const {
  if (!reference) return std::nullopt;
  return HostTransferAssetManager::shared().locate(*reference);
}

std::optional<Url> SceneElementVideoSettings::prepareVideoFile() const {
  if (!reference) return std::nullopt;
  auto& store = HostTransferAssetManager::shared();
  std::optional<Url> source = store.locate(*reference);
  if (!source) return std::nullopt;
  std::optional<Url> playable = store.playableFile(*reference);
  if (!playable) return std::nullopt;
  std::filesystem::path target = playable->filePath();
  std::error_code ignored;
  if (!std::filesystem::exists(target, ignored)) {
    // The stores name the playable place without making its directory.
    if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path());
    std::filesystem::create_hard_link(source->filePath(), target);
  }
  return playable;
}

void SceneElementVideoSettings::merge(const SceneElementVideoSettings& incoming) {
  if (incoming.reference) reference = incoming.reference;
  if (incoming.looping) looping = incoming.looping;
}

SceneElementVideoSettings JsonCoder<SceneElementVideoSettings>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  SceneElementVideoSettings s;
  s.reference = reader.optional<TransferAssetReference>("reference");
  s.looping = reader.optional<Looping>("looping");
  s.originalWidth = reader.optional<double>("originalWidth");
  s.originalHeight = reader.optional<double>("originalHeight");
  s.fileName = reader.optional<std::string>("fileName");
  return s;
}

void JsonCoder<SceneElementVideoSettings>::encode(JsonWriter& w, const SceneElementVideoSettings& v) {
  w.beginObject();
  w.optionalField("reference", v.reference);
  w.optionalField("looping", v.looping);
  w.optionalField("originalWidth", v.originalWidth);
  w.optionalField("originalHeight", v.originalHeight);
  w.optionalField("fileName", v.fileName);
  w.endObject();
}

}  // namespace tav
