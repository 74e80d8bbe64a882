#include "tav/foundation/codable_user_default.hpp"

#include "tav/contracts/json_parser.hpp"
#include "tav/contracts/logger.hpp"

namespace tav::detail {

JsonValue storedJson(std::string_view text) { return parseJson(text); }

void logUnreadableDefault(std::string_view key, const std::exception& error) {
  static const Logger logger("CodableUserDefault");
  logger.debug("stored value of \"{}\" cannot be read ({}); using the default", key, error.what());
}

}  // namespace tav::detail
