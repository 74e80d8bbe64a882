// SHA-1 and SHA-256 digests of text, as bytes and as lower-case hexadecimal text.
//
// Declared here for the logic and the host; defined in tavcommon_platform (over OpenSSL's EVP
// interface), so a program that calls them links tavcommon_platform.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tav {

/// SHA-1 of the UTF-8 bytes of `text`: 20 bytes.
std::vector<std::uint8_t> sha1Bytes(std::string_view text);
/// SHA-256 of the UTF-8 bytes of `text`: 32 bytes.
std::vector<std::uint8_t> sha256Bytes(std::string_view text);
/// The same 20 bytes as sha1Bytes, as a data value.
std::vector<std::byte> sha1Data(std::string_view text);
/// sha1Bytes as 40 lower-case hex digits.
std::string sha1(std::string_view text);
/// sha256Bytes as 64 lower-case hex digits.
std::string sha256(std::string_view text);

}  // namespace tav
