// Still pictures through FFmpeg: image files read from memory by its image demuxers and decoders, and
// PNG written by its PNG encoder. One conversion to RGBA through libswscale.
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "tav/contracts/image.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/platform/ffmpeg_handles.hpp"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/mem.h>
}

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("ImageCodec");
  return instance;
}

// The largest picture decoded: 64 megapixels, 256 MiB as RGBA. A file declaring more is refused
// before its pixels are allocated, whatever its header claims.
constexpr std::int64_t kMaxPixels = 64LL * 1024 * 1024;

bool isStillPictureCodec(AVCodecID id) {
  switch (id) {
    case AV_CODEC_ID_PNG:
    case AV_CODEC_ID_APNG:
    case AV_CODEC_ID_MJPEG:
    case AV_CODEC_ID_WEBP:
    case AV_CODEC_ID_TIFF:
    case AV_CODEC_ID_BMP:
    case AV_CODEC_ID_GIF:
      return true;
    default:
      return false;
  }
}

// Reads the caller's bytes through an AVIOContext without copying them.
struct MemoryReader {
  std::span<const std::uint8_t> bytes;
  std::size_t position = 0;

  static int read(void* opaque, std::uint8_t* buffer, int size) {
    auto* self = static_cast<MemoryReader*>(opaque);
    const std::size_t left = self->bytes.size() - self->position;
    if (left == 0) return AVERROR_EOF;
    const std::size_t count = std::min(left, static_cast<std::size_t>(size));
    std::memcpy(buffer, self->bytes.data() + self->position, count);
    self->position += count;
    return static_cast<int>(count);
  }
  static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
    auto* self = static_cast<MemoryReader*>(opaque);
    const auto size = static_cast<std::int64_t>(self->bytes.size());
    if ((whence & AVSEEK_SIZE) != 0) return size;
    std::int64_t target = offset;
    switch (whence & ~AVSEEK_FORCE) {
      case SEEK_SET: break;
      case SEEK_CUR: target = static_cast<std::int64_t>(self->position) + offset; break;
      case SEEK_END: target = size + offset; break;
      default: return AVERROR(EINVAL);
    }
    if (target < 0 || target > size) return AVERROR(EINVAL);
    self->position = static_cast<std::size_t>(target);
    return target;
  }
};

struct IOContextDeleter {
  void operator()(AVIOContext* context) const {
    if (context == nullptr) return;
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};
using IOContextPtr = std::unique_ptr<AVIOContext, IOContextDeleter>;

std::optional<Image> toRGBA(const AVFrame& frame) {
  if (frame.width <= 0 || frame.height <= 0) return std::nullopt;
  SwsContextPtr scaler(sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
                                      frame.height, AV_PIX_FMT_RGBA, SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (!scaler) return std::nullopt;
  // libswscale may write past the end of a row with its vector code, so it writes into FFmpeg's own
  // aligned and padded frame, and the rows are copied out.
  FramePtr rgba(av_frame_alloc());
  if (!rgba) return std::nullopt;
  rgba->format = AV_PIX_FMT_RGBA;
  rgba->width = frame.width;
  rgba->height = frame.height;
  if (av_frame_get_buffer(rgba.get(), 0) < 0) return std::nullopt;
  if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, rgba->data, rgba->linesize) !=
      frame.height) {
    return std::nullopt;
  }
  Image image;
  image.width = frame.width;
  image.height = frame.height;
  image.pixels.resize(image.stride() * static_cast<std::size_t>(image.height));
  for (int y = 0; y < image.height; ++y) {
    std::memcpy(image.pixel(0, y), rgba->data[0] + static_cast<std::ptrdiff_t>(y) * rgba->linesize[0], image.stride());
  }
  return image;
}

std::optional<Image> decodeFirstPicture(std::span<const std::uint8_t> bytes) {
  MemoryReader reader{bytes};
  constexpr int kBufferSize = 64 * 1024;
  auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBufferSize));
  if (buffer == nullptr) return std::nullopt;
  IOContextPtr io(avio_alloc_context(buffer, kBufferSize, 0, &reader, &MemoryReader::read, nullptr,
                                     &MemoryReader::seek));
  if (!io) {
    av_free(buffer);
    return std::nullopt;
  }
  AVFormatContext* raw = avformat_alloc_context();
  if (raw == nullptr) return std::nullopt;
  raw->pb = io.get();
  raw->flags |= AVFMT_FLAG_CUSTOM_IO;
  if (avformat_open_input(&raw, nullptr, nullptr, nullptr) < 0) return std::nullopt;  // frees raw on failure
  InputFormatContextPtr format(raw);

  const AVStream* stream = nullptr;
  for (unsigned i = 0; i < format->nb_streams; ++i) {
    if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
        isStillPictureCodec(format->streams[i]->codecpar->codec_id)) {
      stream = format->streams[i];
      break;
    }
  }
  if (stream == nullptr) return std::nullopt;
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (codec == nullptr) return std::nullopt;
  CodecContextPtr decoder(avcodec_alloc_context3(codec));
  if (!decoder || avcodec_parameters_to_context(decoder.get(), stream->codecpar) < 0) return std::nullopt;
  decoder->max_pixels = kMaxPixels;
  decoder->thread_count = 1;
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) return std::nullopt;

  PacketPtr packet(av_packet_alloc());
  FramePtr frame(av_frame_alloc());
  if (!packet || !frame) return std::nullopt;
  bool flushing = false;
  while (true) {
    const int received = avcodec_receive_frame(decoder.get(), frame.get());
    if (received == 0) return toRGBA(*frame);
    if (received != AVERROR(EAGAIN) || flushing) return std::nullopt;
    int read = av_read_frame(format.get(), packet.get());
    while (read >= 0 && packet->stream_index != stream->index) {
      av_packet_unref(packet.get());
      read = av_read_frame(format.get(), packet.get());
    }
    if (read < 0) {
      flushing = true;
      if (avcodec_send_packet(decoder.get(), nullptr) < 0) return std::nullopt;
      continue;
    }
    const int sent = avcodec_send_packet(decoder.get(), packet.get());
    av_packet_unref(packet.get());
    if (sent < 0 && sent != AVERROR(EAGAIN)) return std::nullopt;
  }
}

}  // namespace

std::optional<Image> decodeImage(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return std::nullopt;
  std::optional<Image> image = decodeFirstPicture(bytes);
  if (!image) logger().debug("No picture could be read from {} bytes", bytes.size());
  return image;
}

std::vector<std::uint8_t> encodePNG(const Image& image) {
  if (image.isEmpty() || image.pixels.size() < image.stride() * static_cast<std::size_t>(image.height)) {
    throw std::invalid_argument("cannot encode an empty image as PNG");
  }
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (codec == nullptr) throw std::runtime_error("FFmpeg has no PNG encoder");
  CodecContextPtr encoder(avcodec_alloc_context3(codec));
  if (!encoder) throw std::bad_alloc();
  encoder->width = image.width;
  encoder->height = image.height;
  encoder->pix_fmt = AV_PIX_FMT_RGBA;
  encoder->time_base = AVRational{1, 1};
  if (const int status = avcodec_open2(encoder.get(), codec, nullptr); status < 0) {
    throw std::runtime_error("cannot start the PNG encoder: " + ffmpegErrorText(status));
  }
  FramePtr frame(av_frame_alloc());
  PacketPtr packet(av_packet_alloc());
  if (!frame || !packet) throw std::bad_alloc();
  frame->format = AV_PIX_FMT_RGBA;
  frame->width = image.width;
  frame->height = image.height;
  // The encoder only reads the frame, so it can point at the image's own pixels.
  frame->data[0] = const_cast<std::uint8_t*>(image.pixels.data());
  frame->linesize[0] = static_cast<int>(image.stride());
  frame->pts = 0;
  int status = avcodec_send_frame(encoder.get(), frame.get());
  if (status >= 0) status = avcodec_send_frame(encoder.get(), nullptr);
  if (status < 0) throw std::runtime_error("cannot encode PNG: " + ffmpegErrorText(status));
  std::vector<std::uint8_t> bytes;
  while ((status = avcodec_receive_packet(encoder.get(), packet.get())) == 0) {
    bytes.insert(bytes.end(), packet->data, packet->data + packet->size);
    av_packet_unref(packet.get());
  }
  if (status != AVERROR_EOF) throw std::runtime_error("cannot encode PNG: " + ffmpegErrorText(status));
  return bytes;
}

void writePNG(const Image& image, const std::filesystem::path& path) {
  const std::vector<std::uint8_t> bytes = encodePNG(image);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (file) file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file) {
    throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(),
                            "cannot write PNG file " + path.string());
  }
}

}  // namespace tav
