// The service's key convention: record keys in lower camel case go out in snake case.
#pragma once

#include <string>
#include <string_view>

#include "tav/contracts/json_value.hpp"

namespace tav {

/// One key in snake case. A capital after a lower-case letter or a digit begins a word; in a run of
/// capitals the last one begins a new word when a lower-case letter follows, and the run otherwise stays
/// one word; a digit never begins a word. Words are lower-cased and joined with "_", so "consumerID" is
/// "consumer_id", "deviceOSVersion" "device_os_version", "noiseReduction2dEnabled"
/// "noise_reduction2d_enabled". A key already in snake case comes back unchanged.
std::string convertToSnakeCase(std::string_view key);

/// Rewrites every object key of `json`, at any depth, with convertToSnakeCase; values and their order
/// stay as they are. Two keys that meet in one name keep the later value.
void convertKeysToSnakeCase(JsonValue& json);

}  // namespace tav
