// Synthetic capture sources for checking that isolated files stay in sync: every source shows a white
// flash and plays a 1 kHz beep at the same host instants, once a second, and stamps its buffers on a
// clock of its own (100 s off the host clock, jumping ahead mid-way, restarting from zero, ...).
//
// A source is a pure function of the host time at which a buffer was captured, so a test or benchmark
// can step a manual host clock and a tool can pace the same sources in real time.
#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/recording/isolated_recording_coordinator.hpp"
#include "tav/recording/isolated_source_feed.hpp"
#include "tav/recording/isolated_source_writer.hpp"

namespace tav::testing {

/// Maps the host instant of a capture (seconds) to the source's own timestamp (seconds).
using SourceClock = std::function<double(double host)>;

/// The awkward clocks of the sync check. `start` is the host time at which recording starts and
/// `midway` the host time at which the jump or restart happens.
struct SyncClocks {
  static SourceClock hostClock() {
    return [](double host) { return host; };
  }
  static SourceClock offBy(double seconds) {
    return [seconds](double host) { return host + seconds; };
  }
  static SourceClock jumpsAhead(double midway, double by) {
    return [midway, by](double host) { return host < midway ? host : host + by; };
  }
  static SourceClock restartsFromZero(double midway) {
    return [midway](double host) { return host < midway ? host : host - midway; };
  }
};

/// Frames every `1 / fps` s and audio in buffers of one frame's length. A frame captured within the
/// first frame interval after a whole host second is white; audio in the first `beepSeconds` after a
/// whole host second is a 1 kHz tone, silence otherwise. Other frames are dark grey with a bar that
/// moves, so the encoder has work to do. Thread-compatible: one caller at a time.
class SyncTestSource {
 public:
  SyncTestSource(std::string name, SourceClock clock, bool hasVideo, bool hasAudio, int width = 320, int height = 180,
                 int fps = 30, int sampleRate = 48000)
      : name_(std::move(name)),
        clock_(std::move(clock)),
        hasVideo_(hasVideo),
        hasAudio_(hasAudio),
        width_(width),
        height_(height),
        fps_(fps),
        sampleRate_(sampleRate) {}

  static constexpr double beepSeconds = 0.1;
  static constexpr double beepFrequency = 1000;

  const std::string& name() const { return name_; }
  bool hasVideo() const { return hasVideo_; }
  bool hasAudio() const { return hasAudio_; }
  int fps() const { return fps_; }
  int width() const { return width_; }
  int height() const { return height_; }

  /// The timestamp the source gives a capture at `host`: its own clock, at nanosecond resolution.
  CMTime stamp(double host) const { return CMTime::withSeconds(clock_(host), 1'000'000'000); }

  /// The frame captured at host time `host` (NV12).
  CMSampleBuffer videoFrame(double host) const {
    const double phase = host - std::floor(host + 1e-9);
    const bool flash = phase < 1.0 / fps_ - 1e-6;
    const std::size_t luma = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
    const std::size_t size = luma + luma / 2;
    std::shared_ptr<std::uint8_t> data(new std::uint8_t[size], std::default_delete<std::uint8_t[]>());
    std::memset(data.get(), flash ? 235 : 40, luma);
    std::memset(data.get() + luma, 128, size - luma);
    if (!flash) {
      const int bar = static_cast<int>(std::fmod(host, 1.0) * (width_ - 16));
      for (int y = 0; y < height_; ++y) std::memset(data.get() + y * width_ + bar, 160, 16);
    }
    std::shared_ptr<const std::uint8_t> shared = data;
    return CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, width_, height_, shared), stamp(host),
                                      CMTime::make(1, fps_));
  }

  /// One frame interval of stereo audio whose first sample is captured at host time `host`.
  CMSampleBuffer audio(double host) const {
    const int frames = sampleRate_ / fps_;
    std::shared_ptr<float> data(new float[static_cast<std::size_t>(frames) * 2], std::default_delete<float[]>());
    for (int i = 0; i < frames; ++i) {
      const double t = host + static_cast<double>(i) / sampleRate_;
      const double phase = t - std::floor(t + 1e-9);
      const float value = phase < beepSeconds
                              ? static_cast<float>(0.5 * std::sin(2 * 3.141592653589793 * beepFrequency * phase))
                              : 0.0f;
      data.get()[i] = value;
      data.get()[frames + i] = value;
    }
    std::shared_ptr<const float> shared = data;
    return CMSampleBuffer::audio(AudioBufferData{2, sampleRate_, frames, shared}, stamp(host));
  }

 private:
  std::string name_;
  SourceClock clock_;
  bool hasVideo_;
  bool hasAudio_;
  int width_;
  int height_;
  int fps_;
  int sampleRate_;
};

/// The four sources of the sync check for a recording from `start` lasting `duration` host seconds:
/// "Offset" starts 100 s off the host clock, "Jump" jumps 5 s ahead half-way, "Restart" starts over
/// from zero half-way, each with video and audio, and "Voice" is audio only on a clock starting at 0.
inline std::vector<SyncTestSource> syncTestSources(double start, double duration, int width = 320, int height = 180) {
  const double midway = start + std::floor(duration / 2) + 0.5;
  return {
      SyncTestSource("Offset", SyncClocks::offBy(100), true, true, width, height),
      SyncTestSource("Jump", SyncClocks::jumpsAhead(midway, 5), true, true, width, height),
      SyncTestSource("Restart", SyncClocks::restartsFromZero(midway), true, true, width, height),
      SyncTestSource("Voice", SyncClocks::offBy(-start), false, true, width, height),
  };
}

/// How a sync-check source is described to the coordinator: a camera whose audio shares its file, or
/// a microphone with a file of its own.
inline IsolatedSourceDescription isolatedDescription(const SyncTestSource& source) {
  IsolatedSourceDescription description;
  description.sourceID = source.name();
  description.displayName = source.name();
  description.sourceType = source.hasVideo() ? IsolatedSourceType::camera : IsolatedSourceType::microphone;
  description.isVideoSource = source.hasVideo();
  if (source.hasAudio()) {
    // Known before the first audio buffer is: the writer converts whatever the source gives to this.
    description.audioSettings = IsolatedRecordingCoordinator::audioSettings(AudioFormat(48000, 2));
  }
  return description;
}

/// Hands what `source` captured at host time `host` to `coordinator`.
inline void deliverSyncCapture(IsolatedRecordingCoordinator& coordinator, const SyncTestSource& source, double host) {
  const IsolatedSourceDescription description = isolatedDescription(source);
  if (source.hasVideo()) feedIsolatedVideo(coordinator, description, source.videoFrame(host));
  if (source.hasAudio()) feedIsolatedAudio(coordinator, description, source.audio(host));
}

/// The default writers, over `factory` (which must outlive them) and with the encoder speed `preset`
/// ("ultrafast", ...) when given. A stepped clock delivers faster than real time, so give it a factory
/// whose inputs queue enough frames never to report not ready.
inline IsolatedRecordingCoordinator::MakeWriter isolatedWriters(AssetWriterFactory& factory,
                                                                std::optional<std::string> preset = std::nullopt) {
  return [&factory, preset](
             const std::string& key, const std::string& base, const Url& url, bool video,
             const std::optional<MediaSettings>& videoSettings, const std::optional<MediaSettings>& audioSettings,
             CMTime offset, const std::vector<MetadataItem>& metadata,
             IsolatedRecordingCoordinator::FailureCallback onFailure) -> std::shared_ptr<IsolatedSourceWriting> {
    std::optional<MediaSettings> settings = videoSettings;
    if (settings && preset) (*settings)[TavVideoEncoderPresetKey] = *preset;
    return IsolatedSourceWriter::create(key, base, url, video, settings, audioSettings, offset, metadata,
                                        std::move(onFailure), factory);
  };
}

/// Records `sources` from host time `start` for `duration` seconds by stepping `host` (the clock the
/// coordinator reads) one frame at a time, pausing over [pauseStart, pauseEnd) when given.
inline void recordSyncSession(IsolatedRecordingCoordinator& coordinator, const std::vector<SyncTestSource>& sources,
                              std::atomic<double>& host, double start, double duration, double pauseStart = 0,
                              double pauseEnd = 0) {
  const int fps = sources.empty() ? 30 : sources.front().fps();
  const auto steps = static_cast<std::int64_t>(std::llround(duration * fps));
  for (std::int64_t i = 0; i < steps; ++i) {
    const double now = start + static_cast<double>(i) / fps;
    host = now;
    coordinator.setPaused(pauseEnd > pauseStart && now >= pauseStart && now < pauseEnd);
    for (const SyncTestSource& source : sources) deliverSyncCapture(coordinator, source, now);
  }
}

}  // namespace tav::testing
