// The media writer the recording logic drives: a writer that makes one movie or audio file from up to
// one video and one audio input, its inputs, and a factory for both. The logic names only these
// interfaces; the FFmpeg implementation lives in the platform library.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/media_settings.hpp"
#include "tav/contracts/media_stream_type.hpp"

namespace tav {

/// unknown (made, not started) -> writing (startWriting) -> completed (finishWriting) or failed (any
/// error) or cancelled (cancelWriting). The integer values are the platform's.
enum class AssetWriterStatus { unknown = 0, writing = 1, completed = 2, failed = 3, cancelled = 4 };

/// The container of the file.
enum class FileType { quickTimeMovie, appleM4A, mpeg4 };

template <>
struct EnumTraits<FileType> {
  static constexpr std::array cases{
      EnumCase<FileType>{FileType::quickTimeMovie, "com.apple.quicktime-movie"},
      EnumCase<FileType>{FileType::appleM4A, "com.apple.m4a-audio"},
      EnumCase<FileType>{FileType::mpeg4, "public.mpeg-4"},
  };
};

/// One metadata entry of the file. `keySpace` is "mdta" for reverse-DNS keys such as
/// "com.apple.quicktime.content.identifier" and "udta" for the classic short user-data keys.
struct MetadataItem {
  std::string keySpace;
  std::string key;
  std::string value;
  friend bool operator==(const MetadataItem&, const MetadataItem&) = default;
};

/// One stream of the file. Made by the factory, attached with AssetWriter::addInput before writing.
/// `append` and `isReadyForMoreMediaData` may be called from any one thread at a time (the recording
/// logic's serial queue); `append` never blocks on the encoder: an input that cannot take the buffer
/// now reports not ready, and a caller that appends anyway is refused.
class AssetWriterInput {
 public:
  virtual ~AssetWriterInput() = default;

  virtual MediaStreamType mediaType() const = 0;
  virtual bool expectsMediaDataInRealTime() const = 0;
  /// Before writing begins.
  virtual void setExpectsMediaDataInRealTime(bool value) = 0;
  /// False while the encoder is behind (its queue is full) and once the input is finished.
  virtual bool isReadyForMoreMediaData() const = 0;
  /// Queues the sample for encoding; false when refused (not writing, finished, failed, full, or the
  /// sample is not of this input's medium). Keeps a handle to the sample, copies no media data.
  virtual bool append(const CMSampleBuffer& sampleBuffer) = 0;
  /// No more samples on this input.
  virtual void markAsFinished() = 0;
};

/// One output file. Configure (fragment interval, metadata, inputs) while `status` is unknown, then
/// startWriting, startSession, append through the inputs, and finishWriting or cancelWriting. The
/// members may be called from any thread but not concurrently with each other; the status and error may
/// be read at any time. Destroying a writer that is still writing cancels it.
class AssetWriter {
 public:
  virtual ~AssetWriter() = default;

  virtual AssetWriterStatus status() const = 0;
  /// The failure text of a failed writer (names the file and the cause); absent otherwise.
  virtual std::optional<std::string> error() const = 0;
  virtual std::filesystem::path outputURL() const = 0;

  /// How often a fragment is written so that a file cut off by a crash stays readable; invalid (the
  /// default) writes one movie header at the end. Before startWriting.
  virtual CMTime movieFragmentInterval() const = 0;
  virtual void setMovieFragmentInterval(CMTime interval) = 0;
  /// Before startWriting.
  virtual void setMetadata(std::vector<MetadataItem> metadata) = 0;
  /// Attach an input made by the same factory; before startWriting.
  virtual void addInput(std::shared_ptr<AssetWriterInput> input) = 0;

  /// Creates the file and the encoders; false on failure (status failed, error set).
  virtual bool startWriting() = 0;
  /// Samples are timed relative to `sourceTime`: a sample presented then is at the file's time zero.
  virtual void startSession(CMTime sourceTime) = 0;
  /// Encodes everything queued, writes the end of the file, then calls `completion` once on the
  /// writer's own thread (never on the caller's) with status completed or failed. Returns at once; the
  /// caller waits for the completion. A writer that never started fails and still calls it.
  virtual void finishWriting(std::function<void()> completion) = 0;
  /// Stops at once, dropping what is queued; the partial file stays for the caller to remove.
  virtual void cancelWriting() = 0;
};

/// Makes writers and inputs. Safe to call from any thread.
class AssetWriterFactory {
 public:
  virtual ~AssetWriterFactory() = default;

  /// A writer for `outputURL`. Throws std::system_error or std::runtime_error naming the file when it
  /// cannot be created (its folder is missing or not writable).
  virtual std::unique_ptr<AssetWriter> makeWriter(const std::filesystem::path& outputURL, FileType fileType) = 0;
  /// An input for `mediaType` encoding with `outputSettings` (absent: the writer's defaults).
  virtual std::shared_ptr<AssetWriterInput> makeInput(MediaStreamType mediaType,
                                                      const std::optional<MediaSettings>& outputSettings) = 0;
};

/// The platform's factory (FFmpeg). Defined in the platform library.
AssetWriterFactory& defaultAssetWriterFactory();

/// True when a hardware HEVC encoder is present and its device opens. Defined in the platform library.
bool supportsHardwareHEVCEncoding();

}  // namespace tav
