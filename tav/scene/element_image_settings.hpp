// The settings of an image layer: a stored or stock picture, possibly animated, possibly bound to an
// image variable of the scene.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

struct SceneElementImageSettings {
  std::optional<TransferAssetReference> image;
  std::optional<bool> isAnimated;
  std::optional<ScaleMode> imageScaling;
  /// The name of a stock image of the host application.
  std::optional<std::string> stockImage;
  /// Pixel size of the source image.
  std::optional<double> originalWidth;
  std::optional<double> originalHeight;
  /// The id of the scene variable whose image this layer shows.
  std::optional<std::string> variable;
  /// In an update: a command to unbind the layer from its variable. Never kept as state by a merge.
  std::optional<bool> clearVariable;
  std::optional<Looping> looping;
  std::optional<std::string> fileName;

  /// Takes every field that `incoming` has, except `stockImage`, which never changes. An incoming
  /// `clearVariable` of true then removes `variable` and leaves `clearVariable` false.
  void merge(const SceneElementImageSettings& incoming);

  friend bool operator==(const SceneElementImageSettings&, const SceneElementImageSettings&) = default;
};

/// {"image", "isAnimated", "imageScaling", "stockImage", "originalWidth", "originalHeight", "variable",
/// "clearVariable", "looping", "fileName"}, each written only when present and optional on reading.
template <>
struct JsonCoder<SceneElementImageSettings> {
  static SceneElementImageSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementImageSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementImageSettings> {
  std::size_t operator()(const tav::SceneElementImageSettings& s) const noexcept {
    return tav::hashValues(s.image, s.isAnimated, s.imageScaling, s.stockImage, s.originalWidth, s.originalHeight,
                           s.variable, s.clearVariable, s.looping, s.fileName);
  }
};
