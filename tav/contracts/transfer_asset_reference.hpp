// The name of a stored asset (an image, a video, a font) inside scene documents.
//
// Documents carry references and hand them back unread, so a reference keeps any JSON member it does
// not know and writes it back: a reference written by another version passes through unchanged.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav {

/// JSON: {"name": text, "ownerID": text, "extension": text, ...any other members kept}.
/// Only "name" is always written; a missing "name" reads as empty.
struct TransferAssetReference {
  /// The asset's name in its store (a stock name such as "STOCK_BACKGROUND_sunrise", or a stored file).
  std::string name;
  /// The id of the layer or scene that owns the asset, when it has one.
  std::optional<std::string> ownerID;
  /// The file extension of the asset, without the dot ("png", "mov").
  std::optional<std::string> pathExtension;
  /// JSON members of a reference that this version does not know, written back as read.
  JsonObject additionalProperties;

  /// A reference under a new random name, as a store names an asset it has just made.
  static TransferAssetReference newAsset(std::optional<std::string> ownerID, std::optional<std::string> pathExtension) {
    return {Uuid::random().toString(), std::move(ownerID), std::move(pathExtension), {}};
  }

  friend bool operator==(const TransferAssetReference&, const TransferAssetReference&) = default;
};

template <>
struct JsonCoder<TransferAssetReference> {
  static TransferAssetReference decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const TransferAssetReference& v);
};

}  // namespace tav

template <>
struct std::hash<tav::TransferAssetReference> {
  std::size_t operator()(const tav::TransferAssetReference& r) const noexcept {
    return std::hash<std::string>()(r.name) ^ (std::hash<std::string>()(r.pathExtension.value_or("")) << 1);
  }
};
