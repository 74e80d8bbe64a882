// Reading the sync marks back out of recorded files: the white flashes in the video and the beeps in
// the audio that the sync-check sources put at the same host instants once a second. Used by
// `tavo sync-check`, the isolated recording's tests and its sync benchmark.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tav {

/// The marks of one file, in seconds of the file's own timeline.
struct SyncMarks {
  std::filesystem::path file;
  std::vector<double> flashes;  ///< presentation times of the first frame of each flash
  std::vector<double> beeps;    ///< onset times of each beep, to the sample
  bool hasVideo = false;
  bool hasAudio = false;
};

/// Decodes every frame and sample of `file`. A frame is a flash when its mean luma is at least 200 (of
/// 255) and the frame before was not; a beep starts at the first sample above 0.2 after at least 0.2 s
/// below it. Throws MovieProbeError naming the file: cannotOpen when it cannot be read, notAMovie when
/// FFmpeg cannot decode it.
SyncMarks findSyncMarks(const std::filesystem::path& file);

/// The median of `later[i] - earlier[j]` over the marks of `later`, pairing each with the nearest mark
/// of `earlier`; absent when either has no marks.
std::optional<double> medianOffset(const std::vector<double>& later, const std::vector<double>& earlier);

/// The files of one recording compared by their marks. A file is compared with another by its flashes,
/// or by its beeps when it has no picture.
struct SyncComparison {
  /// One frame at 30 fps, and what a viewer notices between sound and picture.
  static constexpr double frameTolerance = 1.0 / 30;
  static constexpr double lipSyncTolerance = 0.010;

  struct File {
    SyncMarks marks;
    std::optional<double> audioToVideo;  ///< median beep minus nearest flash; absent without both
    std::vector<std::pair<std::string, std::optional<double>>> offsets;  ///< other file's name, this minus it
  };
  std::vector<File> files;
  double maxOffset = 0;        ///< seconds, the largest offset between two files
  double maxAudioToVideo = 0;  ///< seconds, the largest audio-to-video offset of a file
  bool isComplete = false;     ///< every file has marks, and both kinds when it has both media

  bool isInSync() const { return isComplete && maxOffset <= frameTolerance && maxAudioToVideo <= lipSyncTolerance; }
};

SyncComparison compareSyncMarks(std::vector<SyncMarks> files);

}  // namespace tav
