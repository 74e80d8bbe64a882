// The settings dictionary of a media writer input and the keys and values it uses, spelled as the
// platform spells them so that settings computed by the recording logic read the same everywhere.
#pragma once

#include <cstdint>
#include <string_view>

#include "tav/contracts/json_value.hpp"

namespace tav {

/// Keys to values; nested dictionaries (the compression properties) are JSON objects.
using MediaSettings = JsonObject;

// Video, top level.
inline constexpr std::string_view AVVideoCodecKey = "AVVideoCodecKey";
inline constexpr std::string_view AVVideoWidthKey = "AVVideoWidthKey";
inline constexpr std::string_view AVVideoHeightKey = "AVVideoHeightKey";
inline constexpr std::string_view AVVideoCompressionPropertiesKey = "AVVideoCompressionPropertiesKey";
// Video, inside the compression properties.
inline constexpr std::string_view AVVideoAverageBitRateKey = "AverageBitRate";
inline constexpr std::string_view AVVideoExpectedSourceFrameRateKey = "ExpectedFrameRate";
inline constexpr std::string_view AVVideoMaxKeyFrameIntervalKey = "MaxKeyFrameInterval";
inline constexpr std::string_view AVVideoProfileLevelKey = "ProfileLevel";
// Video codec values.
inline constexpr std::string_view AVVideoCodecTypeH264 = "avc1";
inline constexpr std::string_view AVVideoCodecTypeHEVC = "hvc1";
inline constexpr std::string_view AVVideoCodecTypeAppleProRes422 = "apcn";

/// Our own top-level key, not the platform's: the software encoder's speed preset ("ultrafast",
/// "veryfast", "medium", ...). Without it the FFmpeg writer uses "veryfast".
inline constexpr std::string_view TavVideoEncoderPresetKey = "TavVideoEncoderPreset";

// Audio.
inline constexpr std::string_view AVFormatIDKey = "AVFormatIDKey";
inline constexpr std::string_view AVSampleRateKey = "AVSampleRateKey";
inline constexpr std::string_view AVNumberOfChannelsKey = "AVNumberOfChannelsKey";
inline constexpr std::string_view AVEncoderBitRateKey = "AVEncoderBitRateKey";
inline constexpr std::string_view AVEncoderBitDepthHintKey = "AVEncoderBitDepthHintKey";
inline constexpr std::string_view AVLinearPCMBitDepthKey = "AVLinearPCMBitDepthKey";
inline constexpr std::string_view AVLinearPCMIsFloatKey = "AVLinearPCMIsFloatKey";
inline constexpr std::string_view AVLinearPCMIsBigEndianKey = "AVLinearPCMIsBigEndianKey";
inline constexpr std::string_view AVLinearPCMIsNonInterleaved = "AVLinearPCMIsNonInterleaved";

/// Audio format identifiers are four-character codes read as big-endian 32-bit integers.
constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
  return (static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
         (static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
         static_cast<std::uint32_t>(static_cast<unsigned char>(code[3]));
}
inline constexpr std::uint32_t kAudioFormatMPEG4AAC = fourCharCode("aac ");    // 1633772320
inline constexpr std::uint32_t kAudioFormatLinearPCM = fourCharCode("lpcm");   // 1819304813
inline constexpr std::uint32_t kAudioFormatAppleLossless = fourCharCode("alac");
static_assert(kAudioFormatMPEG4AAC == 1633772320u && kAudioFormatLinearPCM == 1819304813u);

}  // namespace tav
