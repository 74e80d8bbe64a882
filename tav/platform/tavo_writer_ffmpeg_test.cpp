// The writer against the real FFmpeg media writer: a small movie read back from disk.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/tavo_writer.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

CMSampleBuffer grey64(std::int64_t index) {
  const std::size_t size = VideoFrame::packedSize(PixelFormat::nv12, 64, 64);
  std::shared_ptr<std::uint8_t> data(new std::uint8_t[size], std::default_delete<std::uint8_t[]>());
  for (std::size_t i = 0; i < size; ++i) data.get()[i] = static_cast<std::uint8_t>((i + static_cast<std::size_t>(index) * 3) & 0xff);
  // Video starts half a second into the host's clock.
  return CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, 64, 64, data), CMTime::make(15 + index, 30),
                                    CMTime::make(1, 30));
}

/// 1024 samples of 48 kHz stereo starting at sample `first`.
CMSampleBuffer tone(std::int64_t first) {
  std::shared_ptr<float> samples(new float[2048], std::default_delete<float[]>());
  for (int i = 0; i < 2048; ++i) samples.get()[i] = 0.1f * static_cast<float>((i % 64) - 32) / 32.0f;
  return CMSampleBuffer::audio(AudioBufferData{2, 48000, 1024, samples}, CMTime::make(first, 48000));
}

const ProbedTrack* trackOf(const ProbedMovie& movie, std::string_view kind) {
  for (const auto& track : movie.tracks) {
    if (track.mediaType == kind) return &track;
  }
  return nullptr;
}

TEST(TavoWriter, WritesARealMovieThatStartsAtTheFirstVideoFrame) {
  testing::ScratchDirectory scratch("tav-tavo-writer");
  auto store = std::make_shared<InMemoryUserDefaults>();
  TavoWriter writer(true, defaultAssetWriterFactory(), store);

  MediaSettings video = RecordingVideoSettings::videoSettings(64, 64, 30, false);
  video[TavVideoEncoderPresetKey] = "ultrafast";
  const MediaSettings audio{{AVFormatIDKey, kAudioFormatMPEG4AAC}, {AVSampleRateKey, 48000}, {AVNumberOfChannelsKey, 2}};
  const Url url = Url::fileUrl(scratch / "clip.mov");
  writer.start(url, video, audio, true, FileType::quickTimeMovie, {});
  EXPECT_EQ(TavoWriter::currentOutputURL(store).get(), url);

  // Half a second of audio before the first frame: all of it is dropped.
  std::int64_t sample = 0;
  int earlyAudio = 0;
  for (; sample + 1024 <= 24000; sample += 1024, ++earlyAudio) writer.write(tone(sample), MediaStreamType::audio());
  EXPECT_EQ(writer.counts().audioDropCount, earlyAudio);
  EXPECT_FALSE(std::filesystem::exists(scratch / "clip.mov"));

  // One second of video (30 frames) with the audio that goes with it, paced so the encoder keeps up.
  for (std::int64_t frame = 0; frame < 30; ++frame) {
    writer.write(grey64(frame), MediaStreamType::video());
    const std::int64_t frameEnd = (15 + frame + 1) * 48000 / 30;
    for (; sample + 1024 <= frameEnd; sample += 1024) writer.write(tone(sample), MediaStreamType::audio());
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  writer.finish();
  EXPECT_EQ(TavoWriter::currentOutputURL(store).get(), std::nullopt);

  const TavoWriter::Counts counts = writer.counts();
  // A slow machine (or a sanitizer) makes the encoder fall behind now and then: those frames are
  // dropped, as they should be, and leave gaps in the timeline.
  EXPECT_GE(counts.videoFrameCount, 10);
  EXPECT_EQ(counts.videoFrameCount + counts.videoDropCount, 30);
  ProbedMovie movie = probeMovie(scratch / "clip.mov");
  const ProbedTrack* videoTrack = trackOf(movie, "video");
  const ProbedTrack* audioTrack = trackOf(movie, "audio");
  ASSERT_NE(videoTrack, nullptr);
  ASSERT_NE(audioTrack, nullptr);
  EXPECT_EQ(videoTrack->width, 64);
  EXPECT_EQ(videoTrack->packetCount, counts.videoFrameCount);
  // The track spans its written frames: at least (written - 1) / 30 seconds, at most the second fed.
  EXPECT_GE(videoTrack->duration, static_cast<double>(counts.videoFrameCount - 1) / 30.0 - 0.01);
  EXPECT_LE(videoTrack->duration, 1.0 + 0.01);
  EXPECT_NEAR(videoTrack->startTime, 0.0, 0.01);
  // No audio from before the first frame: the audio track starts with the video, not half a second early.
  EXPECT_GE(audioTrack->startTime, -0.03);
  EXPECT_LE(audioTrack->duration, 1.1);
}

}  // namespace
}  // namespace tav
