#include "tav/platform/ffmpeg_asset_reader.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/test_movies.hpp"

namespace tav {
namespace {

using testing::makeTestMovie;
using testing::ScratchDirectory;
using testing::TestMovie;

TEST(FfmpegAssetReader, ReadsTracksAndTheTransformOfEachDisplayRotation) {
  ScratchDirectory scratch;
  struct Case {
    int rotation;
    AffineTransform transform;  // the track header's matrix of a clockwise turn, for 160 x 96
  };
  const Case cases[] = {{0, {1, 0, 0, 1, 0, 0}},
                        {90, {0, 1, -1, 0, 96, 0}},
                        {180, {-1, 0, 0, -1, 160, 96}},
                        {270, {0, -1, 1, 0, 0, 160}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rotation);
    const auto file = makeTestMovie(scratch / ("r" + std::to_string(c.rotation) + ".mp4"),
                                    TestMovie{.seconds = 1, .audio = c.rotation == 0, .rotation = c.rotation});
    const auto asset = makeFfmpegAsset(file);
    const auto video = asset->tracksWithMediaType(MediaStreamType::video());
    ASSERT_EQ(video.size(), 1u);
    EXPECT_EQ(video[0].preferredTransform, c.transform);
    EXPECT_EQ(video[0].naturalSize, (Size{160, 96}));
    EXPECT_FLOAT_EQ(video[0].nominalFrameRate, 30.0f);
    EXPECT_EQ(video[0].minFrameDuration, CMTime::make(1, 30));
    EXPECT_EQ(asset->tracksWithMediaType(MediaStreamType::audio()).size(), c.rotation == 0 ? 1u : 0u);
    EXPECT_NEAR(asset->duration().seconds(), 1.0, 0.05);
  }
}

TEST(FfmpegAssetReader, AudioComesAs48kStereoFloatInOneUnbrokenRunFromTheRangeStart) {
  ScratchDirectory scratch;
  const auto asset = makeFfmpegAsset(makeTestMovie(scratch / "a.mov", TestMovie{.seconds = 2}));
  auto reader = asset->makeReader();
  const MediaSettings settings{
      {AVFormatIDKey, kAudioFormatLinearPCM}, {AVSampleRateKey, 48000.0}, {AVNumberOfChannelsKey, 2}};
  auto output = reader->makeTrackOutput(asset->tracksWithMediaType(MediaStreamType::audio()).at(0), settings);
  ASSERT_TRUE(output && reader->canAddOutput(*output));
  reader->addOutput(output);
  reader->setTimeRange(CMTimeRangeMake(CMTime::make(1, 1), kCMTimePositiveInfinity));
  ASSERT_TRUE(reader->startReading());
  EXPECT_EQ(reader->status(), AssetReaderStatus::reading);
  std::optional<CMTime> expectedStart;
  std::int64_t samples = 0;
  while (auto buffer = output->copyNextSampleBuffer()) {
    const AudioBufferData* audio = buffer->audioData();
    ASSERT_NE(audio, nullptr);
    EXPECT_EQ(audio->sampleRate, 48000);
    EXPECT_EQ(audio->channelCount, 2);
    const CMTime start = CMSampleBufferGetPresentationTimeStamp(*buffer);
    if (expectedStart) EXPECT_EQ(start, *expectedStart);
    else EXPECT_LE(start, CMTime::make(1, 1));  // the first buffer reaches the range start
    expectedStart = start + CMSampleBufferGetDuration(*buffer);
    samples += audio->frameCount;
  }
  EXPECT_NEAR(static_cast<double>(samples) / 48000.0, 1.0, 0.05);
  EXPECT_EQ(reader->status(), AssetReaderStatus::completed);
}

TEST(FfmpegAssetReader, FilesThatCannotBeReadHaveNoTracksAndRefuseReaders) {
  ScratchDirectory scratch;
  for (const auto& file : {scratch / "missing.mp4", scratch.write("words.mov", "not a movie at all")}) {
    SCOPED_TRACE(file.string());
    const auto asset = makeFfmpegAsset(file);
    EXPECT_TRUE(asset->tracksWithMediaType(MediaStreamType::video()).empty());
    EXPECT_EQ(asset->duration(), kCMTimeZero);
    EXPECT_THAT([&] { (void)asset->makeReader(); },
                ::testing::ThrowsMessage<std::runtime_error>(::testing::HasSubstr(file.string())));
  }
}

TEST(FfmpegAssetReader, AFileReplacedAfterOpeningFailsToReadInsteadOfReadingTheWrongStream) {
  ScratchDirectory scratch;
  const auto file = makeTestMovie(scratch / "movie.mp4", TestMovie{.seconds = 0.5});
  const auto asset = makeFfmpegAsset(file);
  const auto audio = asset->tracksWithMediaType(MediaStreamType::audio());
  ASSERT_EQ(audio.size(), 1U);
  // The same name now holds a movie without sound.
  makeTestMovie(file, TestMovie{.seconds = 0.5, .audio = false});
  auto reader = asset->makeReader();
  auto output = reader->makeTrackOutput(audio.front(), std::nullopt);
  ASSERT_TRUE(output && reader->canAddOutput(*output));
  reader->addOutput(output);
  EXPECT_FALSE(reader->startReading());
  EXPECT_EQ(reader->status(), AssetReaderStatus::failed);
}

}  // namespace
}  // namespace tav
