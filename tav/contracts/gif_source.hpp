// A GIF file opened for playback: how many frames it has, what the platform tells of each frame, and
// each frame composited onto the canvas as a browser shows it. The logic of GIF layers
// (AnimatedImageController, GifInfo) reads files only through this.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include "tav/contracts/image.hpp"

namespace tav {

/// Why a file could not be opened as a GIF: the file and the reason, in words a person can act on.
class GifReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the reader tells of one frame, as an image source's property dictionary does: every entry may
/// be missing, which is why each is optional.
struct GifFrameProperties {
  /// The frame's timing entries. Delays are in seconds, as stored (hundredths of a second).
  struct Timing {
    std::optional<double> unclampedDelayTime;
    std::optional<double> delayTime;
    friend bool operator==(const Timing&, const Timing&) = default;
  };

  /// "RGB": frames come out as RGBA whatever the colour tables hold.
  std::optional<std::string> colorModel;
  /// Bits per component of the decoded frame.
  std::optional<int> depth;
  /// True when the decoded frame can hold transparent pixels (a transparent index, or a frame that
  /// doesn't cover the canvas).
  std::optional<bool> hasAlpha;
  /// The canvas (logical screen) size.
  std::optional<int> pixelWidth;
  std::optional<int> pixelHeight;
  /// Absent for a frame without a graphic control block.
  std::optional<Timing> gif;

  friend bool operator==(const GifFrameProperties&, const GifFrameProperties&) = default;
};

/// One open file. Not thread-safe: one caller at a time. Memory stays bounded by what the file holds:
/// the canvas is refused at open when the file's image data could not fill it, whatever it declares.
class GifSource {
 public:
  virtual ~GifSource() = default;

  /// The frames whose data reads whole, up to the trailer or the first damage (a truncated file keeps
  /// the frames before the cut).
  virtual std::size_t count() const = 0;
  /// The canvas (logical screen) size.
  virtual int width() const = 0;
  virtual int height() const = 0;
  /// How many times the animation plays after the first time (0: for ever); absent when the file
  /// doesn't say, which browsers read as once.
  virtual std::optional<int> loopCount() const = 0;
  /// The properties of frame `index`; absent past the end.
  virtual std::optional<GifFrameProperties> properties(std::size_t index) const = 0;
  /// Frame `index` composited over the frames before it, through every disposal method and
  /// transparent index: `width()` by `height()` RGBA, transparent where nothing was drawn. Absent past
  /// the end or when the frame can't be decoded. Reading the frames in order is cheapest; going back
  /// decodes again from the first frame.
  virtual std::optional<Image> image(std::size_t index) = 0;
};

// Defined by the platform library (tavcommon_platform), with giflib.

/// Opens a GIF held in memory (the bytes are copied). Throws GifReadError when the bytes are no GIF,
/// the canvas is empty, or the canvas is larger than the file's image data could fill.
std::unique_ptr<GifSource> makeGifSource(std::span<const std::uint8_t> bytes);
/// Opens the GIF file at `file`; throws GifReadError naming the file when it can't be read or is no
/// usable GIF.
std::unique_ptr<GifSource> makeGifSource(const std::filesystem::path& file);

}  // namespace tav
