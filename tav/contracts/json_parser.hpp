// Parsing JSON text into a Boost.JSON tree, with every number read exactly.
//
// Boost.JSON 1.81's own number conversion misreads about one double in ten by one bit, which would make
// a document drift on every load and save. This parser uses Boost.JSON's tokenizer but converts each
// double's text with std::from_chars, which is exact.
#pragma once

#include <string_view>

#include <boost/json/storage_ptr.hpp>

#include "tav/contracts/json_value.hpp"

namespace tav {

/// Parses one complete JSON text. The tree is allocated on `storage` (use a
/// boost::json::monotonic_resource for a document that is decoded and dropped). Throws DecodingError
/// naming the line and column of the first fault. Nesting deeper than 512 levels is refused, and so is
/// a number whose magnitude no double can hold (such as 1e400): that error names the number's JSON
/// path. A number too small to tell from zero reads as the nearest double.
JsonValue parseJson(std::string_view text, boost::json::storage_ptr storage = {});

}  // namespace tav
