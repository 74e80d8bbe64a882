#include "tav/scene/background.hpp"

#include <cstdlib>
#include <filesystem>
#include <exception>
#include <fstream>
#include <iterator>
#include <system_error>

#include "tav/contracts/localizer.hpp"

namespace tav {

namespace {

// The user's cache directory as the XDG base directory rules give it.
std::optional<std::filesystem::path> userCachesDirectory() {
  if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg != nullptr && xdg[0] == '/') {
    return std::filesystem::path(xdg);
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] != '\0') {
    return std::filesystem::path(home) / ".cache";
  }
  return std::nullopt;
}

}  // namespace

std::string Background::title() const { return Localizer::mainBundle().localized(id, {}, name); }

std::optional<TransferAssetReference> Background::stockReference() const {
  if (!stockImage) return std::nullopt;
  TransferAssetReference stock;
  stock.name = "STOCK_BACKGROUND_" + *stockImage;
  return stock;
}

std::optional<Url> Background::url() const {
  if (!reference) return std::nullopt;
  try {
    return HostTransferAssetManager::shared().locate(*reference);
  } catch (const std::exception&) {
    // A store that can't produce the file leaves the background without one, as a missing asset does.
    return std::nullopt;
  }
}

std::optional<Url> Background::videoURL() const {
  if (!url()) return std::nullopt;
  // The store's file may have no extension, and media readers pick their demuxer by it.
  if (!reference->pathExtension || reference->pathExtension->empty()) return std::nullopt;
  auto caches = userCachesDirectory();
  if (!caches) return std::nullopt;
  return Url::fileUrl(*caches / "Morvane" / "Tavo" / "Playback" / (id + "." + *reference->pathExtension));
}

std::optional<Url> Background::prepareVideoFile() const {
  auto source = url();
  auto target = videoURL();
  if (!source || !target) return std::nullopt;
  std::filesystem::path targetPath = target->filePath();
  std::error_code error;
  if (!std::filesystem::exists(targetPath, error)) {
    std::filesystem::create_directories(targetPath.parent_path(), error);
    if (error) return std::nullopt;
    std::filesystem::create_hard_link(source->filePath(), targetPath, error);
    if (error) return std::nullopt;
  }
  return target;
}

std::optional<TransferAssetReference> Background::thumbnailReference() const {
  if (!reference) return std::nullopt;
  TransferAssetReference thumbnail;
  thumbnail.name = reference->name + "-thumbnail";
  thumbnail.pathExtension = "png";
  return thumbnail;
}

std::optional<Url> Background::thumbnailURL() const {
  auto thumbnail = thumbnailReference();
  if (!thumbnail) return std::nullopt;
  try {
    return HostTransferAssetManager::shared().thumbnail(*thumbnail);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<BackgroundImage> Background::image() const {
  if (!reference) {
    if (!stockImage) return std::nullopt;
    return BackgroundImage{BackgroundImage::Resource{"Backgrounds/" + *stockImage}};
  }
  auto file = url();
  if (!file) return std::nullopt;
  std::ifstream in(file->filePath(), std::ios::binary);
  if (!in) return std::nullopt;
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) return std::nullopt;
  return BackgroundImage{BackgroundImage::Data{std::move(bytes)}};
}

bool Background::canBeUsedAsDeviceBackground() const {
  return caseIndex(mediaType) < 2;
}

Background JsonCoder<Background>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  Background background;
  background.id = reader.required<std::string>("id");
  background.name = reader.required<std::string>("name");
  background.stockImage = reader.optional<std::string>("stockImage");
  background.author = reader.optional<std::string>("author");
  background.reference = reader.optional<TransferAssetReference>("reference");
  background.mediaType = reader.required<MediaType>("mediaType");
  return background;
}

void JsonCoder<Background>::encode(JsonWriter& w, const Background& v) {
  w.beginObject();
  w.field("id", v.id);
  w.field("name", v.name);
  w.optionalField("stockImage", v.stockImage);
  w.optionalField("author", v.author);
  w.optionalField("reference", v.reference);
  w.field("mediaType", v.mediaType);
  w.endObject();
}

}  // namespace tav
