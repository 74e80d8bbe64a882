#include "tav/platform/ffmpeg_asset_writer.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <future>
#include <string>
#include <system_error>
#include <thread>

#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav {
namespace {

using testing::ScratchDirectory;
using testing::syntheticAudio;
using testing::syntheticVideoFrame;

MediaSettings videoSettings(std::string_view codec, int width, int height, int fps, std::string_view preset = "ultrafast") {
  MediaSettings compression;
  compression[AVVideoAverageBitRateKey] = 2'000'000;
  compression[AVVideoExpectedSourceFrameRateKey] = fps;
  compression[AVVideoMaxKeyFrameIntervalKey] = fps;
  MediaSettings settings;
  settings[AVVideoCodecKey] = codec;
  settings[AVVideoWidthKey] = width;
  settings[AVVideoHeightKey] = height;
  settings[AVVideoCompressionPropertiesKey] = compression;
  settings[TavVideoEncoderPresetKey] = preset;
  return settings;
}

MediaSettings audioSettings(int sampleRate, int channels) {
  MediaSettings settings;
  settings[AVFormatIDKey] = kAudioFormatMPEG4AAC;
  settings[AVSampleRateKey] = sampleRate;
  settings[AVNumberOfChannelsKey] = channels;
  settings[AVEncoderBitRateKey] = 128000;
  return settings;
}

// Appends, waiting (as a test may, unlike the real-time path) while the input's queue is full.
void appendWaiting(AssetWriterInput& input, const CMSampleBuffer& buffer) {
  for (int attempt = 0; attempt < 20000 && !input.isReadyForMoreMediaData(); ++attempt) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  ASSERT_TRUE(input.append(buffer));
}

void finish(AssetWriter& writer) {
  std::promise<std::thread::id> done;
  writer.finishWriting([&] { done.set_value(std::this_thread::get_id()); });
  auto future = done.get_future();
  ASSERT_EQ(future.wait_for(std::chrono::seconds(60)), std::future_status::ready);
  EXPECT_NE(future.get(), std::this_thread::get_id());  // the completion runs on the writer's thread
}

const ProbedTrack* track(const ProbedMovie& movie, std::string_view kind) {
  for (const auto& t : movie.tracks) {
    if (t.mediaType == kind) return &t;
  }
  return nullptr;
}

std::string metadataValue(const ProbedMovie& movie, std::string_view key) {
  for (const auto& [k, v] : movie.metadata) {
    if (k == key) return v;
  }
  return {};
}

/// A writer at `path` with one input of `mediaType`, writing, its session started at `origin`; with
/// 1-second fragments when `fragmented`.
struct OneInput {
  std::unique_ptr<AssetWriter> writer;
  std::shared_ptr<AssetWriterInput> input;
};
OneInput startWithOneInput(FfmpegAssetWriterFactory& factory, const std::filesystem::path& path, FileType type,
                           const MediaStreamType& mediaType, const MediaSettings& settings,
                           CMTime origin = kCMTimeZero, bool fragmented = false) {
  OneInput started{factory.makeWriter(path, type), factory.makeInput(mediaType, settings)};
  if (fragmented) started.writer->setMovieFragmentInterval(CMTime::make(1, 1));
  started.writer->addInput(started.input);
  EXPECT_TRUE(started.writer->startWriting()) << started.writer->error().value_or("");
  started.writer->startSession(origin);
  return started;
}

/// Marks `input` finished, waits for the file to complete and reads it back; it must hold one track.
void finishAndProbe(AssetWriter& writer, AssetWriterInput& input, const std::filesystem::path& path,
                    ProbedMovie& movie) {
  input.markAsFinished();
  finish(writer);
  ASSERT_EQ(writer.status(), AssetWriterStatus::completed) << writer.error().value_or("");
  movie = probeMovie(path);
  ASSERT_EQ(movie.tracks.size(), 1u);
}

/// Each test writes into a scratch folder of its own.
class FfmpegAssetWriterTest : public ::testing::Test {
 protected:
  ScratchDirectory folder{"tav-writer"};
  FfmpegAssetWriterFactory factory;
};

TEST_F(FfmpegAssetWriterTest, WritesFragmentedH264MovieWithAudioAndMetadata) {
  const auto path = folder / "clip.mov";
  auto writer = factory.makeWriter(path, FileType::quickTimeMovie);
  writer->setMovieFragmentInterval(CMTime::withSeconds(1.0, 1));
  writer->setMetadata({{"mdta", "com.apple.quicktime.content.identifier", "7D0C3B1E-2D2B-4C5E-9F3A-0B6C9E8A1F42"},
                       {"udta", "title", "Synthetic"}});
  auto audio = factory.makeInput(MediaStreamType::audio(), audioSettings(48000, 2));
  auto video = factory.makeInput(MediaStreamType::video(), videoSettings(AVVideoCodecTypeH264, 320, 240, 30));
  audio->setExpectsMediaDataInRealTime(true);
  video->setExpectsMediaDataInRealTime(true);
  writer->addInput(audio);
  writer->addInput(video);
  EXPECT_EQ(writer->status(), AssetWriterStatus::unknown);
  EXPECT_FALSE(video->isReadyForMoreMediaData());
  EXPECT_FALSE(std::filesystem::exists(path));

  ASSERT_TRUE(writer->startWriting());
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(writer->status(), AssetWriterStatus::writing);
  // Host times start at 100 s; the file starts at zero.
  const CMTime origin = CMTime::make(100, 1);
  EXPECT_FALSE(video->append(syntheticVideoFrame(PixelFormat::nv12, 320, 240, 0, 30, origin)));  // no session yet
  writer->startSession(origin);
  EXPECT_FALSE(video->append(syntheticAudio(2, 48000, 1024, 0, origin)));  // wrong medium
  for (int frame = 0; frame < 75; ++frame) {  // 2.5 s
    appendWaiting(*video, syntheticVideoFrame(PixelFormat::nv12, 320, 240, frame, 30, origin));
    // 1600 samples a frame: 48000 / 30
    appendWaiting(*audio, syntheticAudio(2, 48000, 1600, frame * 1600, origin));
  }
  video->markAsFinished();
  audio->markAsFinished();
  EXPECT_FALSE(video->isReadyForMoreMediaData());
  finish(*writer);
  ASSERT_EQ(writer->status(), AssetWriterStatus::completed) << writer->error().value_or("");
  EXPECT_FALSE(writer->error().has_value());

  const ProbedMovie movie = probeMovie(path);
  const ProbedTrack* v = track(movie, "video");
  const ProbedTrack* a = track(movie, "audio");
  ASSERT_NE(v, nullptr);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(std::tie(v->codec, v->codecTag, v->width, v->height, v->packetCount),
            std::make_tuple("h264", "avc1", 320, 240, 75));
  EXPECT_NEAR(v->frameRate, 30.0, 0.01);
  EXPECT_DOUBLE_EQ(v->startTime, 0.0);
  EXPECT_NEAR(v->duration, 2.5, 0.001);  // 75 / 30
  EXPECT_EQ(std::tie(a->codec, a->sampleRate, a->channels), std::make_tuple("aac", 48000, 2));
  EXPECT_NEAR(a->duration, 2.5, 0.05);
  EXPECT_GE(movie.fragmentCount, 2);  // a fragment a second
  EXPECT_EQ(metadataValue(movie, "com.apple.quicktime.content.identifier"), "7D0C3B1E-2D2B-4C5E-9F3A-0B6C9E8A1F42");
  EXPECT_EQ(metadataValue(movie, "title"), "Synthetic");
}

TEST_F(FfmpegAssetWriterTest, WritesHevcFromPlanarAndConvertsBgra) {
  struct Case {
    std::string_view codec;
    PixelFormat format;
    const char* expectedCodec;
    const char* expectedTag;
  };
  for (const Case& c : {Case{AVVideoCodecTypeHEVC, PixelFormat::yuv420p, "hevc", "hvc1"},
                        Case{AVVideoCodecTypeHEVC, PixelFormat::nv12, "hevc", "hvc1"},
                        Case{AVVideoCodecTypeH264, PixelFormat::bgra, "h264", "avc1"},
                        Case{AVVideoCodecTypeAppleProRes422, PixelFormat::bgra, "prores", "apcn"}}) {
    SCOPED_TRACE(c.expectedCodec);
    const auto path = folder / (std::string(c.expectedCodec) + std::to_string(static_cast<int>(c.format)) + ".mov");
    auto [writer, video] = startWithOneInput(factory, path, FileType::quickTimeMovie, MediaStreamType::video(),
                                             videoSettings(c.codec, 256, 144, 25));
    for (int frame = 0; frame < 25; ++frame) appendWaiting(*video, syntheticVideoFrame(c.format, 256, 144, frame, 25));
    ProbedMovie movie;
    ASSERT_NO_FATAL_FAILURE(finishAndProbe(*writer, *video, path, movie));
    const ProbedTrack& t = movie.tracks[0];
    EXPECT_EQ(std::tie(t.codec, t.codecTag, t.width, t.packetCount),
              std::make_tuple(c.expectedCodec, c.expectedTag, 256, 25));
    EXPECT_NEAR(t.duration, 1.0, 0.001);
    EXPECT_EQ(movie.fragmentCount, 0);  // no interval, no fragments
  }
}

TEST_F(FfmpegAssetWriterTest, WritesAudioOnlyM4A) {
  const auto path = folder / "voice.m4a";
  const CMTime origin = CMTime::make(5, 1);
  auto [writer, audio] = startWithOneInput(factory, path, FileType::appleM4A, MediaStreamType::audio(),
                                           audioSettings(44100, 1), origin);
  // A buffer from before the session is cut to the session's start.
  appendWaiting(*audio, syntheticAudio(1, 44100, 441, -441, origin));
  for (int i = 0; i < 100; ++i) appendWaiting(*audio, syntheticAudio(1, 44100, 441, i * 441, origin));  // 1 s
  ProbedMovie movie;
  ASSERT_NO_FATAL_FAILURE(finishAndProbe(*writer, *audio, path, movie));
  const ProbedTrack& t = movie.tracks[0];
  EXPECT_EQ(std::tie(t.codec, t.sampleRate, t.channels), std::make_tuple("aac", 44100, 1));
  EXPECT_NEAR(t.startTime, 0.0, 1e-9);
  EXPECT_NEAR(t.duration, 1.0, 0.03);  // the last AAC frame is padded to 1024 samples
}

TEST_F(FfmpegAssetWriterTest, FillsAnAudioGapWithSilenceAndResamples) {
  const auto path = folder / "gap.m4a";
  auto [writer, audio] = startWithOneInput(factory, path, FileType::appleM4A, MediaStreamType::audio(),
                                           audioSettings(48000, 2));
  // 44.1 kHz mono in, 48 kHz stereo out; half a second, a half-second hole, half a second.
  for (int i = 0; i < 50; ++i) appendWaiting(*audio, syntheticAudio(1, 44100, 441, i * 441));
  for (int i = 100; i < 150; ++i) appendWaiting(*audio, syntheticAudio(1, 44100, 441, i * 441));
  ProbedMovie movie;
  ASSERT_NO_FATAL_FAILURE(finishAndProbe(*writer, *audio, path, movie));
  EXPECT_EQ(std::tie(movie.tracks[0].channels, movie.tracks[0].sampleRate), std::make_tuple(2, 48000));
  EXPECT_NEAR(movie.tracks[0].duration, 1.5, 0.05);
}

TEST_F(FfmpegAssetWriterTest, CancelLeavesThePartialFileAndRefusesMore) {
  const auto path = folder / "cancelled.mov";
  auto [writer, video] = startWithOneInput(factory, path, FileType::quickTimeMovie, MediaStreamType::video(),
                                           videoSettings(AVVideoCodecTypeH264, 320, 240, 30), kCMTimeZero, true);
  for (int frame = 0; frame < 10; ++frame) appendWaiting(*video, syntheticVideoFrame(PixelFormat::nv12, 320, 240, frame));
  writer->cancelWriting();
  EXPECT_EQ(writer->status(), AssetWriterStatus::cancelled);
  EXPECT_FALSE(video->isReadyForMoreMediaData());
  EXPECT_FALSE(video->append(syntheticVideoFrame(PixelFormat::nv12, 320, 240, 10)));
  EXPECT_TRUE(std::filesystem::exists(path));  // the caller removes it
  EXPECT_FALSE(writer->error().has_value());
}

TEST_F(FfmpegAssetWriterTest, TruncatedFragmentedFileStillOpens) {
  const auto path = folder / "whole.mov";
  auto [writer, video] = startWithOneInput(factory, path, FileType::quickTimeMovie, MediaStreamType::video(),
                                           videoSettings(AVVideoCodecTypeH264, 320, 240, 30), kCMTimeZero, true);
  for (int frame = 0; frame < 120; ++frame) appendWaiting(*video, syntheticVideoFrame(PixelFormat::nv12, 320, 240, frame));
  ProbedMovie whole;
  ASSERT_NO_FATAL_FAILURE(finishAndProbe(*writer, *video, path, whole));
  ASSERT_GE(whole.fragmentCount, 4);

  // Cut the file in the middle of its third quarter, as a killed process would leave it.
  const auto size = std::filesystem::file_size(path);
  const auto cut = folder / "cut.mov";
  std::filesystem::copy_file(path, cut);
  std::filesystem::resize_file(cut, size * 5 / 8);
  const ProbedMovie partial = probeMovie(cut);
  ASSERT_EQ(partial.tracks.size(), 1u);
  EXPECT_EQ(partial.tracks[0].codec, "h264");
  EXPECT_GE(partial.fragmentCount, 1);
  EXPECT_LT(partial.fragmentCount, whole.fragmentCount);
  EXPECT_GE(partial.tracks[0].packetCount, 30);  // at least the first whole second
  EXPECT_LT(partial.tracks[0].packetCount, 120);
  EXPECT_DOUBLE_EQ(partial.tracks[0].startTime, 0.0);
}

TEST_F(FfmpegAssetWriterTest, BoundedQueueReportsNotReadyInsteadOfBlocking) {
  FfmpegAssetWriterFactory bounded(FfmpegAssetWriterOptions{2, 4});
  auto [writer, video] = startWithOneInput(bounded, folder / "busy.mov", FileType::quickTimeMovie,
                                           MediaStreamType::video(),
                                           videoSettings(AVVideoCodecTypeH264, 1280, 720, 30, "medium"));
  const CMSampleBuffer frame = syntheticVideoFrame(PixelFormat::nv12, 1280, 720, 0);
  int accepted = 0;
  int refused = 0;
  for (int i = 0; i < 40; ++i) {
    const auto retimed = CMSampleBufferCreateCopyWithNewTiming(
        frame, {CMSampleTimingInfo{CMTime::make(1, 30), CMTime::make(i, 30), kCMTimeInvalid}});
    if (video->append(*retimed)) {
      ++accepted;
    } else {
      ++refused;
      EXPECT_FALSE(video->isReadyForMoreMediaData());
    }
  }
  EXPECT_GE(accepted, 2);
  // 40 appends of 720p at preset medium outrun any encoder: an append that waited for the encoder
  // would never be refused.
  EXPECT_GT(refused, 0);
  writer->cancelWriting();
}

TEST_F(FfmpegAssetWriterTest, DropsFramesThatDoNotAdvanceAndScalesOtherSizes) {
  const auto path = folder / "scaled.mov";
  const CMTime origin = CMTime::make(2, 1);
  auto [writer, video] = startWithOneInput(factory, path, FileType::quickTimeMovie, MediaStreamType::video(),
                                           videoSettings(AVVideoCodecTypeH264, 320, 240, 30), origin);
  // Before the session, frames 0 and 1, frame 1 again, frame 2: three reach the file.
  appendWaiting(*video, syntheticVideoFrame(PixelFormat::nv12, 640, 360, -1, 30, origin));
  for (const int index : {0, 1, 1, 2}) {
    appendWaiting(*video, syntheticVideoFrame(PixelFormat::nv12, 640, 360, index, 30, origin));
  }
  ProbedMovie movie;
  ASSERT_NO_FATAL_FAILURE(finishAndProbe(*writer, *video, path, movie));
  const ProbedTrack& t = movie.tracks[0];
  EXPECT_EQ(std::tie(t.packetCount, t.width, t.height), std::make_tuple(3, 320, 240));
  EXPECT_DOUBLE_EQ(t.startTime, 0.0);
  EXPECT_NEAR(t.duration, 0.1, 0.001);  // 3 / 30
}

TEST_F(FfmpegAssetWriterTest, RefusesMissingFolderAndReportsBadSettings) {
  const auto missing = folder / "no-such-folder" / "clip.mov";
  try {
    factory.makeWriter(missing, FileType::quickTimeMovie);
    FAIL() << "expected a throw";
  } catch (const std::system_error& error) {
    EXPECT_NE(std::string(error.what()).find(missing.string()), std::string::npos);
  }

  const auto path = folder / "bad.mov";
  auto writer = factory.makeWriter(path, FileType::quickTimeMovie);
  MediaSettings settings = videoSettings("mjpg", 320, 240, 30);
  writer->addInput(factory.makeInput(MediaStreamType::video(), settings));
  EXPECT_FALSE(writer->startWriting());
  EXPECT_EQ(writer->status(), AssetWriterStatus::failed);
  ASSERT_TRUE(writer->error().has_value());
  EXPECT_NE(writer->error()->find(path.string()), std::string::npos);
  EXPECT_NE(writer->error()->find("mjpg"), std::string::npos);
  writer->cancelWriting();
  EXPECT_EQ(writer->status(), AssetWriterStatus::failed);  // the failure and its text stay
  EXPECT_TRUE(writer->error().has_value());

  // finishWriting on a writer that never started fails, and still calls back.
  auto idle = factory.makeWriter(folder / "idle.mov", FileType::quickTimeMovie);
  std::promise<void> done;
  idle->finishWriting([&] { done.set_value(); });
  EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(5)), std::future_status::ready);
  EXPECT_EQ(idle->status(), AssetWriterStatus::failed);
}

}  // namespace
}  // namespace tav
