// Reading back what a movie file holds: its tracks, duration, fragments and metadata. Used by
// `tavo probe` and by the writer's tests, which check real files rather than the writer's own word.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tav {

struct ProbedTrack {
  std::string mediaType;  ///< "video", "audio", or FFmpeg's name of another kind
  std::string codec;      ///< FFmpeg's codec name: "h264", "hevc", "aac", ...
  std::string codecTag;   ///< the four-character sample entry: "avc1", "hvc1", "mp4a", ...
  int width = 0;
  int height = 0;
  double frameRate = 0;  ///< the container's average frame rate; 0 for audio
  int sampleRate = 0;
  int channels = 0;
  std::int64_t packetCount = 0;  ///< samples actually present
  double startTime = 0;          ///< presentation time of the first packet, seconds
  double duration = 0;           ///< from the first packet's start to the last packet's end, seconds
};

struct ProbedMovie {
  std::string formatName;
  double duration = 0;  ///< the longest track, seconds
  std::vector<ProbedTrack> tracks;
  int fragmentCount = 0;  ///< top-level `moof` boxes
  std::vector<std::pair<std::string, std::string>> metadata;  ///< container metadata, in file order
};

class MovieProbeError : public std::runtime_error {
 public:
  enum class Kind { cannotOpen, notAMovie };
  MovieProbeError(Kind kind, const std::string& message) : std::runtime_error(message), _kind(kind) {}
  Kind kind() const { return _kind; }

 private:
  Kind _kind;
};

/// Opens `path` and reads every packet (no decoding) to measure each track. Throws MovieProbeError:
/// cannotOpen when the file is missing or unreadable, notAMovie when FFmpeg cannot read it as media.
ProbedMovie probeMovie(const std::filesystem::path& path);

/// Counts the top-level boxes of type `type` ("moof", "moov", ...) of an ISO/QuickTime file, stopping
/// quietly at a truncated box. Zero for a file that cannot be read.
int countTopLevelBoxes(const std::filesystem::path& path, const char (&type)[5]);

/// Stops FFmpeg printing its own diagnostics on standard error, process-wide: for command-line tools,
/// whose standard error carries their own messages. Failures still reach callers as errors.
void silenceFfmpegMessages();

}  // namespace tav
