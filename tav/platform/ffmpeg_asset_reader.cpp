#include "tav/platform/ffmpeg_asset_reader.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
}

#include "tav/contracts/frame_memory.hpp"
#include "tav/contracts/image_orientation.hpp"
#include "tav/platform/ffmpeg_handles.hpp"

namespace tav {
namespace {

constexpr AVRational kMicroseconds{1, AV_TIME_BASE};

/// A stream timestamp as a CMTime: at the stream's own timescale when it is 1/n, else at 90 kHz.
CMTime timeFromStream(std::int64_t timestamp, AVRational timeBase) {
  if (timestamp == AV_NOPTS_VALUE || timeBase.num <= 0 || timeBase.den <= 0) return kCMTimeInvalid;
  if (timeBase.num == 1) return CMTime::make(timestamp, timeBase.den);
  return CMTime::make(av_rescale_q(timestamp, timeBase, AVRational{1, 90000}), 90000);
}

/// A numeric CMTime in a stream's time base, rounded to nearest; saturates for non-numeric times.
std::int64_t streamTimestamp(CMTime time, AVRational timeBase) {
  if (time.isPositiveInfinity() || !time.isValid()) return std::numeric_limits<std::int64_t>::max();
  if (time.isNegativeInfinity()) return std::numeric_limits<std::int64_t>::min();
  return av_rescale_q_rnd(time.value, AVRational{1, time.timescale}, timeBase,
                          static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

/// The display turn of a stream, clockwise, in quarter turns (0 to 3); 0 for anything but a whole
/// quarter turn.
int clockwiseQuarterTurns(const AVStream* stream) {
  double clockwise = 0;
  bool found = false;
  std::size_t size = 0;
  const std::uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (matrix != nullptr && size >= 9 * sizeof(std::int32_t)) {
    std::int32_t values[9];
    std::memcpy(values, matrix, sizeof values);
    const double anticlockwise = av_display_rotation_get(values);
    if (std::isfinite(anticlockwise)) {
      clockwise = -anticlockwise;
      found = true;
    }
  }
  if (!found) {
    if (const AVDictionaryEntry* tag = av_dict_get(stream->metadata, "rotate", nullptr, 0)) {
      char* end = nullptr;
      const double degrees = std::strtod(tag->value, &end);
      if (end != tag->value && std::isfinite(degrees)) clockwise = degrees;
    }
  }
  const double quarters = clockwise / 90.0;
  const double whole = std::round(quarters);
  if (std::fabs(quarters - whole) > 0.01 || std::fabs(whole) > 1e6) return 0;
  return static_cast<int>(((static_cast<long long>(whole) % 4) + 4) % 4);
}

/// The transform that turns a stored picture of `width` x `height` clockwise by `quarters`, with the
/// translation that keeps it in the positive quadrant, as a movie's track header writes it.
AffineTransform transformForQuarterTurns(int quarters, double width, double height) {
  switch (quarters) {
    case 1: return AffineTransform{0, 1, -1, 0, height, 0};
    case 2: return AffineTransform{-1, 0, 0, -1, width, height};
    case 3: return AffineTransform{0, -1, 1, 0, 0, width};
    default: return AffineTransform{};
  }
}

float frameRateOf(const AVStream* stream) {
  for (AVRational rate : {stream->avg_frame_rate, stream->r_frame_rate}) {
    if (rate.num > 0 && rate.den > 0) return static_cast<float>(av_q2d(rate));
  }
  return 0;
}

InputFormatContextPtr openInput(const std::filesystem::path& path) {
  AVFormatContext* raw = nullptr;
  const int opened = avformat_open_input(&raw, path.c_str(), nullptr, nullptr);
  if (opened < 0) throw std::runtime_error(path.string() + ": " + ffmpegErrorText(opened));
  return InputFormatContextPtr(raw);
}

void findStreamInfo(AVFormatContext* context, const std::filesystem::path& path) {
  const int found = avformat_find_stream_info(context, nullptr);
  if (found < 0) throw std::runtime_error(path.string() + ": " + ffmpegErrorText(found));
}

/// Everything an asset learns from opening its file once; shared by its readers.
struct AssetInfo {
  CMTime duration = kCMTimeZero;
  std::vector<AssetTrack> tracks;
  std::vector<int> streamIndices;  // of each track, in the same order
  /// The file's first timestamp when after zero, in microseconds; subtracted from every time.
  std::int64_t startOffset = 0;

  int streamIndexOf(const AssetTrack& track) const {
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      if (tracks[i].trackID == track.trackID && tracks[i].mediaType == track.mediaType) return streamIndices[i];
    }
    return -1;
  }
};

AssetInfo readAssetInfo(const std::filesystem::path& path) {
  InputFormatContextPtr context = openInput(path);
  findStreamInfo(context.get(), path);
  AssetInfo info;
  if (context->start_time != AV_NOPTS_VALUE && context->start_time > 0) info.startOffset = context->start_time;
  if (context->duration != AV_NOPTS_VALUE && context->duration > 0) {
    info.duration = CMTime::make(context->duration, AV_TIME_BASE);
  }
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const AVStream* stream = context->streams[i];
    const AVCodecParameters* parameters = stream->codecpar;
    AssetTrack track;
    track.trackID = stream->id > 0 ? stream->id : static_cast<std::int32_t>(i) + 1;
    if (parameters->codec_type == AVMEDIA_TYPE_VIDEO) {
      if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) continue;  // cover art, not a track
      track.mediaType = MediaStreamType::video();
      track.naturalSize = Size{static_cast<double>(parameters->width), static_cast<double>(parameters->height)};
      track.preferredTransform =
          transformForQuarterTurns(clockwiseQuarterTurns(stream), track.naturalSize.width, track.naturalSize.height);
      track.nominalFrameRate = frameRateOf(stream);
      const AVRational fastest = stream->r_frame_rate;
      if (fastest.num > 0 && fastest.den > 0) track.minFrameDuration = CMTime::make(fastest.den, fastest.num);
    } else if (parameters->codec_type == AVMEDIA_TYPE_AUDIO) {
      track.mediaType = MediaStreamType::audio();
    } else {
      continue;
    }
    info.tracks.push_back(track);
    info.streamIndices.push_back(static_cast<int>(i));
  }
  return info;
}

class FfmpegAssetReader;

enum class OutputKind { passthrough, decodedVideo, composedVideo, linearPCM };

/// One output of a reader. It keeps a plain pointer to its reader, cleared when the reader goes, since
/// an output handed out may outlive the reader that made it.
class FfmpegOutput final : public AssetReaderOutput {
 public:
  FfmpegOutput(FfmpegAssetReader* reader, int streamIndex, OutputKind kind) : reader_(reader), streamIndex_(streamIndex), kind_(kind) {}

  std::optional<CMSampleBuffer> copyNextSampleBuffer() override;

  FfmpegAssetReader* reader_;
  const int streamIndex_;
  const OutputKind kind_;
  bool added_ = false;
  bool ended_ = false;
  std::deque<PacketPtr> pending_;
  bool flushed_ = false;  // the decoder has been sent its end

  // Pictures.
  ImageOrientation orientation_ = ImageOrientation::up;
  int targetWidth_ = 0;  // before the rotation pass; 0 keeps the stored size
  int targetHeight_ = 0;
  CMTime fallbackDuration_ = kCMTimeInvalid;
  SwsContextPtr scaler_;
  int scalerFormat_ = -1, scalerWidth_ = 0, scalerHeight_ = 0;

  // Audio.
  int sampleRate_ = 48000;
  int channels_ = 2;
  SwrContextPtr resampler_;
  int resamplerFormat_ = -1, resamplerRate_ = 0, resamplerChannels_ = 0;
  std::int64_t nextSample_ = std::numeric_limits<std::int64_t>::min();
  bool resamplerDrained_ = false;

  CodecContextPtr decoder_;
  FramePtr frame_;

 private:
  std::optional<CMSampleBuffer> nextPassthrough();
  std::optional<CMSampleBuffer> nextPicture();
  std::optional<CMSampleBuffer> nextAudio();
  /// Receives the next decoded frame into frame_, feeding packets as needed; false at the end.
  bool decodeNextFrame();
  std::optional<CMSampleBuffer> convertPicture(const AVFrame& frame, AVRational timeBase);
  std::optional<CMSampleBuffer> convertAudio(const AVFrame* frame);
  std::optional<CMSampleBuffer> end();
};

class FfmpegAssetReader final : public AssetReader {
 public:
  FfmpegAssetReader(std::filesystem::path path, std::shared_ptr<const AssetInfo> info)
      : path_(std::move(path)), info_(std::move(info)), context_(openInput(path_)), packet_(av_packet_alloc()) {
    if (!packet_) throw std::runtime_error(path_.string() + ": out of memory");
  }
  ~FfmpegAssetReader() override {
    for (const auto& output : outputs_) output->reader_ = nullptr;
  }

  std::shared_ptr<AssetReaderOutput> makeTrackOutput(const AssetTrack& track,
                                                    const std::optional<MediaSettings>& settings) override {
    const int index = info_->streamIndexOf(track);
    if (index < 0) return nullptr;
    if (!settings) return std::make_shared<FfmpegOutput>(this, index, OutputKind::passthrough);
    if (settings->contains(kCVPixelBufferPixelFormatTypeKey)) {
      if (!track.mediaType.isVideo()) return nullptr;
      return std::make_shared<FfmpegOutput>(this, index, OutputKind::decodedVideo);
    }
    const JsonValue* format = settings->if_contains(AVFormatIDKey);
    if (format == nullptr || !track.mediaType.isAudio() || !isNumber(*format, kAudioFormatLinearPCM)) return nullptr;
    if (const JsonValue* depth = settings->if_contains(AVLinearPCMBitDepthKey); depth && !isNumber(*depth, 32)) {
      return nullptr;
    }
    if (const JsonValue* isFloat = settings->if_contains(AVLinearPCMIsFloatKey); isFloat && isFloat->is_bool() && !isFloat->get_bool()) {
      return nullptr;
    }
    if (const JsonValue* planar = settings->if_contains(AVLinearPCMIsNonInterleaved); planar && planar->is_bool() && !planar->get_bool()) {
      return nullptr;
    }
    auto output = std::make_shared<FfmpegOutput>(this, index, OutputKind::linearPCM);
    if (const JsonValue* rate = settings->if_contains(AVSampleRateKey); rate && rate->is_number()) {
      const double value = rate->to_number<double>();
      if (!(value >= 1000 && value <= 384000)) return nullptr;
      output->sampleRate_ = static_cast<int>(std::lround(value));
    }
    if (const JsonValue* count = settings->if_contains(AVNumberOfChannelsKey); count && count->is_number()) {
      const double value = count->to_number<double>();
      if (!(value >= 1 && value <= 8)) return nullptr;
      output->channels_ = static_cast<int>(value);
    }
    return output;
  }

  std::shared_ptr<AssetReaderOutput> makeVideoCompositionOutput(const std::vector<AssetTrack>& tracks, const MediaSettings&,
                                                               const VideoComposition& composition) override {
    if (tracks.empty() || !tracks.front().mediaType.isVideo()) return nullptr;
    const int index = info_->streamIndexOf(tracks.front());
    const double renderWidth = std::fabs(composition.renderSize.width);
    const double renderHeight = std::fabs(composition.renderSize.height);
    if (index < 0 || !(renderWidth >= 1 && renderHeight >= 1 && renderWidth <= 16384 && renderHeight <= 16384)) {
      return nullptr;
    }
    auto output = std::make_shared<FfmpegOutput>(this, index, OutputKind::composedVideo);
    output->orientation_ = imageOrientation(composition.layerTransform);
    const bool quarter =
        output->orientation_ == ImageOrientation::right || output->orientation_ == ImageOrientation::left;
    const int width = static_cast<int>(std::lround(renderWidth));
    const int height = static_cast<int>(std::lround(renderHeight));
    output->targetWidth_ = quarter ? height : width;
    output->targetHeight_ = quarter ? width : height;
    output->fallbackDuration_ = composition.frameDuration;
    return output;
  }

  bool canAddOutput(const AssetReaderOutput& output) const override {
    const auto* ours = dynamic_cast<const FfmpegOutput*>(&output);
    return ours != nullptr && ours->reader_ == this && !ours->added_ && status_ == AssetReaderStatus::unknown;
  }
  void addOutput(const std::shared_ptr<AssetReaderOutput>& output) override {
    if (!output || !canAddOutput(*output)) throw std::invalid_argument("AssetReader: output cannot be added");
    auto ours = std::static_pointer_cast<FfmpegOutput>(output);
    ours->added_ = true;
    outputs_.push_back(std::move(ours));
  }

  CMTimeRange timeRange() const override { return range_; }
  void setTimeRange(const CMTimeRange& range) override {
    if (status_ == AssetReaderStatus::unknown) range_ = range;
  }

  bool startReading() override {
    if (status_ != AssetReaderStatus::unknown) return false;
    if (outputs_.empty()) return fail("no outputs were added");
    bool needsStreamInfo = false;
    for (const auto& output : outputs_) {
      // Streams that only probing finds are not there yet.
      if (static_cast<unsigned>(output->streamIndex_) >= context_->nb_streams) {
        needsStreamInfo = true;
        continue;
      }
      const AVCodecParameters* parameters = context_->streams[output->streamIndex_]->codecpar;
      // A compressed stream's pixel or sample format comes out of its own data when it is decoded, so a
      // header without it (H.264 or AAC in MP4) needs no probing; raw pictures carry no such data.
      const bool lacksRawFormat = parameters->codec_id == AV_CODEC_ID_RAWVIDEO && parameters->format < 0;
      if (parameters->codec_type == AVMEDIA_TYPE_VIDEO &&
          (parameters->width <= 0 || parameters->height <= 0 || lacksRawFormat)) {
        needsStreamInfo = true;
      }
      if (parameters->codec_type == AVMEDIA_TYPE_AUDIO &&
          (parameters->sample_rate <= 0 || parameters->ch_layout.nb_channels <= 0)) {
        needsStreamInfo = true;
      }
    }
    // Containers that describe their streams in a header need no probing (which decodes a few frames:
    // a tenth of a second per reader of a 1080p file, and reverse play makes a reader per chunk); the
    // rest are probed as the asset was.
    if (needsStreamInfo) {
      const int found = avformat_find_stream_info(context_.get(), nullptr);
      if (found < 0) return fail(ffmpegErrorText(found));
    }
    // The file is opened again for every reader: if it was replaced since the asset read it, its streams
    // need not be the ones the outputs were made for.
    for (const auto& output : outputs_) {
      if (!hasStreamAsOpened(output->streamIndex_)) return fail("the file has changed since it was opened");
    }
    for (unsigned i = 0; i < context_->nb_streams; ++i) context_->streams[i]->discard = AVDISCARD_ALL;
    for (const auto& output : outputs_) {
      AVStream* stream = context_->streams[output->streamIndex_];
      stream->discard = AVDISCARD_DEFAULT;
      if (output->kind_ == OutputKind::passthrough || output->decoder_) continue;
      const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
      if (codec == nullptr) return fail(std::string("no decoder for ") + avcodec_get_name(stream->codecpar->codec_id));
      CodecContextPtr decoder(avcodec_alloc_context3(codec));
      FramePtr frame(av_frame_alloc());
      if (!decoder || !frame) return fail("out of memory");
      int result = avcodec_parameters_to_context(decoder.get(), stream->codecpar);
      if (result < 0) return fail(ffmpegErrorText(result));
      decoder->pkt_timebase = stream->time_base;
      if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO) {
        decoder->thread_count = 0;  // one per core
        decoder->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
      }
      result = avcodec_open2(decoder.get(), codec, nullptr);
      if (result < 0) return fail(std::string("cannot open the ") + codec->name + " decoder: " + ffmpegErrorText(result));
      output->decoder_ = std::move(decoder);
      output->frame_ = std::move(frame);
    }
    if (range_.start.isNumeric() && range_.start > kCMTimeZero) {
      const std::int64_t target = streamTimestamp(range_.start, kMicroseconds) + info_->startOffset;
      // To the sync sample at or before the start; the outputs skip what comes before it. A file that
      // cannot seek is read from its beginning instead.
      if (avformat_seek_file(context_.get(), -1, std::numeric_limits<std::int64_t>::min(), target, target, 0) < 0) {
        avformat_seek_file(context_.get(), -1, std::numeric_limits<std::int64_t>::min(), 0, 0, 0);
      }
    }
    status_ = AssetReaderStatus::reading;
    return true;
  }

  void cancelReading() override {
    if (status_ == AssetReaderStatus::unknown || status_ == AssetReaderStatus::reading) {
      status_ = AssetReaderStatus::cancelled;
    }
  }
  AssetReaderStatus status() const override { return status_; }
  std::string error() const override { return status_ == AssetReaderStatus::failed ? error_ : std::string(); }

  // For the outputs.

  /// Reads packets until one for `output`'s stream is queued for it, queueing those of the other
  /// outputs on the way. False at the end of the file or on a read error (which fails the reader).
  bool demuxFor(FfmpegOutput& output) {
    while (status_ == AssetReaderStatus::reading && !demuxEnded_) {
      const int result = av_read_frame(context_.get(), packet_.get());
      // A truncated file ends where its data ends.
      if (result == AVERROR_EOF || (result < 0 && context_->pb != nullptr && avio_feof(context_->pb))) {
        demuxEnded_ = true;
        return false;
      }
      if (result == AVERROR(EAGAIN)) {
        // Files never ask to be read again for long; a demuxer that keeps asking is given up on.
        if (++retries_ > 1000) return fail("the file keeps asking to be read again");
        continue;
      }
      retries_ = 0;
      if (result < 0) {
        fail(ffmpegErrorText(result));
        return false;
      }
      bool mine = false;
      for (const auto& candidate : outputs_) {
        if (candidate->streamIndex_ != packet_->stream_index || candidate->ended_) continue;
        PacketPtr copy(av_packet_clone(packet_.get()));
        if (!copy) continue;
        candidate->pending_.push_back(std::move(copy));
        mine = mine || candidate.get() == &output;
      }
      av_packet_unref(packet_.get());
      if (mine) return true;
    }
    return false;
  }

  bool fail(const std::string& reason) {
    status_ = AssetReaderStatus::failed;
    error_ = path_.string() + ": " + reason;
    return false;
  }

  void outputEnded() {
    if (status_ != AssetReaderStatus::reading) return;
    if (std::all_of(outputs_.begin(), outputs_.end(), [](const auto& output) { return output->ended_; })) {
      status_ = AssetReaderStatus::completed;
    }
  }

  AVStream* stream(int index) const { return context_->streams[index]; }
  /// Whether this reader's file has stream `index`, of the kind the asset found there.
  bool hasStreamAsOpened(int index) const {
    if (index < 0 || static_cast<unsigned>(index) >= context_->nb_streams) return false;
    const AVMediaType type = context_->streams[index]->codecpar->codec_type;
    for (std::size_t i = 0; i < info_->tracks.size(); ++i) {
      if (info_->streamIndices[i] != index) continue;
      return info_->tracks[i].mediaType.isVideo() ? type == AVMEDIA_TYPE_VIDEO : type == AVMEDIA_TYPE_AUDIO;
    }
    return false;
  }
  std::int64_t startOffset(AVRational timeBase) const { return av_rescale_q(info_->startOffset, kMicroseconds, timeBase); }
  const CMTimeRange& range() const { return range_; }
  bool isReading() const { return status_ == AssetReaderStatus::reading; }

 private:
  static bool isNumber(const JsonValue& value, double expected) {
    return value.is_number() && value.to_number<double>() == expected;
  }

  const std::filesystem::path path_;
  const std::shared_ptr<const AssetInfo> info_;
  InputFormatContextPtr context_;
  PacketPtr packet_;
  std::vector<std::shared_ptr<FfmpegOutput>> outputs_;
  CMTimeRange range_;
  AssetReaderStatus status_ = AssetReaderStatus::unknown;
  std::string error_;
  bool demuxEnded_ = false;
  int retries_ = 0;
};

std::optional<CMSampleBuffer> FfmpegOutput::end() {
  if (!ended_) {
    ended_ = true;
    pending_.clear();
    if (reader_ != nullptr) reader_->outputEnded();
  }
  return std::nullopt;
}

std::optional<CMSampleBuffer> FfmpegOutput::copyNextSampleBuffer() {
  if (reader_ == nullptr || !reader_->isReading() || ended_ || !added_) return std::nullopt;
  switch (kind_) {
    case OutputKind::passthrough: return nextPassthrough();
    case OutputKind::decodedVideo:
    case OutputKind::composedVideo: return nextPicture();
    case OutputKind::linearPCM: return nextAudio();
  }
  return std::nullopt;
}

std::optional<CMSampleBuffer> FfmpegOutput::nextPassthrough() {
  const AVStream* stream = reader_->stream(streamIndex_);
  const AVRational timeBase = stream->time_base;
  const std::int64_t offset = reader_->startOffset(timeBase);
  const std::int64_t endStamp = streamTimestamp(reader_->range().end(), timeBase);
  while (true) {
    if (pending_.empty() && !reader_->demuxFor(*this)) return end();
    std::shared_ptr<AVPacket> packet(pending_.front().release(), [](AVPacket* p) { av_packet_free(&p); });
    pending_.pop_front();
    const std::int64_t pts = packet->pts == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : packet->pts - offset;
    const std::int64_t dts = packet->dts == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : packet->dts - offset;
    if (pts != AV_NOPTS_VALUE && endStamp != std::numeric_limits<std::int64_t>::max() && pts >= endStamp) return end();
    CMSampleTimingInfo timing;
    timing.presentationTimeStamp = timeFromStream(pts, timeBase);
    timing.decodeTimeStamp = timeFromStream(dts, timeBase);
    timing.duration = packet->duration > 0 ? timeFromStream(packet->duration, timeBase) : kCMTimeInvalid;
    const auto size = static_cast<std::size_t>(std::max(packet->size, 0));
    CompressedSampleData data{std::shared_ptr<const std::uint8_t>(packet, packet->data), size};
    CMSampleBuffer sample = CMSampleBuffer::compressedSample(std::move(data), timing);
    sample.setAttachments(CMSampleAttachments{(packet->flags & AV_PKT_FLAG_KEY) == 0, false});
    return sample;
  }
}

bool FfmpegOutput::decodeNextFrame() {
  while (reader_->isReading()) {
    const int received = avcodec_receive_frame(decoder_.get(), frame_.get());
    if (received >= 0) return true;
    if (received == AVERROR_EOF) return false;
    // Otherwise the decoder wants more data, or it met a damaged frame and goes on with the next packet.
    if (flushed_) return false;
    if (pending_.empty() && !reader_->demuxFor(*this)) {
      flushed_ = true;
      avcodec_send_packet(decoder_.get(), nullptr);
      continue;
    }
    PacketPtr packet = std::move(pending_.front());
    pending_.pop_front();
    // Damaged packets are skipped: the decoder says so and waits for the next.
    avcodec_send_packet(decoder_.get(), packet.get());
  }
  return false;
}

std::optional<CMSampleBuffer> FfmpegOutput::nextPicture() {
  const AVRational timeBase = reader_->stream(streamIndex_)->time_base;
  const std::int64_t offset = reader_->startOffset(timeBase);
  const std::int64_t startStamp = streamTimestamp(reader_->range().start, timeBase);
  const std::int64_t endStamp = streamTimestamp(reader_->range().end(), timeBase);
  while (decodeNextFrame()) {
    std::int64_t pts = frame_->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) pts = frame_->pts;
    if (pts == AV_NOPTS_VALUE) {
      av_frame_unref(frame_.get());
      continue;
    }
    pts -= offset;
    // A frame is in the range when it is on show at any time of it: one that starts before the range
    // but lasts into it is the picture at the range's start.
    const bool endsBeforeStart =
        frame_->pkt_duration > 0 ? pts + frame_->pkt_duration <= startStamp : pts < startStamp;
    if (endsBeforeStart) {
      av_frame_unref(frame_.get());
      continue;
    }
    if (endStamp != std::numeric_limits<std::int64_t>::max() && pts >= endStamp) {
      av_frame_unref(frame_.get());
      return end();
    }
    frame_->pts = pts;
    std::optional<CMSampleBuffer> sample = convertPicture(*frame_, timeBase);
    av_frame_unref(frame_.get());
    if (sample) return sample;
  }
  return end();
}

std::optional<CMSampleBuffer> FfmpegOutput::convertPicture(const AVFrame& frame, AVRational timeBase) {
  if (frame.width <= 0 || frame.height <= 0) return std::nullopt;
  const int width = targetWidth_ > 0 ? targetWidth_ : frame.width;
  const int height = targetHeight_ > 0 ? targetHeight_ : frame.height;
  // Pictures above 8192 x 8192 (a damaged header, most likely) are not converted.
  constexpr long long kMaxPixels = 8192LL * 8192LL;
  if (static_cast<long long>(frame.width) * frame.height > kMaxPixels ||
      static_cast<long long>(width) * height > kMaxPixels) {
    return std::nullopt;
  }
  if (!scaler_ || scalerFormat_ != frame.format || scalerWidth_ != frame.width || scalerHeight_ != frame.height) {
    SwsContextPtr scaler(sws_alloc_context());
    if (!scaler) return std::nullopt;
    av_opt_set_int(scaler.get(), "srcw", frame.width, 0);
    av_opt_set_int(scaler.get(), "srch", frame.height, 0);
    av_opt_set_int(scaler.get(), "src_format", frame.format, 0);
    av_opt_set_int(scaler.get(), "dstw", width, 0);
    av_opt_set_int(scaler.get(), "dsth", height, 0);
    av_opt_set_int(scaler.get(), "dst_format", AV_PIX_FMT_BGRA, 0);
    av_opt_set_int(scaler.get(), "sws_flags", SWS_BILINEAR, 0);
    av_opt_set_int(scaler.get(), "threads", 0, 0);  // slices on every core
    if (sws_init_context(scaler.get(), nullptr, nullptr) < 0) return std::nullopt;
    // Pictures are read as ITU-R 709 unless the stream says it is standard definition (601).
    const bool standard = frame.colorspace == AVCOL_SPC_BT470BG || frame.colorspace == AVCOL_SPC_SMPTE170M;
    sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(standard ? SWS_CS_ITU601 : SWS_CS_ITU709),
                             frame.color_range == AVCOL_RANGE_JPEG ? 1 : 0, sws_getCoefficients(SWS_CS_ITU709), 1, 0,
                             1 << 16, 1 << 16);
    scaler_ = std::move(scaler);
    scalerFormat_ = frame.format;
    scalerWidth_ = frame.width;
    scalerHeight_ = frame.height;
  }
  const std::size_t size = VideoFrame::packedSize(PixelFormat::bgra, width, height);
  std::shared_ptr<std::uint8_t> pixels = FrameMemory::allocate(size);
  std::uint8_t* destination[4] = {pixels.get(), nullptr, nullptr, nullptr};
  int strides[4] = {4 * width, 0, 0, 0};
  if (sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, destination, strides) <= 0) {
    return std::nullopt;
  }
  std::shared_ptr<const std::uint8_t> shared = std::move(pixels);
  VideoFrame picture = VideoFrame::packed(PixelFormat::bgra, width, height, std::move(shared));
  if (orientation_ != ImageOrientation::up) {
    std::optional<VideoFrame> turned = orientedFrame(picture, orientation_);
    if (!turned) return std::nullopt;
    picture = std::move(*turned);
  }
  CMTime duration = frame.pkt_duration > 0 ? timeFromStream(frame.pkt_duration, timeBase) : fallbackDuration_;
  const std::int64_t offset = reader_->startOffset(timeBase);
  const CMTime decodeTime = frame.pkt_dts == AV_NOPTS_VALUE ? kCMTimeInvalid : timeFromStream(frame.pkt_dts - offset, timeBase);
  CMSampleBuffer sample = CMSampleBuffer::videoFrame(std::move(picture), timeFromStream(frame.pts, timeBase), duration);
  if (decodeTime.isValid()) {
    if (auto timed = CMSampleBufferCreateCopyWithNewTiming(
            sample, {CMSampleTimingInfo{duration, timeFromStream(frame.pts, timeBase), decodeTime}})) {
      return *timed;
    }
  }
  return sample;
}

std::optional<CMSampleBuffer> FfmpegOutput::nextAudio() {
  const AVRational timeBase = reader_->stream(streamIndex_)->time_base;
  const std::int64_t offset = reader_->startOffset(timeBase);
  const CMTime rangeEnd = reader_->range().end();
  while (true) {
    std::optional<CMSampleBuffer> sample;
    if (decodeNextFrame()) {
      if (frame_->pts != AV_NOPTS_VALUE || frame_->best_effort_timestamp != AV_NOPTS_VALUE) {
        const std::int64_t pts =
            (frame_->best_effort_timestamp != AV_NOPTS_VALUE ? frame_->best_effort_timestamp : frame_->pts) - offset;
        const std::int64_t expected = av_rescale_q(pts, timeBase, AVRational{1, sampleRate_});
        // Follow the file's clock when it jumps by more than a frame's worth (50 ms), else count samples
        // so that buffers join without rounding gaps.
        if (nextSample_ == std::numeric_limits<std::int64_t>::min() ||
            std::llabs(expected - nextSample_) > sampleRate_ / 20) {
          nextSample_ = expected;
        }
      }
      sample = convertAudio(frame_.get());
      av_frame_unref(frame_.get());
    } else {
      if (!resampler_ || resamplerDrained_) return end();
      resamplerDrained_ = true;
      sample = convertAudio(nullptr);
      if (!sample) return end();
    }
    if (!sample) continue;
    const CMTime start = CMSampleBufferGetPresentationTimeStamp(*sample);
    if (start >= rangeEnd) return end();
    if (start + CMSampleBufferGetDuration(*sample) <= reader_->range().start) continue;
    return sample;
  }
}

std::optional<CMSampleBuffer> FfmpegOutput::convertAudio(const AVFrame* frame) {
  if (frame != nullptr) {
    if (frame->nb_samples <= 0 || frame->sample_rate <= 0) return std::nullopt;
    AVChannelLayout layout{};
    if (frame->ch_layout.nb_channels > 0 && frame->ch_layout.order != AV_CHANNEL_ORDER_UNSPEC) {
      if (av_channel_layout_copy(&layout, &frame->ch_layout) < 0) return std::nullopt;
    } else if (frame->ch_layout.nb_channels > 0) {
      av_channel_layout_default(&layout, frame->ch_layout.nb_channels);
    } else {
      return std::nullopt;
    }
    if (!resampler_ || resamplerFormat_ != frame->format || resamplerRate_ != frame->sample_rate ||
        resamplerChannels_ != layout.nb_channels) {
      AVChannelLayout outLayout{};
      av_channel_layout_default(&outLayout, channels_);
      SwrContext* raw = nullptr;
      const int made = swr_alloc_set_opts2(&raw, &outLayout, AV_SAMPLE_FMT_FLTP, sampleRate_, &layout,
                                           static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr);
      SwrContextPtr resampler(raw);
      av_channel_layout_uninit(&outLayout);
      if (made < 0 || swr_init(resampler.get()) < 0) {
        av_channel_layout_uninit(&layout);
        return std::nullopt;
      }
      resampler_ = std::move(resampler);
      resamplerFormat_ = frame->format;
      resamplerRate_ = frame->sample_rate;
      resamplerChannels_ = layout.nb_channels;
    }
    av_channel_layout_uninit(&layout);
  }
  const int capacity = swr_get_out_samples(resampler_.get(), frame != nullptr ? frame->nb_samples : 0);
  if (capacity <= 0) return std::nullopt;
  const auto total = static_cast<std::size_t>(capacity) * static_cast<std::size_t>(channels_);
  std::shared_ptr<float> samples(new float[total], std::default_delete<float[]>());
  std::vector<std::uint8_t*> planes(static_cast<std::size_t>(channels_));
  for (int c = 0; c < channels_; ++c) {
    planes[static_cast<std::size_t>(c)] = reinterpret_cast<std::uint8_t*>(samples.get() + static_cast<std::ptrdiff_t>(c) * capacity);
  }
  const int converted = swr_convert(resampler_.get(), planes.data(), capacity,
                                    frame != nullptr ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr,
                                    frame != nullptr ? frame->nb_samples : 0);
  if (converted <= 0) return std::nullopt;
  // Channels sit one after another, `converted` samples each.
  for (int c = 1; c < channels_ && converted < capacity; ++c) {
    std::memmove(samples.get() + static_cast<std::ptrdiff_t>(c) * converted,
                 samples.get() + static_cast<std::ptrdiff_t>(c) * capacity,
                 static_cast<std::size_t>(converted) * sizeof(float));
  }
  if (nextSample_ == std::numeric_limits<std::int64_t>::min()) nextSample_ = 0;
  const CMTime start = CMTime::make(nextSample_, sampleRate_);
  nextSample_ += converted;
  std::shared_ptr<const float> shared = std::move(samples);
  return CMSampleBuffer::audio(AudioBufferData{channels_, sampleRate_, converted, std::move(shared)}, start);
}

class FfmpegAsset final : public Asset {
 public:
  explicit FfmpegAsset(std::filesystem::path path) : path_(std::move(path)), url_(Url::fileUrl(path_)) {}

  const Url& url() const override { return url_; }
  CMTime duration() const override { return info().duration; }
  std::vector<AssetTrack> tracksWithMediaType(const MediaStreamType& mediaType) const override {
    std::vector<AssetTrack> tracks;
    for (const AssetTrack& track : info().tracks) {
      if (track.mediaType == mediaType) tracks.push_back(track);
    }
    return tracks;
  }
  std::unique_ptr<AssetReader> makeReader() const override {
    load();
    if (!loadError_.empty()) throw std::runtime_error(loadError_);
    return std::make_unique<FfmpegAssetReader>(path_, info_);
  }

 private:
  const AssetInfo& info() const {
    load();
    return *info_;
  }
  void load() const {
    std::call_once(loaded_, [this] {
      try {
        info_ = std::make_shared<const AssetInfo>(readAssetInfo(path_));
      } catch (const std::exception& error) {
        loadError_ = error.what();
        info_ = std::make_shared<const AssetInfo>();
      }
    });
  }

  const std::filesystem::path path_;
  const Url url_;
  mutable std::once_flag loaded_;
  mutable std::shared_ptr<const AssetInfo> info_;  // set once, under loaded_
  mutable std::string loadError_;                  // set once, under loaded_
};

}  // namespace

std::shared_ptr<Asset> makeFfmpegAsset(const std::filesystem::path& path) { return std::make_shared<FfmpegAsset>(path); }

std::shared_ptr<Asset> assetWithURL(const Url& url) {
  // A file URL names its path; any other text is handed to FFmpeg as it stands.
  return makeFfmpegAsset(url.isFileUrl() ? url.path() : url.absoluteString());
}

}  // namespace tav
