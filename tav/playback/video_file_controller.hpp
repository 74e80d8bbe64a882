// VideoFileController: plays one local video file as a live source for the compositor. Frames reach
// the delegate at the file's rate in the file's displayed orientation, audio a little ahead of the
// picture, and at the end the file stops, loops, or bounces: runs backwards to the start by chunks
// aligned to its sync samples, the next chunk decoded on a second queue while the present one plays.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tav/contracts/asset.hpp"
#include "tav/contracts/audio_pcm_buffer.hpp"
#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/image_orientation.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/url.hpp"
#include "tav/foundation/observable_value.hpp"
#include "tav/foundation/serial_queue.hpp"
#include "tav/foundation/unfair_lock.hpp"
#include "tav/playback/video_file_timer.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

/// Receives what a VideoFileController plays. Every call comes on the controller's reading queue; a
/// call may use any of the controller's public operations (stop() included: it is queued, so it never
/// waits on the call it is made from), except isReading().
class VideoFileControllerDelegate {
 public:
  virtual ~VideoFileControllerDelegate() = default;
  /// One frame, BGRA, upright, marked for immediate display.
  virtual void videoFileControllerDidOutputVideo(const CMSampleBuffer& sampleBuffer) = 0;
  /// Audio at 48000 Hz, two channels, 32-bit float, non-interleaved.
  virtual void videoFileControllerDidOutputAudio(const AudioPCMBuffer& buffer) = 0;
  /// At every stop, including the turns of looping and bouncing.
  virtual void videoFileControllerWillStop() {}
};

/// Counts a host can show beside the picture. A stall is a tick while running that had a frame to
/// show but could not: a reverse chunk not ready in time, or a turn at the end of a bounce that had to
/// decode its first chunk there and then.
struct VideoFilePlaybackStatistics {
  std::uint64_t ticks = 0;
  std::uint64_t framesDelivered = 0;
  std::uint64_t stalls = 0;
  friend bool operator==(const VideoFilePlaybackStatistics&, const VideoFilePlaybackStatistics&) = default;
};

/// Owned by the host through the shared pointer `create` gives; its operations hold it weakly, so a
/// controller the host has let go of does nothing more. Every public member may be called from any
/// thread. start, stop, pause, resume, restart and seek return at once and run in order on the reading
/// queue ("com.morvane.VideoFileController.reading"), which also runs every tick and every delegate
/// call; chunk decodes run on the prefetch queue ("com.morvane.VideoFileController.prefetch").
/// Destroying the controller stops it synchronously (the delegate sees videoFileControllerWillStop()
/// before the destructor returns), also when the last holder lets go inside a delegate call.
///
/// States: stopped --start--> running --pause--> paused --resume/start--> running; any --stop--> stopped.
/// While running the picture goes forward, or backwards during a bounce (reversing), until the end of
/// the file: playOnce holds the last frame, loop starts over, bounce reverses to the start and then
/// goes forward again.
class VideoFileController : public std::enable_shared_from_this<VideoFileController> {
 public:
  /// Collaborators a host or a test may replace; each left empty gets the real one.
  struct Environment {
    /// Opens the file (default: assetWithURL, the platform's reader).
    std::function<std::shared_ptr<Asset>(const Url&)> makeAsset;
    std::shared_ptr<SerialQueue> readingQueue;
    std::shared_ptr<SerialQueue> prefetchQueue;
    /// Paces the ticks (default: a DeadlineVideoFileTimer).
    std::shared_ptr<VideoFileTimer> timer;
  };

  /// Builds the controller; nothing is read until start().
  static std::shared_ptr<VideoFileController> create(Url url, Looping looping, Environment environment = {});
  ~VideoFileController();
  VideoFileController(const VideoFileController&) = delete;
  VideoFileController& operator=(const VideoFileController&) = delete;

  std::shared_ptr<VideoFileControllerDelegate> delegate() const;
  void setDelegate(const std::shared_ptr<VideoFileControllerDelegate>& delegate);

  Looping videoLooping() const { return videoLooping_.wrappedValue(); }
  /// A new mode is read at the next end of the file; changing it during a reverse run ends that run at
  /// once (as seek(0.0) does) and forward play goes on from the present time.
  void setVideoLooping(Looping looping);

  const Url& url() const { return url_; }
  /// The asset made from the URL at construction.
  const std::shared_ptr<Asset>& asset() const { return asset_; }

  /// Whether a reader exists and is reading. Waits for the reading queue: never call it from a
  /// delegate call (it throws std::logic_error there).
  bool isReading() const;

  bool isRunning() const { return isRunning_.value(); }
  bool isPaused() const { return isPaused_.value(); }
  bool isManuallyPaused() const { return isManuallyPaused_.value(); }
  /// The host's own note that the user paused this source; start() leaves such a source paused.
  void setIsManuallyPaused(bool paused) { isManuallyPaused_.set(paused); }
  /// Presentation time of the last frame delivered (or of the last seek).
  CMTime currentTime() const { return currentTime_.value(); }
  /// The file's duration, read at each reader set-up.
  CMTime cachedDuration() const { return cachedDuration_.value(); }

  // The values themselves, for a host to watch (changes arrive on the main context).
  ObservableValue<bool>& observableIsRunning() { return isRunning_; }
  ObservableValue<bool>& observableIsPaused() { return isPaused_; }
  ObservableValue<bool>& observableIsManuallyPaused() { return isManuallyPaused_; }
  ObservableValue<CMTime>& observableCurrentTime() { return currentTime_; }
  ObservableValue<CMTime>& observableCachedDuration() { return cachedDuration_; }

  VideoFilePlaybackStatistics statistics() const { return statistics_.wrappedValue(); }

  void start();
  void stop();
  void pause();
  void resume();
  void restart();
  /// Moves `seconds` (either way) from currentTime, held within the file; only while running. A paused
  /// controller stays paused.
  void seek(double seconds);

  /// 0.2 s: how far audio runs ahead of the picture.
  static constexpr CMTime audioLookahead{120, 600, kCMTimeFlags_Valid, 0};
  /// 2 s: the longest span a reverse chunk reaches back without a sync sample.
  static constexpr CMTime maxReverseChunkDuration{1200, 600, kCMTimeFlags_Valid, 0};

 private:
  struct PassKey {};

 public:
  VideoFileController(PassKey, Url url, Looping looping, Environment environment);

 private:
  struct Chunk {
    std::vector<CMSampleBuffer> buffers;
    CMTime nextPlayhead;
  };

  template <class Operation>
  void post(Operation operation);

  // Everything below runs on the reading queue.
  bool setupAssetReader();
  void startCore();
  void stopCore();
  void setupTimer();
  void cancelTimer();
  void tick();
  void reverseTick();
  void deliver(CMSampleBuffer buffer);
  void pumpAudio();
  void endOfStream();
  void prefetch();
  void warmUp();
  void decodeOnPrefetchQueue(CMTimeRange range, std::function<void(VideoFileController&, std::vector<CMSampleBuffer>)> done);
  void startOnQueue();
  void pauseOnQueue();
  void resumeOnQueue();
  void restartOnQueue();
  void seekOnQueue(double seconds);
  /// Cancels and drops the reader and both outputs.
  void dropReader();
  /// A fresh reader from `time` on, for seek and resume; false when it cannot be made or started.
  bool rebuildReader(CMTime time);
  void countStall();

  const Logger logger_{"VideoFileController"};
  mutable UnfairLock delegateLock_;
  std::weak_ptr<VideoFileControllerDelegate> delegate_;  // guarded by delegateLock_
  Locked<Looping> videoLooping_;
  const Url url_;
  const std::shared_ptr<Asset> asset_;
  const std::shared_ptr<SerialQueue> readingQueue_;
  const std::shared_ptr<SerialQueue> prefetchQueue_;
  const std::shared_ptr<VideoFileTimer> videoTimer_;
  /// Set when the controller goes, so that a chunk decode in flight gives up early.
  const std::shared_ptr<std::atomic<bool>> abandoned_ = std::make_shared<std::atomic<bool>>(false);

  // Reading queue only.
  std::unique_ptr<AssetReader> assetReader_;
  std::shared_ptr<AssetReaderOutput> videoTrackOutput_;
  std::shared_ptr<AssetReaderOutput> audioTrackOutput_;
  std::optional<AssetTrack> videoTrack_;
  std::optional<AssetTrack> audioTrack_;
  CMTime audioReadPosition_ = kCMTimeZero;
  double frameDuration_ = 1.0 / 30.0;
  bool isReversing_ = false;
  std::vector<CMSampleBuffer> reversedSampleBuffers_;
  std::vector<CMTime> gopBoundaries_;
  std::optional<CMTime> reversePlayhead_;
  std::vector<Chunk> prefetchedChunks_;
  bool isPrefetchInFlight_ = false;
  ImageOrientation videoTrackOrientation_ = ImageOrientation::up;

  ObservableValue<bool> isRunning_{false};
  ObservableValue<bool> isPaused_{false};
  ObservableValue<bool> isManuallyPaused_{false};
  ObservableValue<CMTime> currentTime_{kCMTimeZero};
  ObservableValue<CMTime> cachedDuration_{kCMTimeZero};
  Locked<VideoFilePlaybackStatistics> statistics_;
};

}  // namespace tav
