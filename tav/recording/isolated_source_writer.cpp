#include "tav/recording/isolated_source_writer.hpp"

#include <cmath>
#include <cstring>
#include <exception>
#include <utility>

#include "tav/contracts/audio_pcm_buffer.hpp"
#include "tav/recording/isolated_seconds_text.hpp"
#include "tav/recording/sample_buffer_shifting.hpp"

namespace tav {

namespace {

constexpr std::uint32_t kAudioFormatFlagIsNonInterleaved = 32;

std::string lowercased(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

IsolatedSourceWriter::IsolatedSourceWriter(std::string sourceID, std::string fileBaseName, const Url& fileURL,
                                           bool includesVideo, std::optional<MediaSettings> videoSettings,
                                           std::optional<MediaSettings> audioSettings, CMTime audioTimeOffset,
                                           std::vector<MetadataItem> metadata, FailureCallback onFailure,
                                           AssetWriterFactory& factory)
    : sourceID_(std::move(sourceID)),
      fileBaseName_(std::move(fileBaseName)),
      includesVideo_(includesVideo),
      includesAudio_(audioSettings.has_value()),
      audioTimeOffset_(audioTimeOffset),
      writer_(std::make_shared<TavoWriter>(false, factory)),
      onFailure_(std::move(onFailure)),
      videoQueue_(std::make_unique<SerialQueue>("com.morvane.IsolatedSourceWriter.video")),
      audioQueue_(std::make_unique<SerialQueue>("com.morvane.IsolatedSourceWriter.audio")) {
  const std::string extension = lowercased(fileURL.filePath().extension().string());
  const FileType fileType = extension == ".m4a" ? FileType::appleM4A : FileType::quickTimeMovie;

  // The start task holds what it needs by value: the writer may be dropped before it runs.
  auto promise = std::make_shared<std::promise<bool>>();
  startTask_ = promise->get_future().share();
  videoQueue_->async([promise, writer = writer_, id = sourceID_, logger = logger_, fileURL,
                      videoSettings = std::move(videoSettings), audioSettings = std::move(audioSettings), includesVideo,
                      fileType, metadata = std::move(metadata)] {
    try {
      writer->start(fileURL, videoSettings, audioSettings, includesVideo, fileType, metadata);
      promise->set_value(true);
    } catch (const std::exception& e) {
      logger.error("Isolated writer failed to start for {}: {}", id, e.what());
      promise->set_value(false);
    }
  });
}

IsolatedSourceWriter::~IsolatedSourceWriter() = default;

std::shared_ptr<IsolatedSourceWriter> IsolatedSourceWriter::create(
    std::string sourceID, std::string fileBaseName, const Url& fileURL, bool includesVideo,
    std::optional<MediaSettings> videoSettings, std::optional<MediaSettings> audioSettings, CMTime audioTimeOffset,
    std::vector<MetadataItem> metadata, FailureCallback onFailure, AssetWriterFactory& factory) {
  return std::make_shared<IsolatedSourceWriter>(std::move(sourceID), std::move(fileBaseName), fileURL, includesVideo,
                                                std::move(videoSettings), std::move(audioSettings), audioTimeOffset,
                                                std::move(metadata), std::move(onFailure), factory);
}

void IsolatedSourceWriter::appendVideo(const CMSampleBuffer& sampleBuffer) {
  if (hasFailed_.load() || isFinished_.load()) return;
  enqueue(sampleBuffer, Medium::video);
}

void IsolatedSourceWriter::appendAudio(const CMSampleBuffer& sampleBuffer) {
  if (!includesAudio_ || hasFailed_.load() || isFinished_.load()) return;
  CMSampleBuffer shifted = sampleBuffer;
  if (CMTimeCompare(audioTimeOffset_, kCMTimeZero) != 0) {
    std::optional<CMSampleBuffer> moved = shiftingTimestamps(sampleBuffer, audioTimeOffset_);
    if (!moved) return;
    shifted = std::move(*moved);
  }
  // A file with video starts at its first frame and drops earlier audio, so only an audio-only stem
  // can carry the delay as silence.
  if (!includesVideo_ && CMTimeCompare(audioTimeOffset_, kCMTimeZero) > 0 && !didWriteLeadingSilence_.exchange(true)) {
    std::optional<CMSampleBuffer> silence =
        silentBuffer(shifted, audioTimeOffset_, CMSampleBufferGetPresentationTimeStamp(shifted));
    if (silence) {
      enqueue(*silence, Medium::audio);
    } else {
      logger_.error("Isolated writer for {} could not pad its {}s delay; the stem will run early", sourceID_,
                    detail::isolatedSecondsText(audioTimeOffset_.seconds()));
    }
  }
  enqueue(shifted, Medium::audio);
}

void IsolatedSourceWriter::enqueue(const CMSampleBuffer& sampleBuffer, Medium medium) {
  const CMTime time = CMSampleBufferGetPresentationTimeStamp(sampleBuffer);
  if (!time.isValid()) return;
  Lane& slot = lane(medium);
  bool regressed = false;
  {
    std::lock_guard lock(slot.mutex);
    if (slot.lastTime && CMTimeCompare(time, *slot.lastTime) < 1) {
      regressed = true;
    } else {
      slot.lastTime = time;
      // A writer held by shared_ptr is reached weakly, so that a task never keeps it alive; one that is not
      // (a local) outlives its tasks anyway, since its destructor stops the queues first.
      std::weak_ptr<IsolatedSourceWriter> weak = weak_from_this();
      IsolatedSourceWriter* local = weak.expired() ? this : nullptr;
      queue(medium).async([weak = std::move(weak), local, sampleBuffer, medium] {
        if (auto self = weak.lock()) {
          self->write(sampleBuffer, medium);
        } else if (local != nullptr) {
          local->write(sampleBuffer, medium);
        }
      });
    }
  }
  if (regressed && !didLogRegression_.exchange(true)) {
    logger_.info("Isolated writer for {} dropped a {} buffer whose timestamp did not advance", sourceID_, name(medium));
  }
}

void IsolatedSourceWriter::write(const CMSampleBuffer& sampleBuffer, Medium medium) {
  if (!startTask_.get()) return;
  if (hasFailed_.load()) return;
  try {
    writer_->write(sampleBuffer, medium == Medium::video ? MediaStreamType::video() : MediaStreamType::audio());
  } catch (const std::exception& e) {
    if (isFinished_.load()) {
      logger_.info("Isolated writer for {} dropped a late {} buffer after finalising", sourceID_, name(medium));
      return;
    }
    fail(e.what());
  }
}

void IsolatedSourceWriter::fail(const std::string& description) {
  if (hasFailed_.exchange(true)) return;
  logger_.error("Isolated writer for {} failed; dropping this source: {}", sourceID_, description);
  writer_->abort();
  if (onFailure_) onFailure_(sourceID_);
}

void IsolatedSourceWriter::awaitPendingWork() {
  startTask_.wait();
  videoQueue_->drain();
  audioQueue_->drain();
}

void IsolatedSourceWriter::finalise() {
  isFinished_.store(true);
  awaitPendingWork();
  if (hasFailed_.load()) return;
  try {
    writer_->finish();
  } catch (const std::exception& e) {
    logger_.info("Isolated writer for {} had nothing to finalise; discarding: {}", sourceID_, e.what());
    writer_->abort();
  }
}

void IsolatedSourceWriter::abort() {
  isFinished_.store(true);
  awaitPendingWork();
  writer_->abort();
}

std::optional<CMSampleBuffer> IsolatedSourceWriter::silentBuffer(const CMSampleBuffer& reference, CMTime span,
                                                                 CMTime endTime) {
  const std::optional<AudioFormat> format = AudioFormat::of(reference);
  if (!format) return std::nullopt;
  const AudioStreamBasicDescription description = format->streamDescription();
  if (!(description.mSampleRate > 0) || description.mBytesPerFrame == 0) return std::nullopt;
  const double frames = std::round(span.seconds() * description.mSampleRate);
  if (!(frames >= 1) || frames > 1e9) return std::nullopt;
  const bool nonInterleaved = (description.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0;
  const std::uint32_t bufferCount = nonInterleaved ? description.mChannelsPerFrame : 1;
  const double bytesPerBuffer = frames * description.mBytesPerFrame;
  if (bufferCount == 0 || bytesPerBuffer < 1) return std::nullopt;

  // Sample buffers hold non-interleaved float PCM, so the silence is one zeroed channel after another.
  const auto frameCount = static_cast<int>(frames);
  const auto channels = static_cast<int>(format->channelCount());
  const std::size_t count = static_cast<std::size_t>(channels) * static_cast<std::size_t>(frameCount);
  std::shared_ptr<float> samples(new (std::nothrow) float[count](), std::default_delete<float[]>());
  if (!samples) return std::nullopt;
  const CMTime start = endTime - span;
  if (!start.isValid()) return std::nullopt;
  return CMSampleBuffer::audio(
      AudioBufferData{channels, static_cast<std::int32_t>(description.mSampleRate), frameCount, std::move(samples)},
      start);
}

}  // namespace tav
