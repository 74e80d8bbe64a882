// AssetCache: library thumbnails made from stored assets and kept, so that a gallery can ask again and
// again without reading, decoding or rendering anything. An asset is a picture or a colour look-up
// table; a table is shown by applying it to a base picture.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tav/contracts/color_lookup_table.hpp"
#include "tav/contracts/image.hpp"
#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/library/filter_render_context.hpp"

namespace tav {

/// A picture the cache hands out; shared, never copied.
using CachedImage = std::shared_ptr<const Image>;

/// Not thread-safe and holds no lock: all calls belong on one context, as a rule the host's main one.
/// The caches grow until invalidated; there is no size limit and no eviction. Every failure gives an
/// empty result (with a debug log line) and is not remembered, so the next call tries again.
class AssetCache {
 public:
  /// What the cache reads and decodes with; each defaults to the platform's.
  struct Services {
    /// The asset's bytes (HostTransferAssetManager::shared()); absent when they cannot be read.
    std::function<std::optional<std::string>(const TransferAssetReference&)> readAsset;
    /// A picture from bytes (decodeImage).
    std::function<std::optional<Image>(std::span<const std::uint8_t>)> decodeImage;
    /// A look-up table from bytes (parseColorLookupTable); null when they are not one.
    std::function<std::shared_ptr<const ColorLookupTable>(std::span<const std::uint8_t>)> parseLookupTable;
    /// The library's sample picture, used while no base image is set; null when it cannot be read.
    std::function<CachedImage()> sampleImage;
  };

  /// The sample picture's file: "sampleFilter.png" in $TAV_RESOURCE_DIR when set, else in the
  /// library's installed resources (LibraryBundle::resourcePath()).
  static std::filesystem::path sampleImagePath();

  AssetCache();
  /// Services left empty take the platform's.
  explicit AssetCache(Services services);
  AssetCache(const AssetCache&) = delete;
  AssetCache& operator=(const AssetCache&) = delete;

  /// Made once with the cache and used for every render.
  FilterRenderContext& context() { return *context_; }
  const std::map<std::string, std::shared_ptr<const ColorFilter>, std::less<>>& filterCache() const {
    return filterCache_;
  }
  const std::map<std::string, CachedImage, std::less<>>& imageCache() const { return imageCache_; }

  /// The picture of asset `id`, the first of: the cached picture; a render with the cached filter;
  /// nothing without a reference; the asset's bytes decoded as a picture (then cached); the bytes read
  /// as a look-up table whose filter is cached and rendered over the base image (the render cached too).
  CachedImage getImage(const std::string& id, const std::optional<TransferAssetReference>& reference);
  void setImage(const std::string& id, CachedImage image);
  void setFilter(const std::string& id, std::shared_ptr<const ColorFilter> filter);
  /// Forgets the picture and the filter of `id`.
  void invalidate(const std::string& id);
  /// Forgets everything.
  void invalidate();

  /// The picture tables are shown on; null means the library's sample picture.
  const CachedImage& baseImage() const { return baseImage_; }
  /// Sets the base picture and forgets the previews rendered on the old one; their filters stay, so
  /// the next getImage renders them again without reading the asset. Pictures of picture assets stay.
  void setBaseImage(CachedImage image);

 private:
  CachedImage render(const std::string& id, const ColorFilter& filter);

  Services services_;
  std::unique_ptr<FilterRenderContext> context_;
  std::map<std::string, std::shared_ptr<const ColorFilter>, std::less<>> filterCache_;
  std::map<std::string, CachedImage, std::less<>> imageCache_;
  CachedImage baseImage_;
  CachedImage sample_;  // read on first need
};

/// Holds the one shared cache of the process.
class AssetCacheManager {
 public:
  /// Made on first use; lives for the process.
  static AssetCacheManager& shared();
  AssetCache& cache() { return cache_; }

 private:
  AssetCacheManager() = default;
  AssetCache cache_;
};

}  // namespace tav
