// The displayed size of a movie's first video track, read with libavformat without decoding anything:
// the coded size from the stream's parameters, the transform from its display matrix, or from the
// "rotate" tag that older files and muxers carry instead.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include "tav/contracts/video_track_geometry.hpp"
#include "tav/platform/ffmpeg_handles.hpp"

namespace tav {
namespace {

/// The display matrix is the movie's own track matrix: a, b, u, c, d, v, tx, ty, w, with the first
/// two columns in 16.16 fixed point.
VideoTrackTransform fromDisplayMatrix(const std::int32_t* m) {
  constexpr double kOne = 65536.0;
  return VideoTrackTransform{m[0] / kOne, m[1] / kOne, m[3] / kOne, m[4] / kOne, m[6] / kOne, m[7] / kOne};
}

/// A turn by `degrees` clockwise on screen, as the "rotate" tag means it.
VideoTrackTransform fromRotation(double degrees) {
  const double radians = degrees * 3.14159265358979323846 / 180.0;
  // Exact quarter turns stay exact, so sizes come out whole.
  double cosine = std::cos(radians);
  double sine = std::sin(radians);
  if (std::fabs(cosine) < 1e-12) cosine = 0;
  if (std::fabs(sine) < 1e-12) sine = 0;
  return VideoTrackTransform{cosine, sine, -sine, cosine, 0, 0};
}

}  // namespace

std::optional<VideoTrackGeometry> readVideoTrackGeometry(const std::filesystem::path& file) {
  AVFormatContext* raw = nullptr;
  if (avformat_open_input(&raw, file.c_str(), nullptr, nullptr) < 0) return std::nullopt;
  InputFormatContextPtr context(raw);
  if (avformat_find_stream_info(context.get(), nullptr) < 0) return std::nullopt;
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const AVStream* stream = context->streams[i];
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
    // Cover art is a picture attached to the file, not a track that plays.
    if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) continue;
    VideoTrackGeometry geometry;
    geometry.naturalSize = Size{static_cast<double>(stream->codecpar->width),
                                static_cast<double>(stream->codecpar->height)};
    std::size_t sideDataSize = 0;
    const std::uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &sideDataSize);
    if (matrix != nullptr && sideDataSize >= 9 * sizeof(std::int32_t)) {
      geometry.preferredTransform = fromDisplayMatrix(reinterpret_cast<const std::int32_t*>(matrix));
    } else if (const AVDictionaryEntry* rotate = av_dict_get(stream->metadata, "rotate", nullptr, 0)) {
      char* end = nullptr;
      const double degrees = std::strtod(rotate->value, &end);
      if (end != rotate->value && *end == '\0' && std::isfinite(degrees)) geometry.preferredTransform = fromRotation(degrees);
    }
    return geometry;
  }
  return std::nullopt;
}

}  // namespace tav
