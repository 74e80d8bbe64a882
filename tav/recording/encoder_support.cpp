#include "tav/recording/encoder_support.hpp"

#include "tav/contracts/asset_writer.hpp"
#include "tav/recording/recording_video_settings.hpp"

namespace tav {

EncoderSupport::EncoderSupport(std::optional<bool> supportsHEVCEncoding)
    : supportsHEVC_(supportsHEVCEncoding ? (*supportsHEVCEncoding ? 1 : 0) : kUnknown) {}

EncoderSupport& EncoderSupport::shared() {
  static EncoderSupport support;
  return support;
}

bool EncoderSupport::supportsHEVCEncoding() const {
  const int value = supportsHEVC_.load();
  if (value != kUnknown) return value == 1;
  const int probed = supportsHardwareHEVCEncoding() ? 1 : 0;
  int expected = kUnknown;
  // A value the host set meanwhile wins over the probe.
  if (!supportsHEVC_.compare_exchange_strong(expected, probed)) return expected == 1;
  return probed == 1;
}

void EncoderSupport::setSupportsHEVCEncoding(bool value) { supportsHEVC_.store(value ? 1 : 0); }

MediaSettings EncoderSupport::videoSettings(std::int64_t width, std::int64_t height, double frameRate) const {
  return RecordingVideoSettings::videoSettings(width, height, frameRate, supportsHEVCEncoding());
}

}  // namespace tav
