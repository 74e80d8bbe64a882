#include "tav/platform/ffmpeg_asset_writer.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#if defined(__SANITIZE_ADDRESS__)
#define TAV_HAS_LSAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TAV_HAS_LSAN 1
#endif
#endif
#ifndef TAV_HAS_LSAN
#define TAV_HAS_LSAN 0
#endif
#if TAV_HAS_LSAN
#include <sanitizer/lsan_interface.h>
#endif

#include "tav/contracts/logger.hpp"
#include "tav/platform/ffmpeg_handles.hpp"
#include "tav/platform/ffmpeg_muxer.hpp"

namespace tav {
namespace {

using detail::Muxer;

const Logger& logger() { return detail::ffmpegWriterLogger(); }

// Video timestamps are kept at 1/90000 s: host clocks do not put frames on an exact frame-rate grid.
constexpr AVRational kVideoTimeBase{1, 90000};

// How often an idle encoding thread looks for new samples. append does not wake it: measured here,
// waking a sleeping thread (a futex call that interrupts another core) cost the caller about 8 us of its
// 11 us per frame, while looking every 3 ms costs the idle thread well under 1% of a core, and adds
// at most 3 ms of latency to a frame, nothing to throughput (a busy encoder never sleeps).
constexpr std::chrono::milliseconds kIdlePoll{3};

// Longest gap in audio that is filled with silence to keep the track in step with the video; a longer
// one (a suspended machine) is skipped over, and the audio runs early from there.
constexpr std::int64_t kMaxSilenceSeconds = 60;

std::int64_t integerSetting(const JsonObject& object, std::string_view key, std::int64_t fallback) {
  const auto* value = object.if_contains(key);
  if (value == nullptr) return fallback;
  if (value->is_int64()) return value->as_int64();
  if (value->is_uint64()) return static_cast<std::int64_t>(value->as_uint64());
  if (value->is_double()) return static_cast<std::int64_t>(value->as_double() + 0.5);
  return fallback;
}

double numberSetting(const JsonObject& object, std::string_view key, double fallback) {
  const auto* value = object.if_contains(key);
  if (value == nullptr) return fallback;
  if (value->is_int64()) return static_cast<double>(value->as_int64());
  if (value->is_uint64()) return static_cast<double>(value->as_uint64());
  if (value->is_double()) return value->as_double();
  return fallback;
}

std::string stringSetting(const JsonObject& object, std::string_view key, std::string fallback) {
  const auto* value = object.if_contains(key);
  if (value == nullptr || !value->is_string()) return fallback;
  return std::string(value->as_string());
}

bool booleanSetting(const JsonObject& object, std::string_view key, bool fallback) {
  const auto* value = object.if_contains(key);
  return value != nullptr && value->is_bool() ? value->as_bool() : fallback;
}

/// The PCM encoder for linear PCM settings (bit depth, float or integer, byte order); none for a
/// combination a movie cannot hold.
AVCodecID linearPCMCodec(const JsonObject& settings) {
  const std::int64_t depth = integerSetting(settings, AVLinearPCMBitDepthKey, 16);
  const bool isFloat = booleanSetting(settings, AVLinearPCMIsFloatKey, false);
  const bool bigEndian = booleanSetting(settings, AVLinearPCMIsBigEndianKey, false);
  if (isFloat) {
    if (depth == 32) return bigEndian ? AV_CODEC_ID_PCM_F32BE : AV_CODEC_ID_PCM_F32LE;
    if (depth == 64) return bigEndian ? AV_CODEC_ID_PCM_F64BE : AV_CODEC_ID_PCM_F64LE;
    return AV_CODEC_ID_NONE;
  }
  switch (depth) {
    case 16: return bigEndian ? AV_CODEC_ID_PCM_S16BE : AV_CODEC_ID_PCM_S16LE;
    case 24: return bigEndian ? AV_CODEC_ID_PCM_S24BE : AV_CODEC_ID_PCM_S24LE;
    case 32: return bigEndian ? AV_CODEC_ID_PCM_S32BE : AV_CODEC_ID_PCM_S32LE;
    default: return AV_CODEC_ID_NONE;
  }
}

/// Makes `converter` turn audio of the input layout, format and rate into the output's; the FFmpeg error
/// (and no converter) when it cannot.
int makeAudioConverter(SwrContextPtr& converter, AVChannelLayout& outLayout, AVSampleFormat outFormat,
                       int outRate, AVChannelLayout& inLayout, AVSampleFormat inFormat, int inRate) {
  SwrContext* raw = nullptr;
  int result = swr_alloc_set_opts2(&raw, &outLayout, outFormat, outRate, &inLayout, inFormat, inRate, 0, nullptr);
  converter.reset(raw);
  if (result >= 0) result = swr_init(converter.get());
  if (result < 0) converter.reset();
  return result;
}

AVPixelFormat avPixelFormat(PixelFormat format) {
  switch (format) {
    case PixelFormat::nv12: return AV_PIX_FMT_NV12;
    case PixelFormat::yuv420p: return AV_PIX_FMT_YUV420P;
    case PixelFormat::bgra: return AV_PIX_FMT_BGRA;
  }
  return AV_PIX_FMT_NONE;
}

// (time - origin) in units of timeBase, rounded to nearest.
std::int64_t relativeTicks(CMTime time, CMTime origin, AVRational timeBase) {
  const CMTime relative = time - origin;
  if (!relative.isNumeric()) return AV_NOPTS_VALUE;
  return av_rescale_q_rnd(relative.value, AVRational{1, relative.timescale}, timeBase,
                          static_cast<AVRounding>(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX));
}

// libx265 3.5 loses a few kilobytes of its own at every encoder open (its sample-adaptive-offset
// tables). Under LeakSanitizer that would fail a host's whole leak check for memory it cannot free, so
// the open is kept out of the check; nothing changes in other builds.
class LeakCheckPause {
 public:
  explicit LeakCheckPause(bool active) : _active(active) {
#if TAV_HAS_LSAN
    if (_active) __lsan_disable();
#endif
  }
  ~LeakCheckPause() {
#if TAV_HAS_LSAN
    if (_active) __lsan_enable();
#endif
  }
  LeakCheckPause(const LeakCheckPause&) = delete;
  LeakCheckPause& operator=(const LeakCheckPause&) = delete;

 private:
  [[maybe_unused]] bool _active;
};

// Releases the host's sample memory when FFmpeg drops its last reference to a wrapped frame.
void releaseSharedStorage(void* opaque, std::uint8_t*) { delete static_cast<std::shared_ptr<const void>*>(opaque); }

/// One stream of an FfmpegAssetWriter. The caller's thread queues handles; the input's own thread
/// (started by the writer's startWriting) converts, encodes and hands packets to the muxer.
class FfmpegAssetWriterInput final : public AssetWriterInput {
 public:
  FfmpegAssetWriterInput(MediaStreamType mediaType, std::optional<MediaSettings> settings, std::size_t capacity)
      : _mediaType(std::move(mediaType)), _settings(std::move(settings)), _capacity(capacity) {}

  ~FfmpegAssetWriterInput() override { stop(); }

  MediaStreamType mediaType() const override { return _mediaType; }
  bool expectsMediaDataInRealTime() const override { return _realTime.load(); }
  void setExpectsMediaDataInRealTime(bool value) override { _realTime.store(value); }

  // Lock-free: it is asked before every frame on the caller's real-time path.
  bool isReadyForMoreMediaData() const override {
    const Muxer* muxer = _attachedMuxer.load(std::memory_order_acquire);
    return muxer != nullptr && muxer->status() == AssetWriterStatus::writing && !_finished.load() &&
           !muxer->isFinishing() && _queued.load(std::memory_order_acquire) < _capacity;
  }

  bool append(const CMSampleBuffer& sampleBuffer) override {
    const bool kindMatches =
        _mediaType.isVideo() ? sampleBuffer.videoFrame() != nullptr : sampleBuffer.audioData() != nullptr;
    if (!kindMatches) return false;
    const Muxer* muxer = _attachedMuxer.load(std::memory_order_acquire);
    if (muxer == nullptr || !muxer->hasSession()) return false;
    {
      std::lock_guard lock(_mutex);
      if (muxer->status() != AssetWriterStatus::writing || _finished.load() || muxer->isFinishing() ||
          _queue.size() >= _capacity) {
        return false;
      }
      _queue.push_back(sampleBuffer);
      _queued.store(_queue.size(), std::memory_order_release);
    }
    // No wake-up from here: the encoding thread looks at its queue every kIdlePoll while idle.
    return true;
  }

  void markAsFinished() override {
    {
      std::lock_guard lock(_mutex);
      _finished.store(true);
    }
    _wake.notify_one();
  }

  bool isAttached() const {
    std::lock_guard lock(_mutex);
    return _muxer != nullptr;
  }
  void attach(std::shared_ptr<Muxer> muxer) {
    std::lock_guard lock(_mutex);
    _muxer = std::move(muxer);
    _attachedMuxer.store(_muxer.get(), std::memory_order_release);
  }

  /// On the caller's thread at startWriting: the stream, the settings checked, and for audio the
  /// encoder opened. Video opens its encoder at the first frame, in the frame's own pixel format when
  /// the encoder takes it. False after recording the failure on the muxer.
  bool prepare() {
    _stream = avformat_new_stream(_muxer->format(), nullptr);
    if (_stream == nullptr) {
      _muxer->fail("could not add a stream");
      return false;
    }
    const JsonObject noSettings;
    const JsonObject& settings = _settings ? *_settings : noSettings;
    if (_mediaType.isVideo()) return prepareVideo(settings);
    if (_mediaType.isAudio()) return prepareAudio(settings);
    _muxer->fail("cannot write a stream of type " + _mediaType.rawValue());
    return false;
  }

  void start() {
    _thread = std::thread([this] {
      // Encoding is throughput work: as a batch thread it never preempts the real-time caller when it
      // wakes (and the encoder's own threads inherit that), so the caller is not descheduled mid-call.
      sched_param parameters{};
      pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters);
      run();
    });
  }

  /// Wakes the thread (to drain, or to stop when cancelled) and waits for it to end.
  void stop() {
    _wake.notify_all();
    std::lock_guard lock(_joinMutex);
    if (_thread.joinable()) _thread.join();
  }

  void wake() { _wake.notify_all(); }

 private:
  // ---- settings ----
  bool prepareVideo(const JsonObject& settings) {
    const std::string codecType = stringSetting(settings, AVVideoCodecKey, std::string(AVVideoCodecTypeH264));
    const char* encoderName = nullptr;
    if (codecType == AVVideoCodecTypeH264) encoderName = "libx264";
    if (codecType == AVVideoCodecTypeHEVC) encoderName = "libx265";
    if (codecType == AVVideoCodecTypeAppleProRes422) encoderName = "prores_ks";
    _encoder = encoderName != nullptr ? avcodec_find_encoder_by_name(encoderName) : nullptr;
    if (_encoder == nullptr) {
      _muxer->fail("no encoder for video codec \"" + codecType + "\"");
      return false;
    }
    _width = static_cast<int>(integerSetting(settings, AVVideoWidthKey, 1920));
    _height = static_cast<int>(integerSetting(settings, AVVideoHeightKey, 1080));
    if (_width < 2 || _height < 2) {
      _muxer->fail("video size " + std::to_string(_width) + "x" + std::to_string(_height) + " is too small");
      return false;
    }
    const auto* compression = settings.if_contains(AVVideoCompressionPropertiesKey);
    const JsonObject noCompression;
    const JsonObject& properties =
        compression != nullptr && compression->is_object() ? compression->as_object() : noCompression;
    _frameRate = numberSetting(properties, AVVideoExpectedSourceFrameRateKey, 30.0);
    if (!(_frameRate > 0)) _frameRate = 30.0;
    _bitRate = integerSetting(properties, AVVideoAverageBitRateKey, 0);
    _keyFrameInterval = static_cast<int>(integerSetting(properties, AVVideoMaxKeyFrameIntervalKey,
                                                        std::max<std::int64_t>(1, std::llround(_frameRate))));
    _preset = stringSetting(settings, TavVideoEncoderPresetKey, "veryfast");
    _stream->time_base = kVideoTimeBase;
    return true;
  }

  bool prepareAudio(const JsonObject& settings) {
    // AAC unless the settings ask for Apple Lossless or linear PCM, as the isolated sources' files do.
    const std::int64_t formatID = integerSetting(settings, AVFormatIDKey, kAudioFormatMPEG4AAC);
    const bool lossless = formatID == kAudioFormatAppleLossless;
    const bool linearPCM = formatID == kAudioFormatLinearPCM;
    const AVCodec* encoder = lossless    ? avcodec_find_encoder(AV_CODEC_ID_ALAC)
                             : linearPCM ? avcodec_find_encoder(linearPCMCodec(settings))
                                         : avcodec_find_encoder_by_name("aac");
    if (encoder == nullptr) {
      _muxer->fail(lossless    ? "no Apple Lossless encoder"
                   : linearPCM ? "no encoder for linear PCM of these settings (bit depth, float, byte order)"
                               : "no AAC encoder");
      return false;
    }
    const auto sampleRate = static_cast<int>(integerSetting(settings, AVSampleRateKey, 48000));
    const auto channels = static_cast<int>(integerSetting(settings, AVNumberOfChannelsKey, 2));
    if (sampleRate <= 0 || channels <= 0 || channels > 8) {
      _muxer->fail("audio of " + std::to_string(channels) + " channels at " + std::to_string(sampleRate) +
                   " Hz cannot be encoded");
      return false;
    }
    _codec.reset(avcodec_alloc_context3(encoder));
    AVCodecContext* codec = _codec.get();
    if (lossless) {
      // The encoder takes 16-bit samples or 32-bit ones of which it keeps 24, the depth asked for when
      // the source is floating point.
      codec->sample_fmt = integerSetting(settings, AVEncoderBitDepthHintKey, 24) == 16 ? AV_SAMPLE_FMT_S16P
                                                                                      : AV_SAMPLE_FMT_S32P;
      codec->bits_per_raw_sample = codec->sample_fmt == AV_SAMPLE_FMT_S16P ? 16 : 24;
    } else if (linearPCM) {
      codec->sample_fmt = encoder->sample_fmts[0];  // each PCM encoder takes exactly one format
    } else {
      codec->sample_fmt = AV_SAMPLE_FMT_FLTP;
      codec->bit_rate = integerSetting(settings, AVEncoderBitRateKey, 64000 * std::min(channels, 2));
    }
    codec->sample_rate = sampleRate;
    av_channel_layout_default(&codec->ch_layout, channels);
    codec->time_base = AVRational{1, sampleRate};
    if (_muxer->format()->oformat->flags & AVFMT_GLOBALHEADER) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    int result = avcodec_open2(codec, encoder, nullptr);
    if (result < 0) {
      _muxer->fail(std::string("could not open the ") + encoder->name + " encoder", result);
      return false;
    }
    if (codec->sample_fmt != AV_SAMPLE_FMT_FLTP) {
      // Samples wait in the FIFO as float; each frame for the encoder is converted on its way out.
      result = makeAudioConverter(_sampleConverter, codec->ch_layout, codec->sample_fmt, sampleRate, codec->ch_layout,
                                  AV_SAMPLE_FMT_FLTP, sampleRate);
      if (result < 0) {
        _muxer->fail("could not set up the audio conversion", result);
        return false;
      }
    }
    _stream->time_base = codec->time_base;
    _fifo.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, channels, std::max(codec->frame_size, 1024) * 4));
    if (_muxer->isFragmented()) {
      // AAC's priming samples carry negative times, which a file whose header is written first cannot
      // hide with an edit list; the container would shift every track to make room. Instead the
      // priming takes the first samples of the timeline: the audio written starts that much into the
      // session and the encoder's first packet lands at zero, in step with the video.
      _writtenSamples = codec->initial_padding;
      _nextAudioPts = codec->initial_padding;
    }
    _packet.reset(av_packet_alloc());
    if (!_fifo || !_packet) {
      _muxer->fail("out of memory", AVERROR(ENOMEM));
      return false;
    }
    return _muxer->encoderOpened(_stream, codec);
  }

  bool openVideoEncoder(AVPixelFormat sourceFormat) {
    _codec.reset(avcodec_alloc_context3(_encoder));
    AVCodecContext* codec = _codec.get();
    // The frame's own format when the encoder takes it, else the encoder's first 4:2:0 choice.
    AVPixelFormat chosen = AV_PIX_FMT_NONE;
    AVPixelFormat fallback = AV_PIX_FMT_NONE;
    for (const AVPixelFormat* format = _encoder->pix_fmts; format != nullptr && *format != AV_PIX_FMT_NONE; ++format) {
      if (*format == sourceFormat) chosen = *format;
      if (fallback == AV_PIX_FMT_NONE) fallback = *format;
      if (*format == AV_PIX_FMT_YUV420P && fallback != AV_PIX_FMT_YUV420P) fallback = AV_PIX_FMT_YUV420P;
    }
    codec->pix_fmt = chosen != AV_PIX_FMT_NONE ? chosen : fallback;
    codec->width = _width;
    codec->height = _height;
    codec->time_base = kVideoTimeBase;
    codec->framerate = av_d2q(_frameRate, 100000);
    codec->gop_size = _keyFrameInterval;
    // No frame reordering: a real-time recording wants each frame out as soon as it is encoded, and
    // fragments written before the end need no edit list to start at zero.
    codec->max_b_frames = 0;
    if (_bitRate > 0) codec->bit_rate = _bitRate;
    codec->color_primaries = AVCOL_PRI_BT709;
    codec->color_trc = AVCOL_TRC_BT709;
    codec->colorspace = AVCOL_SPC_BT709;
    codec->color_range = AVCOL_RANGE_MPEG;
    if (_muxer->format()->oformat->flags & AVFMT_GLOBALHEADER) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* rawOptions = nullptr;
    if (codec->codec_id == AV_CODEC_ID_H264 || codec->codec_id == AV_CODEC_ID_HEVC) {
      av_dict_set(&rawOptions, "preset", _preset.c_str(), 0);
    }
    // What a killed recording loses is the fragment being written plus what the encoder still holds.
    // With its look-ahead and frame threads x264 holds 15 frames at "veryfast" (half a second at 30 fps)
    // before the first packet comes out; tuned for zero latency it holds one, and each second of media
    // reaches the file as soon as it is encoded. Measured on a noisy 640x360 pattern at 1.5 Mbit/s the
    // cost is 0.13 dB of PSNR and 0.75% of file size.
    const std::string_view encoderName = _encoder->name;
    if (encoderName == "libx264" || encoderName == "libx265") av_dict_set(&rawOptions, "tune", "zerolatency", 0);
    if (codec->codec_id == AV_CODEC_ID_HEVC) av_dict_set(&rawOptions, "x265-params", "log-level=error:bframes=0", 0);
    if (codec->codec_id == AV_CODEC_ID_PRORES) av_dict_set(&rawOptions, "profile", "standard", 0);
    int result = 0;
    {
      LeakCheckPause pause(codec->codec_id == AV_CODEC_ID_HEVC);
      result = avcodec_open2(codec, _encoder, &rawOptions);
    }
    av_dict_free(&rawOptions);
    if (result < 0) {
      _muxer->fail(std::string("could not open the ") + _encoder->name + " encoder", result);
      return false;
    }
    _packet.reset(av_packet_alloc());
    if (!_packet) {
      _muxer->fail("out of memory", AVERROR(ENOMEM));
      return false;
    }
    return _muxer->encoderOpened(_stream, codec);
  }

  // ---- the encoding thread ----
  void run() {
    while (true) {
      CMSampleBuffer sample;
      {
        std::unique_lock lock(_mutex);
        const auto hasWork = [&] {
          return !_queue.empty() || _finished.load() || _muxer->isFinishing() || _muxer->isCancelled() ||
                 _muxer->status() == AssetWriterStatus::failed;
        };
        while (!hasWork()) _wake.wait_for(lock, kIdlePoll);
        if (_muxer->isCancelled() || _muxer->status() == AssetWriterStatus::failed) return;
        if (_queue.empty()) break;  // finished and drained
        sample = _queue.front();
      }
      const bool ok = _mediaType.isVideo() ? encodeVideo(sample) : encodeAudio(sample);
      {
        std::lock_guard lock(_mutex);
        _queue.pop_front();
        _queued.store(_queue.size(), std::memory_order_release);
      }
      if (!ok) return;
    }
    flush();
  }

  bool encodeVideo(const CMSampleBuffer& sample) {
    const VideoFrame& picture = *sample.videoFrame();
    const auto sessionStart = _muxer->sessionStart();
    const std::int64_t pts = relativeTicks(CMSampleBufferGetPresentationTimeStamp(sample), *sessionStart, kVideoTimeBase);
    if (pts == AV_NOPTS_VALUE || pts < 0 || (_lastPts != AV_NOPTS_VALUE && pts <= _lastPts)) {
      // Before the session, untimed, or not later than the frame before: the encoder would refuse it.
      noteDrop("a video frame whose time is before the session or not after the previous frame");
      return true;
    }
    const AVPixelFormat sourceFormat = avPixelFormat(picture.pixelFormat);
    if (!_codec && !openVideoEncoder(sourceFormat)) return false;
    FramePtr frame = frameFor(picture, sourceFormat);
    if (!frame) return false;
    frame->pts = pts;
    // The last frame's length in the file comes from here; without it the track ends a frame early.
    const CMTime duration = CMSampleBufferGetDuration(sample);
    if (duration.isNumeric() && duration.value > 0) {
      frame->pkt_duration = av_rescale_q(duration.value, AVRational{1, duration.timescale}, kVideoTimeBase);
    } else if (_lastPts != AV_NOPTS_VALUE) {
      frame->pkt_duration = pts - _lastPts;
    }
    _lastPts = pts;
    if (frame->pkt_duration > 0) _durations[pts] = frame->pkt_duration;
    return sendFrame(frame.get());
  }

  // The picture as the encoder wants it: wrapped without a copy when format and size match, else
  // converted by swscale (BGRA, or a size or format the encoder does not take).
  FramePtr frameFor(const VideoFrame& picture, AVPixelFormat sourceFormat) {
    AVCodecContext* codec = _codec.get();
    FramePtr frame(av_frame_alloc());
    if (!frame) {
      _muxer->fail("out of memory", AVERROR(ENOMEM));
      return nullptr;
    }
    if (sourceFormat == codec->pix_fmt && picture.width == codec->width && picture.height == codec->height) {
      frame->format = sourceFormat;
      frame->width = picture.width;
      frame->height = picture.height;
      for (int plane = 0; plane < picture.planeCount; ++plane) {
        frame->data[plane] = const_cast<std::uint8_t*>(picture.planes[static_cast<std::size_t>(plane)]);
        frame->linesize[plane] = picture.strides[static_cast<std::size_t>(plane)];
      }
      // A reference to the host's memory, so the encoder keeps it alive instead of copying it.
      auto* keeper = new std::shared_ptr<const void>(picture.storage);
      frame->buf[0] = av_buffer_create(frame->data[0], 1, releaseSharedStorage, keeper, AV_BUFFER_FLAG_READONLY);
      if (frame->buf[0] == nullptr) {
        delete keeper;
        _muxer->fail("out of memory", AVERROR(ENOMEM));
        return nullptr;
      }
      return frame;
    }
    if (!_scaler || _scalerSource != sourceFormat || _scalerWidth != picture.width || _scalerHeight != picture.height) {
      if (!makeScaler(sourceFormat, picture.width, picture.height)) return nullptr;
    }
    frame->format = codec->pix_fmt;
    frame->width = codec->width;
    frame->height = codec->height;
    int result = av_frame_get_buffer(frame.get(), 0);
    if (result >= 0) {
      const std::uint8_t* const sourcePlanes[4] = {picture.planes[0], picture.planes[1], picture.planes[2], nullptr};
      const int sourceStrides[4] = {picture.strides[0], picture.strides[1], picture.strides[2], 0};
      result = scaleInto(sourcePlanes, sourceStrides, picture.height, frame.get());
    }
    if (result < 0) {
      _muxer->fail("could not convert a video frame", result);
      return nullptr;
    }
    return frame;
  }

  int scaleInto(const std::uint8_t* const planes[4], const int strides[4], int height, AVFrame* frame) {
    const int rows = sws_scale(_scaler.get(), planes, strides, 0, height, frame->data, frame->linesize);
    return rows > 0 ? 0 : AVERROR(EINVAL);
  }

  bool makeScaler(AVPixelFormat sourceFormat, int width, int height) {
    AVCodecContext* codec = _codec.get();
    _scaler.reset(sws_alloc_context());
    SwsContext* scaler = _scaler.get();
    if (scaler == nullptr) {
      _muxer->fail("out of memory", AVERROR(ENOMEM));
      return false;
    }
    av_opt_set_int(scaler, "srcw", width, 0);
    av_opt_set_int(scaler, "srch", height, 0);
    av_opt_set_int(scaler, "src_format", sourceFormat, 0);
    av_opt_set_int(scaler, "dstw", codec->width, 0);
    av_opt_set_int(scaler, "dsth", codec->height, 0);
    av_opt_set_int(scaler, "dst_format", codec->pix_fmt, 0);
    av_opt_set_int(scaler, "sws_flags", SWS_BILINEAR, 0);
    // Converting 1080p BGRA takes several milliseconds on one core: use them all.
    av_opt_set_int(scaler, "threads", static_cast<std::int64_t>(std::max(1u, std::thread::hardware_concurrency())), 0);
    const int result = sws_init_context(scaler, nullptr, nullptr);
    if (result < 0) {
      _scaler.reset();
      _muxer->fail("could not set up the video conversion", result);
      return false;
    }
    // Video range BT.709 out; RGB in is full range.
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
    _scalerSource = sourceFormat;
    _scalerWidth = width;
    _scalerHeight = height;
    return true;
  }

  bool encodeAudio(const CMSampleBuffer& sample) {
    const AudioBufferData& audio = *sample.audioData();
    AVCodecContext* codec = _codec.get();
    if (audio.frameCount <= 0 || audio.channelCount <= 0 || audio.sampleRate <= 0 || !audio.samples) {
      noteDrop("an empty or malformed audio buffer");
      return true;
    }
    const auto sessionStart = _muxer->sessionStart();
    const std::int64_t start =
        relativeTicks(CMSampleBufferGetPresentationTimeStamp(sample), *sessionStart, codec->time_base);
    if (start == AV_NOPTS_VALUE) {
      noteDrop("an untimed audio buffer");
      return true;
    }
    // Where the buffer lands against what is already written: fill a gap with silence, cut an overlap.
    std::int64_t skipOutput = 0;
    const std::int64_t gap = start - _writtenSamples;
    const std::int64_t tolerance = codec->sample_rate / 200;  // 5 ms of clock jitter is ignored
    if (gap > tolerance) {
      if (gap <= kMaxSilenceSeconds * codec->sample_rate) {
        if (!writeSilence(gap)) return false;
      } else {
        logger().error("{}: audio jumps {} s ahead; continuing without the gap", _muxer->path().string(),
                       static_cast<double>(gap) / codec->sample_rate);
        _writtenSamples = start;
      }
    } else if (gap < -tolerance) {
      skipOutput = -gap;
    }
    const bool direct = audio.channelCount == codec->ch_layout.nb_channels && audio.sampleRate == codec->sample_rate;
    if (direct) {
      const std::int64_t skip = std::min<std::int64_t>(skipOutput, audio.frameCount);
      if (skip == audio.frameCount) {
        noteDrop("an audio buffer entirely before the session or the audio already written");
        return true;
      }
      void* planes[AV_NUM_DATA_POINTERS] = {};
      for (int channel = 0; channel < audio.channelCount; ++channel) {
        planes[channel] = const_cast<float*>(audio.channel(channel) + skip);
      }
      const int count = audio.frameCount - static_cast<int>(skip);
      if (av_audio_fifo_write(_fifo.get(), planes, count) < count) {
        _muxer->fail("out of memory", AVERROR(ENOMEM));
        return false;
      }
      _writtenSamples += count;
      return drainFifo(false);
    }
    return resampleIntoFifo(audio, skipOutput);
  }

  bool resampleIntoFifo(const AudioBufferData& audio, std::int64_t skipOutput) {
    AVCodecContext* codec = _codec.get();
    if (!_resampler || _resamplerChannels != audio.channelCount || _resamplerRate != audio.sampleRate) {
      AVChannelLayout inputLayout;
      av_channel_layout_default(&inputLayout, audio.channelCount);
      const int result = makeAudioConverter(_resampler, codec->ch_layout, AV_SAMPLE_FMT_FLTP, codec->sample_rate,
                                            inputLayout, AV_SAMPLE_FMT_FLTP, audio.sampleRate);
      av_channel_layout_uninit(&inputLayout);
      if (result < 0) {
        _muxer->fail("could not set up the audio conversion", result);
        return false;
      }
      _resamplerChannels = audio.channelCount;
      _resamplerRate = audio.sampleRate;
    }
    const int capacity = swr_get_out_samples(_resampler.get(), audio.frameCount);
    FramePtr converted(av_frame_alloc());
    converted->format = AV_SAMPLE_FMT_FLTP;
    converted->nb_samples = std::max(capacity, 1);
    av_channel_layout_copy(&converted->ch_layout, &codec->ch_layout);
    int result = av_frame_get_buffer(converted.get(), 0);
    const std::uint8_t* inputs[AV_NUM_DATA_POINTERS] = {};
    for (int channel = 0; channel < audio.channelCount && channel < AV_NUM_DATA_POINTERS; ++channel) {
      inputs[channel] = reinterpret_cast<const std::uint8_t*>(audio.channel(channel));
    }
    if (result >= 0) {
      result = swr_convert(_resampler.get(), converted->data, converted->nb_samples, inputs, audio.frameCount);
    }
    if (result < 0) {
      _muxer->fail("could not convert audio", result);
      return false;
    }
    const int skip = static_cast<int>(std::min<std::int64_t>(skipOutput, result));
    const int count = result - skip;
    if (count > 0) {
      void* planes[AV_NUM_DATA_POINTERS] = {};
      for (int channel = 0; channel < codec->ch_layout.nb_channels; ++channel) {
        planes[channel] = converted->data[channel] + static_cast<std::ptrdiff_t>(skip) * sizeof(float);
      }
      if (av_audio_fifo_write(_fifo.get(), planes, count) < count) {
        _muxer->fail("out of memory", AVERROR(ENOMEM));
        return false;
      }
      _writtenSamples += count;
    }
    return drainFifo(false);
  }

  bool writeSilence(std::int64_t samples) {
    AVCodecContext* codec = _codec.get();
    const int chunk = std::max(codec->frame_size, 1024);
    std::vector<float> zeros(static_cast<std::size_t>(chunk), 0.0f);
    void* planes[AV_NUM_DATA_POINTERS] = {};
    for (int channel = 0; channel < codec->ch_layout.nb_channels; ++channel) planes[channel] = zeros.data();
    while (samples > 0) {
      const int count = static_cast<int>(std::min<std::int64_t>(samples, chunk));
      if (av_audio_fifo_write(_fifo.get(), planes, count) < count) {
        _muxer->fail("out of memory", AVERROR(ENOMEM));
        return false;
      }
      samples -= count;
      _writtenSamples += count;
      if (!drainFifo(false)) return false;
    }
    return true;
  }

  // Feeds whole encoder frames from the FIFO; at the end also the remainder (padded when the encoder
  // cannot take a short last frame).
  bool drainFifo(bool atEnd) {
    AVCodecContext* codec = _codec.get();
    const int frameSize = codec->frame_size > 0 ? codec->frame_size : 1024;
    while (av_audio_fifo_size(_fifo.get()) >= frameSize || (atEnd && av_audio_fifo_size(_fifo.get()) > 0)) {
      const int available = std::min(av_audio_fifo_size(_fifo.get()), frameSize);
      const bool shortAllowed =
          (codec->codec->capabilities & (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE)) != 0;
      FramePtr frame(av_frame_alloc());
      frame->format = AV_SAMPLE_FMT_FLTP;
      frame->nb_samples = available < frameSize && !shortAllowed ? frameSize : available;
      frame->sample_rate = codec->sample_rate;
      av_channel_layout_copy(&frame->ch_layout, &codec->ch_layout);
      int result = av_frame_get_buffer(frame.get(), 0);
      if (result >= 0 && frame->nb_samples > available) {
        av_samples_set_silence(frame->data, available, frame->nb_samples - available, codec->ch_layout.nb_channels,
                               AV_SAMPLE_FMT_FLTP);
      }
      if (result >= 0 && av_audio_fifo_read(_fifo.get(), reinterpret_cast<void**>(frame->data), available) < available) {
        result = AVERROR(EIO);
      }
      if (result < 0) {
        _muxer->fail("could not queue audio for the encoder", result);
        return false;
      }
      frame->pts = _nextAudioPts;
      _nextAudioPts += frame->nb_samples;
      if (_sampleConverter && !convertForEncoder(frame)) return false;
      if (!sendFrame(frame.get())) return false;
    }
    return true;
  }

  // Replaces a float frame from the FIFO with the same samples in the encoder's own format.
  bool convertForEncoder(FramePtr& frame) {
    AVCodecContext* codec = _codec.get();
    FramePtr converted(av_frame_alloc());
    if (!converted) {
      _muxer->fail("out of memory", AVERROR(ENOMEM));
      return false;
    }
    converted->format = codec->sample_fmt;
    converted->sample_rate = codec->sample_rate;
    av_channel_layout_copy(&converted->ch_layout, &codec->ch_layout);
    const int result = swr_convert_frame(_sampleConverter.get(), converted.get(), frame.get());
    if (result < 0) {
      _muxer->fail("could not convert audio", result);
      return false;
    }
    converted->pts = frame->pts;
    frame = std::move(converted);
    return true;
  }

  bool sendFrame(AVFrame* frame) {
    AVCodecContext* codec = _codec.get();
    int result = avcodec_send_frame(codec, frame);
    if (result < 0) {
      _muxer->fail(std::string("the ") + codec->codec->name + " encoder refused a frame", result);
      return false;
    }
    while (true) {
      result = avcodec_receive_packet(codec, _packet.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
      if (result < 0) {
        _muxer->fail(std::string("the ") + codec->codec->name + " encoder failed", result);
        return false;
      }
      if (_packet->duration <= 0) {
        // Not every encoder wrapper carries the frame's duration over to its packet.
        const auto known = _durations.find(_packet->pts);
        if (known != _durations.end()) _packet->duration = known->second;
      }
      _durations.erase(_durations.begin(), _durations.upper_bound(_packet->pts));
      if (!_muxer->write(_packet.get(), codec->time_base, _stream)) {
        av_packet_unref(_packet.get());
        return false;
      }
    }
  }

  void flush() {
    if (_mediaType.isVideo() && !_codec) {
      // No frame ever came: open the encoder anyway so the file has its header and a (empty) track.
      if (!openVideoEncoder(AV_PIX_FMT_YUV420P)) return;
    }
    if (_mediaType.isAudio() && !drainFifo(true)) return;
    sendFrame(nullptr);
  }

  void noteDrop(const char* what) {
    ++_dropCount;
    if (_dropCount == 1 || _dropCount % 100 == 0) {
      logger().error("{}: dropped {} ({} so far)", _muxer->path().string(), what, _dropCount);
    }
  }

  const MediaStreamType _mediaType;
  const std::optional<MediaSettings> _settings;
  const std::size_t _capacity;
  std::atomic<bool> _realTime{false};

  mutable std::mutex _mutex;  // guards _queue and _muxer's assignment
  std::condition_variable _wake;
  std::deque<CMSampleBuffer> _queue;  // the front is the sample being encoded
  std::atomic<std::size_t> _queued{0};  // _queue.size(), for the lock-free readiness check
  std::atomic<bool> _finished{false};
  std::shared_ptr<Muxer> _muxer;
  std::atomic<const Muxer*> _attachedMuxer{nullptr};  // _muxer.get(), readable without the lock

  std::mutex _joinMutex;
  std::thread _thread;

  // Set by prepare on the caller's thread before the encoding thread starts; then the thread's alone.
  AVStream* _stream = nullptr;
  const AVCodec* _encoder = nullptr;
  CodecContextPtr _codec;
  PacketPtr _packet;
  int _width = 0;
  int _height = 0;
  double _frameRate = 30.0;
  std::int64_t _bitRate = 0;
  int _keyFrameInterval = 30;
  std::string _preset;
  std::int64_t _lastPts = AV_NOPTS_VALUE;
  std::map<std::int64_t, std::int64_t> _durations;  // frame times to lengths, until their packets are out
  SwsContextPtr _scaler;
  AVPixelFormat _scalerSource = AV_PIX_FMT_NONE;
  int _scalerWidth = 0;
  int _scalerHeight = 0;
  AudioFifoPtr _fifo;
  SwrContextPtr _resampler;
  SwrContextPtr _sampleConverter;  ///< float to the encoder's format, for encoders that do not take float
  int _resamplerChannels = 0;
  int _resamplerRate = 0;
  std::int64_t _writtenSamples = 0;  // audio samples given to the FIFO since the session start
  std::int64_t _nextAudioPts = 0;
  std::int64_t _dropCount = 0;
};

/// The writer: configuration on the caller's thread, encoding on the inputs' threads, finishing on a
/// thread of its own that runs the completion.
class FfmpegAssetWriter final : public AssetWriter {
 public:
  FfmpegAssetWriter(std::filesystem::path path, FormatContextPtr format)
      : _path(path), _muxer(std::make_shared<Muxer>(std::move(path), std::move(format))) {}

  ~FfmpegAssetWriter() override {
    if (_muxer->status() == AssetWriterStatus::writing && !_muxer->isFinishing()) cancelWriting();
    if (_finisher.joinable()) {
      if (_finisher.get_id() == std::this_thread::get_id()) {
        _finisher.detach();  // destroyed from its own completion: the thread ends right after
      } else {
        _finisher.join();
      }
    }
    for (auto& input : _inputs) input->stop();
  }

  AssetWriterStatus status() const override { return _muxer->status(); }
  std::optional<std::string> error() const override { return _muxer->error(); }
  std::filesystem::path outputURL() const override { return _path; }
  CMTime movieFragmentInterval() const override { return _fragmentInterval; }
  void setMovieFragmentInterval(CMTime interval) override { _fragmentInterval = interval; }
  void setMetadata(std::vector<MetadataItem> metadata) override { _metadata = std::move(metadata); }

  void addInput(std::shared_ptr<AssetWriterInput> input) override {
    auto ours = std::dynamic_pointer_cast<FfmpegAssetWriterInput>(input);
    if (!ours) throw std::logic_error("an input made by another factory cannot be added to an FFmpeg writer");
    if (_muxer->status() != AssetWriterStatus::unknown) throw std::logic_error("inputs are added before writing starts");
    if (ours->isAttached()) throw std::logic_error("the input already belongs to a writer");
    ours->attach(_muxer);
    _inputs.push_back(std::move(ours));
  }

  bool startWriting() override {
    if (_muxer->status() != AssetWriterStatus::unknown) return false;
    if (_inputs.empty()) {
      _muxer->fail("there is nothing to write (no inputs)");
      return false;
    }
    AVFormatContext* format = _muxer->format();
    bool metadataKeys = false;
    for (const auto& item : _metadata) {
      av_dict_set(&format->metadata, item.key.c_str(), item.value.c_str(), 0);
      if (item.keySpace == "mdta") metadataKeys = true;
    }
    std::string movflags;
    std::int64_t fragmentMicroseconds = 0;
    if (_fragmentInterval.isNumeric() && _fragmentInterval.value > 0) {
      movflags = "+frag_keyframe+empty_moov+default_base_moof";
      fragmentMicroseconds = av_rescale(_fragmentInterval.value, 1'000'000, _fragmentInterval.timescale);
      // A stalled track holds the others in the interleaving queue for at most a fragment, so a crash
      // while one source is frozen loses no more than that.
      format->max_interleave_delta = std::max<std::int64_t>(fragmentMicroseconds, 1'000'000);
    }
    // Reverse-DNS keys are silently dropped unless the container writes its metadata as keyed items.
    if (metadataKeys) movflags += "+use_metadata_tags";
    _muxer->setHeaderOptions(movflags, fragmentMicroseconds);
    _muxer->expectEncoders(static_cast<int>(_inputs.size()));
    if (!_muxer->open()) return false;
    _muxer->setStatus(AssetWriterStatus::writing);
    for (auto& input : _inputs) {
      if (!input->prepare()) {
        _muxer->close();
        return false;
      }
    }
    for (auto& input : _inputs) input->start();
    return true;
  }

  void startSession(CMTime sourceTime) override { _muxer->setSessionStart(sourceTime); }

  void finishWriting(std::function<void()> completion) override {
    if (_finisher.joinable()) {
      throw std::logic_error("finishWriting was already called");
    }
    if (_muxer->status() == AssetWriterStatus::unknown) _muxer->fail("finishing a writer that never started");
    _muxer->setFinishing();
    for (auto& input : _inputs) input->wake();
    _finisher = std::thread([this, completion = std::move(completion)] {
      for (auto& input : _inputs) input->stop();
      if (_muxer->status() == AssetWriterStatus::writing && !_muxer->isCancelled()) {
        if (_muxer->writeTrailer()) _muxer->complete();
      } else {
        _muxer->close();
      }
      if (completion) completion();
    });
  }

  void cancelWriting() override {
    const AssetWriterStatus status = _muxer->status();
    if (status == AssetWriterStatus::completed || status == AssetWriterStatus::cancelled) return;
    _muxer->setCancelled();
    // A failed writer stays failed, with its error; the cancel only stops what is still running.
    if (status != AssetWriterStatus::failed) _muxer->setStatus(AssetWriterStatus::cancelled);
    for (auto& input : _inputs) input->stop();
    if (!_finisher.joinable() || _finisher.get_id() == std::this_thread::get_id()) _muxer->close();
  }

 private:
  const std::filesystem::path _path;
  std::shared_ptr<Muxer> _muxer;
  CMTime _fragmentInterval = kCMTimeInvalid;
  std::vector<MetadataItem> _metadata;
  std::vector<std::shared_ptr<FfmpegAssetWriterInput>> _inputs;
  std::thread _finisher;
};

const char* muxerName(FileType fileType) {
  switch (fileType) {
    case FileType::quickTimeMovie: return "mov";
    case FileType::appleM4A: return "ipod";
    case FileType::mpeg4: return "mp4";
  }
  return "mov";
}

}  // namespace

FfmpegAssetWriterFactory::FfmpegAssetWriterFactory(FfmpegAssetWriterOptions options) : _options(options) {
  // FFmpeg's informational lines (x264's statistics, the muxer's notes) would land on the host's
  // standard error; errors still do.
  static std::once_flag quiet;
  std::call_once(quiet, [] {
    if (av_log_get_level() == AV_LOG_INFO) av_log_set_level(AV_LOG_ERROR);
  });
}

std::unique_ptr<AssetWriter> FfmpegAssetWriterFactory::makeWriter(const std::filesystem::path& outputURL,
                                                                  FileType fileType) {
  const std::filesystem::path folder =
      outputURL.has_parent_path() ? outputURL.parent_path() : std::filesystem::current_path();
  std::error_code ignored;
  if (!std::filesystem::is_directory(folder, ignored)) {
    throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory),
                            "Cannot create \"" + outputURL.string() + "\": its folder does not exist");
  }
  if (::access(folder.c_str(), W_OK) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot create \"" + outputURL.string() + "\"");
  }
  AVFormatContext* raw = nullptr;
  const int result = avformat_alloc_output_context2(&raw, nullptr, muxerName(fileType), outputURL.c_str());
  FormatContextPtr format(raw);
  if (result < 0 || !format) {
    throw std::runtime_error("Cannot create \"" + outputURL.string() + "\": " + ffmpegErrorText(result));
  }
  return std::make_unique<FfmpegAssetWriter>(outputURL, std::move(format));
}

std::shared_ptr<AssetWriterInput> FfmpegAssetWriterFactory::makeInput(MediaStreamType mediaType,
                                                                      const std::optional<MediaSettings>& outputSettings) {
  const std::size_t capacity = mediaType.isVideo() ? _options.videoQueueCapacity : _options.audioQueueCapacity;
  return std::make_shared<FfmpegAssetWriterInput>(std::move(mediaType), outputSettings, std::max<std::size_t>(capacity, 1));
}

AssetWriterFactory& defaultAssetWriterFactory() {
  static FfmpegAssetWriterFactory factory;
  return factory;
}

}  // namespace tav
