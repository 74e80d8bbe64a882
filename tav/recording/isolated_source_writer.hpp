// IsolatedSourceWriter: the default writer of one source's isolated file. It takes buffers from any
// number of capture threads without blocking them, prepares its TavoWriter in the background, keeps each
// medium in timestamp order, applies the source's audio delay (with leading silence for an audio-only
// stem), and fails, finishes or aborts without disturbing any other source.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/asset_writer.hpp"
#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/media_settings.hpp"
#include "tav/contracts/url.hpp"
#include "tav/foundation/serial_queue.hpp"
#include "tav/recording/isolated_source_writing.hpp"
#include "tav/recording/tavo_writer.hpp"

namespace tav {

/// Usually held through shared_ptr (`create`); a writer may also live on its own, its destructor then
/// waits for its queued writes. The file is prepared on the writer's video queue as soon
/// as it is made; video writes run in order on that queue, audio writes on a second one, and each write
/// waits for the preparation first. appendVideo and appendAudio may be called from any thread and only
/// take short locks; finalise, abort and recordedByteCount block and must not be called from the
/// writer's own queues (nor from `onFailure`). `onFailure` is called at most once, from a write task,
/// with the source ID, after the partial file has been removed.
class IsolatedSourceWriter final : public IsolatedSourceWriting,
                                   public std::enable_shared_from_this<IsolatedSourceWriter> {
 public:
  using FailureCallback = std::function<void(const std::string& sourceID)>;

  /// Starts preparing the file (".m4a" gives an M4A audio file, every other extension a QuickTime
  /// movie) and returns without waiting. `includesAudio` is true exactly when `audioSettings` are
  /// given. `factory` must outlive the writer.
  IsolatedSourceWriter(std::string sourceID, std::string fileBaseName, const Url& fileURL, bool includesVideo,
                       std::optional<MediaSettings> videoSettings, std::optional<MediaSettings> audioSettings,
                       CMTime audioTimeOffset, std::vector<MetadataItem> metadata, FailureCallback onFailure,
                       AssetWriterFactory& factory = defaultAssetWriterFactory());
  /// The same, held by a shared_ptr as the coordinator holds it.
  static std::shared_ptr<IsolatedSourceWriter> create(std::string sourceID, std::string fileBaseName,
                                                      const Url& fileURL, bool includesVideo,
                                                      std::optional<MediaSettings> videoSettings,
                                                      std::optional<MediaSettings> audioSettings,
                                                      CMTime audioTimeOffset, std::vector<MetadataItem> metadata,
                                                      FailureCallback onFailure,
                                                      AssetWriterFactory& factory = defaultAssetWriterFactory());
  ~IsolatedSourceWriter() override;
  IsolatedSourceWriter(const IsolatedSourceWriter&) = delete;
  IsolatedSourceWriter& operator=(const IsolatedSourceWriter&) = delete;

  const std::string& sourceID() const { return sourceID_; }
  const std::string& fileBaseName() const override { return fileBaseName_; }
  bool includesVideo() const override { return includesVideo_; }
  bool includesAudio() const { return includesAudio_; }
  CMTime audioTimeOffset() const { return audioTimeOffset_; }

  /// Queues a frame. Ignored after a failure or once finalise/abort began; a frame whose presentation
  /// time is invalid or does not come after the last accepted one is dropped (logged once per writer).
  void appendVideo(const CMSampleBuffer& sampleBuffer) override;
  /// Queues audio moved by `audioTimeOffset`. Ignored without audio settings, after a failure or once
  /// finalise/abort began. The first buffer of an audio-only file with a positive offset is preceded by
  /// silence covering the offset, so the stem starts where the source started.
  void appendAudio(const CMSampleBuffer& sampleBuffer) override;

  /// Waits for the preparation and every write queued before the call, then finishes the file; a file
  /// that never received a buffer is discarded (logged). Does nothing more after a failure.
  void finalise() override;
  /// Waits for the preparation and the queued writes, then removes the file, whatever happened before.
  void abort() override;
  std::int64_t recordedByteCount() override { return writer_->recordedFileSize(); }

  /// `span` of silence in the format of the audio `reference`, presented at `endTime - span`. Absent
  /// when the reference holds no usable audio format or the span is shorter than one sample.
  static std::optional<CMSampleBuffer> silentBuffer(const CMSampleBuffer& reference, CMTime span, CMTime endTime);

 private:
  enum class Medium { video, audio };
  static const char* name(Medium medium) { return medium == Medium::video ? "video" : "audio"; }

  struct Lane {
    std::mutex mutex;
    std::optional<CMTime> lastTime;  // guarded by mutex
  };
  Lane& lane(Medium medium) { return medium == Medium::video ? videoLane_ : audioLane_; }
  SerialQueue& queue(Medium medium) { return medium == Medium::video ? *videoQueue_ : *audioQueue_; }

  /// The timestamp guard and the queuing of one write, under the medium's lock so that the order of the
  /// writes is the order in which the guard accepted them.
  void enqueue(const CMSampleBuffer& sampleBuffer, Medium medium);
  void write(const CMSampleBuffer& sampleBuffer, Medium medium);
  void fail(const std::string& description);
  /// Waits for the preparation and for every write queued so far.
  void awaitPendingWork();

  const std::string sourceID_;
  const std::string fileBaseName_;
  const bool includesVideo_;
  const bool includesAudio_;
  const CMTime audioTimeOffset_;
  std::shared_ptr<TavoWriter> writer_;
  Logger logger_{"IsolatedSourceWriter"};
  const FailureCallback onFailure_;
  std::shared_future<bool> startTask_;
  std::atomic<bool> hasFailed_{false};
  std::atomic<bool> isFinished_{false};
  std::atomic<bool> didLogRegression_{false};
  std::atomic<bool> didWriteLeadingSilence_{false};
  Lane videoLane_;
  Lane audioLane_;
  // Last, so that they are stopped before anything their tasks touch goes away.
  std::unique_ptr<SerialQueue> videoQueue_;
  std::unique_ptr<SerialQueue> audioQueue_;
};

}  // namespace tav
