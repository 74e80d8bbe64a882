// libFuzzer target for the OBS collection decoder, the walk through groups, the placement
// arithmetic, the import into scene documents and the profile ini reader. Every input either decodes
// or throws DecodingError; a decoded collection flattens every scene it names without looping, every
// resolved item has a placement computed, and every scene imports into a document that reads back and
// survives repair unchanged; the ini reader takes any bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tav/contracts/decoding_error.hpp"
#include "tav/obs/obs_collection.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/obs/obs_conversion.hpp"
#include "tav/obs/obs_import.hpp"
#include "tav/obs/obs_item_placement.hpp"
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
  const auto index = collection.sourceIndex();
  tav::OBSImportOptions options;
  options.canvas = canvas;
  for (const auto& scene : collection.sceneOrder) {
    const tav::OBSSceneImport imported = tav::importOBSScene(collection, index, scene, options);
    const std::string written = tav::encodeJson(imported.scene);
    tav::Scene decoded = tav::decodeJson<tav::Scene>(written);  // throws, and so fails, when invalid
    decoded.repairAllFormats();
    if (tav::encodeJson(decoded) != written) std::abort();
    for (const auto& entry : collection.flattenedEntries(scene)) {
      if (const auto* resolved = entry.resolvedItem()) {
        if (resolved->source == nullptr) std::abort();
        (void)tav::OBSConversion::resolvedPlacement(resolved->item, tav::Size{640, 360}, resolved->groups,
                                                     canvas.width, canvas.height);
        (void)tav::OBSConversion::contentScale(resolved->item, resolved->groups, canvas.width, canvas.height);
        (void)tav::obsItemPlacement(*resolved, canvas, {});
      }
    }
  }
  return 0;
}
