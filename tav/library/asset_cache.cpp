#include "tav/library/asset_cache.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/library_bundle.hpp"
#include "tav/contracts/logger.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("AssetCache");
  return instance;
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

CachedImage readSampleImage() {
  const auto path = AssetCache::sampleImagePath();
  std::ifstream stream(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  if (auto image = decodeImage(bytesOf(bytes))) return std::make_shared<const Image>(std::move(*image));
  logger().error("the sample picture {} cannot be read", path.string());
  return nullptr;
}

AssetCache::Services withDefaults(AssetCache::Services services) {
  if (!services.readAsset) {
    services.readAsset = [](const TransferAssetReference& reference) -> std::optional<std::string> {
      try {
        return HostTransferAssetManager::shared().read(reference);
      } catch (const std::exception& error) {
        logger().debug("asset {} cannot be read: {}", reference.name, error.what());
        return std::nullopt;
      }
    };
  }
  if (!services.decodeImage) services.decodeImage = [](std::span<const std::uint8_t> b) { return decodeImage(b); };
  if (!services.parseLookupTable) {
    services.parseLookupTable = [](std::span<const std::uint8_t> b) -> std::shared_ptr<const ColorLookupTable> {
      try {
        return parseColorLookupTable(b);
      } catch (const std::exception& error) {
        logger().debug("not a look-up table: {}", error.what());
        return nullptr;
      }
    };
  }
  if (!services.sampleImage) services.sampleImage = readSampleImage;
  return services;
}

}  // namespace

std::filesystem::path AssetCache::sampleImagePath() {
  if (const char* folder = std::getenv("TAV_RESOURCE_DIR"); folder != nullptr && *folder != '\0') {
    return std::filesystem::path(folder) / "sampleFilter.png";
  }
  return LibraryBundle::current().resourcePath() / "sampleFilter.png";
}

AssetCache::AssetCache() : AssetCache(Services{}) {}

AssetCache::AssetCache(Services services)
    : services_(withDefaults(std::move(services))), context_(std::make_unique<FilterRenderContext>()) {}

CachedImage AssetCache::getImage(const std::string& id, const std::optional<TransferAssetReference>& reference) {
  if (auto cached = imageCache_.find(id); cached != imageCache_.end()) return cached->second;
  if (auto filter = filterCache_.find(id); filter != filterCache_.end()) {
    const auto kept = filter->second;  // render() stores into the maps
    return render(id, *kept);
  }
  if (!reference) return nullptr;
  const std::optional<std::string> bytes = services_.readAsset(*reference);
  if (!bytes) return nullptr;
  if (auto picture = services_.decodeImage(bytesOf(*bytes))) {
    auto image = std::make_shared<const Image>(std::move(*picture));
    imageCache_[id] = image;
    return image;
  }
  const auto table = services_.parseLookupTable(bytesOf(*bytes));
  if (!table) {
    logger().debug("asset {} ({}) is neither a picture nor a look-up table", id, reference->name);
    return nullptr;
  }
  std::shared_ptr<const ColorFilter> filter;
  try {
    filter = table->makeFilter();
  } catch (const std::exception& error) {
    logger().debug("asset {}: {}", id, error.what());
    return nullptr;
  }
  if (!filter) return nullptr;
  filterCache_[id] = filter;
  return render(id, *filter);
}

CachedImage AssetCache::render(const std::string& id, const ColorFilter& filter) {
  CachedImage base = baseImage_;
  if (!base) {
    if (!sample_) sample_ = services_.sampleImage();
    base = sample_;
  }
  if (!base || base->isEmpty()) return nullptr;
  auto image = std::make_shared<const Image>(context_->render(filter, *base));
  imageCache_[id] = image;
  return image;
}

void AssetCache::setImage(const std::string& id, CachedImage image) { imageCache_[id] = std::move(image); }

void AssetCache::setFilter(const std::string& id, std::shared_ptr<const ColorFilter> filter) {
  filterCache_[id] = std::move(filter);
}

void AssetCache::invalidate(const std::string& id) {
  imageCache_.erase(id);
  filterCache_.erase(id);
}

void AssetCache::invalidate() {
  imageCache_.clear();
  filterCache_.clear();
}

void AssetCache::setBaseImage(CachedImage image) {
  baseImage_ = std::move(image);
  for (const auto& entry : filterCache_) imageCache_.erase(entry.first);
}

AssetCacheManager& AssetCacheManager::shared() {
  static AssetCacheManager* manager = new AssetCacheManager();  // never destroyed: lives for the process
  return *manager;
}

}  // namespace tav
