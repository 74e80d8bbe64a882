// The background of a scene format: a stock image, or an asset from the store (an image or a video).
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "tav/contracts/host_transfer_asset_manager.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/contracts/url.hpp"
#include "tav/scene/hash_combine.hpp"

namespace tav {

/// Where a background's image comes from. The library draws nothing, so instead of an image it says
/// which image the host should show: one of the host application's resources by name, or the
/// encoded bytes of the stored asset.
struct BackgroundImage {
  struct Resource {
    /// "Backgrounds/<stockImage>".
    std::string name;
    friend bool operator==(const Resource&, const Resource&) = default;
  };
  struct Data {
    /// The encoded image as stored.
    std::string bytes;
    friend bool operator==(const Data&, const Data&) = default;
  };

  std::variant<Resource, Data> source;

  const Resource* resource() const { return std::get_if<Resource>(&source); }
  const Data* data() const { return std::get_if<Data>(&source); }

  friend bool operator==(const BackgroundImage&, const BackgroundImage&) = default;
};

struct Background {
  std::string id;
  std::string name;
  std::optional<std::string> stockImage;
  std::optional<std::string> author;
  std::optional<TransferAssetReference> reference;
  MediaType mediaType = MediaType::image;

  Background() = default;
  /// Sets stockImage from `stockIdentifier`; author stays absent.
  Background(std::string backgroundID, std::string backgroundName, std::optional<std::string> stockIdentifier,
             std::optional<TransferAssetReference> assetReference, MediaType type)
      : id(std::move(backgroundID)),
        name(std::move(backgroundName)),
        stockImage(std::move(stockIdentifier)),
        reference(std::move(assetReference)),
        mediaType(type) {}

  /// `id` looked up in the host application's tables, with `name` as the default text.
  std::string title() const;
  /// For a stock background, the reference "STOCK_BACKGROUND_<stockImage>" (name only); else absent.
  std::optional<TransferAssetReference> stockReference() const;
  /// The file of `reference` in the asset store; absent without a reference, or when the store has no
  /// such asset or fails to produce its file.
  std::optional<Url> url() const;
  /// Where the playable copy of a video background lives: the user's cache directory
  /// ($XDG_CACHE_HOME, else ~/.cache), then "Morvane/Tavo/Playback/<id>.<extension of reference>".
  /// Absent without a file, without an extension, or without a cache directory. The file may not
  /// exist yet: prepareVideoFile() makes it.
  std::optional<Url> videoURL() const;
  /// Makes sure a file exists at videoURL(): when none does, creates its directory and hard-links the
  /// stored file there. Returns videoURL(); absent when there is no file to link or a step fails.
  std::optional<Url> prepareVideoFile() const;
  /// For a stored background, the reference of its thumbnail: `reference`'s name with "-thumbnail"
  /// appended, extension "png". Else absent.
  std::optional<TransferAssetReference> thumbnailReference() const;
  /// The store's thumbnail file of thumbnailReference(); absent when the store has none.
  std::optional<Url> thumbnailURL() const;
  /// Without a reference: the resource "Backgrounds/<stockImage>" (absent without a stock image).
  /// With one: the bytes of the file at url(); absent when they can't be read.
  std::optional<BackgroundImage> image() const;
  /// True for images and videos, the kinds a camera can show behind a person.
  bool canBeUsedAsDeviceBackground() const;
  /// Replaces `reference`.
  void update(std::optional<TransferAssetReference> newReference) { reference = std::move(newReference); }

  friend bool operator==(const Background&, const Background&) = default;
};

/// Keys "id", "name" (required), "stockImage", "author", "reference" (when present), "mediaType"
/// (required).
template <>
struct JsonCoder<Background> {
  static Background decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const Background& v);
};

}  // namespace tav

template <>
struct std::hash<tav::Background> {
  std::size_t operator()(const tav::Background& b) const noexcept {
    return tav::hashValues(b.id, b.name, b.stockImage, b.author, b.reference, b.mediaType);
  }
};
