#include "tav/recording/tavo_recorder.hpp"

#include <array>
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

// How long a buffer may wait before its write runs. Posting then costs the capture thread no wake-up
// call; 2 ms is well inside what the writer's input queue absorbs.
constexpr std::chrono::microseconds kWritePollInterval{2000};

/// A buffer on its way to one output's writer. `isLead`: whether the output was the lead (first of the
/// live list) when the buffer was handed in.
struct WriteRequest {
  CMSampleBuffer buffer;
  bool isLead = false;
};

struct OutputPipeline;
/// Writes one request of the given medium; called on that medium's write queue.
using PipelineWrite =
    std::function<void(const std::shared_ptr<OutputPipeline>&, const WriteRequest&, const MediaStreamType&)>;

/// One output: its file, its writer, and one serial queue per medium, which keeps the buffers of
/// that medium in order and lets finalisation wait for every write handed in before it.
struct OutputPipeline : std::enable_shared_from_this<OutputPipeline> {
  OutputPipeline(CanvasRole role_, Url url_, bool isLead, AssetWriterFactory& factory,
                 std::shared_ptr<UserDefaults> userDefaults, const PipelineWrite& write)
      : role(role_),
        videoWriteTask("com.morvane.TavoRecorder.video", kWritePollInterval,
                       [this, write](WriteRequest& request) { writeHeld(write, request, MediaStreamType::video()); }),
        audioWriteTask("com.morvane.TavoRecorder.audio", kWritePollInterval,
                       [this, write](WriteRequest& request) { writeHeld(write, request, MediaStreamType::audio()); }),
        url(std::move(url_)),
        writer(isLead, factory, std::move(userDefaults)) {}

  PollingSerialQueue<WriteRequest>& writeQueue(bool isVideo) { return isVideo ? videoWriteTask : audioWriteTask; }

  // What the capture path reads comes first, so that it shares the object's first cache lines. The
  // writer goes before the queues while the object is destroyed; a queue's worker cannot reach it then,
  // because a write first takes a reference to the pipeline, which no longer succeeds.
  const CanvasRole role;
  std::atomic<bool> hasFailed{false};
  // Set once finalisation has waited for the queues: a buffer that slipped in after that is dropped
  // instead of reaching a finished writer.
  std::atomic<bool> isClosed{false};
  PollingSerialQueue<WriteRequest> videoWriteTask;
  PollingSerialQueue<WriteRequest> audioWriteTask;
  const Url url;
  TavoWriter writer;

 private:
  // The write holds the pipeline, so that a failure which drops the recorder's last reference to it
  // finds it alive until the write returns. A pipeline already being destroyed drops the request.
  void writeHeld(const PipelineWrite& write, const WriteRequest& request, const MediaStreamType& mediaType) {
    if (const std::shared_ptr<OutputPipeline> self = weak_from_this().lock()) write(self, request, mediaType);
  }
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
  // What the capture path needs for every buffer, under one lock, which is also the pause lock: the
  // recorder's state, its live outputs (the first is the lead) and the pause bookkeeping the pause
  // decision works from. `isPaused` is what the decision reads; isRecordingPaused, its public face, is
  // set under the same lock so that the two never disagree.
  struct Live {
    /// Where a canvas role's frames go: the first live pipeline of that role, and whether it is the lead.
    struct Route {
      OutputPipeline* pipeline = nullptr;
      bool isLead = false;
    };

    RecorderState state = RecorderState::idle;
    bool isPaused = false;
    // An index into `pipelines`, which owns what it points at; the two change together. With it,
    // routing a frame reads this struct and the pipeline, and nothing in between.
    std::array<Route, 2> routes{};
    Pipelines pipelines;
    CMTime accumulatedPauseDuration = kCMTimeZero;
    std::optional<CMTime> pauseStartTime;

    /// The route for `role`; none for a role outside the enumeration.
    const Route* route(CanvasRole role) const {
      const auto index = static_cast<std::size_t>(role);
      return index < routes.size() ? &routes[index] : nullptr;
    }
    void setPipelines(Pipelines list) {
      pipelines = std::move(list);
      routes = {};
      for (const auto& pipeline : pipelines) {
        const auto index = static_cast<std::size_t>(pipeline->role);
        if (index < routes.size() && routes[index].pipeline == nullptr) {
          routes[index] = Route{pipeline.get(), pipeline == pipelines.front()};
        }
      }
    }
  };
  Locked<Live> live;
  std::atomic<bool> shouldDelayRecordingForBroadcast{false};

  // The lead canvas's clock. Its lock also covers displayDuration's updates, so that a write finishing
  // during a stop cannot bring the display back after the stop cleared it.
  struct Clock {
    std::optional<CMTime> recordingStartTime;
    std::optional<CMTime> recordingLatestTime;
    bool isRunning = false;
  };
  Locked<Clock> clock;

  std::atomic<std::int64_t> droppedBuffers{0};
  Locked<std::vector<TavoWriter::Counts>> lastCounts;

  std::shared_ptr<TavoRecorderSettingsProvider> provider() const { return settingsProvider.wrappedValue().lock(); }

  RecorderState currentState() {
    return live.mutate([](const Live& now) { return now.state; });
  }
  Pipelines livePipelines() {
    return live.mutate([](const Live& now) { return now.pipelines; });
  }
  /// Takes the live outputs for finalisation; the capture path finds none from then on.
  Pipelines takePipelines() {
    return live.mutate([](Live& now) {
      Pipelines taken = std::move(now.pipelines);
      now.setPipelines({});
      return taken;
    });
  }
  void setIdle() {
    live.mutate([](Live& now) { now.state = RecorderState::idle; });
  }

  /// Pauses (only while recording) or resumes; false when that changed nothing.
  bool setPaused(bool paused) {
    return live.mutate([&](Live& now) {
      if (now.isPaused == paused || (paused && now.state != RecorderState::recording)) return false;
      now.isPaused = paused;
      isRecordingPaused.set(paused);
      return true;
    });
  }

  /// Back to no pause and no paused time, as at the start of a recording.
  void resetPauses() {
    live.mutate([this](Live& now) {
      now.isPaused = false;
      isRecordingPaused.set(false);
      now.accumulatedPauseDuration = kCMTimeZero;
      now.pauseStartTime.reset();
    });
  }

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
  /// The buffer as it goes to the writers (moved back by the time spent paused), or none while paused;
  /// called with `live`'s lock held. A recording that has never paused decides from three fields here,
  /// without leaving the capture path's code.
  std::optional<CMSampleBuffer> pauseDecision(Live& now, const CMSampleBuffer& buffer, bool isInPauseTransition) {
    const CMTime& paused = now.accumulatedPauseDuration;
    if (!now.isPaused && !now.pauseStartTime && paused.value == 0 && (paused.flags & kCMTimeFlags_Valid) != 0) {
      return buffer;
    }
    return pauseDecisionAfterPause(now, buffer, isInPauseTransition);
  }
  std::optional<CMSampleBuffer> pauseDecisionAfterPause(Live& now, const CMSampleBuffer& buffer,
                                                        bool isInPauseTransition);
  /// Counts and logs a buffer that came while the recorder was not recording.
  void dropForState(const char* medium, RecorderState current);
  void enqueue(CMSampleBuffer buffer, bool isVideo, OutputPipeline& pipeline, bool isLead);
  void runWrite(const std::shared_ptr<OutputPipeline>& pipeline, const CMSampleBuffer& buffer,
                const MediaStreamType& mediaType, bool isLead);
  void failPipeline(const std::shared_ptr<OutputPipeline>& pipeline, const std::exception_ptr& error);
  Ending endClock();
  Finalisation finalise(const Pipelines& list, const OutputPipeline* excluded);
  void postFinished(const Finalisation& result, const Ending& ending) const;
};

// MARK: Start

void TavoRecorder::Core::start(const std::optional<Configuration>& configuration) {
  live.mutate([](Live& now) {
    if (now.state != RecorderState::idle) {
      throw VideoRecorderError::invalidState(std::string("Cannot start recording: already in ") + name(now.state) +
                                             " state");
    }
    now.state = RecorderState::starting;
  });
  resetPauses();
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

    // Write tasks hold the recorder weakly: a recorder destroyed while recording drops what is queued.
    const PipelineWrite write = [weak = weak_from_this()](const std::shared_ptr<OutputPipeline>& pipeline,
                                                          const WriteRequest& request, const MediaStreamType& mediaType) {
      if (const std::shared_ptr<Core> core = weak.lock()) core->runWrite(pipeline, request.buffer, mediaType, request.isLead);
    };
    try {
      for (std::size_t i = 0; i < outputs.size(); ++i) {
        auto pipeline =
            std::make_shared<OutputPipeline>(outputs[i].role, urls[i], i == 0, writerFactory, userDefaults, write);
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
    live.setWrappedValue(Live{});
    isRecording.set(false);
    tellProviderDidStop();
    throw;
  }

  const std::size_t count = prepared.size();
  clock.setWrappedValue(Clock{std::nullopt, std::nullopt, true});
  live.mutate([&](Live& now) {
    now.state = RecorderState::recording;
    now.setPipelines(std::move(prepared));
  });
  isRecording.set(true);
  onMain([this] { notificationCenter.post(std::string(recordingDidStartNotification)); });
  logger.info("Recording started successfully ({} output(s))", count);
}

// MARK: Stop and finalisation

Ending TavoRecorder::Core::endClock() {
  Ending ending;
  ending.locationTitle = locationHandler->currentLocationTitle();
  isRecording.set(false);
  clock.mutate([&](Clock& c) {
    if (c.recordingStartTime && c.recordingLatestTime) {
      ending.length = (*c.recordingLatestTime - *c.recordingStartTime).seconds();
    }
    c = Clock{};
    displayDuration.set(std::nullopt);
  });
  resetPauses();
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
  live.mutate([](Live& now) {
    if (now.state != RecorderState::recording) {
      now.state = RecorderState::idle;
      throw VideoRecorderError::noRecordingInProgress();
    }
    now.state = RecorderState::stopping;
  });
  const Ending ending = endClock();
  const Finalisation result = finalise(takePipelines(), nullptr);
  setIdle();
  tellProviderDidStop();

  if (result.savedPaths.empty() && result.firstError) std::rethrow_exception(result.firstError);
  logger.info("Recording stopped successfully ({} file(s))", result.savedPaths.size());
  postFinished(result, ending);
  if (result.firstError) std::rethrow_exception(result.firstError);
}

void TavoRecorder::Core::toggle(const std::optional<Configuration>& configuration) {
  switch (currentState()) {
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
  const bool isFirstFailure = live.mutate([](Live& now) {
    if (now.state != RecorderState::recording) return false;
    now.state = RecorderState::stopping;
    return true;
  });
  if (!isFirstFailure) {
    logger.error("Output {} failed during teardown: {}", role, describe(error));
    return;
  }
  const Ending ending = endClock();
  logger.error("Output {} failed, finalising the rest: {}", role, describe(error));
  const Finalisation result = finalise(takePipelines(), pipeline.get());
  setIdle();
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

void TavoRecorder::Core::dropForState(const char* medium, RecorderState current) {
  ++droppedBuffers;
  logger.debug("Dropping {} frame — recorder state is {}", medium, name(current));
}

std::optional<CMSampleBuffer> TavoRecorder::Core::pauseDecisionAfterPause(Live& now, const CMSampleBuffer& buffer,
                                                                          bool isInPauseTransition) {
  const CMTime t = CMSampleBufferGetPresentationTimeStamp(buffer);
  if (now.isPaused) {
    if (!now.pauseStartTime) now.pauseStartTime = t;
  } else if (now.pauseStartTime && !isInPauseTransition) {
    // The first buffer after the resume transition ends the pause.
    now.accumulatedPauseDuration = now.accumulatedPauseDuration + (t - *now.pauseStartTime);
    now.pauseStartTime.reset();
  }
  if (now.pauseStartTime) {  // paused, or the resume transition is still running
    ++droppedBuffers;
    return std::nullopt;
  }
  if (CMTimeCompare(now.accumulatedPauseDuration, kCMTimeZero) > 0) {
    if (auto shifted = shiftingTimestamps(buffer, kCMTimeZero - now.accumulatedPauseDuration)) return shifted;
  }
  return buffer;
}

// `isLead`: whether `pipeline` is the first of the live list; called with the list's lock held.
void TavoRecorder::Core::enqueue(CMSampleBuffer buffer, bool isVideo, OutputPipeline& pipeline, bool isLead) {
  if (pipeline.hasFailed) return;
  pipeline.writeQueue(isVideo).post(WriteRequest{std::move(buffer), isLead});
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
  if (!core_->setPaused(true)) return;
  core_->logger.info("Recording paused");
}

void TavoRecorder::resumeRecording() {
  if (!core_->setPaused(false)) return;
  core_->logger.info("Recording resumed");
}

// The capture path takes the live state's lock once and posts while holding it: the list keeps each
// pipeline alive, so the path takes no reference of its own (a reference count that the write queues'
// workers change too would cost a cache line moving between cores on every frame). A capture thread
// arrives with cold caches after sleeping until its next frame, so every lock and every line touched
// shows in its time. Lock order: the live state, then a write queue's lock.
void TavoRecorder::writeVideo(const CMSampleBuffer& sampleBuffer, CanvasRole role, bool isInPauseTransition) noexcept {
  try {
    const RecorderState seen = core_->live.mutate([&](Core::Live& now) {
      if (now.state != RecorderState::recording) return now.state;
      const Core::Live::Route* route = now.route(role);
      if (route == nullptr || route->pipeline == nullptr) return now.state;
      std::optional<CMSampleBuffer> kept = core_->pauseDecision(now, sampleBuffer, isInPauseTransition);
      if (kept) core_->enqueue(std::move(*kept), true, *route->pipeline, route->isLead);
      return now.state;
    });
    if (seen != RecorderState::recording) core_->dropForState("video", seen);
  } catch (const std::exception& e) {
    core_->logger.error("Dropping video frame: {}", e.what());
  }
}

void TavoRecorder::writeAudio(const CMSampleBuffer& sampleBuffer, bool isInPauseTransition) noexcept {
  try {
    const RecorderState seen = core_->live.mutate([&](Core::Live& now) {
      const Pipelines& live = now.pipelines;
      if (now.state != RecorderState::recording || live.empty()) return now.state;
      std::optional<CMSampleBuffer> kept = core_->pauseDecision(now, sampleBuffer, isInPauseTransition);
      if (!kept) return now.state;
      // Each output after the first gets its own buffer; the copies share the samples.
      for (std::size_t i = 1; i < live.size(); ++i) core_->enqueue(CMSampleBufferCreateCopy(*kept), false, *live[i], false);
      core_->enqueue(std::move(*kept), false, *live.front(), true);
      return now.state;
    });
    if (seen != RecorderState::recording) core_->dropForState("audio", seen);
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
  return core_->live.mutate([](const Core::Live& now) {
    std::vector<Url> urls;
    urls.reserve(now.pipelines.size());
    for (const auto& pipeline : now.pipelines) urls.push_back(pipeline->url);
    return urls;
  });
}

std::int64_t TavoRecorder::recordedFileSize() const {
  std::int64_t total = 0;
  for (const auto& pipeline : core_->livePipelines()) total += pipeline->writer.recordedFileSize();
  return total;
}

std::vector<TavoWriter::Counts> TavoRecorder::writerCounts() const {
  const Pipelines live = core_->livePipelines();
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
