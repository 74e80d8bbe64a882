#include "tav/contracts/cm_sample_buffer.hpp"

#include <limits>
#include <utility>
#include <variant>

namespace tav {

struct CMSampleBuffer::Payload {
  std::vector<CMSampleTimingInfo> timings;
  std::int64_t numSamples = 0;
  // Shared between a buffer and its re-timed copies.
  std::shared_ptr<const std::variant<VideoFrame, AudioBufferData, CompressedSampleData>> media;
};

namespace {

__extension__ typedef __int128 Wide;

int chromaWidth(int width) { return (width + 1) / 2; }
int chromaHeight(int height) { return (height + 1) / 2; }

}  // namespace

std::size_t VideoFrame::packedSize(PixelFormat format, int width, int height) {
  if (width <= 0 || height <= 0) return 0;
  const auto w = static_cast<std::size_t>(width);
  const auto h = static_cast<std::size_t>(height);
  const auto cw = static_cast<std::size_t>(chromaWidth(width));
  const auto ch = static_cast<std::size_t>(chromaHeight(height));
  switch (format) {
    case PixelFormat::nv12: return w * h + 2 * cw * ch;
    case PixelFormat::yuv420p: return w * h + 2 * cw * ch;
    case PixelFormat::bgra: return 4 * w * h;
  }
  return 0;
}

VideoFrame VideoFrame::packed(PixelFormat format, int width, int height, std::shared_ptr<const std::uint8_t> data) {
  VideoFrame frame;
  frame.pixelFormat = format;
  frame.width = width;
  frame.height = height;
  const std::uint8_t* base = data.get();
  const std::ptrdiff_t lumaSize = static_cast<std::ptrdiff_t>(width) * height;
  const int cw = chromaWidth(width);
  const std::ptrdiff_t chromaPlane = static_cast<std::ptrdiff_t>(cw) * chromaHeight(height);
  switch (format) {
    case PixelFormat::nv12:
      frame.planeCount = 2;
      frame.planes = {base, base + lumaSize, nullptr};
      frame.strides = {width, 2 * cw, 0};
      break;
    case PixelFormat::yuv420p:
      frame.planeCount = 3;
      frame.planes = {base, base + lumaSize, base + lumaSize + chromaPlane};
      frame.strides = {width, cw, cw};
      break;
    case PixelFormat::bgra:
      frame.planeCount = 1;
      frame.planes = {base, nullptr, nullptr};
      frame.strides = {4 * width, 0, 0};
      break;
  }
  frame.storage = std::move(data);
  return frame;
}

CMSampleBuffer CMSampleBuffer::videoFrame(VideoFrame frame, CMTime presentationTimeStamp, CMTime duration) {
  auto payload = std::make_shared<Payload>();
  payload->timings.push_back(CMSampleTimingInfo{duration, presentationTimeStamp, kCMTimeInvalid});
  payload->numSamples = 1;
  payload->media = std::make_shared<const std::variant<VideoFrame, AudioBufferData, CompressedSampleData>>(std::move(frame));
  return CMSampleBuffer(std::move(payload));
}

CMSampleBuffer CMSampleBuffer::audio(AudioBufferData data, CMTime presentationTimeStamp) {
  auto payload = std::make_shared<Payload>();
  payload->timings.push_back(
      CMSampleTimingInfo{CMTime::make(1, data.sampleRate), presentationTimeStamp, kCMTimeInvalid});
  payload->numSamples = data.frameCount;
  payload->media = std::make_shared<const std::variant<VideoFrame, AudioBufferData, CompressedSampleData>>(std::move(data));
  return CMSampleBuffer(std::move(payload));
}

CMSampleBuffer CMSampleBuffer::compressedSample(CompressedSampleData data, CMSampleTimingInfo timing) {
  auto payload = std::make_shared<Payload>();
  payload->timings.push_back(timing);
  payload->numSamples = 1;
  payload->media =
      std::make_shared<const std::variant<VideoFrame, AudioBufferData, CompressedSampleData>>(std::move(data));
  return CMSampleBuffer(std::move(payload));
}

const CompressedSampleData* CMSampleBuffer::compressedData() const {
  return _payload ? std::get_if<CompressedSampleData>(_payload->media.get()) : nullptr;
}

const VideoFrame* CMSampleBuffer::videoFrame() const {
  return _payload ? std::get_if<VideoFrame>(_payload->media.get()) : nullptr;
}

const AudioBufferData* CMSampleBuffer::audioData() const {
  return _payload ? std::get_if<AudioBufferData>(_payload->media.get()) : nullptr;
}

const std::vector<CMSampleTimingInfo>& CMSampleBuffer::timings() const {
  static const std::vector<CMSampleTimingInfo> none;
  return _payload ? _payload->timings : none;
}

std::int64_t CMSampleBuffer::numSamples() const { return _payload ? _payload->numSamples : 0; }

CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBuffer& buffer) {
  const auto& timings = buffer.timings();
  return timings.empty() ? kCMTimeInvalid : timings.front().presentationTimeStamp;
}

CMTime CMSampleBufferGetDecodeTimeStamp(const CMSampleBuffer& buffer) {
  const auto& timings = buffer.timings();
  return timings.empty() ? kCMTimeInvalid : timings.front().decodeTimeStamp;
}

CMTime CMSampleBufferGetDuration(const CMSampleBuffer& buffer) {
  const auto& timings = buffer.timings();
  if (timings.empty()) return kCMTimeInvalid;
  if (timings.size() == 1) {
    const CMTime one = timings.front().duration;
    if (!one.isNumeric()) return one.isValid() ? one : kCMTimeInvalid;
    const Wide total = static_cast<Wide>(one.value) * buffer.numSamples();
    if (total > std::numeric_limits<std::int64_t>::max() || total < std::numeric_limits<std::int64_t>::min()) {
      return total > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    }
    CMTime result = one;
    result.value = static_cast<std::int64_t>(total);
    return result;
  }
  CMTime sum = kCMTimeZero;
  for (const auto& timing : timings) {
    if (!timing.duration.isValid()) return kCMTimeInvalid;
    sum = sum + timing.duration;
  }
  return sum;
}

std::int64_t CMSampleBufferGetNumSamples(const CMSampleBuffer& buffer) { return buffer.numSamples(); }

std::optional<std::vector<CMSampleTimingInfo>> CMSampleBufferGetSampleTimingInfoArray(const CMSampleBuffer& buffer) {
  if (buffer.timings().empty()) return std::nullopt;
  return buffer.timings();
}

CMSampleBuffer CMSampleBufferCreateCopy(const CMSampleBuffer& buffer) { return buffer; }

std::optional<CMSampleBuffer> CMSampleBufferCreateCopyWithNewTiming(const CMSampleBuffer& buffer,
                                                                    const std::vector<CMSampleTimingInfo>& timings) {
  if (buffer.isEmpty()) return std::nullopt;
  const auto count = static_cast<std::int64_t>(timings.size());
  if (count != 1 && count != buffer.numSamples()) return std::nullopt;
  auto payload = std::make_shared<CMSampleBuffer::Payload>();
  payload->timings = timings;
  payload->numSamples = buffer.numSamples();
  payload->media = buffer._payload->media;
  CMSampleBuffer copy(std::move(payload));
  copy._attachments = buffer._attachments;
  return copy;
}

}  // namespace tav
