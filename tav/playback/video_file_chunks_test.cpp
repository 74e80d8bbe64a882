#include "tav/playback/video_file_chunks.hpp"

#include <gtest/gtest.h>

#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/test_movies.hpp"

namespace tav {
namespace {

CMTime seconds(double value) { return CMTime::withSeconds(value, 600); }

std::vector<CMTime> boundaries(std::initializer_list<double> values) {
  std::vector<CMTime> times;
  for (double value : values) times.push_back(seconds(value));
  return times;
}

TEST(VideoFileChunks, PlansChunksOnSyncSamplesOrTwoSecondSpans) {
  struct Case {
    const char* name;
    std::vector<CMTime> boundaries;
    double playhead, start;
  };
  const Case cases[] = {
      // Only the first frame is a sync sample: 2 s spans ending at the playhead until it is within 4 s
      // of the start, then one chunk from zero.
      {"one sync, far", boundaries({0}), 10, 8},
      {"one sync, 4 s", boundaries({0}), 4, 2},
      {"one sync, 3.5 s", boundaries({0}), 3.5, 0},
      {"one sync, 2 s", boundaries({0}), 2, 0},
      // A sync sample every 2 s: each chunk is one GOP. A boundary equal to the playhead is not below it.
      {"2 s GOP, end", boundaries({0, 2, 4, 6, 8}), 10, 8},
      {"2 s GOP, on a boundary", boundaries({0, 2, 4, 6, 8}), 8, 6},
      // A sync sample less than 4 s back is where the chunk starts, even 3 s back.
      {"3 s GOP", boundaries({0, 3, 6, 9}), 9, 6},
      {"1 s GOP", boundaries({0, 1, 2, 3}), 3.5, 3},
      // A sync sample 5 s back is too far: a 2 s span, then the rest of the GOP.
      {"5 s GOP, far", boundaries({0, 5}), 10, 8},
      {"5 s GOP, near", boundaries({0, 5}), 8, 5},
      {"no boundaries", {}, 1.5, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const VideoFileChunkPlan plan = planReverseChunk(seconds(c.playhead), c.boundaries, seconds(2));
    EXPECT_EQ(plan.timeRange.start, seconds(c.start));
    EXPECT_EQ(plan.timeRange.end(), seconds(c.playhead));
    EXPECT_EQ(plan.nextPlayhead, seconds(c.start));
  }
}

TEST(VideoFileChunks, ScanFindsEverySyncSampleOfRealFiles) {
  testing::ScratchDirectory scratch;
  struct Case {
    const char* name;
    testing::TestMovie movie;
    std::vector<CMTime> expected;
  };
  const Case cases[] = {
      {"GOP of 10 frames", {.seconds = 1, .gop = 10, .audio = false},
       {CMTime::make(0, 30), CMTime::make(10, 30), CMTime::make(20, 30)}},
      {"only the first frame", {.seconds = 1, .gop = 0, .audio = true}, {kCMTimeZero}},
      // Frames 0, 1, 3, 4, 6, ... of a 30 fps pattern; every fourth kept frame is a sync sample.
      {"variable frame rate", {.seconds = 1, .gop = 4, .audio = false, .variableFrameRate = true},
       {CMTime::make(0, 30), CMTime::make(6, 30), CMTime::make(12, 30), CMTime::make(18, 30), CMTime::make(24, 30)}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto file = testing::makeTestMovie(scratch / (std::string(c.name) + ".mp4"), c.movie);
    EXPECT_EQ(scanSyncSamples(*assetWithURL(Url::fileUrl(file))), c.expected);
  }
  // Not a movie: just zero.
  EXPECT_EQ(scanSyncSamples(*assetWithURL(Url::fileUrl(scratch.write("words.mp4", "words")))),
            std::vector<CMTime>{kCMTimeZero});
}

/// An asset whose one video track's stored samples are given by the test (times and sync flags), for
/// the scan's rules that no encoder produces on demand.
class ScriptedAsset final : public Asset {
 public:
  explicit ScriptedAsset(std::vector<CMSampleBuffer> samples) : samples_(std::move(samples)) {}
  const Url& url() const override { return url_; }
  CMTime duration() const override { return CMTime::make(10, 1); }
  std::vector<AssetTrack> tracksWithMediaType(const MediaStreamType& type) const override {
    return type.isVideo() ? std::vector{AssetTrack{}} : std::vector<AssetTrack>{};
  }
  std::unique_ptr<AssetReader> makeReader() const override { return std::make_unique<Reader>(samples_); }

 private:
  struct Output final : AssetReaderOutput {
    std::vector<CMSampleBuffer> samples;
    std::size_t next = 0;
    std::optional<CMSampleBuffer> copyNextSampleBuffer() override {
      return next == samples.size() ? std::nullopt : std::optional(samples[next++]);
    }
  };
  struct Reader final : AssetReader {
    explicit Reader(std::vector<CMSampleBuffer> samples) : output(std::make_shared<Output>()) {
      output->samples = std::move(samples);
    }
    std::shared_ptr<AssetReaderOutput> makeTrackOutput(const AssetTrack&, const std::optional<MediaSettings>& settings) override {
      return settings ? nullptr : output;
    }
    std::shared_ptr<AssetReaderOutput> makeVideoCompositionOutput(const std::vector<AssetTrack>&, const MediaSettings&,
                                                                 const VideoComposition&) override {
      return nullptr;
    }
    bool canAddOutput(const AssetReaderOutput&) const override { return true; }
    void addOutput(const std::shared_ptr<AssetReaderOutput>&) override {}
    CMTimeRange timeRange() const override { return {}; }
    void setTimeRange(const CMTimeRange&) override {}
    bool startReading() override { return true; }
    void cancelReading() override {}
    AssetReaderStatus status() const override { return AssetReaderStatus::reading; }
    std::string error() const override { return {}; }
    std::shared_ptr<Output> output;
  };
  const Url url_ = Url::fileUrl("/scripted.mov");
  std::vector<CMSampleBuffer> samples_;
};

CMSampleBuffer storedSample(CMTime presentation, CMTime decode, bool sync) {
  CMSampleBuffer sample = CMSampleBuffer::compressedSample({}, CMSampleTimingInfo{CMTime::make(1, 30), presentation, decode});
  sample.setAttachments(CMSampleAttachments{!sync, false});
  return sample;
}

TEST(VideoFileChunks, ScanSkipsSamplesWithoutTimesAndStartsAtZero) {
  // The first sync sample lies at 0.5 s; one sync sample has no decode time, one an infinite time.
  const ScriptedAsset asset({storedSample(seconds(0.4), seconds(0.4), false),
                             storedSample(seconds(0.5), seconds(0.5), true),
                             storedSample(seconds(1.0), kCMTimeInvalid, true),
                             storedSample(kCMTimePositiveInfinity, seconds(1.2), true),
                             storedSample(seconds(1.5), seconds(1.4), false),
                             storedSample(seconds(2.0), seconds(1.9), true)});
  EXPECT_EQ(scanSyncSamples(asset), (std::vector<CMTime>{kCMTimeZero, seconds(2.0)}));
  EXPECT_EQ(scanSyncSamples(ScriptedAsset({storedSample(seconds(0.1), seconds(0.1), false)})),
            std::vector<CMTime>{kCMTimeZero});
  // Damaged order: a sync sample before zero, one stored twice, and two stored out of order.
  EXPECT_EQ(scanSyncSamples(ScriptedAsset({storedSample(seconds(-0.5), seconds(-0.5), true),
                                           storedSample(seconds(3.0), seconds(0.1), true),
                                           storedSample(seconds(1.0), seconds(0.2), true),
                                           storedSample(seconds(3.0), seconds(0.3), true)})),
            (std::vector<CMTime>{kCMTimeZero, seconds(1.0), seconds(3.0)}));
}

TEST(VideoFileChunks, DecodedChunksAreInPresentationOrderWithinTheirRange) {
  testing::ScratchDirectory scratch;
  // B-frames reorder the stored samples; the chunk must still come out in presentation order.
  const auto file = testing::makeTestMovie(scratch / "b.mp4", {.seconds = 2, .gop = 15, .audio = false, .preset = "medium"});
  const auto asset = assetWithURL(Url::fileUrl(file));
  std::atomic<bool> abandoned{false};
  const auto chunk = decodeReverseChunk(*asset, CMTimeRangeFromTimeToTime(seconds(0.5), seconds(1.0)),
                                        ImageOrientation::up, abandoned);
  ASSERT_EQ(chunk.size(), 15u);
  for (std::size_t i = 0; i < chunk.size(); ++i) {
    EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(chunk[i]), CMTime::make(15 + static_cast<std::int64_t>(i), 30));
  }
  abandoned = true;
  EXPECT_TRUE(decodeReverseChunk(*asset, CMTimeRangeFromTimeToTime(kCMTimeZero, seconds(1)), ImageOrientation::up,
                                 abandoned)
                  .empty());
}

}  // namespace
}  // namespace tav
