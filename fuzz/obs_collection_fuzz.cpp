// libFuzzer target for the OBS collection decoder, the walk through groups, the placement
// arithmetic and the profile ini reader. Every input either decodes or throws DecodingError; a decoded
// collection flattens every scene it names without looping, and every resolved item has a placement
// computed; the ini reader takes any bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tav/contracts/decoding_error.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/obs/obs_conversion.hpp"
#include "tav/obs/obs_profile_config.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  (void)tav::OBSProfileConfig::canvasSize(text);
  (void)tav::OBSProfileConfig::activeProfileDirectory(text);

  tav::OBSCollection collection;
  try {
    collection = tav::OBSCollection::decode(text);
  } catch (const tav::DecodingError&) {
    return 0;
  }
  const tav::Size canvas = collection.canvasSize();
  for (const auto& scene : collection.sceneOrder) {
    for (const auto& entry : collection.flattenedEntries(scene)) {
      if (const auto* resolved = entry.resolvedItem()) {
        if (resolved->source == nullptr) std::abort();
        (void)tav::OBSConversion::resolvedPlacement(resolved->item, tav::Size{640, 360}, resolved->groups,
                                                     canvas.width, canvas.height);
        (void)tav::OBSConversion::contentScale(resolved->item, resolved->groups, canvas.width, canvas.height);
      }
    }
  }
  return 0;
}
