// IsolatedRecordingCoordinator: records every source (camera, screen, window, video, web page, audio
// device) to a file of its own in one session folder, all on one timeline. Each source stamps its
// buffers on a clock of its own; the coordinator moves every source and medium onto the host clock
// (alignment: first offset, restarts, jumps ahead), cuts closed pauses out of the timeline
// (compaction), makes a writer per source on its first usable buffer, limits the video writers, names
// the files, and ends or aborts the session.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tav/contracts/asset_writer.hpp"
#include "tav/contracts/audio_pcm_buffer.hpp"
#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/media_settings.hpp"
#include "tav/contracts/url.hpp"
#include "tav/foundation/unfair_lock.hpp"
#include "tav/recording/isolated_source_type.hpp"
#include "tav/recording/isolated_source_writing.hpp"

namespace tav {

namespace detail {
struct IsolatedCoordinatorLink;
}

/// A long-lived service: the host makes one (or uses `shared()`) and keeps it for the life of the
/// application. Every member may be called from any thread, concurrently: buffers arrive from many
/// capture threads at once. Each piece of state has its own lock, held only for the step at hand, and no
/// lock is held while a writer writes, finishes or aborts. The frame paths never throw and never block
/// on a file; a buffer that cannot be placed is dropped.
///
///   no session --begin--> session --end / abortAll--> no session
///   session --begin--> session (the previous writers are aborted in the background)
class IsolatedRecordingCoordinator {
 public:
  using FailureCallback = std::function<void(const std::string& key)>;
  /// Makes the writer of one file: key, file base name, file URL, includes video, video settings,
  /// audio settings, audio time offset, metadata and the failure callback (to be called with the key
  /// when the writer fails). Runs under the coordinator's writers lock: it must not call back into the
  /// coordinator, and should return quickly.
  using MakeWriter = std::function<std::shared_ptr<IsolatedSourceWriting>(
      const std::string& key, const std::string& fileBaseName, const Url& fileURL, bool includesVideo,
      const std::optional<MediaSettings>& videoSettings, const std::optional<MediaSettings>& audioSettings,
      CMTime audioTimeOffset, const std::vector<MetadataItem>& metadata, FailureCallback onFailure)>;
  /// The host clock in seconds.
  using Clock = std::function<double()>;

  static constexpr int defaultVideoWriterCap = 4;
  /// The identifier of the metadata item that carries a source file's type ("common/type").
  static constexpr std::string_view sourceTypeMetadataIdentifier = "common/type";

  /// The default writer factory (IsolatedSourceWriter) and the host clock (hostClockSeconds).
  IsolatedRecordingCoordinator();
  /// With `makeWriter` and `now` in place of the defaults (a null one keeps its default).
  IsolatedRecordingCoordinator(MakeWriter makeWriter, Clock now);
  /// Aborts what is still recording.
  ~IsolatedRecordingCoordinator();
  IsolatedRecordingCoordinator(const IsolatedRecordingCoordinator&) = delete;
  IsolatedRecordingCoordinator& operator=(const IsolatedRecordingCoordinator&) = delete;

  /// The instance of the application, with the defaults.
  static IsolatedRecordingCoordinator& shared();
  /// CLOCK_MONOTONIC in seconds: the clock on which on-host capture sources stamp their buffers.
  static double hostClockSeconds();

  bool isActive() const;

  /// Starts a session writing into the folder at the file URL `sessionFolder` (which must exist), with
  /// at most `videoWriterCap` video writers at a time (a negative cap counts as 0). A session still
  /// running is replaced and its writers are aborted in the background.
  void begin(const Url& sessionFolder, int videoWriterCap = defaultVideoWriterCap);
  /// Pauses or resumes every source. The span from the first pause to the first buffer after the resume
  /// is cut out of every file.
  void setPaused(bool paused);

  /// Fast path: false when the source has no writer yet (the caller then uses consumeVideo). A buffer
  /// that is `isGenerated` was stamped by the host on the host clock and is not re-anchored.
  bool appendVideo(const CMSampleBuffer& sampleBuffer, const std::string& sourceID, bool isInPauseTransition,
                   bool isGenerated);
  /// Fast path for audio: the writer is the source's own (`sharedWithVideo`) or its "#audio" stem.
  bool appendAudio(const CMSampleBuffer& sampleBuffer, const std::string& sourceID, IsolatedAudioStem stem,
                   bool isInPauseTransition);

  /// Full path: places the buffer and makes the source's writer when it has none. The functions are
  /// called only when a writer is made (on the source's first usable buffer), on the caller's thread.
  void consumeVideo(const CMSampleBuffer& sampleBuffer, const std::string& sourceID,
                    const std::function<std::string()>& displayName,
                    const std::function<std::optional<IsolatedSourceType>()>& sourceType,
                    const std::function<std::optional<MediaSettings>()>& audioSettings,
                    const std::function<CMTime()>& audioTimeOffset, bool isInPauseTransition, bool isGenerated);
  void consumeAudio(const CMSampleBuffer& sampleBuffer, const std::string& sourceID,
                    const std::function<std::string()>& displayName,
                    const std::function<std::optional<IsolatedSourceType>()>& sourceType,
                    const std::function<bool()>& isVideoSource, IsolatedAudioStem stem,
                    const std::function<CMTime()>& audioTimeOffset, bool isInPauseTransition);

  /// Ends the session and finishes every file; blocks until they are written. Without a session it
  /// does nothing at all.
  void end();
  /// Ends the session and discards every file; blocks until they are removed.
  void abortAll();
  /// The sum of the current files' sizes in bytes.
  std::int64_t recordedByteCount();

  /// A display name made safe as a file name: path separators, reserved punctuation, control characters
  /// and runs of white space become single blanks; "Source" when nothing is left.
  static std::string sanitizedFileName(std::string_view name);
  /// The format's own settings (linear PCM), interleaved.
  static MediaSettings audioSettings(const AudioFormat& format);
  /// Apple Lossless at the format's rate and channel count.
  static MediaSettings losslessAudioSettings(const AudioFormat& format);

 private:
  struct Session {
    std::filesystem::path folder;
    int videoWriterCap = 0;
  };
  struct PauseState {
    bool isPaused = false;
    std::optional<double> pauseWallStart;
    CMTime accumulated = kCMTimeZero;
  };
  struct Track {
    std::optional<CMTime> offset;
    std::optional<CMTime> lastAligned;
    std::optional<CMTime> lastSourceTime;
    bool didLogRestart = false;
    bool didLogJumpAhead = false;
  };
  struct SourceTimeline {
    Track video;
    Track audio;
  };
  using WriterMap = std::map<std::string, std::shared_ptr<IsolatedSourceWriting>>;

  std::shared_ptr<IsolatedSourceWriting> writer(const std::string& key);
  std::optional<CMSampleBuffer> align(const CMSampleBuffer& sampleBuffer, const std::string& sourceID, bool isVideo,
                                      bool isGenerated);
  std::optional<CMSampleBuffer> compact(const CMSampleBuffer& aligned, bool isInPauseTransition);
  /// Alignment, then compaction.
  std::optional<CMSampleBuffer> place(const CMSampleBuffer& sampleBuffer, const std::string& sourceID, bool isVideo,
                                      bool isGenerated, bool isInPauseTransition);
  /// Under the writers lock: the partner's base name, else `name` made unique among the writers.
  static std::string fileBaseName(const WriterMap& writers, const std::string& name, const std::string& partnerKey);
  static std::vector<MetadataItem> metadata(std::optional<IsolatedSourceType> type);
  FailureCallback failureCallback() const;
  void forget(const std::string& key);
  /// Clears the session, the pause state and the timelines, and takes every writer out.
  WriterMap closeSession();

  Logger logger_{"IsolatedRecordingCoordinator"};
  MakeWriter makeWriter_;
  Clock now_;
  mutable Locked<std::optional<Session>> session_;
  Locked<WriterMap> writers_;
  Locked<bool> didWarnCap_;
  Locked<PauseState> pauseState_;
  Locked<std::unordered_map<std::string, SourceTimeline>> timelines_;
  // Lets a writer's failure callback reach this coordinator only while it lives.
  std::shared_ptr<detail::IsolatedCoordinatorLink> link_;
};

}  // namespace tav
