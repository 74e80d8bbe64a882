#include "tav/recording/canvas_metadata.hpp"

namespace tav {

MetadataItem commonTypeMetadataItem(std::string value) {
  return MetadataItem{"mdta", std::string(TavoRecorderCanvasMetadata::identifier), std::move(value)};
}

std::string TavoRecorderCanvasMetadata::metadataValue(CanvasRole role) {
  return std::string(valuePrefix) + std::string(rawValue(role));
}

MetadataItem TavoRecorderCanvasMetadata::metadataItem(CanvasRole role) {
  return commonTypeMetadataItem(metadataValue(role));
}

std::optional<CanvasRole> TavoRecorderCanvasMetadata::role(std::string_view metadataValue) {
  if (!metadataValue.starts_with(valuePrefix)) return std::nullopt;
  return enumFromRawValue<CanvasRole>(metadataValue.substr(valuePrefix.size()));
}

}  // namespace tav
