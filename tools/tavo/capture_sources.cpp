#include "capture_sources.hpp"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <utility>

extern "C" {
#include <libavdevice/avdevice.h>
}

#include "tav/contracts/audio_pcm_buffer.hpp"
#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/platform/ffmpeg_handles.hpp"
#include "tav/recording/isolated_source_feed.hpp"
#include "tav/testing/isolated_sync_sources.hpp"

namespace tav::tool {
namespace {

/// Sleeps until `host` seconds on the host clock (CLOCK_MONOTONIC).
void sleepUntil(double host) {
  timespec until{};
  until.tv_sec = static_cast<time_t>(std::floor(host));
  until.tv_nsec = static_cast<long>((host - std::floor(host)) * 1e9);
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

/// The delivery thread and the stop flag every source has.
class ThreadedSource : public CaptureSource {
 public:
  ~ThreadedSource() override { stop(); }
  void start(CaptureSinks sinks) override {
    stop();
    stopping_ = false;
    finished_ = false;
    thread_ = std::thread([this, sinks = std::move(sinks)] {
      run(sinks);
      finished_ = true;
    });
  }
  void stop() override {
    stopping_ = true;
    if (thread_.joinable()) thread_.join();
  }
  bool isFinished() const override { return finished_; }

 protected:
  virtual void run(const CaptureSinks& sinks) = 0;
  bool stopping() const { return stopping_; }

 private:
  std::atomic<bool> stopping_{false};
  std::atomic<bool> finished_{false};
  std::thread thread_;
};

class SyntheticCaptureSource final : public ThreadedSource {
 public:
  SyntheticCaptureSource(testing::SyncTestSource source, double start, double seconds)
      : source_(std::move(source)), start_(start), seconds_(seconds) {}
  ~SyntheticCaptureSource() override { stop(); }
  const std::string& name() const override { return source_.name(); }
  IsolatedSourceType type() const override {
    return source_.hasVideo() ? IsolatedSourceType::camera : IsolatedSourceType::microphone;
  }
  bool hasVideo() const override { return source_.hasVideo(); }
  bool hasAudio() const override { return source_.hasAudio(); }

 private:
  void run(const CaptureSinks& sinks) override {
    const auto frames = static_cast<std::int64_t>(std::llround(seconds_ * source_.fps()));
    for (std::int64_t i = 0; i < frames && !stopping(); ++i) {
      // Captured at the scheduled instant: every source flashes and beeps at the same host time.
      const double host = start_ + static_cast<double>(i) / source_.fps();
      sleepUntil(host);
      if (source_.hasVideo() && sinks.video) sinks.video(source_.videoFrame(host));
      if (source_.hasAudio() && sinks.audio) sinks.audio(source_.audio(host));
    }
  }

  testing::SyncTestSource source_;
  double start_;
  double seconds_;
};

bool isLive(const AVInputFormat* format) {
  if (format == nullptr) return false;
  const std::string_view name = format->name;
  return name != "lavfi";
}

class FfmpegCaptureSource final : public ThreadedSource {
 public:
  explicit FfmpegCaptureSource(const CaptureSourceSpec& sourceSpec) : name_(sourceSpec.name), url_(sourceSpec.url) {
    avdevice_register_all();
    std::string input = sourceSpec.url;
    const AVInputFormat* format = nullptr;
    if (const auto colon = sourceSpec.url.find(':'); colon != std::string::npos && colon > 1) {
      // "FORMAT:INPUT" when FORMAT names an input format FFmpeg has; a path otherwise.
      if (const AVInputFormat* named = av_find_input_format(sourceSpec.url.substr(0, colon).c_str())) {
        format = named;
        input = sourceSpec.url.substr(colon + 1);
      }
    }
    live_ = format != nullptr && isLive(format);
    AVFormatContext* raw = nullptr;
    int result = avformat_open_input(&raw, input.c_str(), format, nullptr);
    if (result < 0) fail("cannot be opened", result);
    format_.reset(raw);
    result = avformat_find_stream_info(format_.get(), nullptr);
    if (result < 0) fail("holds no readable streams", result);
    video_ = openDecoder(AVMEDIA_TYPE_VIDEO);
    audio_ = openDecoder(AVMEDIA_TYPE_AUDIO);
    if (video_.index < 0 && audio_.index < 0) fail("holds neither video nor audio", 0);
    type_ = video_.index < 0                                        ? IsolatedSourceType::audio
            : std::string_view(format_->iformat->name) == "x11grab" ? IsolatedSourceType::screen
            : live_                                                 ? IsolatedSourceType::camera
                                                                    : IsolatedSourceType::video;
  }
  ~FfmpegCaptureSource() override { stop(); }

  const std::string& name() const override { return name_; }
  IsolatedSourceType type() const override { return type_; }
  bool hasVideo() const override { return video_.index >= 0; }
  bool hasAudio() const override { return audio_.index >= 0; }

 private:
  struct Decoder {
    int index = -1;
    CodecContextPtr codec;
    AVRational timeBase{1, 1};
  };

  [[noreturn]] void fail(const std::string& what, int code) const {
    throw std::runtime_error("source \"" + name_ + "\" (" + url_ + ") " + what +
                             (code < 0 ? ": " + ffmpegErrorText(code) : ""));
  }

  Decoder openDecoder(AVMediaType type) {
    Decoder decoder;
    const AVCodec* codec = nullptr;
    const int index = av_find_best_stream(format_.get(), type, -1, -1, &codec, 0);
    if (index < 0 || codec == nullptr) return decoder;
    decoder.codec.reset(avcodec_alloc_context3(codec));
    if (!decoder.codec) fail("cannot be decoded", 0);
    int result = avcodec_parameters_to_context(decoder.codec.get(), format_->streams[index]->codecpar);
    if (result >= 0) result = avcodec_open2(decoder.codec.get(), codec, nullptr);
    if (result < 0) fail("cannot be decoded", result);
    decoder.index = index;
    decoder.timeBase = format_->streams[index]->time_base;
    return decoder;
  }

  void run(const CaptureSinks& sinks) override {
    PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    if (!packet || !frame) return;
    const double startedAt = IsolatedRecordingCoordinator::hostClockSeconds();
    while (!stopping() && av_read_frame(format_.get(), packet.get()) >= 0) {
      Decoder* decoder = packet->stream_index == video_.index   ? &video_
                         : packet->stream_index == audio_.index ? &audio_
                                                                : nullptr;
      if (decoder != nullptr && avcodec_send_packet(decoder->codec.get(), packet.get()) >= 0) {
        while (!stopping() && avcodec_receive_frame(decoder->codec.get(), frame.get()) >= 0) {
          deliver(*decoder, *frame, sinks, startedAt);
          av_frame_unref(frame.get());
        }
      }
      av_packet_unref(packet.get());
    }
  }

  void deliver(const Decoder& decoder, const AVFrame& frame, const CaptureSinks& sinks, double startedAt) {
    const std::int64_t raw = frame.best_effort_timestamp;
    if (raw == AV_NOPTS_VALUE) return;
    const double seconds = static_cast<double>(raw) * av_q2d(decoder.timeBase);
    if (!firstTime_) firstTime_ = seconds;
    // A file or graph is paced as a live source would deliver it.
    if (!live_) sleepUntil(startedAt + (seconds - *firstTime_));
    const CMTime pts = CMTime::withSeconds(seconds, 1'000'000'000);
    if (&decoder == &video_) {
      if (sinks.video) {
        if (auto buffer = convertVideo(frame, pts)) sinks.video(*buffer);
      }
    } else if (sinks.audio) {
      if (auto buffer = convertAudio(frame, pts)) sinks.audio(*buffer);
    }
  }

  std::optional<CMSampleBuffer> convertVideo(const AVFrame& frame, CMTime pts) {
    const int width = frame.width & ~1;
    const int height = frame.height & ~1;
    if (width < 2 || height < 2) return std::nullopt;
    scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
                                       static_cast<AVPixelFormat>(frame.format), width, height, AV_PIX_FMT_NV12,
                                       SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!scaler_) return std::nullopt;
    const std::size_t size = VideoFrame::packedSize(PixelFormat::nv12, width, height);
    std::shared_ptr<std::uint8_t> data(new std::uint8_t[size], std::default_delete<std::uint8_t[]>());
    std::uint8_t* planes[4] = {data.get(), data.get() + static_cast<std::ptrdiff_t>(width) * height, nullptr, nullptr};
    const int strides[4] = {width, width, 0, 0};
    sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    const AVRational rate = format_->streams[video_.index]->avg_frame_rate;
    const CMTime duration = rate.num > 0 && rate.den > 0 ? CMTime::make(rate.den, rate.num) : kCMTimeInvalid;
    return CMSampleBuffer::videoFrame(
        VideoFrame::packed(PixelFormat::nv12, width, height, std::shared_ptr<const std::uint8_t>(data)), pts, duration);
  }

  std::optional<CMSampleBuffer> convertAudio(const AVFrame& frame, CMTime pts) {
    const int channels = std::min(frame.ch_layout.nb_channels, 8);
    if (channels < 1 || frame.sample_rate <= 0 || frame.nb_samples <= 0) return std::nullopt;
    if (!resampler_) {
      AVChannelLayout layout{};
      av_channel_layout_default(&layout, channels);
      AVChannelLayout input{};
      if (av_channel_layout_copy(&input, &frame.ch_layout) < 0) return std::nullopt;
      SwrContext* made = nullptr;
      const int result = swr_alloc_set_opts2(&made, &layout, AV_SAMPLE_FMT_FLTP, frame.sample_rate, &input,
                                             static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
      av_channel_layout_uninit(&input);
      if (result < 0) return std::nullopt;
      resampler_.reset(made);
      if (swr_init(resampler_.get()) < 0) {
        resampler_.reset();
        return std::nullopt;
      }
    }
    const std::size_t count = static_cast<std::size_t>(channels) * static_cast<std::size_t>(frame.nb_samples);
    std::shared_ptr<float> samples(new float[count](), std::default_delete<float[]>());
    std::uint8_t* planes[8] = {};
    for (int c = 0; c < channels; ++c) {
      planes[c] = reinterpret_cast<std::uint8_t*>(samples.get() + static_cast<std::ptrdiff_t>(c) * frame.nb_samples);
    }
    const int converted = swr_convert(resampler_.get(), planes, frame.nb_samples,
                                      const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    if (converted <= 0) return std::nullopt;
    return CMSampleBuffer::audio(
        AudioBufferData{channels, frame.sample_rate, converted, std::shared_ptr<const float>(samples)}, pts);
  }

  std::string name_;
  std::string url_;
  bool live_ = false;
  IsolatedSourceType type_ = IsolatedSourceType::video;
  InputFormatContextPtr format_;
  Decoder video_;
  Decoder audio_;
  SwsContextPtr scaler_;
  SwrContextPtr resampler_;
  std::optional<double> firstTime_;
};

}  // namespace

std::optional<CaptureSourceSpec> CaptureSourceSpec::parse(std::string_view text) {
  const auto equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0 || equals + 1 == text.size()) return std::nullopt;
  return CaptureSourceSpec{std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

std::unique_ptr<CaptureSource> openCaptureSource(const CaptureSourceSpec& sourceSpec) {
  return std::make_unique<FfmpegCaptureSource>(sourceSpec);
}

std::vector<std::unique_ptr<CaptureSource>> syntheticCaptureSources(double seconds, int width, int height) {
  // The first whole host second from now, so that the first frame of every source is a flash.
  const double start = std::ceil(IsolatedRecordingCoordinator::hostClockSeconds() + 0.5);
  std::vector<std::unique_ptr<CaptureSource>> sources;
  for (testing::SyncTestSource& source : testing::syncTestSources(start, seconds, width, height)) {
    sources.push_back(std::make_unique<SyntheticCaptureSource>(std::move(source), start, seconds));
  }
  return sources;
}

CaptureSinks isolatedFeed(IsolatedRecordingCoordinator& coordinator, const CaptureSource& source, CaptureSinks also) {
  IsolatedSourceDescription description;
  description.sourceID = source.name();
  description.displayName = source.name();
  description.sourceType = source.type();
  description.isVideoSource = source.hasVideo();
  if (source.hasAudio()) {
    // Known before the first audio buffer is: the writer converts whatever the source gives to this.
    description.audioSettings = IsolatedRecordingCoordinator::audioSettings(AudioFormat(48000, 2));
  }
  CaptureSinks sinks;
  sinks.video = [&coordinator, description, next = also.video](const CMSampleBuffer& buffer) {
    feedIsolatedVideo(coordinator, description, buffer);
    if (next) next(buffer);
  };
  sinks.audio = [&coordinator, description, next = also.audio](const CMSampleBuffer& buffer) {
    feedIsolatedAudio(coordinator, description, buffer);
    if (next) next(buffer);
  };
  return sinks;
}

void recordCaptureSession(const std::filesystem::path& folder, double seconds,
                          std::vector<std::unique_ptr<CaptureSource>> sources) {
  std::filesystem::create_directories(folder);
  IsolatedRecordingCoordinator coordinator;
  coordinator.begin(Url::fileUrl(folder), IsolatedRecordingCoordinator::defaultVideoWriterCap);
  for (auto& source : sources) source->start(isolatedFeed(coordinator, *source));
  const double until = IsolatedRecordingCoordinator::hostClockSeconds() + seconds;
  const auto allFinished = [&] {
    return std::all_of(sources.begin(), sources.end(), [](const auto& source) { return source->isFinished(); });
  };
  while (IsolatedRecordingCoordinator::hostClockSeconds() < until && !allFinished()) {
    sleepUntil(std::min(until, IsolatedRecordingCoordinator::hostClockSeconds() + 0.05));
  }
  for (auto& source : sources) source->stop();
  coordinator.end();
}

void recordSyntheticSession(const std::filesystem::path& folder, double seconds) {
  std::filesystem::create_directories(folder);
  std::atomic<double> host{0};
  // Stepped faster than real time: the encoders' queues hold what they have not yet taken.
  FfmpegAssetWriterFactory factory(FfmpegAssetWriterOptions{4096, 65536});
  IsolatedRecordingCoordinator coordinator(testing::isolatedWriters(factory), [&] { return host.load(); });
  constexpr double start = 1000;
  const std::vector<testing::SyncTestSource> sources = testing::syncTestSources(start, seconds);
  coordinator.begin(Url::fileUrl(folder), IsolatedRecordingCoordinator::defaultVideoWriterCap);
  testing::recordSyncSession(coordinator, sources, host, start, seconds, start + seconds * 0.4, start + seconds * 0.5);
  coordinator.end();
}

}  // namespace tav::tool
