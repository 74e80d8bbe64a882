#include "tav/playback/video_file_controller.hpp"

#include <cmath>
#include <exception>
#include <limits>
#include <utility>

#include "tav/contracts/cm_time_range.hpp"
#include "tav/playback/video_file_chunks.hpp"

namespace tav {
namespace {

/// Every time the controller makes itself is at this timescale.
constexpr std::int32_t kTimescale = 600;

/// A reader's range "to the end": the largest finite double in seconds.
CMTime unboundedDuration() { return CMTime::withSeconds(std::numeric_limits<double>::max(), kTimescale); }

}  // namespace

std::shared_ptr<VideoFileController> VideoFileController::create(Url url, Looping looping, Environment environment) {
  return std::make_shared<VideoFileController>(PassKey{}, std::move(url), looping, std::move(environment));
}

VideoFileController::VideoFileController(PassKey, Url url, Looping looping, Environment environment)
    : videoLooping_(looping),
      url_(std::move(url)),
      asset_(environment.makeAsset ? environment.makeAsset(url_) : assetWithURL(url_)),
      readingQueue_(environment.readingQueue ? std::move(environment.readingQueue)
                                             : std::make_shared<SerialQueue>("com.morvane.VideoFileController.reading")),
      prefetchQueue_(environment.prefetchQueue
                         ? std::move(environment.prefetchQueue)
                         : std::make_shared<SerialQueue>("com.morvane.VideoFileController.prefetch")),
      videoTimer_(environment.timer ? std::move(environment.timer) : std::make_shared<DeadlineVideoFileTimer>()) {}

VideoFileController::~VideoFileController() {
  abandoned_->store(true);
  // The operations queued before hold the controller weakly and do nothing now; the stop runs here.
  if (readingQueue_->isCurrent()) {
    stopCore();
  } else {
    readingQueue_->sync([this] { stopCore(); });
  }
}

std::shared_ptr<VideoFileControllerDelegate> VideoFileController::delegate() const {
  return delegateLock_.whileLocked([this] { return delegate_.lock(); });
}

void VideoFileController::setDelegate(const std::shared_ptr<VideoFileControllerDelegate>& delegate) {
  delegateLock_.whileLocked([&] { delegate_ = delegate; });
}

void VideoFileController::setVideoLooping(Looping looping) {
  const bool changed = videoLooping_.mutate([&](Looping& value) {
    const bool differs = value != looping;
    value = looping;
    return differs;
  });
  if (!changed) return;
  post([](VideoFileController& self) {
    if (self.isReversing_) self.seekOnQueue(0.0);
  });
}

bool VideoFileController::isReading() const {
  bool reading = false;
  readingQueue_->sync([&] { reading = assetReader_ && assetReader_->status() == AssetReaderStatus::reading; });
  return reading;
}

template <class Operation>
void VideoFileController::post(Operation operation) {
  readingQueue_->async([weak = weak_from_this(), operation = std::move(operation)] {
    if (auto self = weak.lock()) operation(*self);
  });
}

void VideoFileController::start() {
  post([](VideoFileController& self) { self.startOnQueue(); });
}
void VideoFileController::stop() {
  post([](VideoFileController& self) { self.stopCore(); });
}
void VideoFileController::pause() {
  post([](VideoFileController& self) { self.pauseOnQueue(); });
}
void VideoFileController::resume() {
  post([](VideoFileController& self) { self.resumeOnQueue(); });
}
void VideoFileController::restart() {
  post([](VideoFileController& self) { self.restartOnQueue(); });
}
void VideoFileController::seek(double seconds) {
  post([seconds](VideoFileController& self) { self.seekOnQueue(seconds); });
}

// Reader set-up: any failure logs and gives false.
bool VideoFileController::setupAssetReader() {
  if (assetReader_) assetReader_->cancelReading();
  cachedDuration_.set(asset_->duration());
  try {
    assetReader_ = asset_->makeReader();
  } catch (const std::exception& error) {
    assetReader_.reset();
    logger_.error("Failed to create asset reader: {}", error.what());
    return false;
  }
  const std::vector<AssetTrack> videoTracks = asset_->tracksWithMediaType(MediaStreamType::video());
  if (videoTracks.empty()) {
    logger_.error("No video track found");
    return false;
  }
  const AssetTrack& track = videoTracks.front();
  videoTrack_ = track;
  videoTrackOrientation_ = imageOrientation(track.preferredTransform);
  const double rate = track.nominalFrameRate > 0 ? static_cast<double>(track.nominalFrameRate) : 30.0;
  frameDuration_ = 1.0 / rate;

  // The composition output: the track's transform applied, at the size the picture is shown.
  VideoComposition composition;
  const Size shown = applying(track.naturalSize, track.preferredTransform);
  composition.renderSize = Size{std::fabs(shown.width), std::fabs(shown.height)};
  composition.sourceTrackIDForFrameTiming = track.trackID;
  const int wholeRate = track.nominalFrameRate > 0 ? std::max(1, static_cast<int>(track.nominalFrameRate)) : 30;
  composition.frameDuration =
      track.minFrameDuration.isNumeric() && track.minFrameDuration > kCMTimeZero ? track.minFrameDuration
                                                                                 : CMTime::make(1, wholeRate);
  composition.instructionTimeRange = CMTimeRangeFromTimeToTime(kCMTimeZero, cachedDuration_.value());
  composition.layerTransform = track.preferredTransform;
  MediaSettings videoSettings;
  videoSettings[kCVPixelBufferIOSurfacePropertiesKey] = JsonObject();
  videoSettings[kCVPixelBufferPixelFormatTypeKey] = kCVPixelFormatType_32BGRA;
  videoTrackOutput_ = assetReader_->makeVideoCompositionOutput({track}, videoSettings, composition);
  if (!videoTrackOutput_) {
    logger_.error("Failed to create video output");
    return false;
  }
  if (assetReader_->canAddOutput(*videoTrackOutput_)) assetReader_->addOutput(videoTrackOutput_);

  const std::vector<AssetTrack> audioTracks = asset_->tracksWithMediaType(MediaStreamType::audio());
  if (!audioTracks.empty()) {
    audioTrack_ = audioTracks.front();
    MediaSettings audioSettings;
    audioSettings[AVFormatIDKey] = kAudioFormatLinearPCM;
    audioSettings[AVSampleRateKey] = 48000.0;
    audioSettings[AVNumberOfChannelsKey] = 2;
    audioSettings[AVLinearPCMBitDepthKey] = 32;
    audioSettings[AVLinearPCMIsNonInterleaved] = true;
    audioSettings[AVLinearPCMIsFloatKey] = true;
    audioSettings[AVLinearPCMIsBigEndianKey] = false;
    audioTrackOutput_ = assetReader_->makeTrackOutput(*audioTrack_, audioSettings);
    if (audioTrackOutput_ && assetReader_->canAddOutput(*audioTrackOutput_)) assetReader_->addOutput(audioTrackOutput_);
  }
  return true;
}

void VideoFileController::startCore() {
  if (isRunning_.value()) return;
  isPaused_.set(false);
  if (!setupAssetReader()) {
    logger_.error("Failed to setup asset reader");
    return;
  }
  if (gopBoundaries_.empty()) gopBoundaries_ = scanSyncSamples(*asset_);
  if (!assetReader_->startReading()) {
    logger_.error("Failed to start reading the asset");
    return;
  }
  isRunning_.set(true);
  setupTimer();
}

void VideoFileController::stopCore() {
  if (auto receiver = delegate()) receiver->videoFileControllerWillStop();
  isRunning_.set(false);
  isPaused_.set(false);
  cancelTimer();
  audioReadPosition_ = kCMTimeZero;
  if (assetReader_) assetReader_->cancelReading();
  assetReader_.reset();
  videoTrackOutput_.reset();
  audioTrackOutput_.reset();
  videoTrack_.reset();
  audioTrack_.reset();
  reversedSampleBuffers_.clear();
  prefetchedChunks_.clear();
  reversePlayhead_.reset();
  isPrefetchInFlight_ = false;
  // gopBoundaries_ stay for the controller's life; isReversing_ is left as it is, so a start after a
  // stop in mid-reverse turns to forward play at its first tick.
}

void VideoFileController::setupTimer() {
  const auto interval = std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(frameDuration_));
  videoTimer_->schedule(readingQueue_, interval, [weak = weak_from_this()] {
    if (auto self = weak.lock()) self->tick();
  });
}

void VideoFileController::cancelTimer() { videoTimer_->cancel(); }

void VideoFileController::tick() {
  if (!isRunning_.value() || !videoTrackOutput_) return;
  statistics_.mutate([](VideoFilePlaybackStatistics& s) { ++s.ticks; });
  if (isReversing_) {
    reverseTick();
    return;
  }
  std::optional<CMSampleBuffer> buffer = videoTrackOutput_->copyNextSampleBuffer();
  if (!buffer) {
    endOfStream();
    return;
  }
  deliver(std::move(*buffer));
  if (videoLooping_.wrappedValue() == Looping::bounce && prefetchedChunks_.empty() && !gopBoundaries_.empty() &&
      cachedDuration_.value() - currentTime_.value() <= maxReverseChunkDuration) {
    warmUp();
  }
}

void VideoFileController::deliver(CMSampleBuffer buffer) {
  currentTime_.set(CMSampleBufferGetPresentationTimeStamp(buffer));
  CMSampleAttachments attachments = buffer.attachments();
  attachments.displayImmediately = true;
  buffer.setAttachments(attachments);
  statistics_.mutate([](VideoFilePlaybackStatistics& s) { ++s.framesDelivered; });
  if (auto receiver = delegate()) receiver->videoFileControllerDidOutputVideo(buffer);
  pumpAudio();
}

void VideoFileController::pumpAudio() {
  if (!isRunning_.value() || isReversing_ || !audioTrackOutput_) return;
  const CMTime target = currentTime_.value() + audioLookahead;
  while (audioReadPosition_ < target) {
    std::optional<CMSampleBuffer> buffer = audioTrackOutput_->copyNextSampleBuffer();
    if (!buffer || CMSampleBufferGetNumSamples(*buffer) < 1 || !AudioFormat::of(*buffer)) break;
    std::optional<AudioPCMBuffer> pcm = AudioPCMBuffer::create(*buffer);
    if (!pcm) break;
    audioReadPosition_ = CMSampleBufferGetPresentationTimeStamp(*buffer) + CMSampleBufferGetDuration(*buffer);
    if (auto receiver = delegate()) receiver->videoFileControllerDidOutputAudio(*pcm);
  }
}

void VideoFileController::endOfStream() {
  switch (videoLooping_.wrappedValue()) {
    case Looping::playOnce:
      // The timer goes on ticking, finds no more frames, and the last frame stays on show.
      return;
    case Looping::loop:
      reversePlayhead_.reset();
      isReversing_ = false;
      stopCore();
      startCore();
      return;
    case Looping::bounce: {
      isReversing_ = true;
      Chunk chunk;
      if (!prefetchedChunks_.empty()) {
        chunk = std::move(prefetchedChunks_.front());
        prefetchedChunks_.erase(prefetchedChunks_.begin());
      } else {
        // Not warmed up in time: the first chunk is decoded here, holding this tick.
        countStall();
        const VideoFileChunkPlan plan =
            planReverseChunk(cachedDuration_.value(), gopBoundaries_, maxReverseChunkDuration);
        chunk.buffers = decodeReverseChunk(*asset_, plan.timeRange, videoTrackOrientation_, *abandoned_);
        chunk.nextPlayhead = plan.nextPlayhead;
      }
      reversedSampleBuffers_ = std::move(chunk.buffers);
      reversePlayhead_ = chunk.nextPlayhead;
      prefetch();
      return;
    }
  }
}

void VideoFileController::reverseTick() {
  if (!reversedSampleBuffers_.empty()) {
    CMSampleBuffer latest = std::move(reversedSampleBuffers_.back());
    reversedSampleBuffers_.pop_back();
    deliver(std::move(latest));
    return;
  }
  if (!prefetchedChunks_.empty()) {
    Chunk chunk = std::move(prefetchedChunks_.front());
    prefetchedChunks_.erase(prefetchedChunks_.begin());
    reversedSampleBuffers_ = std::move(chunk.buffers);
    reversePlayhead_ = chunk.nextPlayhead;
    if (prefetchedChunks_.empty()) prefetch();
    if (reversedSampleBuffers_.empty()) return;
    CMSampleBuffer latest = std::move(reversedSampleBuffers_.back());
    reversedSampleBuffers_.pop_back();
    deliver(std::move(latest));
    return;
  }
  if (reversePlayhead_ && *reversePlayhead_ > kCMTimeZero) {
    // The next chunk isn't ready: the picture holds.
    countStall();
    if (!isPrefetchInFlight_) prefetch();
    return;
  }
  // The start of the file: forward play begins again from zero.
  reversePlayhead_.reset();
  isReversing_ = false;
  stopCore();
  startCore();
}

void VideoFileController::decodeOnPrefetchQueue(
    CMTimeRange range, std::function<void(VideoFileController&, std::vector<CMSampleBuffer>)> done) {
  // The decode works on copies and its own reader; the result comes back to the reading queue, where
  // `done` decides whether it still fits.
  prefetchQueue_->async([asset = asset_, range, orientation = videoTrackOrientation_, abandoned = abandoned_,
                         readingQueue = readingQueue_, weak = weak_from_this(), done = std::move(done)]() mutable {
    std::vector<CMSampleBuffer> buffers = decodeReverseChunk(*asset, range, orientation, *abandoned);
    readingQueue->async([weak = std::move(weak), done = std::move(done), buffers = std::move(buffers)]() mutable {
      if (auto self = weak.lock()) done(*self, std::move(buffers));
    });
  });
}

void VideoFileController::prefetch() {
  if (!prefetchedChunks_.empty() || isPrefetchInFlight_ || !reversePlayhead_ || !(*reversePlayhead_ > kCMTimeZero)) {
    return;
  }
  isPrefetchInFlight_ = true;
  const CMTime playhead = *reversePlayhead_;
  const VideoFileChunkPlan plan = planReverseChunk(playhead, gopBoundaries_, maxReverseChunkDuration);
  decodeOnPrefetchQueue(plan.timeRange, [playhead, plan](VideoFileController& self, std::vector<CMSampleBuffer> buffers) {
    self.isPrefetchInFlight_ = false;
    if (self.isReversing_ && self.prefetchedChunks_.empty() && self.reversePlayhead_ &&
        *self.reversePlayhead_ == playhead && !buffers.empty()) {
      self.prefetchedChunks_.push_back(Chunk{std::move(buffers), plan.nextPlayhead});
    }
  });
}

void VideoFileController::warmUp() {
  if (!prefetchedChunks_.empty() || isPrefetchInFlight_ || gopBoundaries_.empty()) return;
  isPrefetchInFlight_ = true;
  const VideoFileChunkPlan plan = planReverseChunk(cachedDuration_.value(), gopBoundaries_, maxReverseChunkDuration);
  decodeOnPrefetchQueue(plan.timeRange, [plan](VideoFileController& self, std::vector<CMSampleBuffer> buffers) {
    self.isPrefetchInFlight_ = false;
    if (!self.isReversing_ && self.prefetchedChunks_.empty() && !buffers.empty()) {
      self.prefetchedChunks_.push_back(Chunk{std::move(buffers), plan.nextPlayhead});
    }
  });
}

void VideoFileController::dropReader() {
  if (assetReader_) assetReader_->cancelReading();
  assetReader_.reset();
  videoTrackOutput_.reset();
  audioTrackOutput_.reset();
}

bool VideoFileController::rebuildReader(CMTime time) {
  if (!setupAssetReader() || !assetReader_) return false;
  assetReader_->setTimeRange(CMTimeRangeMake(time, unboundedDuration()));
  return assetReader_->startReading();
}

void VideoFileController::seekOnQueue(double seconds) {
  if (!isRunning_.value()) return;
  const CMTime duration = cachedDuration_.value();
  CMTime target = CMTimeClampToRange(currentTime_.value() + CMTime::withSeconds(seconds, kTimescale),
                                     CMTimeRangeMake(kCMTimeZero, duration));
  // A target at the very end would yield no frame.
  if (target == duration && duration > kCMTimeZero) target = duration - CMTime::withSeconds(0.01, kTimescale);
  const bool wasPaused = isPaused_.value();
  cancelTimer();
  reversePlayhead_.reset();
  isReversing_ = false;
  dropReader();
  reversedSampleBuffers_.clear();
  prefetchedChunks_.clear();
  isPrefetchInFlight_ = false;
  if (!rebuildReader(target)) return;
  currentTime_.set(target);
  audioReadPosition_ = target;
  if (!wasPaused) setupTimer();
}

void VideoFileController::startOnQueue() {
  if (!isRunning_.value()) {
    startCore();
    return;
  }
  if (isPaused_.value() && !isManuallyPaused_.value()) {
    // The reader simply goes on from where it was.
    isPaused_.set(false);
    setupTimer();
  }
}

void VideoFileController::pauseOnQueue() {
  if (!isRunning_.value() || isPaused_.value()) return;
  isPaused_.set(true);
  cancelTimer();
}

void VideoFileController::resumeOnQueue() {
  if (!isRunning_.value() || !isPaused_.value()) return;
  isPaused_.set(false);
  if (!isReversing_) {
    // While reversing the decoded frames are still there; forward play needs a reader from here.
    dropReader();
    const CMTime now = currentTime_.value();
    if (!rebuildReader(now)) return;
    audioReadPosition_ = now;
  }
  setupTimer();
}

void VideoFileController::restartOnQueue() {
  reversePlayhead_.reset();
  isReversing_ = false;
  stopCore();
  startCore();
}

void VideoFileController::countStall() {
  statistics_.mutate([](VideoFilePlaybackStatistics& s) { ++s.stalls; });
}

}  // namespace tav
