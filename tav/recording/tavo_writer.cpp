#include "tav/recording/tavo_writer.hpp"

#include <atomic>
#include <future>
#include <stdexcept>
#include <system_error>

#include "tav/recording/encoder_support.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/video_recorder_error.hpp"

namespace tav {

namespace {

const Logger& staticLogger() {
  static const Logger instance("TavoWriter");
  return instance;
}

std::string settingsText(const MediaSettings& settings) { return encodeJson(JsonValue(settings)); }

std::string errorText(const AssetWriter& writer) { return writer.error().value_or("none"); }

/// The failure of a media writer as an exception of its own text, or `fallback` when it has none.
[[noreturn]] void throwWriterError(const AssetWriter& writer, const VideoRecorderError& fallback) {
  if (auto error = writer.error()) throw std::runtime_error(*error);
  throw fallback;
}

}  // namespace

TavoWriter::TavoWriter(bool isLead, AssetWriterFactory& factory, std::shared_ptr<UserDefaults> userDefaults,
                       const EncoderSupport& encoderSupport)
    : isLead_(isLead), factory_(factory), userDefaults_(std::move(userDefaults)), encoderSupport_(encoderSupport) {}

TavoWriter::~TavoWriter() = default;

const char* TavoWriter::name(WriterState state) {
  switch (state) {
    case WriterState::idle:
      return "idle";
    case WriterState::preparing:
      return "preparing";
    case WriterState::writing:
      return "writing";
    case WriterState::stopping:
      return "stopping";
  }
  return "idle";
}

void TavoWriter::start(const Url& outputURL, const std::optional<MediaSettings>& videoSettings,
                       const std::optional<MediaSettings>& audioSettings, bool includesVideo, FileType fileType,
                       const std::vector<MetadataItem>& metadata) {
  std::lock_guard lock(mutex_);
  if (state_ != WriterState::idle) {
    throw VideoRecorderError::invalidState(std::string("Cannot start recording: writer is in ") + name(state_) +
                                           " state");
  }
  state_ = WriterState::preparing;
  auto wrapper = std::make_shared<WriterWrapper>();
  // A throw here leaves the writer preparing: its owner drops it.
  wrapper->writer = factory_.makeWriter(outputURL.filePath(), fileType);
  AssetWriter& writer = *wrapper->writer;

  // One-second fragments keep a file readable up to its last second when the process dies.
  if (fileType == FileType::quickTimeMovie) writer.setMovieFragmentInterval(CMTime::withSeconds(1.0, 1));
  if (!metadata.empty()) writer.setMetadata(metadata);

  outputURL_ = outputURL;
  if (isLead_) setCurrentOutputURL(outputURL);
  logger_.info("Output URL: {}", outputURL.filePath().string());

  if (audioSettings) {
    auto channels = audioSettings->find(AVNumberOfChannelsKey);
    const bool noChannels = channels != audioSettings->end() &&
                            ((channels->value().is_int64() && channels->value().get_int64() == 0) ||
                             (channels->value().is_uint64() && channels->value().get_uint64() == 0));
    if (noChannels) {
      logger_.error("Provided number of channels is 0, defaulting to no audio");
    } else {
      wrapper->audioInput = factory_.makeInput(MediaStreamType::audio(), audioSettings);
      wrapper->audioInput->setExpectsMediaDataInRealTime(true);
      writer.addInput(wrapper->audioInput);
      logger_.info("Configured with audio settings: {}", settingsText(*audioSettings));
    }
  }
  if (includesVideo) {
    MediaSettings settings = videoSettings ? *videoSettings : encoderSupport_.defaultVideoSettings();
    wrapper->videoInput = factory_.makeInput(MediaStreamType::video(), settings);
    wrapper->videoInput->setExpectsMediaDataInRealTime(true);
    writer.addInput(wrapper->videoInput);
    logger_.info("Configured with video settings: {}", settingsText(settings));
  }

  writerWrapper_ = std::move(wrapper);
  sessionStartTime_.reset();
  counts_ = Counts{};
  state_ = WriterState::idle;
  logger_.info("Configured AVAssetWriter and inputs. Ready to record.");
}

void TavoWriter::write(const CMSampleBuffer& sampleBuffer, const MediaStreamType& mediaType) {
  std::lock_guard lock(mutex_);
  if (!writerWrapper_) {
    throw VideoRecorderError::invalidState("Attempted to write to asset writer before it was initialized.");
  }
  WriterWrapper& wrapper = *writerWrapper_;
  AssetWriter& writer = *wrapper.writer;
  const CMTime pts = CMSampleBufferGetPresentationTimeStamp(sampleBuffer);

  if (state_ == WriterState::idle) {
    const AssetWriterStatus status = writer.status();
    switch (status) {
      case AssetWriterStatus::failed:
        throwWriterError(writer, VideoRecorderError::unknown());
      case AssetWriterStatus::writing:
        state_ = WriterState::writing;
        break;
      case AssetWriterStatus::unknown:
        // The file starts at its first video frame: audio before it would give the file a leading gap.
        if (!mediaType.isVideo() && wrapper.videoInput) {
          ++counts_.audioDropCount;
          return;
        }
        state_ = WriterState::writing;
        if (!writer.startWriting()) {
          state_ = WriterState::idle;
          logger_.error("startWriting() failed: {}", errorText(writer));
          throw VideoRecorderError::fileCreationFailed();
        }
        sessionStartTime_ = pts;
        writer.startSession(pts);
        logger_.info("Recording session started at first {} sample", mediaType.words());
        break;
      default:
        throw VideoRecorderError::invalidState("Asset writer in unexpected state: " +
                                               std::to_string(static_cast<int>(status)));
    }
  }
  if (state_ != WriterState::writing) return;

  if (mediaType.isAudio() && sessionStartTime_ && CMTimeCompare(pts, *sessionStartTime_) < 0) {
    ++counts_.audioDropCount;
    return;
  }
  if (writer.status() == AssetWriterStatus::failed) {
    logger_.error("Writer flipped to .failed mid-session: {}", errorText(writer));
    throwWriterError(writer, VideoRecorderError::fileCreationFailed());
  }

  AssetWriterInput* input = nullptr;
  std::int64_t* frames = nullptr;
  std::int64_t* drops = nullptr;
  if (mediaType.isVideo()) {
    input = wrapper.videoInput.get();
    frames = &counts_.videoFrameCount;
    drops = &counts_.videoDropCount;
  } else if (mediaType.isAudio()) {
    input = wrapper.audioInput.get();
    frames = &counts_.audioFrameCount;
    drops = &counts_.audioDropCount;
  }
  if (input == nullptr) throw VideoRecorderError::unsupportedMediaType(mediaType);

  if (!input->isReadyForMoreMediaData()) {
    dropNotReady(*drops, mediaType);
    return;
  }
  if (!input->append(sampleBuffer)) {
    logger_.error("append() failed for {}. Writer status: {}, error: {}", mediaType.words(),
                  static_cast<int>(writer.status()), errorText(writer));
    throw VideoRecorderError::fileCreationFailed();
  }
  ++*frames;
}

void TavoWriter::dropNotReady(std::int64_t& counter, const MediaStreamType& mediaType) {
  ++counter;
  if (counter == 1 || counter % 100 == 0) {
    logger_.error("{} input not ready — dropped {} frames so far", mediaType.words(), counter);
  }
}

void TavoWriter::finish() {
  std::shared_ptr<WriterWrapper> wrapper;
  {
    std::lock_guard lock(mutex_);
    if (!writerWrapper_) {
      throw VideoRecorderError::invalidState("Attempted to stop asset writer before it was initialized.");
    }
    if (state_ != WriterState::writing) {
      throw VideoRecorderError::invalidState(std::string("Cannot stop recording: writer is in ") + name(state_) +
                                             " state");
    }
    state_ = WriterState::stopping;
    wrapper = writerWrapper_;
    if (wrapper->videoInput) wrapper->videoInput->markAsFinished();
    if (wrapper->audioInput) wrapper->audioInput->markAsFinished();
  }
  // Wait without the lock: writes that arrive meanwhile find `stopping` and are dropped.
  std::promise<void> finished;
  std::future<void> done = finished.get_future();
  wrapper->writer->finishWriting([&finished] { finished.set_value(); });
  done.wait();

  std::lock_guard lock(mutex_);
  logger_.info("Recording stats — video: {} written, {} dropped | audio: {} written, {} dropped", counts_.videoFrameCount,
               counts_.videoDropCount, counts_.audioFrameCount, counts_.audioDropCount);
  writerWrapper_.reset();
  if (isLead_) setCurrentOutputURL(std::nullopt);
  outputURL_.reset();
  logger_.info("Successfully finished recording");
  state_ = WriterState::idle;
}

void TavoWriter::abort() noexcept {
  std::shared_ptr<WriterWrapper> wrapper;
  {
    std::lock_guard lock(mutex_);
    wrapper = std::move(writerWrapper_);
    writerWrapper_.reset();
    if (wrapper && wrapper->writer->status() == AssetWriterStatus::writing) {
      if (wrapper->videoInput) wrapper->videoInput->markAsFinished();
      if (wrapper->audioInput) wrapper->audioInput->markAsFinished();
      wrapper->writer->cancelWriting();
    }
    try {
      if (isLead_) setCurrentOutputURL(std::nullopt);
    } catch (const std::exception& error) {
      logger_.error("Could not clear the recording mark: {}", error.what());
    }
    outputURL_.reset();
    sessionStartTime_.reset();
    state_ = WriterState::idle;
  }
  if (wrapper) {
    std::error_code ignored;
    const std::filesystem::path file = wrapper->writer->outputURL();
    if (std::filesystem::exists(file, ignored)) std::filesystem::remove(file, ignored);
  }
  logger_.info("Writer aborted; state reset");
}

std::int64_t TavoWriter::recordedFileSize() {
  std::lock_guard lock(mutex_);
  if (!outputURL_) return 0;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(outputURL_->filePath(), error);
  if (!error) {
    checkingFileErrors_ = 0;
    return static_cast<std::int64_t>(size);
  }
  ++checkingFileErrors_;
  // The file does not exist until the first buffer; only a lasting failure is worth a line.
  if (checkingFileErrors_ >= 4) logger_.error("Can't get recorded file size: {}", error.message());
  return 0;
}

TavoWriter::Counts TavoWriter::counts() const {
  std::lock_guard lock(mutex_);
  return counts_;
}

std::optional<CMTime> TavoWriter::sessionStartTime() const {
  std::lock_guard lock(mutex_);
  return sessionStartTime_;
}

void TavoWriter::setCurrentOutputURL(const std::optional<Url>& url) { currentOutputURL(userDefaults_).set(url); }

MediaSettings TavoWriter::defaultVideoSettings() { return EncoderSupport::shared().defaultVideoSettings(); }

bool TavoWriter::supportsHEVCEncoding() { return EncoderSupport::shared().supportsHEVCEncoding(); }

void TavoWriter::setSupportsHEVCEncoding(bool value) { EncoderSupport::shared().setSupportsHEVCEncoding(value); }

CodableUserDefault<std::optional<Url>> TavoWriter::currentOutputURL(std::shared_ptr<UserDefaults> userDefaults) {
  return CodableUserDefault<std::optional<Url>>("CURRENT_RECORDING_FILE_URL", std::nullopt, std::move(userDefaults));
}

void TavoWriter::saveInterruptedRecording(std::shared_ptr<UserDefaults> userDefaults, MediaLibrary& mediaLibrary) {
  auto mark = currentOutputURL(userDefaults);
  std::optional<Url> url = mark.get();
  if (!url) return;
  // Only the temporary directory is searched, wherever the recording was going.
  const std::filesystem::path recovery = std::filesystem::temp_directory_path() / url->lastPathComponent();
  std::error_code error;
  if (!std::filesystem::exists(recovery, error)) {
    mark.set(std::nullopt);
    return;
  }
  try {
    saveToPhotoLibrary(Url::fileUrl(recovery), mediaLibrary);
  } catch (const std::exception& failure) {
    staticLogger().error("Failed to save interrupted recording to photo library: {}", failure.what());
  }
  // The mark stays: the save moved the file, so the next launch finds nothing and clears it.
}

void TavoWriter::saveToPhotoLibrary(const Url& fileURL, MediaLibrary& mediaLibrary) {
  const Logger& logger = staticLogger();
  const std::filesystem::path file = fileURL.filePath();
  if (mediaLibrary.requestAuthorization(MediaLibraryAccessLevel::addOnly) != MediaLibraryAuthorizationStatus::authorized) {
    logger.error("Could not save the recording to photo library: no permission");
    throw VideoRecorderError::missingPhotoLibraryPermission();
  }
  try {
    mediaLibrary.addVideoResource(file, true);
  } catch (const std::exception& error) {
    logger.error("Could not save the recording to photo library: {}", error.what());
    throw VideoRecorderError::failedToSaveToPhotoLibrary();
  }
  std::error_code error;
  if (!std::filesystem::exists(file, error)) return;
  if (!std::filesystem::remove(file, error) || error) {
    logger.error("Could not save the recording to photo library: {}", error.message());
    throw VideoRecorderError::failedToSaveToPhotoLibrary();
  }
  logger.info("Saved the recording to photo library");
}

}  // namespace tav
