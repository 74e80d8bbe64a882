// The video settings of a recording: codec, size and the bitrate for a frame size and frame rate.
//
// The bitrate scales a reference (1920x1080 at 30 fps) by pixel count and, with an exponent below 1,
// by frame rate, and never goes below what a preset of the platform asks for itself.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "tav/contracts/media_settings.hpp"

namespace tav {

/// Stateless; every member may be called from any thread.
class RecordingVideoSettings {
 public:
  RecordingVideoSettings() = delete;

  /// The platform's settings presets. Linux has none: there the fallback codec and the fixed
  /// reference below are the whole behaviour.
  enum class Preset { h264_1920x1080, hevc1920x1080, h264_3840x2160, hevc3840x2160 };
  /// The settings dictionary of a preset, absent when the platform has none.
  using PresetSource = std::function<std::optional<MediaSettings>(Preset)>;

  /// The reference used when the 1080 preset cannot give one.
  static constexpr std::int64_t referencePixels = 2073600;  // 1920 * 1080
  static constexpr double referenceFrameRate = 30.0;
  static constexpr std::int64_t referenceBitrateHEVC = 7500000;
  static constexpr std::int64_t referenceBitrateH264 = 10485760;  // 0xa00000

  /// The settings for a frame of `width` x `height` pixels at `frameRate` frames per second, with
  /// HEVC when the shared EncoderSupport says so. Never fails.
  static MediaSettings videoSettings(std::int64_t width, std::int64_t height, double frameRate);

  /// The same with the codec choice and the presets given. Width and height are rounded towards zero
  /// to even numbers, at least 2; a frame rate of 0 or below counts as 30. The compression properties
  /// hold the average bitrate, and the rounded frame rate (at least 1) as expected rate and as the
  /// key frame interval, so there is a key frame at least once a second.
  static MediaSettings videoSettings(std::int64_t width, std::int64_t height, double frameRate, bool hevc,
                                     const PresetSource& presets = {});

  /// The preset a frame size is judged by: the 3840x2160 one when the short side (the height of a
  /// landscape frame, else the width) is 2160 or more, else the 1920x1080 one.
  static Preset chosenPreset(std::int64_t width, std::int64_t height, bool hevc);
};

}  // namespace tav
