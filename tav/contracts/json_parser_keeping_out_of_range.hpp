// Parsing for stores of independent values (the settings file), where one number beyond the range of a
// double must cost only the value that holds it, not the whole document.
#pragma once

#include <string_view>

#include <boost/json/storage_ptr.hpp>

#include "tav/contracts/json_value.hpp"

namespace tav {

/// As parseJson, but a number beyond the range of a double reads as an infinity of its sign and sets
/// `sawOutOfRange`, so that the caller can drop just the values that hold one (JsonWriter never writes
/// an infinity back). Every other fault throws DecodingError as in parseJson.
JsonValue parseJsonKeepingOutOfRange(std::string_view text, boost::json::storage_ptr storage, bool& sawOutOfRange);

}  // namespace tav
