// Asset: a media file opened for reading, with its duration and tracks, and the readers that read a
// time range of it forward: compressed samples as they are stored, decoded frames, or PCM audio.
// Playback reads files through this contract; the platform library implements it with FFmpeg.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/cm_time.hpp"
#include "tav/contracts/cm_time_range.hpp"
#include "tav/contracts/geometry.hpp"
#include "tav/contracts/media_settings.hpp"
#include "tav/contracts/media_stream_type.hpp"
#include "tav/contracts/url.hpp"

namespace tav {

// Keys and values of a decoded video output's settings, spelled as the platform spells them.
inline constexpr std::string_view kCVPixelBufferPixelFormatTypeKey = "PixelFormatType";
inline constexpr std::string_view kCVPixelBufferIOSurfacePropertiesKey = "IOSurfaceProperties";
/// Plain 8-bit BGRA ('BGRA'), the one decoded format the readers give.
inline constexpr std::uint32_t kCVPixelFormatType_32BGRA = 0x42475241;
/// The platform's lossless compressed BGRA ('&BGA'); a reader gives plain BGRA for it.
inline constexpr std::uint32_t kCVPixelFormatType_Lossless_32BGRA = 0x26424741;

/// One track of an asset: what it holds and how it is meant to be shown.
struct AssetTrack {
  std::int32_t trackID = 0;
  MediaStreamType mediaType = MediaStreamType::video();
  /// How stored pictures are turned for display (the display matrix of the track).
  AffineTransform preferredTransform;
  /// Frames per second the track declares or averages; 0 when unknown.
  float nominalFrameRate = 0;
  /// Stored picture size in pixels, before the transform; zero for audio.
  Size naturalSize;
  /// The shortest frame duration in the track; invalid when unknown.
  CMTime minFrameDuration = kCMTimeInvalid;
  friend bool operator==(const AssetTrack&, const AssetTrack&) = default;
};

/// How the pictures of a video track are composed into the frames a composition output gives: the
/// track's transform applied, at a render size. One instruction over the whole asset is all playback
/// needs, so that is all there is.
struct VideoComposition {
  Size renderSize;
  /// Frame times follow the samples of this track.
  std::int32_t sourceTrackIDForFrameTiming = 0;
  /// The duration given to frames whose own duration is unknown.
  CMTime frameDuration = kCMTimeInvalid;
  /// The instruction's span and its one layer instruction's transform, set at time zero.
  CMTimeRange instructionTimeRange;
  AffineTransform layerTransform;
  std::string colorPrimaries = "ITU_R_709_2";
  std::string colorTransferFunction = "ITU_R_709_2";
  std::string colorYCbCrMatrix = "ITU_R_709_2";
};

enum class AssetReaderStatus { unknown = 0, reading = 1, completed = 2, failed = 3, cancelled = 4 };

/// One stream of samples out of a reader. Used on one thread at a time, the reader's.
class AssetReaderOutput {
 public:
  virtual ~AssetReaderOutput() = default;
  /// The next sample, or nothing at the end of the reader's range, after a failure, after
  /// `cancelReading`, or before `startReading`. Decoded frames come in presentation order; passthrough
  /// samples in decode order, each with its attachments' `notSync` set unless it is a sync sample.
  virtual std::optional<CMSampleBuffer> copyNextSampleBuffer() = 0;
};

/// Reads one asset forward over `timeRange`. Not thread-safe: one thread at a time drives a reader and
/// its outputs, and two readers of one asset are independent of each other.
///
/// Life: unknown --startReading--> reading --end of every output's range--> completed
///                                         \--decode or file error--> failed;  any --cancelReading--> cancelled
class AssetReader {
 public:
  virtual ~AssetReader() = default;

  /// An output over `track`. `outputSettings` absent: the stored samples, not decoded. Settings with
  /// kCVPixelBufferPixelFormatTypeKey: decoded pictures in BGRA, as stored (the track's transform is
  /// not applied). Settings with AVFormatIDKey linear PCM: audio resampled to AVSampleRateKey and
  /// AVNumberOfChannelsKey, 32-bit float, non-interleaved. Null for any other settings, or a track
  /// this asset does not hold.
  virtual std::shared_ptr<AssetReaderOutput> makeTrackOutput(const AssetTrack& track,
                                                            const std::optional<MediaSettings>& outputSettings) = 0;
  /// Decoded pictures of `tracks` (playback composes one) with the composition's transform applied and
  /// scaled to its render size, BGRA whatever pixel format `videoSettings` asks for. Null when the
  /// tracks are not this asset's video tracks or the render size is empty.
  virtual std::shared_ptr<AssetReaderOutput> makeVideoCompositionOutput(const std::vector<AssetTrack>& tracks,
                                                                       const MediaSettings& videoSettings,
                                                                       const VideoComposition& composition) = 0;
  /// True when `output` was made by this reader, is not added yet, and reading has not started.
  virtual bool canAddOutput(const AssetReaderOutput& output) const = 0;
  virtual void addOutput(const std::shared_ptr<AssetReaderOutput>& output) = 0;

  /// The span read; the whole asset unless set before `startReading`.
  virtual CMTimeRange timeRange() const = 0;
  virtual void setTimeRange(const CMTimeRange& range) = 0;

  /// Prepares the outputs' decoders and moves to the start of the range. False (status failed, `error`
  /// says why) when that fails or there is no output; false also when called twice.
  virtual bool startReading() = 0;
  /// Stops reading: every output gives nothing from now on. Safe at any time.
  virtual void cancelReading() = 0;
  virtual AssetReaderStatus status() const = 0;
  /// What went wrong, for a reader whose status is failed; empty otherwise.
  virtual std::string error() const = 0;
};

/// A media file. The properties are read once, the first time one is asked for, and may then be read
/// from any thread. A file that cannot be read has zero duration and no tracks, and its readers cannot
/// be made.
class Asset {
 public:
  virtual ~Asset() = default;
  virtual const Url& url() const = 0;
  virtual CMTime duration() const = 0;
  /// The tracks holding `mediaType`, in the file's order.
  virtual std::vector<AssetTrack> tracksWithMediaType(const MediaStreamType& mediaType) const = 0;
  /// A new reader over this asset. Throws std::runtime_error naming the file and the reason when the
  /// file cannot be opened or is no media file.
  virtual std::unique_ptr<AssetReader> makeReader() const = 0;
};

/// An asset over the file `url` names; nothing is read until a property or reader is asked for.
/// Defined by the platform library (tavcommon_platform).
std::shared_ptr<Asset> assetWithURL(const Url& url);

}  // namespace tav
