// TavoWriter: one movie or audio file from a stream of timestamped sample buffers.
//
// It wraps one media writer with up to one video and one audio input, starts the file's timeline at
// the first video frame (or the first audio buffer of an audio-only file), drops and counts what the
// encoder cannot take, and finishes or cancels the file. The lead writer of a recording also leaves a
// mark in the user defaults while its file is open, so that a recording cut off by a crash can be saved
// at the next launch (saveInterruptedRecording).
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/asset_writer.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/media_library.hpp"
#include "tav/contracts/url.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/recording/encoder_support.hpp"

namespace tav {

/// Owned by one pipeline of the recorder (or one isolated source writer) for one recording.
///
///   idle --start--> preparing --configured--> idle --first accepted buffer--> writing
///   writing --finish--> stopping --finishWriting done--> idle
///   any --abort--> idle
///
/// The operations are serialised: start, write, finish, abort and recordedFileSize never overlap on
/// one instance and may be called from any thread. finish blocks while the media writer finishes, but
/// without holding the writer's lock, so calls made meanwhile are served and see the `stopping` state
/// (write then drops its buffer silently). The calling order is start, any number of write, then finish
/// or abort; abort is also allowed without start and after a failed finish. Counters and the open file
/// survive a thrown error: the owner decides whether to abort.
class TavoWriter {
 public:
  /// `factory` makes the media writer and its inputs and must outlive this writer; `userDefaults` holds
  /// the recovery mark of a lead writer; `encoderSupport` (which must outlive it too) picks the codec
  /// of the default video settings that start uses when given none.
  explicit TavoWriter(bool isLead, AssetWriterFactory& factory = defaultAssetWriterFactory(),
                      std::shared_ptr<UserDefaults> userDefaults = UserDefaults::standard(),
                      const EncoderSupport& encoderSupport = EncoderSupport::shared());
  ~TavoWriter();
  TavoWriter(const TavoWriter&) = delete;
  TavoWriter& operator=(const TavoWriter&) = delete;

  bool isLead() const { return isLead_; }

  /// Prepares a media writer for `outputURL` with an audio input (when `audioSettings` are given and
  /// do not ask for 0 channels) and a video input (when `includesVideo`; `videoSettings` absent uses
  /// the default video settings of the writer's EncoderSupport). The file is created only by the
  /// first accepted buffer. Throws
  /// VideoRecorderError invalidState when the writer is not idle, and passes on the factory's error
  /// when the file cannot be made (the writer is then left `preparing`: drop it).
  void start(const Url& outputURL, const std::optional<MediaSettings>& videoSettings,
             const std::optional<MediaSettings>& audioSettings, bool includesVideo, FileType fileType,
             const std::vector<MetadataItem>& metadata);

  /// Appends one buffer of `mediaType`. Audio before the first video frame of a file with video, audio
  /// earlier than the session start, and any buffer the encoder is not ready for are dropped and counted
  /// without an error. Throws VideoRecorderError invalidState before start, fileCreationFailed when the
  /// file cannot be started or a buffer is refused, unsupportedMediaType for a medium without an input,
  /// and the media writer's error when it has failed. Allocates nothing on the path of a kept buffer.
  void write(const CMSampleBuffer& sampleBuffer, const MediaStreamType& mediaType);

  /// Finishes the file and waits for it to be complete. Throws VideoRecorderError invalidState before
  /// start or when no buffer was ever accepted (the writer is `idle`; abort it).
  void finish();

  /// Cancels the file, removes what was written, and returns to idle. Never fails.
  void abort() noexcept;

  /// The size in bytes of the file being written; 0 when there is none or it cannot be read (from the
  /// fourth failure in a row each failure is logged).
  std::int64_t recordedFileSize();

  /// The counters of the current (or last) file.
  struct Counts {
    std::int64_t videoFrameCount = 0;
    std::int64_t audioFrameCount = 0;
    std::int64_t videoDropCount = 0;
    std::int64_t audioDropCount = 0;
    friend bool operator==(const Counts&, const Counts&) = default;
  };
  Counts counts() const;
  /// The timestamp at which the file's timeline began; absent until the first accepted buffer.
  std::optional<CMTime> sessionStartTime() const;

  /// RecordingVideoSettings for 1920x1080 at 30 fps with the shared EncoderSupport's codec.
  static MediaSettings defaultVideoSettings();
  /// The shared EncoderSupport's answer: whether recordings use HEVC (on first use, whether a hardware
  /// HEVC encoder is present; the host may set it). Thread-safe.
  static bool supportsHEVCEncoding();
  static void setSupportsHEVCEncoding(bool value);

  /// The file of the lead writer's unfinished recording, key "CURRENT_RECORDING_FILE_URL", default none.
  static CodableUserDefault<std::optional<Url>> currentOutputURL(
      std::shared_ptr<UserDefaults> userDefaults = UserDefaults::standard());

  /// Run once at launch: when a recording was cut off and its file is in the temporary directory
  /// (std::filesystem::temp_directory_path, which honours TMPDIR), hands it to the media library.
  /// Failures are logged. Blocks while the library answers.
  static void saveInterruptedRecording(std::shared_ptr<UserDefaults> userDefaults = UserDefaults::standard(),
                                       MediaLibrary& mediaLibrary = defaultMediaLibrary());

  /// Hands the file at the file URL `file` to the media library (moving it), asking for add-only
  /// access first. Throws VideoRecorderError missingPhotoLibraryPermission or failedToSaveToPhotoLibrary.
  static void saveToPhotoLibrary(const Url& file, MediaLibrary& mediaLibrary);

 private:
  enum class WriterState { idle, preparing, writing, stopping };
  static const char* name(WriterState state);

  struct WriterWrapper {
    std::unique_ptr<AssetWriter> writer;
    std::shared_ptr<AssetWriterInput> videoInput;
    std::shared_ptr<AssetWriterInput> audioInput;
  };

  void setCurrentOutputURL(const std::optional<Url>& url);
  void dropNotReady(std::int64_t& counter, const MediaStreamType& mediaType);

  mutable std::mutex mutex_;
  WriterState state_ = WriterState::idle;               // guarded by mutex_
  std::int64_t checkingFileErrors_ = 0;                 // guarded by mutex_
  Counts counts_;                                       // guarded by mutex_
  std::optional<CMTime> sessionStartTime_;              // guarded by mutex_
  const bool isLead_;
  std::optional<Url> outputURL_;                        // guarded by mutex_
  // Shared so that finish can keep the media writer alive while it waits without the lock.
  std::shared_ptr<WriterWrapper> writerWrapper_;        // guarded by mutex_

  AssetWriterFactory& factory_;
  std::shared_ptr<UserDefaults> userDefaults_;
  const EncoderSupport& encoderSupport_;
  Logger logger_{"TavoWriter"};
};

}  // namespace tav
