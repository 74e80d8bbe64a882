// Capture sources for `tavo record` and `tavo sync-check`: any input FFmpeg can read (a file, a lavfi
// graph, and where the machine has them v4l2 cameras, x11grab screens, pulse/alsa audio), and the
// synthetic sync-check sources, each delivering CMSampleBuffers on its own thread and its own clock.
//
// Wiring into a recording: parse each `--source NAME=URL` with CaptureSourceSpec::parse, open it with
// openCaptureSource, and for an isolated recording start it with isolatedFeed(coordinator, source)
// (which tees into any composed-canvas sinks given).
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/recording/isolated_recording_coordinator.hpp"
#include "tav/recording/isolated_source_type.hpp"

namespace tav::tool {

/// One `--source NAME=URL`. A URL is a file path, or FORMAT:INPUT for an FFmpeg input format such as
/// "lavfi:testsrc2=size=1280x720:rate=30", "lavfi:sine=frequency=440", "v4l2:/dev/video0",
/// "x11grab::0.0", "pulse:default" or "alsa:default".
struct CaptureSourceSpec {
  std::string name;
  std::string url;
  /// Absent when the text has no "=" or an empty name or URL.
  static std::optional<CaptureSourceSpec> parse(std::string_view text);
};

/// Where a running source delivers: called on the source's own thread, one buffer at a time.
struct CaptureSinks {
  std::function<void(const CMSampleBuffer&)> video;
  std::function<void(const CMSampleBuffer&)> audio;
};

/// A running capture. start() begins delivering on a thread of the source's own; stop() (also done by
/// the destructor) ends it and waits. A source that reaches the end of its input stops by itself.
class CaptureSource {
 public:
  virtual ~CaptureSource() = default;
  virtual const std::string& name() const = 0;
  virtual IsolatedSourceType type() const = 0;
  virtual bool hasVideo() const = 0;
  virtual bool hasAudio() const = 0;
  virtual void start(CaptureSinks sinks) = 0;
  virtual void stop() = 0;
  /// True once the source has delivered everything it will (the end of a file or a failure).
  virtual bool isFinished() const = 0;
};

/// Opens `sourceSpec.url` with FFmpeg (libavdevice formats registered). Files and lavfi graphs are paced in
/// real time and stamped with their own stream times (their clocks start at zero, unrelated to the
/// host's); devices deliver at their own pace with the timestamps their driver gives. Video arrives as
/// NV12, audio as 32-bit float planar at the input's rate. Throws std::runtime_error naming the URL
/// when it cannot be opened or holds neither video nor audio.
std::unique_ptr<CaptureSource> openCaptureSource(const CaptureSourceSpec& sourceSpec);

/// The sync-check sources (white flash and 1 kHz beep once a second at the same host instant),
/// paced in real time on the host clock for `seconds`, each stamping with its own awkward clock: one
/// 100 s off the host clock, one that jumps ahead mid-way, one that restarts from zero, and one
/// audio-only source.
std::vector<std::unique_ptr<CaptureSource>> syntheticCaptureSources(double seconds, int width = 1280, int height = 720);

/// Sinks that give `source`'s buffers to `coordinator` (the fast path first, the full path for its
/// first buffers; audio shares the file of the source's video, or has a file of its own when the source
/// has no video), then to `also` when set. `coordinator` must outlive the source's delivery.
CaptureSinks isolatedFeed(IsolatedRecordingCoordinator& coordinator, const CaptureSource& source,
                          CaptureSinks also = {});

/// Records `sources` (opened, not started) into `folder` (created if missing), isolated, in real time for
/// `seconds` or until every source has finished, whichever comes first.
void recordCaptureSession(const std::filesystem::path& folder, double seconds,
                          std::vector<std::unique_ptr<CaptureSource>> sources);

/// Records the synthetic sources into `folder` (created if missing) for `seconds` of host time, isolated,
/// paused over the fifth tenth of the span, on a stepped host clock (as fast as the encoders go).
void recordSyntheticSession(const std::filesystem::path& folder, double seconds);

}  // namespace tav::tool
