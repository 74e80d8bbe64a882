#include "tav/recording/recording_video_settings.hpp"

#include <algorithm>
#include <cmath>

#include "tav/recording/encoder_support.hpp"

namespace tav {

namespace {

std::int64_t evenTowardsZero(std::int64_t value) { return (value / 2) * 2; }

const JsonObject* objectAt(const JsonObject& object, std::string_view key) {
  auto found = object.find(key);
  if (found == object.end() || !found->value().is_object()) return nullptr;
  return &found->value().get_object();
}

std::optional<std::int64_t> integerAt(const JsonObject& object, std::string_view key) {
  auto found = object.find(key);
  if (found == object.end()) return std::nullopt;
  if (found->value().is_int64()) return found->value().get_int64();
  if (found->value().is_uint64() && found->value().get_uint64() <= static_cast<std::uint64_t>(INT64_MAX)) {
    return static_cast<std::int64_t>(found->value().get_uint64());
  }
  return std::nullopt;
}

std::optional<double> numberAt(const JsonObject& object, std::string_view key) {
  auto found = object.find(key);
  if (found == object.end()) return std::nullopt;
  if (found->value().is_double()) return found->value().get_double();
  if (auto integer = integerAt(object, key)) return static_cast<double>(*integer);
  return std::nullopt;
}

struct Reference {
  double pixels;
  double frameRate;
  double bitrate;
};

/// The reference of the 1080 preset, or the fixed one when the preset lacks any of its values.
Reference referenceOf(const std::optional<MediaSettings>& preset1080, bool hevc) {
  Reference fixed{static_cast<double>(RecordingVideoSettings::referencePixels), RecordingVideoSettings::referenceFrameRate,
                  static_cast<double>(hevc ? RecordingVideoSettings::referenceBitrateHEVC
                                           : RecordingVideoSettings::referenceBitrateH264)};
  if (!preset1080) return fixed;
  const JsonObject* compression = objectAt(*preset1080, AVVideoCompressionPropertiesKey);
  if (compression == nullptr) return fixed;
  auto bitrate = integerAt(*compression, AVVideoAverageBitRateKey);
  auto frameRate = numberAt(*compression, AVVideoExpectedSourceFrameRateKey);
  auto width = integerAt(*preset1080, AVVideoWidthKey);
  auto height = integerAt(*preset1080, AVVideoHeightKey);
  if (!bitrate || !frameRate || !width || !height) return fixed;
  return {static_cast<double>(*width) * static_cast<double>(*height), *frameRate, static_cast<double>(*bitrate)};
}

}  // namespace

RecordingVideoSettings::Preset RecordingVideoSettings::chosenPreset(std::int64_t width, std::int64_t height, bool hevc) {
  const std::int64_t evenWidth = evenTowardsZero(width);
  const std::int64_t evenHeight = evenTowardsZero(height);
  const std::int64_t usedWidth = std::max<std::int64_t>(evenWidth, 2);
  const std::int64_t usedHeight = std::max<std::int64_t>(evenHeight, 2);
  const bool landscape = static_cast<double>(usedWidth) / static_cast<double>(usedHeight) > 1.0;
  const std::int64_t shortSide = landscape ? evenHeight : evenWidth;
  if (shortSide < 2160) return hevc ? Preset::hevc1920x1080 : Preset::h264_1920x1080;
  return hevc ? Preset::hevc3840x2160 : Preset::h264_3840x2160;
}

MediaSettings RecordingVideoSettings::videoSettings(std::int64_t width, std::int64_t height, double frameRate) {
  return EncoderSupport::shared().videoSettings(width, height, frameRate);
}

MediaSettings RecordingVideoSettings::videoSettings(std::int64_t width, std::int64_t height, double frameRate,
                                                    bool hevc, const PresetSource& presets) {
  const std::int64_t usedWidth = std::max<std::int64_t>(evenTowardsZero(width), 2);
  const std::int64_t usedHeight = std::max<std::int64_t>(evenTowardsZero(height), 2);
  const Preset preset1080 = hevc ? Preset::hevc1920x1080 : Preset::h264_1920x1080;
  const Preset chosen = chosenPreset(width, height, hevc);

  std::optional<MediaSettings> chosenSettings = presets ? presets(chosen) : std::nullopt;
  MediaSettings settings;
  if (chosenSettings) {
    settings = *chosenSettings;
  } else {
    settings[AVVideoCodecKey] = hevc ? AVVideoCodecTypeHEVC : AVVideoCodecTypeH264;
  }
  JsonObject compression;
  if (const JsonObject* existing = objectAt(settings, AVVideoCompressionPropertiesKey)) compression = *existing;

  const Reference reference = referenceOf(presets ? presets(preset1080) : std::nullopt, hevc);
  const double pixels = static_cast<double>(usedWidth) * static_cast<double>(usedHeight);
  const double fps = frameRate > 0 ? frameRate : 30.0;

  std::int64_t bitrate = integerAt(compression, AVVideoAverageBitRateKey).value_or(0);
  if (pixels >= 1 && reference.pixels >= 1 && reference.frameRate > 0) {
    const double target =
        std::round(pixels / reference.pixels * reference.bitrate * std::pow(fps / reference.frameRate, 0.585));
    bitrate = std::max(bitrate, static_cast<std::int64_t>(target));
  }
  const std::int64_t integerRate = std::max<std::int64_t>(std::llround(fps), 1);

  compression[AVVideoAverageBitRateKey] = bitrate;
  compression[AVVideoExpectedSourceFrameRateKey] = integerRate;
  compression[AVVideoMaxKeyFrameIntervalKey] = integerRate;
  settings[AVVideoCompressionPropertiesKey] = std::move(compression);
  settings[AVVideoWidthKey] = usedWidth;
  settings[AVVideoHeightKey] = usedHeight;
  return settings;
}

}  // namespace tav
