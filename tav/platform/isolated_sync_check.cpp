#include "tav/platform/isolated_sync_check.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "tav/platform/ffmpeg_handles.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"

namespace tav {

namespace {

constexpr double kFlashLuma = 200;
constexpr float kBeepLevel = 0.2f;  // well above the encoder's pre-echo of a 0.5 tone
constexpr double kQuietBeforeBeep = 0.2;

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& what, int code,
                       MovieProbeError::Kind kind = MovieProbeError::Kind::notAMovie) {
  throw MovieProbeError(kind, "\"" + file.string() + "\" " + what + (code < 0 ? ": " + ffmpegErrorText(code) : ""));
}

struct StreamDecoder {
  int index = -1;
  CodecContextPtr codec;
  AVRational timeBase{1, 1};
};

StreamDecoder openDecoder(AVFormatContext* format, AVMediaType type, const std::filesystem::path& file) {
  StreamDecoder decoder;
  const AVCodec* codec = nullptr;
  decoder.index = av_find_best_stream(format, type, -1, -1, &codec, 0);
  if (decoder.index < 0 || codec == nullptr) {
    decoder.index = -1;
    return decoder;
  }
  AVStream* stream = format->streams[decoder.index];
  decoder.codec.reset(avcodec_alloc_context3(codec));
  if (!decoder.codec) fail(file, "cannot be decoded: out of memory", 0);
  int result = avcodec_parameters_to_context(decoder.codec.get(), stream->codecpar);
  if (result >= 0) result = avcodec_open2(decoder.codec.get(), codec, nullptr);
  if (result < 0) fail(file, "cannot be decoded", result);
  decoder.timeBase = stream->time_base;
  return decoder;
}

double meanLuma(const AVFrame& frame) {
  // Every format FFmpeg decodes our files to (yuv420p, nv12, yuvj...) has 8-bit luma in plane 0.
  std::uint64_t sum = 0;
  for (int y = 0; y < frame.height; ++y) {
    const std::uint8_t* row = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
    for (int x = 0; x < frame.width; ++x) sum += row[x];
  }
  const auto pixels = static_cast<double>(frame.width) * frame.height;
  return pixels > 0 ? static_cast<double>(sum) / pixels : 0;
}

/// The peak absolute value of sample `i` over the channels, for the sample formats decoders give.
float peak(const AVFrame& frame, int i) {
  const int channels = frame.ch_layout.nb_channels;
  float best = 0;
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  for (int c = 0; c < channels; ++c) {
    const std::uint8_t* base = planar ? frame.extended_data[c] : frame.extended_data[0];
    const int at = planar ? i : i * channels + c;
    float value = 0;
    switch (av_get_packed_sample_fmt(format)) {
      case AV_SAMPLE_FMT_FLT:
        value = reinterpret_cast<const float*>(base)[at];
        break;
      case AV_SAMPLE_FMT_DBL:
        value = static_cast<float>(reinterpret_cast<const double*>(base)[at]);
        break;
      case AV_SAMPLE_FMT_S16:
        value = static_cast<float>(reinterpret_cast<const std::int16_t*>(base)[at]) / 32768.0f;
        break;
      case AV_SAMPLE_FMT_S32:
        value = static_cast<float>(reinterpret_cast<const std::int32_t*>(base)[at]) / 2147483648.0f;
        break;
      default:
        break;
    }
    best = std::max(best, std::fabs(value));
  }
  return best;
}

}  // namespace

SyncMarks findSyncMarks(const std::filesystem::path& file) {
  SyncMarks marks;
  marks.file = file;
  AVFormatContext* raw = nullptr;
  int result = avformat_open_input(&raw, file.c_str(), nullptr, nullptr);
  if (result == AVERROR(ENOENT) || result == AVERROR(EACCES) || result == AVERROR(EISDIR)) {
    fail(file, "cannot be opened", result, MovieProbeError::Kind::cannotOpen);
  }
  if (result < 0) fail(file, "is not a media file", result);
  InputFormatContextPtr format(raw);
  result = avformat_find_stream_info(format.get(), nullptr);
  if (result < 0) fail(file, "is not a media file", result);

  StreamDecoder video = openDecoder(format.get(), AVMEDIA_TYPE_VIDEO, file);
  StreamDecoder audio = openDecoder(format.get(), AVMEDIA_TYPE_AUDIO, file);
  marks.hasVideo = video.index >= 0;
  marks.hasAudio = audio.index >= 0;

  PacketPtr packet(av_packet_alloc());
  FramePtr frame(av_frame_alloc());
  if (!packet || !frame) fail(file, "cannot be decoded: out of memory", 0);
  bool lastWasBright = false;
  double lastLoud = -1e9;  // the file begins quiet, so a beep right at its start counts

  const auto drain = [&](StreamDecoder& decoder) {
    while (avcodec_receive_frame(decoder.codec.get(), frame.get()) >= 0) {
      const std::int64_t pts = frame->best_effort_timestamp;
      const double time = pts == AV_NOPTS_VALUE ? 0 : static_cast<double>(pts) * av_q2d(decoder.timeBase);
      if (&decoder == &video) {
        const bool bright = meanLuma(*frame) >= kFlashLuma;
        if (bright && !lastWasBright) marks.flashes.push_back(time);
        lastWasBright = bright;
      } else {
        const double rate = frame->sample_rate > 0 ? frame->sample_rate : 48000;
        for (int i = 0; i < frame->nb_samples; ++i) {
          const double at = time + i / rate;
          if (peak(*frame, i) <= kBeepLevel) continue;
          if (at - lastLoud >= kQuietBeforeBeep) marks.beeps.push_back(at);
          lastLoud = at;
        }
      }
      av_frame_unref(frame.get());
    }
  };
  while ((result = av_read_frame(format.get(), packet.get())) >= 0) {
    StreamDecoder* decoder = packet->stream_index == video.index   ? &video
                             : packet->stream_index == audio.index ? &audio
                                                                   : nullptr;
    if (decoder != nullptr && avcodec_send_packet(decoder->codec.get(), packet.get()) >= 0) drain(*decoder);
    av_packet_unref(packet.get());
  }
  for (StreamDecoder* decoder : {&video, &audio}) {
    if (decoder->index < 0) continue;
    avcodec_send_packet(decoder->codec.get(), nullptr);
    drain(*decoder);
  }
  return marks;
}

std::optional<double> medianOffset(const std::vector<double>& later, const std::vector<double>& earlier) {
  if (later.empty() || earlier.empty()) return std::nullopt;
  std::vector<double> differences;
  differences.reserve(later.size());
  for (const double mark : later) {
    const auto next = std::lower_bound(earlier.begin(), earlier.end(), mark);
    double best = next == earlier.end() ? mark - earlier.back() : mark - *next;
    if (next != earlier.begin() && std::fabs(mark - *(next - 1)) < std::fabs(best)) best = mark - *(next - 1);
    differences.push_back(best);
  }
  std::sort(differences.begin(), differences.end());
  const std::size_t middle = differences.size() / 2;
  return differences.size() % 2 == 1 ? differences[middle] : (differences[middle - 1] + differences[middle]) / 2;
}

SyncComparison compareSyncMarks(std::vector<SyncMarks> files) {
  const auto timeline = [](const SyncMarks& marks) -> const std::vector<double>& {
    return marks.flashes.empty() ? marks.beeps : marks.flashes;
  };
  SyncComparison comparison;
  comparison.isComplete = !files.empty();
  for (const SyncMarks& marks : files) {
    SyncComparison::File file{marks, medianOffset(marks.beeps, marks.flashes), {}};
    if (file.audioToVideo) {
      comparison.maxAudioToVideo = std::max(comparison.maxAudioToVideo, std::fabs(*file.audioToVideo));
    }
    if ((marks.hasVideo && marks.hasAudio && !file.audioToVideo) || timeline(marks).empty()) {
      comparison.isComplete = false;
    }
    for (const SyncMarks& other : files) {
      if (&other == &marks) continue;
      const std::optional<double> offset = medianOffset(timeline(marks), timeline(other));
      if (offset) comparison.maxOffset = std::max(comparison.maxOffset, std::fabs(*offset));
      file.offsets.emplace_back(other.file.filename().string(), offset);
    }
    comparison.files.push_back(std::move(file));
  }
  return comparison;
}

}  // namespace tav
