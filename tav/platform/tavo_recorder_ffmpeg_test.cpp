// The recorder against the real FFmpeg writer: small movies of one and two canvases, read back.
#include <signal.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/tavo_recorder.hpp"
#include "tav/recording/video_recorder_error.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;
using testing::syntheticAudio;
using testing::syntheticVideoFrame;

MediaSettings smallVideo(int width, int height) {
  MediaSettings settings = RecordingVideoSettings::videoSettings(width, height, 30, false);
  settings[TavVideoEncoderPresetKey] = "ultrafast";
  return settings;
}

class Provider final : public TavoRecorderSettingsProvider {
 public:
  std::vector<TavoRecorderRecordingOutput> outputs;
  std::optional<MediaSettings> videoSettings() const override { return std::nullopt; }
  std::optional<MediaSettings> audioSettings() const override { return testing::stereoAudio(); }
  std::vector<TavoRecorderRecordingOutput> recordingOutputs() const override { return outputs; }
};

/// Keeps the last notification of each recorder name.
class Notifications {
 public:
  explicit Notifications(NotificationCenter& center) {
    for (auto name : {TavoRecorder::recordingDidFinishNotification, TavoRecorder::recordingDidFailNotification}) {
      observations_.push_back(center.observe(std::string(name), [this](const Notification& n) {
        std::lock_guard lock(mutex_);
        last_[n.name] = n;
        changed_.notify_all();
      }));
    }
  }
  std::optional<Notification> last(std::string_view name) {
    std::lock_guard lock(mutex_);
    auto it = last_.find(std::string(name));
    return it == last_.end() ? std::nullopt : std::optional(it->second);
  }
  void clear() {
    std::lock_guard lock(mutex_);
    last_.clear();
  }
  /// The notification once it has come; absent if it has not within a minute (a hung recorder).
  std::optional<Notification> waitFor(std::string_view name) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, std::chrono::minutes(1), [&] { return last_.contains(std::string(name)); })) {
      return std::nullopt;
    }
    return last_.at(std::string(name));
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, Notification> last_;
  std::vector<NotificationObservation> observations_;
};

/// A recorder over FFmpeg writers with queues deep enough that an unpaced test loses no frame.
class TavoRecorderFfmpegTest : public ::testing::Test {
 protected:
  void useOutputs(int count) {
    provider_->outputs = {{CanvasRole::primary, std::nullopt, smallVideo(96, 64)}};
    if (count == 2) provider_->outputs.emplace_back(CanvasRole::secondary, " Vertical", smallVideo(64, 96));
    recorder_.setSettingsProvider(provider_);
  }
  void start() { recorder_.startRecording(TavoRecorder::Configuration{std::nullopt, Url::fileUrl(scratch_ / "take.mov")}); }
  /// Frames `first`..`last` (at 30 fps) of the canvases asked for, each with its 1600 samples of audio.
  void feed(std::int64_t first, std::int64_t last, bool secondary, bool isInPauseTransition = false) {
    for (std::int64_t i = first; i <= last; ++i) {
      recorder_.writeVideo(syntheticVideoFrame(PixelFormat::nv12, 96, 64, i), CanvasRole::primary, isInPauseTransition);
      if (secondary) {
        recorder_.writeVideo(syntheticVideoFrame(PixelFormat::nv12, 64, 96, i), CanvasRole::secondary, isInPauseTransition);
      }
      recorder_.writeAudio(syntheticAudio(2, 48000, 1600, i * 1600), isInPauseTransition);
    }
  }

  /// Waits (up to half a minute) until the write tasks have brought `condition` about.
  template <class Condition>
  static bool eventually(Condition condition) {
    for (int i = 0; i < 30000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
  }
  std::int64_t framesWritten() const {
    std::int64_t frames = 0;
    for (const auto& counts : recorder_.writerCounts()) frames += counts.videoFrameCount;
    return frames;
  }

  testing::ScratchDirectory scratch_{"tav-recorder"};
  FfmpegAssetWriterFactory factory_{FfmpegAssetWriterOptions{.videoQueueCapacity = 512, .audioQueueCapacity = 512}};
  NotificationCenter center_;
  TavoRecorder recorder_{factory_, defaultRecorderLocationHandler(), nullptr, std::make_shared<InMemoryUserDefaults>(),
                         MainContext::post, center_};
  std::shared_ptr<Provider> provider_ = std::make_shared<Provider>();
  Notifications notifications_{center_};
};

TEST_F(TavoRecorderFfmpegTest, RecordsOneOrTwoCanvasesAndTagsThemOnlyWhenThereAreTwo) {
  struct Case {
    int outputs;
    std::vector<fs::path> files;
  };
  for (const Case& c : {Case{1, {"take.mov"}}, Case{2, {"take/take.mov", "take/take Vertical.mov"}}}) {
    SCOPED_TRACE(c.outputs);
    fs::remove_all(scratch_ / "take");
    useOutputs(c.outputs);
    start();
    EXPECT_TRUE(recorder_.isRecording().value());
    feed(0, 29, c.outputs == 2);
    // The length is read as the stop begins, so let the queued frames reach the writers first.
    ASSERT_TRUE(eventually([&] { return framesWritten() == 30 * c.outputs; }));
    recorder_.stopRecording();

    const auto finished = notifications_.waitFor(TavoRecorder::recordingDidFinishNotification);
    ASSERT_TRUE(finished);
    std::vector<std::string> expected;
    for (const auto& file : c.files) expected.push_back((scratch_.path() / file).string());
    EXPECT_EQ(*finished->info<std::vector<std::string>>("paths"), expected);
    EXPECT_EQ(*finished->info<std::string>("path"), expected.front());
    EXPECT_EQ(*finished->info<int>("numberOfFiles"), c.outputs);
    EXPECT_EQ(*finished->info<int>("failedCount"), 0);
    EXPECT_EQ(*finished->info<std::string>("locationTitle"), "Photo Library");
    EXPECT_NEAR(*finished->info<double>("length"), 29.0 / 30, 1e-9);
    EXPECT_FALSE(recorder_.isRecording().value());
    EXPECT_EQ(recorder_.displayDuration().value(), std::nullopt);

    for (std::size_t i = 0; i < c.files.size(); ++i) {
      const ProbedMovie movie = probeMovie(scratch_.path() / c.files[i]);
      ASSERT_EQ(movie.tracks.size(), 2u);
      EXPECT_EQ(movie.tracks[0].mediaType, "audio");
      EXPECT_EQ(movie.tracks[1].packetCount, 30);
      EXPECT_EQ(movie.tracks[1].width, i == 0 ? 96 : 64);
      std::vector<std::pair<std::string, std::string>> tags;
      for (const auto& item : movie.metadata) {
        if (item.first == "common/type") tags.push_back(item);
      }
      if (c.outputs == 1) {
        EXPECT_TRUE(tags.empty());
      } else {
        ASSERT_EQ(tags.size(), 1u);
        EXPECT_EQ(TavoRecorder::CanvasMetadata::role(tags[0].second), i == 0 ? CanvasRole::primary : CanvasRole::secondary);
      }
    }
  }
}

TEST_F(TavoRecorderFfmpegTest, PausesAddUpAndTheResumeTransitionKeepsTheGapOpen) {
  useOutputs(1);
  start();
  feed(0, 29, false);           // 0 s to 1 s written
  recorder_.pauseRecording();
  recorder_.pauseRecording();   // a second request keeps the first pause
  feed(30, 89, false);          // 1 s to 3 s: paused from the first of these buffers on
  recorder_.resumeRecording();
  feed(90, 119, false);         // 3 s to 4 s, shifted back by 2 s
  recorder_.pauseRecording();
  feed(120, 179, false);        // 4 s to 6 s paused
  recorder_.resumeRecording();
  feed(180, 209, false, true);  // 6 s to 7 s: still the resume transition, dropped
  feed(210, 239, false);        // 7 s to 8 s: the pause closes at 7 s, 3 s long, so these move back 5 s
  // 239/30 s moved back by 2 s + 3 s.
  EXPECT_TRUE(eventually([&] { return recorder_.duration() == CMTime::make(89, 30); }));
  EXPECT_EQ(recorder_.displayDuration().value(), "00:02");
  recorder_.stopRecording();

  const ProbedMovie movie = probeMovie(scratch_ / "take.mov");
  EXPECT_EQ(movie.tracks[1].packetCount, 90);
  EXPECT_NEAR(movie.tracks[1].duration, 3.0, 0.05);
  EXPECT_NEAR(movie.duration, 3.0, 0.05);
}

TEST_F(TavoRecorderFfmpegTest, AnOutputWithoutFramesFailsAtStopWhileTheOtherIsSaved) {
  useOutputs(2);
  start();
  feed(0, 14, false);  // frames for the primary canvas only
  EXPECT_THROW(recorder_.stopRecording(), VideoRecorderError);

  const auto finished = notifications_.waitFor(TavoRecorder::recordingDidFinishNotification);
  ASSERT_TRUE(finished);
  EXPECT_EQ(*finished->info<int>("numberOfFiles"), 1);
  EXPECT_EQ(*finished->info<int>("failedCount"), 1);
  EXPECT_TRUE(fs::exists(scratch_ / "take/take.mov"));
  EXPECT_FALSE(fs::exists(scratch_ / "take/take Vertical.mov"));
}

TEST_F(TavoRecorderFfmpegTest, StoppingWithNothingWrittenThrowsAndPostsNothing) {
  useOutputs(1);
  start();
  EXPECT_THAT([&] { recorder_.stopRecording(); },
              ::testing::Throws<VideoRecorderError>(::testing::Property(
                  &VideoRecorderError::argument, "Cannot stop recording: writer is in idle state")));
  EXPECT_FALSE(notifications_.last(TavoRecorder::recordingDidFinishNotification));
  EXPECT_FALSE(fs::exists(scratch_ / "take.mov"));
  EXPECT_EQ(recorder_.duration(), kCMTimeZero);
  EXPECT_THAT([&] { recorder_.stopRecording(); },
              ::testing::Throws<VideoRecorderError>(::testing::Property(
                  &VideoRecorderError::errorCase, VideoRecorderError::Case::noRecordingInProgress)));
}

TEST_F(TavoRecorderFfmpegTest, ConcurrentProducersWriteEveryBufferInOrder) {
  useOutputs(2);
  start();
  constexpr std::int64_t frames = 45;
  std::vector<std::thread> producers;
  for (CanvasRole role : {CanvasRole::primary, CanvasRole::secondary}) {
    producers.emplace_back([this, role] {
      const int width = role == CanvasRole::primary ? 96 : 64;
      for (std::int64_t i = 0; i < frames; ++i) {
        recorder_.writeVideo(syntheticVideoFrame(PixelFormat::nv12, width, 160 - width, i), role, false);
      }
    });
  }
  producers.emplace_back([this] {
    for (std::int64_t i = 0; i < frames; ++i) recorder_.writeAudio(syntheticAudio(2, 48000, 1600, i * 1600), false);
  });
  producers.emplace_back([this] {
    for (int i = 0; i < 200; ++i) {
      (void)recorder_.duration();
      (void)recorder_.recordedFileSize();
      (void)recorder_.inProgressOutputURLs();
    }
  });
  for (auto& producer : producers) producer.join();
  recorder_.stopRecording();

  // Every frame reached its file; every audio buffer reached both writers, which keep those that come
  // after their file's first frame (the threads race, so how many that is varies).
  const std::vector<TavoWriter::Counts> counts = recorder_.writerCounts();
  ASSERT_EQ(counts.size(), 2u);
  for (const auto& count : counts) EXPECT_EQ(count.audioFrameCount + count.audioDropCount, frames);
  for (const char* file : {"take/take.mov", "take/take Vertical.mov"}) {
    const ProbedMovie movie = probeMovie(scratch_ / file);
    ASSERT_FALSE(movie.tracks.empty());
    EXPECT_EQ(movie.tracks.back().mediaType, "video");
    EXPECT_EQ(movie.tracks.back().packetCount, frames) << file;
  }
}

TEST_F(TavoRecorderFfmpegTest, AFullDiskOrRefusedSettingsEndTheRecordingWithAFailureAndNoFile) {
  for (const bool fullDisk : {true, false}) {
    SCOPED_TRACE(fullDisk ? "full disk" : "settings the encoder refuses");
    notifications_.clear();
    useOutputs(1);
    if (!fullDisk) provider_->outputs[0].videoSettings[AVVideoCodecKey] = "zzzz";
    start();
    rlimit previous{};
    ::getrlimit(RLIMIT_FSIZE, &previous);
    const auto previousHandler = ::signal(SIGXFSZ, SIG_IGN);
    rlimit limited = previous;
    if (fullDisk) limited.rlim_cur = 4096;
    ::setrlimit(RLIMIT_FSIZE, &limited);
    // Frames keep coming until a write sees the failed file, as a capture thread's would.
    for (std::int64_t i = 0; i < 100000 && !notifications_.last(TavoRecorder::recordingDidFailNotification); ++i) {
      recorder_.writeVideo(syntheticVideoFrame(PixelFormat::nv12, 96, 64, i), CanvasRole::primary, false);
    }
    const auto failed = notifications_.waitFor(TavoRecorder::recordingDidFailNotification);
    ::setrlimit(RLIMIT_FSIZE, &previous);
    ::signal(SIGXFSZ, previousHandler);

    ASSERT_TRUE(failed);
    EXPECT_NE(failed->info<std::exception_ptr>("error"), nullptr);
    EXPECT_FALSE(recorder_.isRecording().value());
    EXPECT_FALSE(fs::exists(scratch_ / "take.mov"));
    EXPECT_THROW(recorder_.stopRecording(), VideoRecorderError);
  }
}

}  // namespace
}  // namespace tav
