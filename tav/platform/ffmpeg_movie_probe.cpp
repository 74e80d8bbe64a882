#include "tav/platform/ffmpeg_movie_probe.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <limits>
#include <system_error>

#include "tav/platform/ffmpeg_handles.hpp"

namespace tav {
namespace {

std::uint64_t readBigEndian(const unsigned char* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = (value << 8) | bytes[i];
  return value;
}

std::string fourCharacters(std::uint32_t tag) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const auto c = static_cast<char>((tag >> shift) & 0xff);
    if (c != 0) text.push_back(c);
  }
  return text;
}

}  // namespace

int countTopLevelBoxes(const std::filesystem::path& path, const char (&type)[5]) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return 0;
  std::error_code error;
  const auto fileSize = std::filesystem::file_size(path, error);
  if (error) return 0;
  std::uint64_t offset = 0;
  int count = 0;
  while (offset + 8 <= fileSize) {
    std::array<unsigned char, 16> header{};
    file.seekg(static_cast<std::streamoff>(offset));
    if (!file.read(reinterpret_cast<char*>(header.data()), 8)) break;
    std::uint64_t size = readBigEndian(header.data(), 4);
    std::uint64_t headerSize = 8;
    if (size == 1) {  // 64-bit size follows the type
      if (!file.read(reinterpret_cast<char*>(header.data() + 8), 8)) break;
      size = readBigEndian(header.data() + 8, 8);
      headerSize = 16;
    } else if (size == 0) {  // runs to the end of the file
      size = fileSize - offset;
    }
    if (size < headerSize || offset + size > fileSize) break;  // torn last box: not counted
    if (std::memcmp(header.data() + 4, type, 4) == 0) ++count;
    offset += size;
  }
  return count;
}

ProbedMovie probeMovie(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw MovieProbeError(MovieProbeError::Kind::cannotOpen, "cannot open \"" + path.string() + "\": no such file");
  }
  {
    std::ifstream readable(path, std::ios::binary);
    if (!readable) {
      throw MovieProbeError(MovieProbeError::Kind::cannotOpen, "cannot open \"" + path.string() + "\": not readable");
    }
  }
  AVFormatContext* raw = nullptr;
  int result = avformat_open_input(&raw, path.c_str(), nullptr, nullptr);
  InputFormatContextPtr format(raw);
  if (result >= 0) result = avformat_find_stream_info(format.get(), nullptr);
  if (result < 0 || format->nb_streams == 0) {
    throw MovieProbeError(MovieProbeError::Kind::notAMovie,
                          "\"" + path.string() + "\" is not a movie: " +
                              (result < 0 ? ffmpegErrorText(result) : std::string("it has no tracks")));
  }

  ProbedMovie movie;
  movie.formatName = format->iformat->name;
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(format->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    movie.metadata.emplace_back(entry->key, entry->value);
  }

  struct Span {
    std::int64_t first = std::numeric_limits<std::int64_t>::max();
    std::int64_t end = std::numeric_limits<std::int64_t>::min();
    std::int64_t packets = 0;
    std::int64_t lastPts = AV_NOPTS_VALUE;
    std::int64_t lastStep = 0;
  };
  std::vector<Span> spans(format->nb_streams);
  PacketPtr packet(av_packet_alloc());
  while (av_read_frame(format.get(), packet.get()) >= 0) {
    auto& span = spans[static_cast<std::size_t>(packet->stream_index)];
    if (packet->pts != AV_NOPTS_VALUE) {
      // Fragments do not always report a packet's length; a frame then lasts as long as the one before.
      if (span.lastPts != AV_NOPTS_VALUE && packet->pts > span.lastPts) span.lastStep = packet->pts - span.lastPts;
      const std::int64_t length = packet->duration > 0 ? packet->duration : span.lastStep;
      span.first = std::min(span.first, packet->pts);
      span.end = std::max(span.end, packet->pts + length);
      span.lastPts = packet->pts;
    }
    ++span.packets;
    av_packet_unref(packet.get());
  }

  for (unsigned index = 0; index < format->nb_streams; ++index) {
    const AVStream* stream = format->streams[index];
    const AVCodecParameters* parameters = stream->codecpar;
    ProbedTrack track;
    const char* kind = av_get_media_type_string(parameters->codec_type);
    track.mediaType = kind != nullptr ? kind : "unknown";
    track.codec = avcodec_get_name(parameters->codec_id);
    track.codecTag = fourCharacters(parameters->codec_tag);
    if (parameters->codec_type == AVMEDIA_TYPE_VIDEO) {
      track.width = parameters->width;
      track.height = parameters->height;
      if (stream->avg_frame_rate.den != 0) track.frameRate = av_q2d(stream->avg_frame_rate);
    }
    if (parameters->codec_type == AVMEDIA_TYPE_AUDIO) {
      track.sampleRate = parameters->sample_rate;
      track.channels = parameters->ch_layout.nb_channels;
    }
    const Span& span = spans[index];
    track.packetCount = span.packets;
    if (span.packets > 0 && span.first <= span.end) {
      // The stream's own start accounts for an edit list that hides encoder priming (AAC's first
      // 1024 samples), which the raw packet times include.
      const std::int64_t start = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : span.first;
      track.startTime = static_cast<double>(start) * av_q2d(stream->time_base);
      track.duration = static_cast<double>(span.end - start) * av_q2d(stream->time_base);
    }
    movie.duration = std::max(movie.duration, track.duration);
    movie.tracks.push_back(std::move(track));
  }
  movie.fragmentCount = countTopLevelBoxes(path, "moof");
  return movie;
}

void silenceFfmpegMessages() { av_log_set_level(AV_LOG_QUIET); }

}  // namespace tav
