// libFuzzer target for the scene decoder and the repair passes. Every input either decodes or throws
// DecodingError. A document that decodes writes back to text that decodes to the same text again
// (decoding mends frame links and masks once, and the mended document is stable); after the full
// repair of every format (orphan groups, folder and frame contiguity) the same holds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

namespace {

void requireStableRoundTrip(const tav::Scene& scene) {
  std::string once = tav::encodeJson(scene);
  std::string twice = tav::encodeJson(tav::decodeJson<tav::Scene>(once));
  if (once != twice) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::optional<tav::Scene> scene;
  try {
    scene = tav::decodeJson<tav::Scene>(text);
  } catch (const tav::DecodingError&) {
    return 0;
  }
  requireStableRoundTrip(*scene);

  scene->repairAllFormats();
  requireStableRoundTrip(*scene);
  return 0;
}
