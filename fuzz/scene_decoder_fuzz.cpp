// libFuzzer target for the scene decoder. Every input either decodes or throws DecodingError; a
// document that decodes writes back to text that decodes to the same text again (decoding mends a
// damaged structure once, and the mended document is stable).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string once;
  try {
    once = tav::encodeJson(tav::decodeJson<tav::Scene>(text));
  } catch (const tav::DecodingError&) {
    return 0;
  }
  std::string twice = tav::encodeJson(tav::decodeJson<tav::Scene>(once));
  if (once != twice) std::abort();
  return 0;
}
