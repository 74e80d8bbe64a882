// TavoRecorder: the composed recording of one or two canvases, the object the host drives.
//
// The host pushes every finished frame of each canvas and every mixed audio buffer in; the recorder
// keeps one output pipeline (one file, one TavoWriter) per configured canvas, cuts paused time out of
// the timeline, keeps the on-screen duration, and decides what survives when one output fails.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/asset_writer.hpp"
#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/notification_center.hpp"
#include "tav/contracts/url.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/observable_value.hpp"
#include "tav/recording/canvas_metadata.hpp"
#include "tav/recording/recorder_configuration.hpp"
#include "tav/recording/recorder_location_handler.hpp"
#include "tav/recording/recording_output.hpp"
#include "tav/recording/tavo_recorder_settings_provider.hpp"
#include "tav/recording/tavo_writer.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

class ProfileManager;

/// Lifecycle of a recording:
///
///   idle --startRecording--> starting --all files prepared--> recording
///   starting --any failure--> idle            (no pipeline and no empty session folder left behind)
///   recording --stopRecording, or the first failed output--> stopping --files finalised--> idle
///   any state but recording --stopRecording--> idle, throws noRecordingInProgress
///
/// Threads. Every member may be called from any thread. writeVideo and writeAudio are for the capture
/// threads: they never block on the encoder and never throw; each buffer is written by a task on a
/// serial queue of its pipeline and medium, so the buffers of one medium reach a file in the order they
/// were handed in. startRecording, stopRecording and toggleRecording block until the files are
/// prepared or finalised and until the provider callbacks and notifications have run on the main
/// context; do not call them from a task that the main context is waiting for. The provider callbacks
/// and the three notifications run on the main context.
///
/// Ownership. The host holds the recorder (or uses shared()). Write tasks hold it weakly: once it is
/// destroyed, queued buffers are dropped, and the files of a recording still running are left as they
/// are (the lead's recovery mark stays, so saveInterruptedRecording finds its file).
///
/// Failures. A write that fails never reaches its caller: the failed output's file is removed, the
/// other outputs are finished and kept, and the outcome is told by recordingDidFinishNotification (at
/// least one file saved) or recordingDidFailNotification (none).
class TavoRecorder {
 public:
  using Configuration = TavoRecorderConfiguration;
  using RecordingOutput = TavoRecorderRecordingOutput;
  using CanvasMetadata = TavoRecorderCanvasMetadata;
  /// Runs each work item later, in order, on the host's main context.
  using MainContextDispatcher = std::function<void(std::function<void()>)>;

  /// No object, no user info.
  static constexpr std::string_view recordingDidStartNotification =
      "Tavo.Shared.Common.TavoRecorder.recordingDidStartNotification";
  /// No object. User info: "path" (std::string, the first saved file, "" when none), "paths"
  /// (std::vector<std::string>, saved files in output order), "numberOfFiles" (int), "failedCount" (int,
  /// outputs not saved), "locationTitle" (std::string), "length" (double, seconds of the lead canvas).
  static constexpr std::string_view recordingDidFinishNotification =
      "Tavo.Shared.Common.TavoRecorder.recordingDidFinishNotification";
  /// No object. User info: "error" (std::exception_ptr, the write error that ended the recording).
  static constexpr std::string_view recordingDidFailNotification =
      "Tavo.Shared.Common.TavoRecorder.recordingDidFailNotification";

  /// A recorder whose writers use `writerFactory` (which must outlive it) and keep their recovery mark
  /// in `userDefaults`, whose files are placed by `locationHandler`, whose default output is sized by
  /// `profileManager`'s active profile (null: the shared manager), and which reaches the main context
  /// through `mainContext` and posts to `notificationCenter` (which must outlive it).
  explicit TavoRecorder(AssetWriterFactory& writerFactory = defaultAssetWriterFactory(),
                        std::shared_ptr<RecorderLocationHandler> locationHandler = defaultRecorderLocationHandler(),
                        const ProfileManager* profileManager = nullptr,
                        std::shared_ptr<UserDefaults> userDefaults = UserDefaults::standard(),
                        MainContextDispatcher mainContext = MainContext::post,
                        NotificationCenter& notificationCenter = NotificationCenter::defaultCenter());
  ~TavoRecorder();
  TavoRecorder(const TavoRecorder&) = delete;
  TavoRecorder& operator=(const TavoRecorder&) = delete;

  /// The application's recorder, over the platform's writers and the standard stores.
  static TavoRecorder& shared();

  /// The host's source of outputs and settings, held weakly; none gives one primary output with the
  /// default settings and no audio.
  std::shared_ptr<TavoRecorderSettingsProvider> settingsProvider() const;
  void setSettingsProvider(const std::shared_ptr<TavoRecorderSettingsProvider>& provider);

  /// True from the successful end of a start until a stop or a failed output begins to finalise.
  ObservableValue<bool>& isRecording();
  /// The host's pause request.
  ObservableValue<bool>& isRecordingPaused();
  /// Elapsed time of the lead canvas as people read it ("01:05", "1:02:05"); none before its first
  /// frame is written and after a recording ends.
  ObservableValue<std::optional<std::string>>& displayDuration();

  /// A flag the host keeps here; the recorder only clears it when a recording starts.
  bool shouldDelayRecordingForBroadcast() const;
  void setShouldDelayRecordingForBroadcast(bool value);

  /// Starts a recording of the provider's outputs. Throws VideoRecorderError invalidState when not
  /// idle or when there are no outputs, and passes on the errors of the file locations and of the
  /// writers; after a throw the recorder is idle with no pipeline, and recorderDidStop has been called.
  void startRecording(const std::optional<Configuration>& configuration = std::nullopt);
  /// Finishes every file and posts recordingDidFinishNotification. Throws noRecordingInProgress when
  /// not recording (and resets the state to idle); throws the first finalisation error when no file
  /// was saved (no notification) or, after the notification, when only some were.
  void stopRecording();
  /// Starts when idle, stops when recording; otherwise throws invalidState "Operation already in
  /// progress".
  void toggleRecording(const std::optional<Configuration>& configuration = std::nullopt);
  /// Asks for a pause; only while recording and not yet paused. The pause begins at the next buffer.
  void pauseRecording();
  /// Ends the pause request; the pause ends at the first buffer not marked as part of the transition.
  void resumeRecording();

  /// Hands one frame of the canvas `role` in. Returns at once; never throws.
  void writeVideo(const CMSampleBuffer& sampleBuffer, CanvasRole role, bool isInPauseTransition) noexcept;
  /// Hands one mixed audio buffer in, for every output. Returns at once; never throws.
  void writeAudio(const CMSampleBuffer& sampleBuffer, bool isInPauseTransition) noexcept;

  /// Time between the first and the latest frame written on the lead canvas, pauses excluded; zero
  /// before the first.
  CMTime duration() const;
  /// The files being written, in output order; empty when not recording.
  std::vector<Url> inProgressOutputURLs() const;
  /// The sum of the sizes of the files being written; 0 when not recording.
  std::int64_t recordedFileSize() const;

  /// What each output's writer has written and dropped, in output order: of the recording running, or
  /// after it has ended, of the last one (empty before the first).
  std::vector<TavoWriter::Counts> writerCounts() const;
  /// Buffers the recorder itself dropped (arriving outside a recording or while paused) since the last
  /// start.
  std::int64_t droppedBufferCount() const;

  /// Starts saving a recording cut off by a crash (TavoWriter::saveInterruptedRecording) on a thread of
  /// its own and returns at once.
  static void saveInterruptedRecording();

 private:
  // The recorder's state lives in a shared core so that write tasks can hold it weakly.
  struct Core;
  std::shared_ptr<Core> core_;
};

}  // namespace tav
