#include "tav/playback/gif_info.hpp"

#include <gtest/gtest.h>

namespace tav {
namespace {

using Timing = GifFrameProperties::Timing;

GifFrameProperties withTiming(std::optional<Timing> timing) {
  GifFrameProperties properties;
  properties.gif = timing;
  return properties;
}

TEST(GifInfo, FrameDelayPrefersTheUnclampedDelayAndClampsSmallAndMissingOnes) {
  struct Case {
    std::optional<GifFrameProperties> properties;
    double expected;
  };
  const std::vector<Case> cases{
      {std::nullopt, 0.1},
      {withTiming(std::nullopt), 0.1},
      {withTiming(Timing{std::nullopt, std::nullopt}), 0.1},
      {withTiming(Timing{0.0, 0.5}), 0.1},
      {withTiming(Timing{-1.0, std::nullopt}), 0.1},
      {withTiming(Timing{0.01, std::nullopt}), 0.02},
      {withTiming(Timing{0.02, std::nullopt}), 0.02},
      {withTiming(Timing{0.03, 0.1}), 0.03},
      {withTiming(Timing{std::nullopt, 0.5}), 0.5},
      {withTiming(Timing{std::nullopt, 0.0}), 0.1},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(frameDelay(cases[i].properties), cases[i].expected) << "case " << i;
}

}  // namespace
}  // namespace tav
