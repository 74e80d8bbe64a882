#include "tav/recording/recording_video_settings.hpp"

#include <gtest/gtest.h>

#include "tav/recording/tavo_writer.hpp"

namespace tav {
namespace {

using Preset = RecordingVideoSettings::Preset;

std::int64_t integer(const MediaSettings& settings, std::string_view key) { return settings.at(key).as_int64(); }
const JsonObject& compression(const MediaSettings& settings) {
  return settings.at(AVVideoCompressionPropertiesKey).as_object();
}
std::int64_t bitrate(const MediaSettings& settings) {
  return compression(settings).at(AVVideoAverageBitRateKey).as_int64();
}

TEST(RecordingVideoSettings, WorkedBitratesWithTheFixedReference) {
  struct Case {
    std::int64_t width, height;
    double fps;
    bool hevc;
    std::int64_t expected;
  };
  for (const Case& c : {Case{1920, 1080, 30, false, 10485760}, Case{3840, 2160, 60, false, 62916195},
                        Case{3840, 2160, 60, true, 45001170}, Case{1280, 720, 30, false, 4660338},
                        Case{1280, 720, 60, false, 6990688}}) {
    MediaSettings settings = RecordingVideoSettings::videoSettings(c.width, c.height, c.fps, c.hevc);
    EXPECT_EQ(bitrate(settings), c.expected) << c.width << "x" << c.height << "@" << c.fps << " hevc " << c.hevc;
    EXPECT_EQ(settings.at(AVVideoCodecKey).as_string(), c.hevc ? "hvc1" : "avc1");
  }
}

TEST(RecordingVideoSettings, SizesAreEvenAndAtLeastTwo) {
  MediaSettings odd = RecordingVideoSettings::videoSettings(1921, 1081, 30, false);
  EXPECT_EQ(integer(odd, AVVideoWidthKey), 1920);
  EXPECT_EQ(integer(odd, AVVideoHeightKey), 1080);
  for (auto [w, h] : {std::pair<std::int64_t, std::int64_t>{1, 1}, {0, 0}, {-5, -7}}) {
    MediaSettings tiny = RecordingVideoSettings::videoSettings(w, h, 30, false);
    EXPECT_EQ(integer(tiny, AVVideoWidthKey), 2);
    EXPECT_EQ(integer(tiny, AVVideoHeightKey), 2);
  }
}

TEST(RecordingVideoSettings, FrameRateRules) {
  for (double fps : {0.0, -12.0}) {
    MediaSettings settings = RecordingVideoSettings::videoSettings(1920, 1080, fps, false);
    EXPECT_EQ(compression(settings).at(AVVideoMaxKeyFrameIntervalKey).as_int64(), 30);
    EXPECT_EQ(compression(settings).at(AVVideoExpectedSourceFrameRateKey).as_int64(), 30);
    EXPECT_EQ(bitrate(settings), 10485760);
  }
  MediaSettings slow = RecordingVideoSettings::videoSettings(1920, 1080, 0.4, false);
  EXPECT_EQ(compression(slow).at(AVVideoMaxKeyFrameIntervalKey).as_int64(), 1);
  EXPECT_EQ(compression(slow).at(AVVideoExpectedSourceFrameRateKey).as_int64(), 1);
}

TEST(RecordingVideoSettings, PresetIsJudgedByTheShortSide) {
  const auto preset = &RecordingVideoSettings::chosenPreset;
  EXPECT_EQ((std::vector{preset(3840, 2000, false), preset(2160, 3840, false), preset(2160, 2160, true), preset(2158, 3840, true)}),
            (std::vector{Preset::h264_1920x1080, Preset::h264_3840x2160, Preset::hevc3840x2160, Preset::hevc1920x1080}));
}

TEST(RecordingVideoSettings, PresetDictionariesAreKeptAndTheirBitrateIsAFloor) {
  std::vector<Preset> asked;
  auto presets = [&asked](Preset preset) -> std::optional<MediaSettings> {
    asked.push_back(preset);
    MediaSettings settings;
    settings[AVVideoCodecKey] = "avc1";
    settings[AVVideoProfileLevelKey] = "High";
    JsonObject properties;
    if (preset == Preset::h264_1920x1080) {
      settings[AVVideoWidthKey] = 1920;
      settings[AVVideoHeightKey] = 1080;
      properties[AVVideoAverageBitRateKey] = 5000000;
      properties[AVVideoExpectedSourceFrameRateKey] = 30;
    } else {
      properties[AVVideoAverageBitRateKey] = 90000000;  // above any target below
    }
    settings[AVVideoCompressionPropertiesKey] = properties;
    return settings;
  };
  MediaSettings big = RecordingVideoSettings::videoSettings(3840, 2160, 30, false, presets);
  EXPECT_EQ(bitrate(big), 90000000);
  EXPECT_EQ(big.at(AVVideoProfileLevelKey).as_string(), "High");
  // The reference comes from the 1080 preset: 5000000 * 4 = 20000000 at the same rate.
  MediaSettings hd = RecordingVideoSettings::videoSettings(1920, 1080, 30, false, presets);
  EXPECT_EQ(bitrate(hd), 5000000);
  MediaSettings portrait = RecordingVideoSettings::videoSettings(1080, 1920, 30, false, presets);
  EXPECT_EQ(bitrate(portrait), 5000000);
  EXPECT_EQ(asked.front(), Preset::h264_3840x2160);
}

TEST(RecordingVideoSettings, DefaultsFollowTheWritersCodecChoice) {
  bool before = TavoWriter::supportsHEVCEncoding();
  TavoWriter::setSupportsHEVCEncoding(true);
  EXPECT_EQ(TavoWriter::defaultVideoSettings().at(AVVideoCodecKey).as_string(), "hvc1");
  EXPECT_EQ(bitrate(RecordingVideoSettings::videoSettings(1920, 1080, 30)), 7500000);
  TavoWriter::setSupportsHEVCEncoding(false);
  MediaSettings h264 = TavoWriter::defaultVideoSettings();
  EXPECT_EQ(h264.at(AVVideoCodecKey).as_string(), "avc1");
  EXPECT_EQ(integer(h264, AVVideoWidthKey), 1920);
  EXPECT_EQ(integer(h264, AVVideoHeightKey), 1080);
  EXPECT_EQ(bitrate(h264), 10485760);
  TavoWriter::setSupportsHEVCEncoding(before);
}

}  // namespace
}  // namespace tav
