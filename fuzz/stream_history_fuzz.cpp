// libFuzzer target for the stream history decoder. Every input either decodes or throws
// DecodingError; an entry that decodes writes back to text that decodes to an equal entry with the
// same hash, and its derived values (failure summary, emote links) never crash.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

#include "tav/contracts/decoding_error.hpp"
#include "tav/history/stream_history_migrator.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  tav::StreamHistoryEntry entry;
  try {
    entry = tav::StreamHistoryMigrator::migrate(tav::decodeJson<tav::StreamHistoryEntry>(text));
  } catch (const tav::DecodingError&) {
    return 0;
  }
  (void)entry.endedWithEveryDestinationFailed();
  for (const auto& emote : entry.topEmotes) (void)emote.imageURL();
  const std::string written = tav::encodeJson(entry);
  const auto again = tav::decodeJson<tav::StreamHistoryEntry>(written);
  // Doubles that are NaN never read from JSON, so a decoded entry equals itself.
  if (!(again == entry)) std::abort();
  if (std::hash<tav::StreamHistoryEntry>()(again) != std::hash<tav::StreamHistoryEntry>()(entry)) std::abort();
  return 0;
}
