#include "tav/recording/tavo_recorder.hpp"

#include <atomic>
#include <exception>
#include <future>
#include <thread>
#include <utility>

#include "tav/contracts/logger.hpp"
#include "tav/foundation/exception_description.hpp"
#include "tav/foundation/main_context.hpp"
#include "tav/foundation/time_text.hpp"
#include "tav/foundation/unfair_lock.hpp"
#include "tav/recording/polling_serial_queue.hpp"
#include "tav/recording/sample_buffer_shifting.hpp"
#include "tav/recording/video_recorder_error.hpp"

namespace tav {
// Named rather than anonymous: the recorder's core, which has external linkage, holds these types.
namespace recorder_detail {

enum class RecorderState { idle, starting, recording, stopping };

const char* name(RecorderState state) {
  switch (state) {
    case RecorderState::idle:
      return "idle";
    case RecorderState::starting:
      return "starting";
    case RecorderState::recording:
      return "recording";
    case RecorderState::stopping:
      return "stopping";
  }
  return "idle";
}

// How long a buffer may wait before its write task runs. Posting then costs the capture thread no
// wake-up call; 2 ms is well inside what the writer's input queue absorbs.
constexpr std::chrono::microseconds kWritePollInterval{2000};

/// One output: its file, its writer, and one serial queue per medium, which keeps the buffers of
/// that medium in order and lets finalisation wait for every write handed in before it.
struct OutputPipeline {
  OutputPipeline(CanvasRole role_, Url url_, bool isLead, AssetWriterFactory& factory,
                 std::shared_ptr<UserDefaults> userDefaults)
      : role(role_), url(std::move(url_)), writer(isLead, factory, std::move(userDefaults)) {}

  PollingSerialQueue& writeQueue(const MediaStreamType& mediaType) {
    return mediaType.isVideo() ? videoWriteTask : audioWriteTask;
  }

  const CanvasRole role;
  const Url url;
  TavoWriter writer;
  PollingSerialQueue videoWriteTask{"com.morvane.TavoRecorder.video", kWritePollInterval};
  PollingSerialQueue audioWriteTask{"com.morvane.TavoRecorder.audio", kWritePollInterval};
  std::atomic<bool> hasFailed{false};
  // Set once finalisation has waited for the queues: a buffer that slipped in after that is dropped
  // instead of reaching a finished writer.
  std::atomic<bool> isClosed{false};
};

using Pipelines = std::vector<std::shared_ptr<OutputPipeline>>;

struct Finalisation {
  std::vector<std::string> savedPaths;
  std::exception_ptr firstError;
  int failedCount = 0;
};

/// What a stop or a failed output reads before it clears the clock.
struct Ending {
  std::string locationTitle;
  double length = 0;
};

}  // namespace recorder_detail

using namespace recorder_detail;

struct TavoRecorder::Core : std::enable_shared_from_this<TavoRecorder::Core> {
  Core(AssetWriterFactory& writerFactory_, std::shared_ptr<RecorderLocationHandler> locationHandler_,
       const ProfileManager* profileManager_, std::shared_ptr<UserDefaults> userDefaults_,
       MainContextDispatcher mainContext_, NotificationCenter& notificationCenter_)
      : writerFactory(writerFactory_),
        locationHandler(std::move(locationHandler_)),
        profileManager(profileManager_),
        userDefaults(std::move(userDefaults_)),
        mainContext(std::move(mainContext_)),
        notificationCenter(notificationCenter_) {}

  // Collaborators.
  AssetWriterFactory& writerFactory;
  const std::shared_ptr<RecorderLocationHandler> locationHandler;
  const ProfileManager* const profileManager;
  const std::shared_ptr<UserDefaults> userDefaults;
  const MainContextDispatcher mainContext;
  NotificationCenter& notificationCenter;
  const Logger logger{"TavoRecorder"};

  Locked<std::weak_ptr<TavoRecorderSettingsProvider>> settingsProvider;
  ObservableValue<bool> isRecording{false};
  ObservableValue<bool> isRecordingPaused{false};
  ObservableValue<std::optional<std::string>> displayDuration{std::nullopt};
  Locked<Pipelines> pipelines;
  Locked<RecorderState> state{RecorderState::idle};
  std::atomic<bool> shouldDelayRecordingForBroadcast{false};

  // The lead canvas's clock. Its lock also covers displayDuration's updates, so that a write finishing
  // during a stop cannot bring the display back after the stop cleared it.
  struct Clock {
    std::optional<CMTime> recordingStartTime;
    std::optional<CMTime> recordingLatestTime;
    bool isRunning = false;
  };
  Locked<Clock> clock;

  // Guarded by pauseLock, together with the decision made from them.
  CMTime accumulatedPauseDuration = kCMTimeZero;
  std::optional<CMTime> pauseStartTime;
  UnfairLock pauseLock;

  std::atomic<std::int64_t> droppedBuffers{0};
  Locked<std::vector<TavoWriter::Counts>> lastCounts;

  std::shared_ptr<TavoRecorderSettingsProvider> provider() const { return settingsProvider.wrappedValue().lock(); }

  /// Runs `work` on the main context and waits for it; inline when already there.
  void onMain(const std::function<void()>& work) const {
    const auto guarded = [this, &work] {
      try {
        work();
      } catch (const std::exception& e) {
        logger.error("Main-context callback failed: {}", e.what());
      } catch (...) {
        logger.error("Main-context callback failed");
      }
    };
    if (MainContext::isCurrent()) {
      guarded();
      return;
    }
    std::promise<void> done;
    std::future<void> finished = done.get_future();
    mainContext([&] {
      guarded();
      done.set_value();
    });
    finished.wait();
  }

  void tellProviderDidStop() const {
    if (auto p = provider()) onMain([&] { p->recorderDidStop(); });
  }

  void start(const std::optional<Configuration>& configuration);
  void stop();
  void toggle(const std::optional<Configuration>& configuration);
  std::optional<CMSampleBuffer> pauseDecision(const CMSampleBuffer& buffer, bool isInPauseTransition);
  bool acceptsBuffers(const char* medium);
  void enqueue(CMSampleBuffer buffer, const MediaStreamType& mediaType, const std::shared_ptr<OutputPipeline>& pipeline,
               bool isLead);
  void runWrite(const std::shared_ptr<OutputPipeline>& pipeline, const CMSampleBuffer& buffer,
                const MediaStreamType& mediaType, bool isLead);
  void failPipeline(const std::shared_ptr<OutputPipeline>& pipeline, const std::exception_ptr& error);
  Ending endClock();
  Finalisation finalise(const Pipelines& list, const OutputPipeline* excluded);
  void postFinished(const Finalisation& result, const Ending& ending) const;
};

// MARK: Start

void TavoRecorder::Core::start(const std::optional<Configuration>& configuration) {
  state.mutate([](RecorderState& current) {
    if (current != RecorderState::idle) {
      throw VideoRecorderError::invalidState(std::string("Cannot start recording: already in ") + name(current) +
                                             " state");
    }
    current = RecorderState::starting;
  });
  isRecordingPaused.set(false);
  pauseLock.whileLocked([this] {
    accumulatedPauseDuration = kCMTimeZero;
    pauseStartTime.reset();
  });
  shouldDelayRecordingForBroadcast = false;
  droppedBuffers = 0;

  const std::shared_ptr<TavoRecorderSettingsProvider> settings = provider();
  Pipelines prepared;
  try {
    const std::vector<RecordingOutput> outputs =
        settings ? settings->recordingOutputs()
                 : std::vector<RecordingOutput>{RecordingOutput::primaryDefault(std::nullopt, profileManager)};
    if (outputs.empty()) throw VideoRecorderError::invalidState("Cannot start recording: no outputs configured");

    std::vector<std::optional<std::string>> suffixes;
    suffixes.reserve(outputs.size());
    for (const RecordingOutput& output : outputs) suffixes.push_back(output.fileNameSuffix);
    const std::vector<Url> urls = locationHandler->getRecordingURLs(configuration, suffixes);
    if (urls.size() != outputs.size()) {
      throw VideoRecorderError::invalidState("Resolved " + std::to_string(urls.size()) + " output URLs for " +
                                             std::to_string(outputs.size()) + " outputs");
    }

    if (settings) onMain([&] { settings->recorderWillStart(outputs); });
    const std::optional<MediaSettings> audioSettings = settings ? settings->audioSettings() : std::nullopt;

    try {
      for (std::size_t i = 0; i < outputs.size(); ++i) {
        auto pipeline = std::make_shared<OutputPipeline>(outputs[i].role, urls[i], i == 0, writerFactory, userDefaults);
        std::vector<MetadataItem> metadata;
        if (outputs.size() > 1) metadata.push_back(CanvasMetadata::metadataItem(outputs[i].role));
        pipeline->writer.start(urls[i], outputs[i].videoSettings, audioSettings, true, FileType::quickTimeMovie,
                               metadata);
        prepared.push_back(std::move(pipeline));
      }
    } catch (...) {
      // The output that failed is dropped as it is; the ones prepared before it are aborted.
      for (const auto& pipeline : prepared) pipeline->writer.abort();
      prepared.clear();
      locationHandler->removeEmptySessionFolder(urls.front());
      throw;
    }
  } catch (...) {
    state.setWrappedValue(RecorderState::idle);
    isRecording.set(false);
    pipelines.setWrappedValue({});
    tellProviderDidStop();
    throw;
  }

  const std::size_t count = prepared.size();
  clock.setWrappedValue(Clock{std::nullopt, std::nullopt, true});
  pipelines.setWrappedValue(std::move(prepared));
  state.setWrappedValue(RecorderState::recording);
  isRecording.set(true);
  onMain([this] { notificationCenter.post(std::string(recordingDidStartNotification)); });
  logger.info("Recording started successfully ({} output(s))", count);
}

// MARK: Stop and finalisation

Ending TavoRecorder::Core::endClock() {
  Ending ending;
  ending.locationTitle = locationHandler->currentLocationTitle();
  isRecording.set(false);
  isRecordingPaused.set(false);
  clock.mutate([&](Clock& c) {
    if (c.recordingStartTime && c.recordingLatestTime) {
      ending.length = (*c.recordingLatestTime - *c.recordingStartTime).seconds();
    }
    c = Clock{};
    displayDuration.set(std::nullopt);
  });
  pauseLock.whileLocked([this] {
    accumulatedPauseDuration = kCMTimeZero;
    pauseStartTime.reset();
  });
  return ending;
}

Finalisation TavoRecorder::Core::finalise(const Pipelines& list, const OutputPipeline* excluded) {
  Finalisation result;
  std::vector<TavoWriter::Counts> counts;
  for (const auto& pipeline : list) {
    if (pipeline.get() != excluded) {
      pipeline->videoWriteTask.drain();
      pipeline->audioWriteTask.drain();
    }
    pipeline->isClosed = true;
    if (pipeline->hasFailed) {
      ++result.failedCount;
      pipeline->writer.abort();
    } else {
      try {
        pipeline->writer.finish();
        result.savedPaths.push_back(pipeline->url.path());
      } catch (...) {
        if (!result.firstError) result.firstError = std::current_exception();
        ++result.failedCount;
        pipeline->writer.abort();
      }
    }
    counts.push_back(pipeline->writer.counts());
  }
  if (!list.empty()) lastCounts.setWrappedValue(std::move(counts));
  return result;
}

void TavoRecorder::Core::postFinished(const Finalisation& result, const Ending& ending) const {
  NotificationUserInfo info;
  info["path"] = result.savedPaths.empty() ? std::string() : result.savedPaths.front();
  info["paths"] = result.savedPaths;
  info["numberOfFiles"] = static_cast<int>(result.savedPaths.size());
  info["failedCount"] = result.failedCount;
  info["locationTitle"] = ending.locationTitle;
  info["length"] = ending.length;
  onMain([&] { notificationCenter.post(std::string(recordingDidFinishNotification), nullptr, std::move(info)); });
}

void TavoRecorder::Core::stop() {
  state.mutate([](RecorderState& current) {
    if (current != RecorderState::recording) {
      current = RecorderState::idle;
      throw VideoRecorderError::noRecordingInProgress();
    }
    current = RecorderState::stopping;
  });
  const Ending ending = endClock();
  const Pipelines list = pipelines.mutate([](Pipelines& live) { return std::exchange(live, {}); });
  const Finalisation result = finalise(list, nullptr);
  state.setWrappedValue(RecorderState::idle);
  tellProviderDidStop();

  if (result.savedPaths.empty() && result.firstError) std::rethrow_exception(result.firstError);
  logger.info("Recording stopped successfully ({} file(s))", result.savedPaths.size());
  postFinished(result, ending);
  if (result.firstError) std::rethrow_exception(result.firstError);
}

void TavoRecorder::Core::toggle(const std::optional<Configuration>& configuration) {
  switch (state.wrappedValue()) {
    case RecorderState::idle:
      start(configuration);
      return;
    case RecorderState::recording:
      stop();
      return;
    case RecorderState::starting:
    case RecorderState::stopping:
      break;
  }
  logger.error("Recording operation already in progress, ignoring toggle request");
  throw VideoRecorderError::invalidState("Operation already in progress");
}

void TavoRecorder::Core::failPipeline(const std::shared_ptr<OutputPipeline>& pipeline,
                                      const std::exception_ptr& error) {
  pipeline->hasFailed = true;
  const std::string role(rawValue(pipeline->role));
  const bool isFirstFailure = state.mutate([](RecorderState& current) {
    if (current != RecorderState::recording) return false;
    current = RecorderState::stopping;
    return true;
  });
  if (!isFirstFailure) {
    logger.error("Output {} failed during teardown: {}", role, describe(error));
    return;
  }
  const Ending ending = endClock();
  logger.error("Output {} failed, finalising the rest: {}", role, describe(error));
  const Pipelines list = pipelines.mutate([](Pipelines& live) { return std::exchange(live, {}); });
  const Finalisation result = finalise(list, pipeline.get());
  state.setWrappedValue(RecorderState::idle);
  tellProviderDidStop();

  if (!result.savedPaths.empty()) {
    const std::size_t saved = result.savedPaths.size();
    logger.error("Recording saved {} of {} file(s)", saved, saved + static_cast<std::size_t>(result.failedCount));
    postFinished(result, ending);
  } else {
    onMain([&] {
      notificationCenter.post(std::string(recordingDidFailNotification), nullptr, NotificationUserInfo{{"error", error}});
    });
  }
}

// MARK: The frame path

bool TavoRecorder::Core::acceptsBuffers(const char* medium) {
  const RecorderState current = state.wrappedValue();
  if (current == RecorderState::recording) return true;
  ++droppedBuffers;
  logger.debug("Dropping {} frame — recorder state is {}", medium, name(current));
  return false;
}

std::optional<CMSampleBuffer> TavoRecorder::Core::pauseDecision(const CMSampleBuffer& buffer,
                                                                bool isInPauseTransition) {
  const CMTime t = CMSampleBufferGetPresentationTimeStamp(buffer);
  std::optional<CMSampleBuffer> kept = pauseLock.whileLocked([&]() -> std::optional<CMSampleBuffer> {
    if (isRecordingPaused.value()) {
      if (!pauseStartTime) pauseStartTime = t;
      return std::nullopt;
    }
    if (pauseStartTime) {
      // The resume transition is still running until a buffer arrives that is not part of it.
      if (isInPauseTransition) return std::nullopt;
      accumulatedPauseDuration = accumulatedPauseDuration + (t - *pauseStartTime);
      pauseStartTime.reset();
    }
    if (CMTimeCompare(accumulatedPauseDuration, kCMTimeZero) > 0) {
      if (auto shifted = shiftingTimestamps(buffer, kCMTimeZero - accumulatedPauseDuration)) return shifted;
    }
    return buffer;
  });
  if (!kept) ++droppedBuffers;
  return kept;
}

// `isLead`: whether `pipeline` was the first of the live list when the caller looked it up, in the
// same look-up, so that the capture path takes the list's lock once.
void TavoRecorder::Core::enqueue(CMSampleBuffer buffer, const MediaStreamType& mediaType,
                                 const std::shared_ptr<OutputPipeline>& pipeline, bool isLead) {
  if (pipeline->hasFailed) return;
  pipeline->writeQueue(mediaType).async(
      [weak = weak_from_this(), pipeline, buffer = std::move(buffer), mediaType, isLead] {
        const std::shared_ptr<Core> core = weak.lock();
        if (core) core->runWrite(pipeline, buffer, mediaType, isLead);
      });
}

void TavoRecorder::Core::runWrite(const std::shared_ptr<OutputPipeline>& pipeline, const CMSampleBuffer& buffer,
                                  const MediaStreamType& mediaType, bool isLead) {
  if (pipeline->hasFailed || pipeline->isClosed) return;
  try {
    pipeline->writer.write(buffer, mediaType);
  } catch (...) {
    const std::exception_ptr error = std::current_exception();
    logger.error("Failed to write {} buffer for the {} canvas: {}", mediaType.words(), rawValue(pipeline->role),
                 describe(error));
    failPipeline(pipeline, error);
    return;
  }
  if (!mediaType.isVideo() || !isLead) return;
  const CMTime p = CMSampleBufferGetPresentationTimeStamp(buffer);
  clock.mutate([&](Clock& c) {
    if (!c.isRunning) return;
    if (!c.recordingStartTime) c.recordingStartTime = p;
    c.recordingLatestTime = p;
    displayDuration.set(humanReadable(p - *c.recordingStartTime));
  });
}

// MARK: TavoRecorder

TavoRecorder::TavoRecorder(AssetWriterFactory& writerFactory, std::shared_ptr<RecorderLocationHandler> locationHandler,
                           const ProfileManager* profileManager, std::shared_ptr<UserDefaults> userDefaults,
                           MainContextDispatcher mainContext, NotificationCenter& notificationCenter)
    : core_(std::make_shared<Core>(writerFactory, std::move(locationHandler), profileManager, std::move(userDefaults),
                                   std::move(mainContext), notificationCenter)) {}

TavoRecorder::~TavoRecorder() = default;

TavoRecorder& TavoRecorder::shared() {
  static TavoRecorder recorder;
  return recorder;
}

std::shared_ptr<TavoRecorderSettingsProvider> TavoRecorder::settingsProvider() const { return core_->provider(); }

void TavoRecorder::setSettingsProvider(const std::shared_ptr<TavoRecorderSettingsProvider>& provider) {
  core_->settingsProvider.setWrappedValue(provider);
}

ObservableValue<bool>& TavoRecorder::isRecording() { return core_->isRecording; }
ObservableValue<bool>& TavoRecorder::isRecordingPaused() { return core_->isRecordingPaused; }
ObservableValue<std::optional<std::string>>& TavoRecorder::displayDuration() { return core_->displayDuration; }

bool TavoRecorder::shouldDelayRecordingForBroadcast() const { return core_->shouldDelayRecordingForBroadcast; }
void TavoRecorder::setShouldDelayRecordingForBroadcast(bool value) { core_->shouldDelayRecordingForBroadcast = value; }

void TavoRecorder::startRecording(const std::optional<Configuration>& configuration) { core_->start(configuration); }
void TavoRecorder::stopRecording() { core_->stop(); }
void TavoRecorder::toggleRecording(const std::optional<Configuration>& configuration) { core_->toggle(configuration); }

void TavoRecorder::pauseRecording() {
  if (core_->state.wrappedValue() != RecorderState::recording || core_->isRecordingPaused.value()) return;
  core_->isRecordingPaused.set(true);
  core_->logger.info("Recording paused");
}

void TavoRecorder::resumeRecording() {
  if (!core_->isRecordingPaused.value()) return;
  core_->isRecordingPaused.set(false);
  core_->logger.info("Recording resumed");
}

void TavoRecorder::writeVideo(const CMSampleBuffer& sampleBuffer, CanvasRole role, bool isInPauseTransition) noexcept {
  try {
    if (!core_->acceptsBuffers("video")) return;
    bool isLead = false;
    std::shared_ptr<OutputPipeline> pipeline = core_->pipelines.mutate([&](Pipelines& live) {
      for (const auto& candidate : live) {
        if (candidate->role != role) continue;
        isLead = candidate == live.front();
        return candidate;
      }
      return std::shared_ptr<OutputPipeline>();
    });
    if (!pipeline) return;
    std::optional<CMSampleBuffer> kept = core_->pauseDecision(sampleBuffer, isInPauseTransition);
    if (!kept) return;
    core_->enqueue(std::move(*kept), MediaStreamType::video(), pipeline, isLead);
  } catch (const std::exception& e) {
    core_->logger.error("Dropping video frame: {}", e.what());
  }
}

void TavoRecorder::writeAudio(const CMSampleBuffer& sampleBuffer, bool isInPauseTransition) noexcept {
  try {
    if (!core_->acceptsBuffers("audio")) return;
    const Pipelines live = core_->pipelines.wrappedValue();
    if (live.empty()) return;
    std::optional<CMSampleBuffer> kept = core_->pauseDecision(sampleBuffer, isInPauseTransition);
    if (!kept) return;
    const MediaStreamType audio = MediaStreamType::audio();
    if (live.size() == 1) {
      core_->enqueue(std::move(*kept), audio, live.front(), true);
      return;
    }
    // Each output gets its own buffer; the copies share the samples.
    for (std::size_t i = 0; i < live.size(); ++i) core_->enqueue(CMSampleBufferCreateCopy(*kept), audio, live[i], i == 0);
  } catch (const std::exception& e) {
    core_->logger.error("Dropping audio frame: {}", e.what());
  }
}

CMTime TavoRecorder::duration() const {
  return core_->clock.mutate([](const Core::Clock& c) {
    if (c.recordingStartTime && c.recordingLatestTime) return *c.recordingLatestTime - *c.recordingStartTime;
    return kCMTimeZero;
  });
}

std::vector<Url> TavoRecorder::inProgressOutputURLs() const {
  return core_->pipelines.mutate([](const Pipelines& live) {
    std::vector<Url> urls;
    urls.reserve(live.size());
    for (const auto& pipeline : live) urls.push_back(pipeline->url);
    return urls;
  });
}

std::int64_t TavoRecorder::recordedFileSize() const {
  std::int64_t total = 0;
  for (const auto& pipeline : core_->pipelines.wrappedValue()) total += pipeline->writer.recordedFileSize();
  return total;
}

std::vector<TavoWriter::Counts> TavoRecorder::writerCounts() const {
  const Pipelines live = core_->pipelines.wrappedValue();
  if (live.empty()) return core_->lastCounts.wrappedValue();
  std::vector<TavoWriter::Counts> counts;
  counts.reserve(live.size());
  for (const auto& pipeline : live) counts.push_back(pipeline->writer.counts());
  return counts;
}

std::int64_t TavoRecorder::droppedBufferCount() const { return core_->droppedBuffers; }

void TavoRecorder::saveInterruptedRecording() {
  std::thread([] { TavoWriter::saveInterruptedRecording(); }).detach();
}

}  // namespace tav
