// Which video codec recordings use by default on this machine: HEVC when a hardware HEVC encoder is
// there, else H.264.
//
// The shared object answers for the process: it probes once, on first use, unless the host set it
// first. A host (or a test) may make its own and hand it to a writer, so that two recorders of one
// process can differ, or a test can choose without touching the process's answer.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "tav/contracts/media_settings.hpp"

namespace tav {

/// Thread-safe: every member may be called from any thread.
class EncoderSupport {
 public:
  /// With `supportsHEVCEncoding` absent, the answer is probed on first use.
  explicit EncoderSupport(std::optional<bool> supportsHEVCEncoding = std::nullopt);
  EncoderSupport(const EncoderSupport&) = delete;
  EncoderSupport& operator=(const EncoderSupport&) = delete;

  /// The process's object (TavoWriter::supportsHEVCEncoding and setSupportsHEVCEncoding use it).
  static EncoderSupport& shared();

  /// Whether recordings use HEVC. The first call of an unset object asks the platform whether a
  /// hardware HEVC encoder is present; a value set meanwhile wins over the probe.
  bool supportsHEVCEncoding() const;
  void setSupportsHEVCEncoding(bool value);

  /// RecordingVideoSettings for `width` x `height` at `frameRate` with this object's codec.
  MediaSettings videoSettings(std::int64_t width, std::int64_t height, double frameRate) const;
  /// The settings of a recording whose size nobody gave: 1920x1080 at 30 fps with this object's codec.
  MediaSettings defaultVideoSettings() const { return videoSettings(1920, 1080, 30.0); }

 private:
  static constexpr int kUnknown = -1;
  mutable std::atomic<int> supportsHEVC_;  // kUnknown, 0 or 1
};

}  // namespace tav
