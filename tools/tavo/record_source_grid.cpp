#include "record_source_grid.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "tav/platform/ffmpeg_handles.hpp"

namespace tav::tool {
namespace {

constexpr std::uint8_t kBlackLuma = 16;
constexpr std::uint8_t kNeutralChroma = 128;
constexpr int kMaxInputChannels = 8;

struct Rect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

int evenFloor(std::int64_t value) { return static_cast<int>(value) & ~1; }

/// Cell `index` of `count` on `canvas`: ceil(sqrt(count)) columns, as many rows as needed, every edge on
/// an even pixel so that the chroma planes (half resolution) line up with the luma.
Rect cellRect(CanvasSize canvas, std::size_t index, std::size_t count) {
  const auto columns = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
  const std::size_t rows = (count + columns - 1) / columns;
  const auto column = static_cast<std::int64_t>(index % columns);
  const auto row = static_cast<std::int64_t>(index / columns);
  const auto across = static_cast<std::int64_t>(columns);
  const auto down = static_cast<std::int64_t>(rows);
  const int x0 = evenFloor(canvas.width * column / across);
  const int x1 = evenFloor(canvas.width * (column + 1) / across);
  const int y0 = evenFloor(canvas.height * row / down);
  const int y1 = evenFloor(canvas.height * (row + 1) / down);
  return {x0, y0, x1 - x0, y1 - y0};
}

/// The largest even-sized rectangle of the picture's proportions inside `cell`, centred; absent when
/// it would be smaller than 2x2.
std::optional<Rect> fitted(Rect cell, int pictureWidth, int pictureHeight) {
  if (pictureWidth <= 0 || pictureHeight <= 0) return std::nullopt;
  std::int64_t width = cell.width;
  std::int64_t height = width * pictureHeight / pictureWidth;
  if (height > cell.height) {
    height = cell.height;
    width = height * pictureWidth / pictureHeight;
  }
  const int w = evenFloor(width);
  const int h = evenFloor(height);
  if (w < 2 || h < 2) return std::nullopt;
  return Rect{cell.x + evenFloor((cell.width - w) / 2), cell.y + evenFloor((cell.height - h) / 2), w, h};
}

/// `value` rounded up to a multiple of `alignment` (a power of two).
std::size_t alignedUp(std::size_t value, std::size_t alignment) { return (value + alignment - 1) & ~(alignment - 1); }

}  // namespace

// Outside the anonymous namespace because the renderer's scaler set holds these.
/// A picture of one cell as libswscale writes it: planar YUV 4:2:0 with every plane and row starting on
/// a 64-byte boundary. Scaling straight into the canvas at a cell's offset would hand libswscale rows
/// and strides that are not aligned, which some of its SIMD paths mis-write at the cell's left edge.
class CellPicture {
 public:
  static constexpr std::size_t kAlignment = 64;

  void resize(int width, int height) {
    width_ = width;
    height_ = height;
    lumaStride_ = alignedUp(static_cast<std::size_t>(width), kAlignment);
    chromaStride_ = alignedUp(static_cast<std::size_t>(width / 2), kAlignment);
    lumaBytes_ = lumaStride_ * static_cast<std::size_t>(height);
    chromaBytes_ = chromaStride_ * static_cast<std::size_t>(height / 2);
    storage_.resize(lumaBytes_ + 2 * chromaBytes_ + kAlignment);
  }
  std::uint8_t* plane(int index) {
    const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
    std::uint8_t* base = storage_.data() + (alignedUp(address, kAlignment) - address);
    if (index == 0) return base;
    return base + lumaBytes_ + (index == 2 ? chromaBytes_ : 0);
  }
  int stride(int index) const { return static_cast<int>(index == 0 ? lumaStride_ : chromaStride_); }

  /// Copies the picture into a packed YUV 4:2:0 canvas of `canvasWidth` at (x, y), both even.
  void copyInto(std::uint8_t* canvas, int canvasWidth, int canvasHeight, int x, int y) {
    std::uint8_t* cb = canvas + static_cast<std::ptrdiff_t>(canvasWidth) * canvasHeight;
    std::uint8_t* cr = cb + static_cast<std::ptrdiff_t>(canvasWidth / 2) * (canvasHeight / 2);
    for (int row = 0; row < height_; ++row) {
      std::memcpy(canvas + static_cast<std::ptrdiff_t>(y + row) * canvasWidth + x,
                  plane(0) + static_cast<std::ptrdiff_t>(row) * stride(0), static_cast<std::size_t>(width_));
    }
    for (int row = 0; row < height_ / 2; ++row) {
      const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(y / 2 + row) * (canvasWidth / 2) + x / 2;
      std::memcpy(cb + at, plane(1) + static_cast<std::ptrdiff_t>(row) * stride(1), static_cast<std::size_t>(width_ / 2));
      std::memcpy(cr + at, plane(2) + static_cast<std::ptrdiff_t>(row) * stride(2), static_cast<std::size_t>(width_ / 2));
    }
  }

 private:
  int width_ = 0;
  int height_ = 0;
  std::size_t lumaStride_ = 0;
  std::size_t chromaStride_ = 0;
  std::size_t lumaBytes_ = 0;
  std::size_t chromaBytes_ = 0;
  std::vector<std::uint8_t> storage_;
};

namespace {

std::optional<AVPixelFormat> ffmpegFormat(PixelFormat format) {
  switch (format) {
    case PixelFormat::nv12: return AV_PIX_FMT_NV12;
    case PixelFormat::yuv420p: return AV_PIX_FMT_YUV420P;
    case PixelFormat::bgra: return AV_PIX_FMT_BGRA;
  }
  return std::nullopt;
}

}  // namespace

struct SourceGridRenderer::SourceSlot {
  bool hasVideo = false;
  bool hasAudio = false;
  std::mutex mutex;
  CMSampleBuffer latestVideo;
  // The audio queue, converted to the canvas format: one vector per channel (left, right).
  SwrContextPtr resampler;
  std::int32_t inputRate = 0;
  int inputChannels = 0;
  std::vector<float> left;
  std::vector<float> right;
  bool playing = false;  ///< false until the jitter margin has filled, and again after running dry
};

struct SourceGridRenderer::CanvasScalers {
  std::mutex mutex;
  std::vector<SwsContextPtr> perCell;
  std::vector<CellPicture> pictures;
};

SourceGridRenderer::SourceGridRenderer(const std::vector<std::unique_ptr<CaptureSource>>& sources,
                                       CanvasSize primary, CanvasSize secondary, std::int32_t sampleRate)
    : primary_(primary),
      secondary_(secondary),
      sampleRate_(sampleRate),
      primaryScalers_(std::make_unique<CanvasScalers>()),
      secondaryScalers_(std::make_unique<CanvasScalers>()) {
  for (const auto& source : sources) {
    auto slot = std::make_unique<SourceSlot>();
    slot->hasVideo = source->hasVideo();
    slot->hasAudio = source->hasAudio();
    if (slot->hasVideo) cells_.push_back(slot.get());
    slots_.push_back(std::move(slot));
  }
  for (CanvasScalers* scalers : {primaryScalers_.get(), secondaryScalers_.get()}) {
    scalers->perCell.resize(cells_.size());
    scalers->pictures.resize(cells_.size());
  }
}

SourceGridRenderer::~SourceGridRenderer() = default;

CaptureSinks SourceGridRenderer::sinks(std::size_t index) {
  if (index >= slots_.size()) {
    throw std::out_of_range("the grid has no source " + std::to_string(index) + " (it has " +
                            std::to_string(slots_.size()) + ")");
  }
  SourceSlot* slot = slots_[index].get();
  CaptureSinks result;
  if (slot->hasVideo) result.video = [this, slot](const CMSampleBuffer& buffer) { keepVideo(*slot, buffer); };
  if (slot->hasAudio) result.audio = [this, slot](const CMSampleBuffer& buffer) { queueAudio(*slot, buffer); };
  return result;
}

void SourceGridRenderer::keepVideo(SourceSlot& slot, const CMSampleBuffer& buffer) {
  if (buffer.videoFrame() == nullptr) return;
  // A handle copy: the pixels are shared, the source's thread does no work for the grid.
  std::lock_guard lock(slot.mutex);
  slot.latestVideo = buffer;
}

void SourceGridRenderer::queueAudio(SourceSlot& slot, const CMSampleBuffer& buffer) {
  const AudioBufferData* data = buffer.audioData();
  if (data == nullptr || !data->samples || data->channelCount < 1 || data->sampleRate <= 0 || data->frameCount <= 0) {
    return;
  }
  const int channels = std::min(data->channelCount, kMaxInputChannels);
  std::lock_guard lock(slot.mutex);
  if (!slot.resampler || slot.inputRate != data->sampleRate || slot.inputChannels != channels) {
    // First buffer, or the source changed its format: a converter for what it gives now.
    slot.resampler.reset();
    AVChannelLayout input{};
    AVChannelLayout output{};
    av_channel_layout_default(&input, channels);
    av_channel_layout_default(&output, 2);
    SwrContext* made = nullptr;
    const int result = swr_alloc_set_opts2(&made, &output, AV_SAMPLE_FMT_FLTP, sampleRate_, &input, AV_SAMPLE_FMT_FLTP,
                                           data->sampleRate, 0, nullptr);
    av_channel_layout_uninit(&input);
    av_channel_layout_uninit(&output);
    SwrContextPtr resampler(made);
    if (result < 0 || swr_init(resampler.get()) < 0) return;
    slot.resampler = std::move(resampler);
    slot.inputRate = data->sampleRate;
    slot.inputChannels = channels;
  }
  const int capacity = swr_get_out_samples(slot.resampler.get(), data->frameCount);
  if (capacity <= 0) return;
  std::vector<float> converted(static_cast<std::size_t>(capacity) * 2);
  std::uint8_t* outputPlanes[2] = {reinterpret_cast<std::uint8_t*>(converted.data()),
                                   reinterpret_cast<std::uint8_t*>(converted.data() + capacity)};
  const std::uint8_t* inputPlanes[kMaxInputChannels] = {};
  for (int c = 0; c < channels; ++c) inputPlanes[c] = reinterpret_cast<const std::uint8_t*>(data->channel(c));
  const int count = swr_convert(slot.resampler.get(), outputPlanes, capacity, inputPlanes, data->frameCount);
  if (count <= 0) return;
  const auto n = static_cast<std::ptrdiff_t>(count);
  slot.left.insert(slot.left.end(), converted.begin(), converted.begin() + n);
  slot.right.insert(slot.right.end(), converted.begin() + capacity, converted.begin() + capacity + n);
  const auto cap = static_cast<std::size_t>(maxQueuedSamples(sampleRate_));
  if (slot.left.size() > cap) {
    const auto excess = static_cast<std::ptrdiff_t>(slot.left.size() - cap);
    slot.left.erase(slot.left.begin(), slot.left.begin() + excess);
    slot.right.erase(slot.right.begin(), slot.right.begin() + excess);
  }
}

CMSampleBuffer SourceGridRenderer::renderVideo(CanvasRole role, std::int64_t, CMTime time) {
  const CanvasSize size = role == CanvasRole::primary ? primary_ : secondary_;
  CanvasScalers& scalers = role == CanvasRole::primary ? *primaryScalers_ : *secondaryScalers_;
  const int w = size.width;
  const int h = size.height;
  const std::size_t bytes = VideoFrame::packedSize(PixelFormat::yuv420p, w, h);
  std::shared_ptr<std::uint8_t> data(new std::uint8_t[bytes], std::default_delete<std::uint8_t[]>());
  std::uint8_t* luma = data.get();
  const auto lumaBytes = static_cast<std::size_t>(w) * static_cast<std::size_t>(h);
  std::memset(luma, kBlackLuma, lumaBytes);
  std::memset(luma + lumaBytes, kNeutralChroma, bytes - lumaBytes);  // both chroma planes

  // Handles to the latest pictures first, so that no source lock is held while scaling.
  std::vector<CMSampleBuffer> latest(cells_.size());
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    std::lock_guard lock(cells_[i]->mutex);
    latest[i] = cells_[i]->latestVideo;
  }
  std::lock_guard scalersLock(scalers.mutex);
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    const VideoFrame* frame = latest[i].videoFrame();
    if (frame == nullptr) continue;
    const std::optional<AVPixelFormat> format = ffmpegFormat(frame->pixelFormat);
    const std::optional<Rect> place = fitted(cellRect(size, i, cells_.size()), frame->width, frame->height);
    if (!format || !place) continue;
    SwsContextPtr& scaler = scalers.perCell[i];
    // Cached: a new context only when the source's size or format changes.
    scaler.reset(sws_getCachedContext(scaler.release(), frame->width, frame->height, *format, place->width,
                                      place->height, AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaler) continue;
    const std::uint8_t* source[4] = {frame->planes[0], frame->planes[1], frame->planes[2], nullptr};
    const int sourceStrides[4] = {frame->strides[0], frame->strides[1], frame->strides[2], 0};
    CellPicture& picture = scalers.pictures[i];
    picture.resize(place->width, place->height);
    std::uint8_t* target[4] = {picture.plane(0), picture.plane(1), picture.plane(2), nullptr};
    const int targetStrides[4] = {picture.stride(0), picture.stride(1), picture.stride(2), 0};
    if (sws_scale(scaler.get(), source, sourceStrides, 0, frame->height, target, targetStrides) != place->height) {
      continue;
    }
    picture.copyInto(luma, w, h, place->x, place->y);
  }

  std::shared_ptr<const std::uint8_t> shared = data;
  return CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::yuv420p, w, h, shared), time);
}

CMSampleBuffer SourceGridRenderer::renderAudio(std::int64_t, int frameCount, CMTime time) {
  constexpr int channels = 2;
  const int frames = std::max(0, frameCount);
  const auto perChannel = static_cast<std::size_t>(frames);
  std::shared_ptr<float> samples(new float[perChannel * channels](), std::default_delete<float[]>());
  float* left = samples.get();
  float* right = samples.get() + perChannel;
  const auto margin = static_cast<std::size_t>(jitterMarginSamples(sampleRate_));
  for (const auto& slot : slots_) {
    if (!slot->hasAudio) continue;
    std::lock_guard lock(slot->mutex);
    if (!slot->playing) {
      if (slot->left.size() < margin) continue;
      slot->playing = true;
    }
    const std::size_t n = std::min(perChannel, slot->left.size());
    for (std::size_t i = 0; i < n; ++i) {
      left[i] += slot->left[i];
      right[i] += slot->right[i];
    }
    const auto taken = static_cast<std::ptrdiff_t>(n);
    slot->left.erase(slot->left.begin(), slot->left.begin() + taken);
    slot->right.erase(slot->right.begin(), slot->right.begin() + taken);
    // Ran dry: wait for the margin again rather than play it in dribs and drabs.
    if (n < perChannel) slot->playing = false;
  }
  for (std::size_t i = 0; i < perChannel * channels; ++i) samples.get()[i] = std::clamp(samples.get()[i], -1.0f, 1.0f);
  std::shared_ptr<const float> shared = samples;
  return CMSampleBuffer::audio(AudioBufferData{channels, sampleRate_, frames, shared}, time);
}

}  // namespace tav::tool
