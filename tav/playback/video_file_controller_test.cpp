#include "tav/playback/video_file_controller.hpp"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/test_movies.hpp"

namespace tav {
namespace {

using testing::makeTestMovie;
using testing::ScratchDirectory;
using testing::TestMovie;

/// Records what the controller delivers; runs an optional action inside each video call.
class RecordingDelegate final : public VideoFileControllerDelegate {
 public:
  void videoFileControllerDidOutputVideo(const CMSampleBuffer& buffer) override {
    std::function<void()> action;
    {
      std::lock_guard lock(mutex);
      frames.push_back(buffer);
      audioSecondsAtFrame.push_back(audioSeconds);
      action = onVideo;
    }
    if (action) action();
  }
  void videoFileControllerDidOutputAudio(const AudioPCMBuffer& buffer) override {
    std::lock_guard lock(mutex);
    EXPECT_EQ(buffer.format(), AudioFormat(48000, 2, false));
    audioSeconds += buffer.frameLength() / 48000.0;
    lastAudioBufferSeconds = buffer.frameLength() / 48000.0;
    ++audioCalls;
  }
  void videoFileControllerWillStop() override {
    std::lock_guard lock(mutex);
    ++willStopCalls;
    framesAtStop.push_back(frames.size());
  }

  std::vector<double> times() {
    std::lock_guard lock(mutex);
    std::vector<double> seconds;
    for (const auto& frame : frames) seconds.push_back(CMSampleBufferGetPresentationTimeStamp(frame).seconds());
    return seconds;
  }

  std::mutex mutex;
  std::vector<CMSampleBuffer> frames;
  std::vector<double> audioSecondsAtFrame;
  std::vector<std::size_t> framesAtStop;
  double audioSeconds = 0;
  double lastAudioBufferSeconds = 0;
  int audioCalls = 0;
  int willStopCalls = 0;
  std::function<void()> onVideo;
};

/// A controller on queues and a manual timer of the test's own, so that each tick is the test's call
/// and each prefetch can be waited for.
struct Harness {
  explicit Harness(const std::filesystem::path& file, Looping looping,
                   std::function<std::shared_ptr<Asset>(const Url&)> makeAsset = nullptr) {
    VideoFileController::Environment environment;
    environment.readingQueue = reading;
    environment.prefetchQueue = prefetch;
    environment.timer = timer;
    environment.makeAsset = std::move(makeAsset);
    controller = VideoFileController::create(Url::fileUrl(file), looping, environment);
    controller->setDelegate(delegate);
  }
  /// Lets queued operations and chunk decodes finish.
  void settle() {
    reading->drain();
    prefetch->drain();
    reading->drain();
  }
  /// Lets what was queued before run, then fires `count` ticks, settling after each; returns how
  /// many ran.
  int tick(int count = 1) {
    settle();
    int ran = 0;
    for (int i = 0; i < count; ++i) {
      ran += timer->fire() ? 1 : 0;
      settle();
    }
    return ran;
  }

  std::shared_ptr<SerialQueue> reading = std::make_shared<SerialQueue>("com.morvane.VideoFileController.reading");
  std::shared_ptr<SerialQueue> prefetch = std::make_shared<SerialQueue>("com.morvane.VideoFileController.prefetch");
  std::shared_ptr<ManualVideoFileTimer> timer = std::make_shared<ManualVideoFileTimer>();
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
  std::shared_ptr<VideoFileController> controller;
};

/// A controller over `file`, started.
Harness started(const std::filesystem::path& file, Looping looping) {
  Harness harness(file, looping);
  harness.controller->start();
  return harness;
}

/// A controller over a movie made in `scratch`, started.
Harness started(const ScratchDirectory& scratch, const std::string& name, const TestMovie& movie, Looping looping) {
  return started(makeTestMovie(scratch / name, movie), looping);
}

/// Each test makes its movies in a scratch folder of its own.
class VideoFileControllerTest : public ::testing::Test {
 protected:
  ScratchDirectory scratch;
};

/// Frame n of a 30 fps file, in seconds.
double frame(int n) { return n / 30.0; }

TEST_F(VideoFileControllerTest, BounceRunsBackToTheStartFrameByFrameAndTurnsForward) {
  // 2 s at 30 fps with a sync sample every 0.5 s; so short that the warm-up starts at the first tick.
  Harness harness = started(scratch, "bounce.mp4", TestMovie{.gop = 15, .audio = false}, Looping::bounce);
  harness.settle();
  EXPECT_EQ(harness.timer->interval(), std::chrono::nanoseconds(33'333'333));
  // 60 forward, one end-of-file tick, 60 backwards, one turn, then forward again.
  harness.tick(60 + 1 + 60 + 1 + 3);

  std::vector<double> expected;
  for (int n = 0; n < 60; ++n) expected.push_back(frame(n));
  for (int n = 59; n >= 0; --n) expected.push_back(frame(n));
  for (int n = 0; n < 3; ++n) expected.push_back(frame(n));
  const std::vector<double> times = harness.delegate->times();
  ASSERT_EQ(times.size(), expected.size());
  for (std::size_t i = 0; i < times.size(); ++i) EXPECT_NEAR(times[i], expected[i], 1e-6) << "frame " << i;
  // One stop, the turn at the start, and no stall.
  EXPECT_EQ(std::tuple(harness.delegate->willStopCalls, harness.controller->statistics().stalls), std::tuple(1, 0u));
  EXPECT_TRUE(harness.delegate->frames.back().attachments().displayImmediately);
}

TEST_F(VideoFileControllerTest, LongGopWithOnlyTheFirstSyncSampleStillReversesEveryFrame) {
  Harness harness =
      started(scratch, "one-sync.mp4", TestMovie{.seconds = 5, .gop = 0, .audio = false}, Looping::bounce);
  harness.tick(150 + 1 + 150);
  const std::vector<double> times = harness.delegate->times();
  ASSERT_EQ(times.size(), 300u);
  for (int n = 0; n < 150; ++n) EXPECT_NEAR(times[static_cast<std::size_t>(150 + n)], frame(149 - n), 1e-6);
  EXPECT_EQ(harness.controller->statistics().stalls, 0u);
}

TEST_F(VideoFileControllerTest, AudioRunsAFifthOfASecondAheadAndStopsWhileReversing) {
  Harness harness = started(scratch, "audio.mp4", TestMovie{.seconds = 2, .gop = 30, .audio = true}, Looping::bounce);
  harness.tick(30);
  RecordingDelegate& seen = *harness.delegate;
  ASSERT_EQ(seen.frames.size(), 30u);
  // After each frame the audio delivered reaches 0.2 s past it and stops within one buffer (1024
  // samples at 44.1 kHz, 23 ms) of that.
  for (std::size_t i = 0; i < 30; ++i) {
    const double target = CMSampleBufferGetPresentationTimeStamp(seen.frames[i]).seconds() + 0.2;
    const double delivered = i + 1 < seen.audioSecondsAtFrame.size() ? seen.audioSecondsAtFrame[i + 1] : seen.audioSeconds;
    EXPECT_GE(delivered, target - 0.001) << "frame " << i;
    EXPECT_LT(delivered, target + 0.024) << "frame " << i;
  }
  harness.tick(30 + 1);  // to the end and the turn
  const int callsAtTurn = seen.audioCalls;
  harness.tick(30);  // backwards
  EXPECT_GT(seen.frames.size(), 60u);
  EXPECT_EQ(seen.audioCalls, callsAtTurn);
}

TEST_F(VideoFileControllerTest, RotatedFilesArriveUprightForwardsAndBackwards) {
  struct Case {
    int rotation;
    int markerX, markerY;  // inside the red box once turned; the picture is blue elsewhere
    int width, height;
  };
  // The box covers the stored picture's top-left 40 x 24 of 160 x 96.
  const Case cases[] = {{90, 90, 5, 96, 160}, {180, 150, 90, 160, 96}, {270, 5, 150, 96, 160}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rotation);
    Harness harness = started(scratch, "rotated-" + std::to_string(c.rotation) + ".mp4",
                              TestMovie{.seconds = 1, .gop = 10, .audio = false, .rotation = c.rotation, .marker = true},
                              Looping::bounce);
    harness.tick(30 + 1 + 2);
    ASSERT_EQ(harness.delegate->frames.size(), 32u);
    for (std::size_t index : {std::size_t{0}, std::size_t{31}}) {  // forward, then reverse
      const VideoFrame* picture = harness.delegate->frames[index].videoFrame();
      ASSERT_NE(picture, nullptr);
      EXPECT_EQ(std::pair(picture->width, picture->height), std::pair(c.width, c.height));
      const auto pixel = [&](int x, int y) { return picture->planes[0] + y * picture->strides[0] + x * 4; };
      EXPECT_GT(pixel(c.markerX, c.markerY)[2], 200) << "red at the marker, frame " << index;
      EXPECT_LT(pixel(c.markerX, c.markerY)[0], 60);
      EXPECT_GT(pixel(c.width - 1 - c.markerX, c.height - 1 - c.markerY)[0], 200) << "blue opposite, frame " << index;
    }
  }
}

/// Counts the passthrough readers made on a real asset: each is one sync-sample scan.
class CountingAsset final : public Asset {
 public:
  explicit CountingAsset(std::shared_ptr<Asset> real) : real_(std::move(real)) {}
  const Url& url() const override { return real_->url(); }
  CMTime duration() const override { return real_->duration(); }
  std::vector<AssetTrack> tracksWithMediaType(const MediaStreamType& type) const override {
    return real_->tracksWithMediaType(type);
  }
  std::unique_ptr<AssetReader> makeReader() const override {
    return std::make_unique<Reader>(real_->makeReader(), scans);
  }
  std::shared_ptr<std::atomic<int>> scans = std::make_shared<std::atomic<int>>(0);

 private:
  class Reader final : public AssetReader {
   public:
    Reader(std::unique_ptr<AssetReader> real, std::shared_ptr<std::atomic<int>> scans)
        : real_(std::move(real)), scans_(std::move(scans)) {}
    std::shared_ptr<AssetReaderOutput> makeTrackOutput(const AssetTrack& track,
                                                      const std::optional<MediaSettings>& settings) override {
      if (!settings) ++*scans_;
      return real_->makeTrackOutput(track, settings);
    }
    std::shared_ptr<AssetReaderOutput> makeVideoCompositionOutput(const std::vector<AssetTrack>& tracks,
                                                                 const MediaSettings& settings,
                                                                 const VideoComposition& composition) override {
      return real_->makeVideoCompositionOutput(tracks, settings, composition);
    }
    bool canAddOutput(const AssetReaderOutput& output) const override { return real_->canAddOutput(output); }
    void addOutput(const std::shared_ptr<AssetReaderOutput>& output) override { real_->addOutput(output); }
    CMTimeRange timeRange() const override { return real_->timeRange(); }
    void setTimeRange(const CMTimeRange& range) override { real_->setTimeRange(range); }
    bool startReading() override { return real_->startReading(); }
    void cancelReading() override { real_->cancelReading(); }
    AssetReaderStatus status() const override { return real_->status(); }
    std::string error() const override { return real_->error(); }

   private:
    std::unique_ptr<AssetReader> real_;
    std::shared_ptr<std::atomic<int>> scans_;
  };
  std::shared_ptr<Asset> real_;
};

TEST_F(VideoFileControllerTest, ScansSyncSamplesOnceAcrossStopsLoopsSeeksAndRestarts) {
  const auto file = makeTestMovie(scratch / "loop.mp4", TestMovie{.seconds = 0.5, .gop = 5, .audio = false});
  std::shared_ptr<CountingAsset> asset;
  Harness harness(file, Looping::loop, [&](const Url& url) {
    asset = std::make_shared<CountingAsset>(assetWithURL(url));
    return asset;
  });
  harness.controller->start();
  harness.tick(15 + 1 + 5);  // once round and into the second loop
  harness.controller->seek(-0.1);
  harness.controller->stop();
  harness.controller->start();
  harness.controller->restart();
  harness.tick(3);
  EXPECT_EQ(std::tuple(asset->scans->load(), harness.delegate->times().size()), std::tuple(1, 15u + 5u + 3u));
  EXPECT_GE(harness.delegate->willStopCalls, 3);  // the loop, the stop, the restart
}

TEST_F(VideoFileControllerTest, StoppingOrLettingGoInsideADelegateCallDoesNotDeadlock) {
  const auto file = makeTestMovie(scratch / "short.mp4", TestMovie{.seconds = 0.5, .audio = true});
  {
    Harness harness(file, Looping::loop);
    std::weak_ptr<VideoFileController> weak = harness.controller;
    harness.delegate->onVideo = [weak] {
      if (auto controller = weak.lock()) controller->stop();
    };
    harness.controller->start();
    harness.tick(3);
    EXPECT_FALSE(harness.controller->isRunning());
    EXPECT_EQ(std::pair(harness.delegate->frames.size(), harness.delegate->willStopCalls), std::pair(std::size_t{1}, 1));
  }
  {
    Harness harness(file, Looping::loop);
    auto held = std::make_shared<std::shared_ptr<VideoFileController>>(harness.controller);
    harness.controller.reset();
    harness.delegate->onVideo = [held] { held->reset(); };  // the last holder lets go mid-callback
    (*held)->start();
    harness.tick(3);
    EXPECT_EQ(held->use_count(), 0);
    // One frame, and the destructor's stop.
    EXPECT_EQ(std::pair(harness.delegate->frames.size(), harness.delegate->willStopCalls), std::pair(std::size_t{1}, 1));
  }
}

TEST_F(VideoFileControllerTest, SeekIsHeldInsideTheFileAndKeepsAPausedControllerPaused) {
  Harness harness = started(scratch, "seek.mp4", TestMovie{.seconds = 2, .gop = 10, .audio = false}, Looping::playOnce);
  harness.tick(3);
  harness.controller->seek(100);
  harness.settle();
  // 0.01 s before the end: 2 s is 1200/600, so 1194/600.
  EXPECT_EQ(harness.controller->currentTime(), CMTime::make(1194, 600));
  harness.tick(1);
  EXPECT_NEAR(harness.delegate->times().back(), frame(59), 1e-6);

  harness.controller->seek(-100);
  harness.controller->pause();
  harness.controller->seek(0.5);
  harness.settle();
  EXPECT_EQ(harness.controller->currentTime(), CMTime::make(300, 600));
  EXPECT_TRUE(harness.controller->isPaused());
  const std::size_t before = harness.delegate->frames.size();
  EXPECT_EQ(harness.tick(2), 0);  // no timer while paused
  EXPECT_EQ(harness.delegate->frames.size(), before);
  harness.controller->resume();
  harness.tick(1);
  EXPECT_NEAR(harness.delegate->times().back(), 0.5, 1e-6);
}

TEST_F(VideoFileControllerTest, PlayOnceHoldsTheEndUntilRestartAndManualPauseSurvivesStart) {
  Harness harness = started(scratch, "once.mp4", TestMovie{.seconds = 0.5, .audio = false}, Looping::playOnce);
  harness.tick(15 + 5);
  EXPECT_EQ(std::tuple(harness.delegate->frames.size(), harness.controller->isRunning()), std::tuple(15u, true));
  harness.controller->start();  // still running: nothing
  harness.tick(2);
  EXPECT_EQ(harness.delegate->frames.size(), 15u);
  harness.controller->restart();
  harness.tick(1);
  EXPECT_NEAR(harness.delegate->times().back(), 0.0, 1e-9);

  harness.controller->pause();
  harness.controller->setIsManuallyPaused(true);
  harness.controller->start();
  harness.settle();
  EXPECT_TRUE(harness.controller->isPaused());
  harness.controller->setIsManuallyPaused(false);
  harness.controller->start();
  harness.settle();
  EXPECT_FALSE(harness.controller->isPaused());
}

TEST_F(VideoFileControllerTest, ChangingTheModeWhileReversingGoesOnForwardFromThePresentTime) {
  Harness harness = started(scratch, "mode.mp4", TestMovie{.seconds = 1, .gop = 10, .audio = false}, Looping::bounce);
  harness.tick(30 + 1 + 10);  // ten frames into the reverse run
  const double reversedTo = harness.delegate->times().back();
  EXPECT_NEAR(reversedTo, frame(20), 1e-6);
  harness.controller->setVideoLooping(Looping::playOnce);
  harness.tick(2);
  const std::vector<double> times = harness.delegate->times();
  EXPECT_NEAR(times[times.size() - 2], reversedTo, 1e-6);  // the reader starts again at the present time
  EXPECT_NEAR(times.back(), frame(21), 1e-6);
}

TEST_F(VideoFileControllerTest, FilesThatCannotPlayLogTheReasonAndStayUsable) {
  const auto audioOnly = scratch / "audio-only.m4a";
  ASSERT_EQ(std::system(("ffmpeg -nostdin -v error -y -f lavfi -i sine=d=0.5 -c:a aac \"" + audioOnly.string() + "\"").c_str()), 0);
  struct Case {
    std::filesystem::path file;
    std::string expected;
  };
  const auto missing = scratch / "missing.mp4";
  const auto words = scratch.write("not-a-movie.mp4", "plain words, no movie");
  const Case cases[] = {
      {missing, "Failed to create asset reader: " + missing.string() + ": No such file or directory"},
      {words, "Failed to create asset reader: " + words.string() + ": "},
      {audioOnly, "No video track found"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file.string());
    Harness harness(c.file, Looping::loop);
    std::vector<std::string> errors;  // written on the reading queue, read after it has settled
    Logger::setSink([&](const LogMessage& line) {
      if (line.label == "VideoFileController" && line.level == LogLevel::error) errors.emplace_back(line.text);
    });
    harness.controller->start();
    harness.settle();
    Logger::setSink({});
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors[0].rfind(c.expected, 0), 0u) << errors[0];
    EXPECT_EQ(errors[1], "Failed to setup asset reader");
    EXPECT_EQ(std::pair(harness.controller->isRunning(), harness.controller->isReading()), std::pair(false, false));
    harness.controller->stop();
    harness.settle();
  }
}

TEST_F(VideoFileControllerTest, DamagedFilesPlayWhatTheyHold) {
  // Timestamps that jump 5 s after the first second, and a file cut in half (header first, so what
  // remains is still a movie).
  const auto jumping = makeTestMovie(scratch / "jump.mp4", TestMovie{.seconds = 2, .audio = false, .timestampJump = 5});
  const auto whole = makeTestMovie(scratch / "whole.mov", TestMovie{.seconds = 2, .gop = 10});
  const auto cut = scratch / "cut.mov";
  ASSERT_EQ(std::system(("ffmpeg -nostdin -v error -y -i \"" + whole.string() + "\" -c copy -movflags +faststart \"" +
                         cut.string() + "\"").c_str()), 0);
  std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
  for (const auto& file : {jumping, cut}) {
    SCOPED_TRACE(file.string());
    Harness harness = started(file, Looping::bounce);
    harness.tick(200);
    EXPECT_GT(harness.delegate->frames.size(), 20u);
    harness.controller->stop();
    harness.settle();
    EXPECT_FALSE(harness.controller->isRunning());
  }
}

}  // namespace
}  // namespace tav
