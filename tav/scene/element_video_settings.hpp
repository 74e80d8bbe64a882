// The settings of a video-file layer: a stored video file that plays once, loops or bounces.
#pragma once

#include <optional>
#include <string>

#include "tav/contracts/transfer_asset_reference.hpp"
#include "tav/contracts/url.hpp"
#include "tav/scene/hash_combine.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

struct SceneElementVideoSettings {
  std::optional<TransferAssetReference> reference;
  std::optional<Looping> looping;
  /// Pixel size of the source video.
  std::optional<double> originalWidth;
  std::optional<double> originalHeight;
  /// The name of the file the user picked.
  std::optional<std::string> fileName;

  /// The file URL of `reference` in the shared asset store; absent without a reference or when the
  /// store has no such asset.
  std::optional<Url> url() const;
  /// The same file URL as url().
  std::optional<Url> videoURL() const { return url(); }

  /// Makes sure a file that a media reader can open exists, and returns its URL. The store keeps its
  /// files under names of its own (perhaps without an extension), so when nothing is at the playable
  /// URL yet it becomes a hard link to the stored file, its directory created first if need be.
  /// Absent without a reference, or when the store has no source or playable URL for it. Throws
  /// std::filesystem::filesystem_error when the directory or the link cannot be made.
  std::optional<Url> prepareVideoFile() const;

  /// Takes `reference` and `looping` when `incoming` has them; the source's size and file name never
  /// change by an update.
  void merge(const SceneElementVideoSettings& incoming);

  friend bool operator==(const SceneElementVideoSettings&, const SceneElementVideoSettings&) = default;
};

/// {"reference", "looping", "originalWidth", "originalHeight", "fileName"}, each written only when
/// present and optional on reading.
template <>
struct JsonCoder<SceneElementVideoSettings> {
  static SceneElementVideoSettings decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneElementVideoSettings& v);
};

}  // namespace tav

template <>
struct std::hash<tav::SceneElementVideoSettings> {
  std::size_t operator()(const tav::SceneElementVideoSettings& s) const noexcept {
    return tav::hashValues(s.reference, s.looping, s.originalWidth, s.originalHeight, s.fileName);
  }
};
