// The GIF reader of the platform library: giflib decodes each frame's pixels, and the frames are
// composited here as browsers show them. The canvas starts transparent (the background colour is
// ignored, as browsers do); a frame paints its opaque pixels, is shown, and is then disposed of: kept
// (unspecified, none), cleared to transparent in its rectangle (background), or undone back to the
// canvas as it was before the frame (previous).
#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "tav/contracts/gif_source.hpp"
#include "tav/platform/gif_file.hpp"

namespace tav {
namespace {

using detail::GifFrameRecord;

class GiflibGifSource final : public GifSource {
 public:
  GiflibGifSource(std::vector<std::uint8_t> bytes, detail::GifScan scan)
      : bytes_(std::move(bytes)), scan_(std::move(scan)) {}

  std::size_t count() const override { return scan_.frames.size(); }
  int width() const override { return scan_.screenWidth; }
  int height() const override { return scan_.screenHeight; }
  std::optional<int> loopCount() const override { return scan_.loopCount; }

  std::optional<GifFrameProperties> properties(std::size_t index) const override {
    if (index >= scan_.frames.size()) return std::nullopt;
    const GifFrameRecord& frame = scan_.frames[index];
    GifFrameProperties properties;
    properties.colorModel = "RGB";
    properties.depth = 8;
    const bool coversCanvas = frame.left <= 0 && frame.top <= 0 && frame.left + frame.width >= width() &&
                              frame.top + frame.height >= height();
    properties.hasAlpha = frame.transparentIndex != NO_TRANSPARENT_COLOR || !coversCanvas;
    properties.pixelWidth = width();
    properties.pixelHeight = height();
    if (frame.delayCentiseconds) {
      const double seconds = *frame.delayCentiseconds / 100.0;
      properties.gif = GifFrameProperties::Timing{seconds, seconds};
    }
    return properties;
  }

  std::optional<Image> image(std::size_t index) override {
    if (index >= scan_.frames.size()) return std::nullopt;
    if (!gif_ || index < next_) restart();
    while (gif_ && next_ < index) {
      if (!decodeNext()) return std::nullopt;
    }
    if (!gif_ || !decodeNext()) return std::nullopt;
    Image shown{width(), height(), std::vector<std::uint8_t>(canvas_.size() * 4)};
    std::memcpy(shown.pixels.data(), canvas_.data(), shown.pixels.size());
    return shown;
  }

 private:
  void restart() {
    reader_ = detail::GifByteReader{bytes_};
    gif_ = detail::openGif(reader_);
    next_ = 0;
    const std::size_t pixels = static_cast<std::size_t>(width()) * static_cast<std::size_t>(height());
    canvas_.assign(pixels, 0);
    disposal_.reset();
  }

  /// Disposes of the frame shown last, then decodes frame `next_` onto the canvas, which then holds the
  /// picture to show. False (and the reader closed) on damage, so the next call starts again.
  bool decodeNext() {
    dispose();
    if (!advanceToImage()) return fail();
    const GifFrameRecord& frame = scan_.frames[next_];
    const ColorMapObject* map = gif_->Image.ColorMap != nullptr ? gif_->Image.ColorMap : gif_->SColorMap;
    std::array<std::uint32_t, 256> colours{};
    // Indices past the table paint opaque black.
    colours.fill(opaque(0, 0, 0));
    if (map != nullptr) {
      for (int i = 0; i < std::min(map->ColorCount, 256); ++i) {
        const GifColorType& c = map->Colors[i];
        colours[static_cast<std::size_t>(i)] = opaque(c.Red, c.Green, c.Blue);
      }
    }
    if (frame.disposal == DISPOSE_PREVIOUS) saved_ = canvas_;
    if (!paint(frame, colours)) return fail();
    // Disposed of only when the next frame is drawn, so that the canvas is the picture shown now.
    disposal_ = next_;
    ++next_;
    return true;
  }

  /// Applies the disposal method of the frame shown last, if any.
  void dispose() {
    if (!disposal_) return;
    const GifFrameRecord& frame = scan_.frames[*disposal_];
    disposal_.reset();
    if (frame.disposal == DISPOSE_BACKGROUND) {
      forEachVisibleRow(frame, [&](int, int x0, int x1, std::uint32_t* row) { std::fill(row + x0, row + x1, 0u); });
    } else if (frame.disposal == DISPOSE_PREVIOUS) {
      canvas_.swap(saved_);
    }
  }

  /// Reads records up to the next image's descriptor.
  bool advanceToImage() {
    for (;;) {
      GifRecordType record;
      if (DGifGetRecordType(gif_.get(), &record) == GIF_ERROR) return false;
      if (record == IMAGE_DESC_RECORD_TYPE) return DGifGetImageDesc(gif_.get()) != GIF_ERROR;
      if (record != EXTENSION_RECORD_TYPE) return false;
      int code = 0;
      GifByteType* block = nullptr;
      if (DGifGetExtension(gif_.get(), &code, &block) == GIF_ERROR) return false;
      if (!detail::skipExtensionBlocks(gif_.get(), block)) return false;
    }
  }

  /// Decodes the frame's rows (in interlaced order where it is interlaced) and paints every pixel that
  /// isn't the transparent index onto the canvas, clipped to it.
  bool paint(const GifFrameRecord& frame, const std::array<std::uint32_t, 256>& colours) {
    // A frame with no pixels has no rows to read its data by.
    if (frame.width <= 0 || frame.height <= 0) return detail::skipImageData(gif_.get());
    row_.resize(static_cast<std::size_t>(std::max(frame.width, 0)));
    const bool interlaced = gif_->Image.Interlace;
    static constexpr std::array<int, 4> kOffsets{0, 4, 2, 1};
    static constexpr std::array<int, 4> kSteps{8, 8, 4, 2};
    const int passes = interlaced ? 4 : 1;
    for (int pass = 0; pass < passes; ++pass) {
      const int start = interlaced ? kOffsets[static_cast<std::size_t>(pass)] : 0;
      const int step = interlaced ? kSteps[static_cast<std::size_t>(pass)] : 1;
      for (int y = start; y < frame.height; y += step) {
        if (DGifGetLine(gif_.get(), row_.data(), frame.width) == GIF_ERROR) return false;
        paintRow(frame, y, colours);
      }
    }
    return true;
  }

  void paintRow(const GifFrameRecord& frame, int y, const std::array<std::uint32_t, 256>& colours) {
    const int canvasY = frame.top + y;
    if (canvasY < 0 || canvasY >= height()) return;
    const int x0 = std::max(0, frame.left);
    const int x1 = std::min(width(), frame.left + frame.width);
    std::uint32_t* out = canvas_.data() + static_cast<std::size_t>(canvasY) * static_cast<std::size_t>(width());
    const GifPixelType* in = row_.data() - frame.left;
    const int transparent = frame.transparentIndex;
    for (int x = x0; x < x1; ++x) {
      const GifPixelType index = in[x];
      if (index != transparent) out[x] = colours[index];
    }
  }

  template <class Visit>
  void forEachVisibleRow(const GifFrameRecord& frame, Visit visit) {
    const int x0 = std::max(0, frame.left);
    const int x1 = std::min(width(), frame.left + frame.width);
    if (x0 >= x1) return;
    for (int y = std::max(0, frame.top); y < std::min(height(), frame.top + frame.height); ++y) {
      visit(y, x0, x1, canvas_.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width()));
    }
  }

  bool fail() {
    gif_.reset();
    return false;
  }

  /// One RGBA pixel as it lies in memory.
  static std::uint32_t opaque(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    const std::array<std::uint8_t, 4> bytes{r, g, b, 255};
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data(), 4);
    return value;
  }

  std::vector<std::uint8_t> bytes_;
  detail::GifScan scan_;
  detail::GifByteReader reader_;
  detail::GifFilePtr gif_;
  /// The frame decodeNext reads next.
  std::size_t next_ = 0;
  /// The canvas showing the last frame decoded (its disposal not yet applied), one RGBA pixel per element.
  std::vector<std::uint32_t> canvas_;
  /// The canvas before a frame that is to be undone.
  std::vector<std::uint32_t> saved_;
  std::vector<GifPixelType> row_;
  /// The frame whose disposal is still to be applied.
  std::optional<std::size_t> disposal_;
};

}  // namespace

namespace {

std::unique_ptr<GifSource> openGifBytes(std::vector<std::uint8_t> bytes) {
  if (!detail::hasGifSignature(bytes)) throw GifReadError("not a GIF file (no GIF87a or GIF89a signature)");
  detail::GifScan scan = detail::scanGif(bytes);
  if (!scan.headerRead) throw GifReadError("the GIF header is damaged");
  if (scan.screenWidth <= 0 || scan.screenHeight <= 0) {
    throw GifReadError("the GIF canvas is empty (" + std::to_string(scan.screenWidth) + "x" +
                       std::to_string(scan.screenHeight) + ")");
  }
  const std::size_t pixels =
      static_cast<std::size_t>(scan.screenWidth) * static_cast<std::size_t>(scan.screenHeight);
  // A canvas is drawn only by its frames; one larger than all their data could fill is not a picture
  // but a request for memory.
  if (!scan.frames.empty() && pixels > (scan.imageDataBytes + 1) * detail::kGifMaxPixelsPerDataByte) {
    throw GifReadError("the GIF canvas " + std::to_string(scan.screenWidth) + "x" + std::to_string(scan.screenHeight) +
                       " is larger than its " + std::to_string(scan.imageDataBytes) +
                       " bytes of image data could fill");
  }
  return std::make_unique<GiflibGifSource>(std::move(bytes), std::move(scan));
}

}  // namespace

std::unique_ptr<GifSource> makeGifSource(std::span<const std::uint8_t> bytes) {
  return openGifBytes(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

std::unique_ptr<GifSource> makeGifSource(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw GifReadError(file.string() + ": cannot be opened");
  std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw GifReadError(file.string() + ": cannot be read");
  try {
    return openGifBytes(std::move(bytes));
  } catch (const GifReadError& error) {
    throw GifReadError(file.string() + ": " + error.what());
  }
}

}  // namespace tav
