// The tag that tells the files of a two-canvas recording apart: each movie carries one metadata item
// whose value names its canvas ("tavo-canvas.primary", "tavo-canvas.secondary").
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/asset_writer.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

/// The common "type" item of a movie: the one metadata item the recorders write to say what a file
/// holds (a canvas here, a source kind for the isolated files). It is written as a keyed ("mdta")
/// item under the identifier's text, since a movie keeps arbitrary common keys only in that form.
MetadataItem commonTypeMetadataItem(std::string value);

/// Known to the recorder as TavoRecorder::CanvasMetadata. Stateless; any thread.
struct TavoRecorderCanvasMetadata {
  TavoRecorderCanvasMetadata() = delete;

  /// The metadata identifier of the item: the common key "type".
  static constexpr std::string_view identifier = "common/type";
  static constexpr std::string_view valuePrefix = "tavo-canvas.";

  /// "tavo-canvas." + "primary" or "secondary".
  static std::string metadataValue(CanvasRole role);
  /// The item written into each file of a recording with two or more outputs.
  static MetadataItem metadataItem(CanvasRole role);
  /// The canvas a metadata value names: absent unless the value is the prefix followed by exactly
  /// "primary" or "secondary".
  static std::optional<CanvasRole> role(std::string_view metadataValue);
};

}  // namespace tav
