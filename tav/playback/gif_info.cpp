#include "tav/playback/gif_info.hpp"

namespace tav {

double frameDelay(const std::optional<GifFrameProperties>& properties) {
  constexpr double kMissing = 0.1;
  if (!properties || !properties->gif) return kMissing;
  const GifFrameProperties::Timing& timing = *properties->gif;
  const std::optional<double> delay = timing.unclampedDelayTime ? timing.unclampedDelayTime : timing.delayTime;
  if (!delay) return kMissing;
  // Browsers play a zero delay as a tenth of a second, and nothing faster than fifty frames a second.
  if (*delay <= 0) return 0.1;
  if (*delay <= 0.02) return 0.02;
  return *delay;
}

std::optional<GifInfo> gifInfo(const GifSource& source) {
  const std::optional<GifFrameProperties> first = source.properties(0);
  if (!first || !first->colorModel || !first->depth || !first->pixelWidth || !first->pixelHeight) return std::nullopt;
  GifInfo info;
  info.colorModel = *first->colorModel;
  info.depth = *first->depth;
  info.hasAlpha = first->hasAlpha;
  info.pixelWidth = *first->pixelWidth;
  info.pixelHeight = *first->pixelHeight;
  info.frameDurations.reserve(source.count());
  for (std::size_t i = 0; i < source.count(); ++i) info.frameDurations.push_back(frameDelay(source.properties(i)));
  return info;
}

}  // namespace tav
