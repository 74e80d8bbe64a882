// Small movie files made with the `ffmpeg` command for playback tests and benchmarks: a test pattern
// (or a flat colour with a red marker in its top-left corner), a chosen GOP, optional audio, a display
// rotation, variable frame rate or a jump in the timestamps.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace tav::testing {

struct TestMovie {
  int width = 160;
  int height = 96;
  int framesPerSecond = 30;
  double seconds = 2;
  /// Frames from one sync sample to the next; 0 puts one only on the first frame.
  int gop = 30;
  bool audio = true;
  /// Clockwise display rotation written into the video track header's matrix: 0, 90, 180 or 270.
  /// (The `ffmpeg` command of this FFmpeg has no option for it, so the header is patched.)
  int rotation = 0;
  /// A flat blue picture with a red quarter-size box in the top-left corner, in place of the pattern.
  bool marker = false;
  /// Every third frame dropped, so frame durations vary.
  bool variableFrameRate = false;
  /// Timestamps jump forward by this many seconds after the first second.
  double timestampJump = 0;
  std::string videoCodec = "libx264";
  std::string preset = "ultrafast";
};

/// Writes the matrix of a clockwise turn by `degrees` (90, 180, 270) into the first track header of the
/// QuickTime/MP4 file at `path` (the video track, in the files made here), as a phone's camera does.
inline void setVideoTrackRotation(const std::filesystem::path& path, int degrees, int width, int height) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::size_t box = bytes.find("tkhd");
  if (box == std::string::npos) throw std::runtime_error("no track header in " + path.string());
  const bool version1 = bytes[box + 4] == 1;
  // After the type: version and flags, the times (8 or 16 bytes), track id, reserved, duration (4 or 8),
  // 8 reserved, layer, group, volume, reserved; then the matrix {a, b, u, c, d, v, tx, ty, w}.
  const std::size_t matrix = box + 4 + 4 + (version1 ? 16 : 8) + 8 + (version1 ? 8 : 4) + 8 + 8;
  const std::int32_t one = 1 << 16;
  std::int32_t values[9] = {one, 0, 0, 0, one, 0, 0, 0, 1 << 30};
  if (degrees == 90) {
    values[0] = 0; values[1] = one; values[3] = -one; values[4] = 0; values[6] = height * one;
  } else if (degrees == 180) {
    values[0] = -one; values[4] = -one; values[6] = width * one; values[7] = height * one;
  } else if (degrees == 270) {
    values[0] = 0; values[1] = -one; values[3] = one; values[4] = 0; values[7] = width * one;
  }
  file.seekp(static_cast<std::streamoff>(matrix));
  for (std::int32_t value : values) {
    const auto word = static_cast<std::uint32_t>(value);
    const char big[4] = {static_cast<char>(word >> 24), static_cast<char>(word >> 16), static_cast<char>(word >> 8),
                         static_cast<char>(word)};
    file.write(big, 4);
  }
}

/// Writes `movie` to `path` (its extension picks the container) and returns the path; throws
/// std::runtime_error when the command fails.
inline std::filesystem::path makeTestMovie(const std::filesystem::path& path, const TestMovie& movie) {
  const std::string size = std::to_string(movie.width) + "x" + std::to_string(movie.height);
  const std::string rate = std::to_string(movie.framesPerSecond);
  const std::string seconds = std::to_string(movie.seconds);
  std::string source = movie.marker ? "color=c=blue:s=" + size + ":r=" + rate + ":d=" + seconds +
                                          ",drawbox=x=0:y=0:w=iw/4:h=ih/4:c=red:t=fill"
                                    : "testsrc2=s=" + size + ":r=" + rate + ":d=" + seconds;
  if (movie.variableFrameRate) source += ",select='not(eq(mod(n\\,3)\\,2))'";
  if (movie.timestampJump > 0) {
    source += ",setpts='PTS+if(gte(T\\,1)\\," + std::to_string(movie.timestampJump) + "/TB\\,0)'";
  }
  std::string command = "ffmpeg -nostdin -v error -y -f lavfi -i \"" + source + "\"";
  if (movie.audio) command += " -f lavfi -i \"sine=f=440:sample_rate=44100:d=" + seconds + "\"";
  const int gop = movie.gop > 0 ? movie.gop : 100000;
  command += " -c:v " + movie.videoCodec + " -preset " + movie.preset + " -pix_fmt yuv420p -g " + std::to_string(gop) +
             " -keyint_min " + std::to_string(gop) + " -sc_threshold 0";
  if (movie.variableFrameRate || movie.timestampJump > 0) command += " -vsync vfr";
  if (movie.audio) command += " -c:a aac -shortest";
  command += " \"" + path.string() + "\"";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("ffmpeg failed: " + command);
  if (movie.rotation != 0) setVideoTrackRotation(path, movie.rotation, movie.width, movie.height);
  return path;
}

}  // namespace tav::testing
