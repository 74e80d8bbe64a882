// The peer of the recording throughput benchmarks: the `ffmpeg` command encoding the same raw frames
// with libx264 and the same settings, so that a ratio compares encoders, not inputs.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/cm_sample_buffer.hpp"

namespace tav::bench {

/// Writes the NV12 pictures of `frames` (tightly packed) one after another to `path`.
inline void writeRawNv12(const std::filesystem::path& path, const std::vector<CMSampleBuffer>& frames) {
  std::ofstream out(path, std::ios::binary);
  for (const auto& frame : frames) {
    const VideoFrame& picture = *frame.videoFrame();
    const std::size_t size = VideoFrame::packedSize(PixelFormat::nv12, picture.width, picture.height);
    out.write(reinterpret_cast<const char*>(picture.planes[0]), static_cast<std::streamsize>(size));
  }
}

/// The command that encodes `raw` (NV12, width x height, 30 fps) `loops` times over into `output` with
/// libx264 at preset ultrafast tuned for zero latency (as the writer encodes), `bitRate`, a key frame each
/// second and no B-frames.
inline std::string x264PeerCommand(const std::filesystem::path& raw, int width, int height, int loops,
                                   std::int64_t bitRate, const std::filesystem::path& output) {
  return "ffmpeg -v error -y -f rawvideo -pix_fmt nv12 -s " + std::to_string(width) + "x" + std::to_string(height) +
         " -r 30 -stream_loop " + std::to_string(loops - 1) + " -i '" + raw.string() +
         "' -c:v libx264 -preset ultrafast -tune zerolatency -b:v " + std::to_string(bitRate) + " -g 30 -bf 0 -pix_fmt nv12 '" +
         output.string() + "'";
}

/// Runs `command` through the shell and gives its wall time in seconds; absent when it fails.
inline std::optional<double> timedCommand(const std::string& command) {
  const auto begin = std::chrono::steady_clock::now();
  if (std::system(command.c_str()) != 0) return std::nullopt;
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace tav::bench
