// Bytes from hexadecimal text, read forgivingly: anything that is not a hex digit separates pairs.
#pragma once

#include <cstdint>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tav {

/// Reads the text left to right as runs of one or two hexadecimal digits (either case), each run one
/// byte; every other character only separates runs. So "0aFF" is {0x0A, 0xFF}, "a" is {0x0A} and
/// "a b" is {0x0A, 0x0B}. Absent when no byte was read (empty text, or no hex digit at all).
std::optional<std::vector<std::uint8_t>> hexadecimal(std::string_view text);

/// Each byte as two lower-case hex digits, no separator.
std::string lowercaseHex(const std::uint8_t* bytes, std::size_t count);

}  // namespace tav
