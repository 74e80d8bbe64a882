// The FFmpeg media writer: QuickTime movies (and M4A audio, MPEG-4) encoded with libx264, libx265,
// ProRes and AAC, written in fragments when asked so that a process killed mid-recording leaves a file
// that plays up to its last whole fragment.
//
// Each input owns a bounded queue and one encoding thread; `append` only queues a handle and an input
// reports not ready while its queue is full. The encoders' packets meet in one muxer behind a mutex.
// Video settings read: AVVideoCodecKey ("avc1" libx264, "hvc1" libx265, "apcn" ProRes 422), width,
// height, and in the compression properties the average bitrate, expected frame rate and maximum
// key-frame interval; TavVideoEncoderPresetKey picks the x264/x265 preset ("veryfast" when absent).
// Audio settings read: sample rate, number of channels and encoder bitrate; audio is always AAC
// (FFmpeg's native encoder) from 32-bit float non-interleaved PCM.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>

#include "tav/contracts/asset_writer.hpp"

namespace tav {

struct FfmpegAssetWriterOptions {
  /// Frames an input holds before it reports not ready: half a second at 30 fps, enough for the
  /// bursts of five encoders sharing two cores (fewer dropped frames under load).
  std::size_t videoQueueCapacity = 16;
  std::size_t audioQueueCapacity = 64;
};

/// Makes FFmpeg writers. Stateless apart from its options; safe from any thread.
class FfmpegAssetWriterFactory final : public AssetWriterFactory {
 public:
  explicit FfmpegAssetWriterFactory(FfmpegAssetWriterOptions options = {});

  /// Creates nothing on disk yet (the file appears at startWriting), but refuses at once, with a
  /// std::system_error naming the file, a path whose folder does not exist or is not writable.
  std::unique_ptr<AssetWriter> makeWriter(const std::filesystem::path& outputURL, FileType fileType) override;
  std::shared_ptr<AssetWriterInput> makeInput(MediaStreamType mediaType,
                                              const std::optional<MediaSettings>& outputSettings) override;

 private:
  FfmpegAssetWriterOptions _options;
};

}  // namespace tav
