#include "tav/recording/isolated_recording_coordinator.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "tav/recording/canvas_metadata.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;

/// Host seconds a test sets by hand.
struct ManualClock {
  std::atomic<double> seconds{100};
  IsolatedRecordingCoordinator::Clock function() {
    return [this] { return seconds.load(); };
  }
};

/// A writer that records what reaches it, and can fail on request as a real one does: through the
/// coordinator's callback.
class RecordingWriter final : public IsolatedSourceWriting {
 public:
  RecordingWriter(std::string key, std::string base, fs::path file, bool video, CMTime offset,
                  std::vector<MetadataItem> metadata, IsolatedRecordingCoordinator::FailureCallback onFailure)
      : key_(std::move(key)),
        base_(std::move(base)),
        file_(std::move(file)),
        video_(video),
        offset_(offset),
        metadata_(std::move(metadata)),
        onFailure_(std::move(onFailure)) {}
  const std::string& fileBaseName() const override { return base_; }
  bool includesVideo() const override { return video_; }
  void appendVideo(const CMSampleBuffer& buffer) override { add(videoTimes_, buffer); }
  void appendAudio(const CMSampleBuffer& buffer) override { add(audioTimes_, buffer); }
  void finalise() override { finalised_ = true; }
  void abort() override { aborted_ = true; }
  std::int64_t recordedByteCount() override { return 10; }

  std::vector<CMTime> videoTimes() const { return copied(videoTimes_); }
  std::vector<CMTime> audioTimes() const { return copied(audioTimes_); }
  void failNow() { onFailure_(key_); }

  const std::string key_;
  const std::string base_;
  const fs::path file_;
  const bool video_;
  const CMTime offset_;
  const std::vector<MetadataItem> metadata_;
  std::atomic<bool> finalised_{false};
  std::atomic<bool> aborted_{false};

 private:
  std::vector<CMTime> copied(const std::vector<CMTime>& times) const {
    std::lock_guard lock(mutex_);
    return times;
  }
  void add(std::vector<CMTime>& times, const CMSampleBuffer& buffer) {
    std::lock_guard lock(mutex_);
    times.push_back(CMSampleBufferGetPresentationTimeStamp(buffer));
  }
  IsolatedRecordingCoordinator::FailureCallback onFailure_;
  mutable std::mutex mutex_;
  std::vector<CMTime> videoTimes_;
  std::vector<CMTime> audioTimes_;
};

/// A writer factory that keeps each writer it makes in `made`, under `mutex`.
auto recordingWriters(std::mutex& mutex, std::vector<std::shared_ptr<RecordingWriter>>& made) {
  return [&mutex, &made](const std::string& key, const std::string& base, const Url& url, bool video,
                         const std::optional<MediaSettings>&, const std::optional<MediaSettings>&, CMTime offset,
                         const std::vector<MetadataItem>& metadata,
                         IsolatedRecordingCoordinator::FailureCallback onFailure) {
    auto writer =
        std::make_shared<RecordingWriter>(key, base, url.filePath(), video, offset, metadata, std::move(onFailure));
    std::lock_guard lock(mutex);
    made.push_back(writer);
    return writer;
  };
}

CMSampleBuffer frameAt(CMTime pts, int width = 4, CMTime duration = CMTime::make(1, 30)) {
  static const auto pixels =
      std::shared_ptr<const std::uint8_t>(new std::uint8_t[64]{}, std::default_delete<std::uint8_t[]>());
  return CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, width, 4, pixels), pts, duration);
}

CMSampleBuffer audioAt(CMTime pts) {
  static const auto samples = std::shared_ptr<const float>(new float[960]{}, std::default_delete<float[]>());
  return CMSampleBuffer::audio(AudioBufferData{2, 48000, 480, samples}, pts);
}

CMTime seconds(double value) { return CMTime::withSeconds(value, 1'000'000'000); }

class IsolatedRecordingCoordinatorTest : public ::testing::Test {
 protected:
  // Before the coordinator, which reads the clock and makes writers into `made_`.
  ManualClock clock_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<RecordingWriter>> made_;
  IsolatedRecordingCoordinator coordinator_{recordingWriters(mutex_, made_), clock_.function()};

  void SetUp() override { coordinator_.begin(Url::fileUrl("/session"), 4); }

  void video(const std::string& id, CMTime pts, bool generated = false, bool transition = false) {
    coordinator_.consumeVideo(
        frameAt(pts), id, [&] { return id; }, [] { return std::optional(IsolatedSourceType::camera); },
        [] { return std::nullopt; }, [] { return kCMTimeZero; }, transition, generated);
  }
  void audio(const std::string& id, CMTime pts, IsolatedAudioStem stem = IsolatedAudioStem::ownFile,
             bool isVideoSource = false) {
    coordinator_.consumeAudio(
        audioAt(pts), id, [&] { return id; }, [] { return std::optional(IsolatedSourceType::microphone); },
        [&] { return isVideoSource; }, stem, [] { return kCMTimeZero; }, false);
  }
  std::shared_ptr<RecordingWriter> writerFor(const std::string& key) {
    std::lock_guard lock(mutex_);
    for (auto it = made_.rbegin(); it != made_.rend(); ++it) {
      if ((*it)->key_ == key) return *it;
    }
    return nullptr;
  }
};

TEST_F(IsolatedRecordingCoordinatorTest, AlignsEachSourceClockOntoTheHostClock) {
  struct Case {
    const char* what;
    double firstPts;       // the source's first timestamp, host at 100 s
    double expectedFirst;  // where it lands
  };
  const Case cases[] = {
      {"on the host clock within a second keeps its timestamps", 100.4, 100.4},
      {"half a second behind is still the host clock", 99.5, 99.5},
      {"100 s off the host clock is moved by host - pts", 0.0, 100.0},
      {"an unrelated large clock lands on the host clock", 5000.0, 100.0},
  };
  for (const Case& c : cases) {
    const std::string id = c.what;
    clock_.seconds = 100;
    video(id, seconds(c.firstPts));
    clock_.seconds = 100 + 1.0 / 30;
    video(id, seconds(c.firstPts) + CMTime::make(1, 30));
    const auto times = writerFor(id)->videoTimes();
    ASSERT_EQ(times.size(), 2u) << c.what;
    EXPECT_EQ(times[0], seconds(c.expectedFirst)) << c.what;
    EXPECT_EQ(times[1], seconds(c.expectedFirst) + CMTime::make(1, 30)) << c.what << ": the offset is kept";
  }
}

TEST_F(IsolatedRecordingCoordinatorTest, JumpAheadReanchorsOnceAndRestartContinuesTheStem) {
  clock_.seconds = 100;
  ::testing::internal::CaptureStderr();
  video("jumpy", seconds(100));
  video("jumpy", seconds(101));  // exactly one second ahead of the host: kept
  clock_.seconds = 100.1;
  video("jumpy", seconds(102.6));  // 1.5 s past max(host, last) + tolerance: re-anchored to host
  clock_.seconds = 100.2;
  video("jumpy", seconds(105));  // another jump: re-anchored, not logged again
  clock_.seconds = 100.3;
  video("restart", seconds(100.3));
  clock_.seconds = 100.4;
  video("restart", seconds(0));  // the clock starts over: lastAligned + step
  clock_.seconds = 100.5;
  video("restart", seconds(0.1));        // follows with the new offset
  video("restart", seconds(0.1));        // equal to the last source time: a restart again, one step on
  video("restart", seconds(0.0), true);  // generated and earlier than the last: one step after it
  const std::string log = ::testing::internal::GetCapturedStderr();

  const CMTime step = CMTime::make(1, 30);
  // Re-anchored to the host clock (100.1 s, 100.2 s), each frame is then lifted one step past the last.
  EXPECT_EQ(writerFor("jumpy")->videoTimes(),
            (std::vector<CMTime>{seconds(100), seconds(101), seconds(101) + step, seconds(101) + step + step}));
  const CMTime afterRestart = seconds(100.3) + step;
  EXPECT_EQ(writerFor("restart")->videoTimes(),
            (std::vector<CMTime>{seconds(100.3), afterRestart, afterRestart + seconds(0.1),
                                 afterRestart + seconds(0.1) + step, afterRestart + seconds(0.1) + step + step}));
  // Each logged exactly once.
  for (const std::string line : {"Isolated source jumpy's video clock jumped ahead of the host clock; re-anchoring its stem",
                                 "Isolated source restart restarted its video timeline; continuing the stem's own"}) {
    ASSERT_NE(log.find(line), std::string::npos) << log;
    EXPECT_EQ(log.find(line), log.rfind(line)) << log;
  }
}

TEST_F(IsolatedRecordingCoordinatorTest, PauseRemovesTheSameSpanFromEverySource) {
  clock_.seconds = 100;
  video("cam", seconds(100));
  audio("mic", seconds(7));  // an own clock: anchored to 100
  clock_.seconds = 100.5;
  coordinator_.setPaused(true);
  clock_.seconds = 101;
  coordinator_.setPaused(false);
  coordinator_.setPaused(true);  // paused again before any buffer: the first start stands
  clock_.seconds = 102;
  video("cam", seconds(102));  // dropped while paused, but the track follows the clock
  coordinator_.setPaused(false);
  clock_.seconds = 103;
  video("cam", seconds(103), false, true);  // still in the resume transition: dropped
  clock_.seconds = 103.5;
  video("cam", seconds(103.5));  // closes the pause: 3 s cut out of every source from now on
  audio("mic", seconds(10.5));
  EXPECT_EQ(writerFor("cam")->videoTimes(), (std::vector<CMTime>{seconds(100), seconds(100.5)}));
  EXPECT_EQ(writerFor("mic#audio")->audioTimes(), (std::vector<CMTime>{seconds(100), seconds(100.5)}));
}

TEST_F(IsolatedRecordingCoordinatorTest, CapRefusesAFifthVideoSourceUntilASlotFrees) {
  clock_.seconds = 100;
  ::testing::internal::CaptureStderr();
  for (int i = 1; i <= 6; ++i) video("cam" + std::to_string(i), seconds(100));
  audio("cam5", seconds(100));  // audio stems are not capped
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(writerFor("cam5"), nullptr);
  EXPECT_NE(writerFor("cam5#audio"), nullptr);
  EXPECT_EQ(log.find("Isolated video-writer cap (4) reached; not recording source cam5 separately"),
            log.rfind("Isolated video-writer cap (4)"))
      << "one line per session: " << log;
  EXPECT_THAT(log, ::testing::HasSubstr("cam5 separately"));

  writerFor("cam2")->failNow();
  EXPECT_FALSE(coordinator_.appendVideo(frameAt(seconds(100.1)), "cam2", false, false));
  video("cam5", seconds(100.1));
  ASSERT_NE(writerFor("cam5"), nullptr) << "picked up once a slot frees";
  EXPECT_EQ(writerFor("cam5")->videoTimes().size(), 1u);

  for (const int cap : {0, -1}) {
    coordinator_.begin(Url::fileUrl("/other"), cap);
    video("late", seconds(100.2));
    EXPECT_EQ(writerFor("late"), nullptr) << "cap " << cap;
  }
}

TEST_F(IsolatedRecordingCoordinatorTest, NamesFilesUniquelyWithPartnersAndMetadata) {
  clock_.seconds = 100;
  const auto named = [&](const std::string& id, std::string name, std::optional<IsolatedSourceType> type) {
    coordinator_.consumeVideo(
        frameAt(seconds(100)), id, [=] { return name; }, [=] { return type; }, [] { return std::nullopt; },
        [] { return kCMTimeZero; }, false, false);
  };
  const auto namedAudio = [&](const std::string& id, std::string name, bool isVideoSource, IsolatedAudioStem stem,
                              CMTime offset) {
    coordinator_.consumeAudio(
        audioAt(seconds(100)), id, [=] { return name; }, [] { return std::nullopt; }, [=] { return isVideoSource; },
        stem, [=] { return offset; }, false);
  };
  named("a", "Camera", IsolatedSourceType::camera);
  named("b", "Camera", std::nullopt);
  namedAudio("a", "Microphone", true, IsolatedAudioStem::ownFile, CMTime::make(1, 4));
  named("c#audio", "a/b", std::nullopt);
  namedAudio("c", "other", true, IsolatedAudioStem::sharedWithVideo, kCMTimeZero);
  // An audio-only source's file, then video under its "#audio" key: the bare ID is the partner.
  namedAudio("d", "Dee", false, IsolatedAudioStem::sharedWithVideo, kCMTimeZero);
  named("d#audio", "other", std::nullopt);

  // "a#audio" is the video's partner; "c" shares its file, so it waits for its video.
  const std::pair<const char*, const char*> files[] = {{"a", "Camera.mov"},      {"b", "Camera 2.mov"},
                                                       {"a#audio", "Camera.m4a"}, {"c#audio", "a b.mov"},
                                                       {"d", "Dee.m4a"},          {"d#audio", "Dee.mov"}};
  for (const auto& [key, file] : files) EXPECT_EQ(writerFor(key)->file_, fs::path("/session") / file) << key;
  EXPECT_EQ(writerFor("c"), nullptr);
  EXPECT_EQ(writerFor("a")->metadata_, (std::vector<MetadataItem>{commonTypeMetadataItem("camera")}));
  EXPECT_TRUE(writerFor("b")->metadata_.empty());
  EXPECT_EQ(writerFor("a#audio")->metadata_, (std::vector<MetadataItem>{commonTypeMetadataItem("microphone")}));
  EXPECT_EQ(writerFor("a#audio")->offset_, CMTime::make(1, 4));
  EXPECT_FALSE(writerFor("a#audio")->video_);
  EXPECT_EQ(coordinator_.recordedByteCount(), 60);
}

TEST(IsolatedRecordingCoordinatorNames, SanitizedFileName) {
  const std::pair<const char*, const char*> cases[] = {
      {"a/b", "a b"},
      {"///", "Source"},
      {"", "Source"},
      {"  Cam\t 1\n", "Cam 1"},
      {"x:y*z?\"<>|w", "x y z w"},
      {"C\\D", "C D"},
      {"Caméra\xC2\x85"
       "2",
       "Caméra 2"},
      {"Web\xE2\x80\x83Page", "Web Page"},
      {"\x01\x7F", "Source"},
  };
  for (const auto& [input, expected] : cases) {
    EXPECT_EQ(IsolatedRecordingCoordinator::sanitizedFileName(input), expected) << input;
  }
}

TEST(IsolatedRecordingCoordinatorNames, SourceTypeRawValuesAndAudioSettings) {
  EXPECT_EQ(rawValue(IsolatedSourceType::systemAudio), "system_audio");
  EXPECT_EQ(rawValue(IsolatedSourceType::applicationAudio), "application_audio");
  EXPECT_EQ(rawValue(IsolatedSourceType::webAudio), "web_audio");
  const MediaSettings lossless = IsolatedRecordingCoordinator::losslessAudioSettings(AudioFormat(44100, 2));
  EXPECT_EQ(lossless.at(AVFormatIDKey).to_number<std::int64_t>(), 1634492771);  // 'alac'
  EXPECT_EQ(lossless.at(AVSampleRateKey).to_number<double>(), 44100);
  EXPECT_EQ(lossless.at(AVNumberOfChannelsKey).to_number<std::int64_t>(), 2);
  EXPECT_EQ(lossless.at("AVEncoderBitDepthHintKey").to_number<std::int64_t>(), 24);
  EXPECT_EQ(IsolatedRecordingCoordinator::audioSettings(AudioFormat(48000, 1)).at(AVLinearPCMIsNonInterleaved), false);
}

TEST_F(IsolatedRecordingCoordinatorTest, EndFinalisesEveryWriterAndAbortDiscards) {
  clock_.seconds = 100;
  video("one", seconds(100));
  audio("two", seconds(100));
  ::testing::internal::CaptureStderr();
  coordinator_.end();
  coordinator_.end();  // no session: nothing at all
  std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(writerFor("one")->finalised_);
  EXPECT_TRUE(writerFor("two#audio")->finalised_);
  EXPECT_THAT(log, ::testing::HasSubstr("Isolated recording session ended; finalised 2 file(s)"));
  EXPECT_EQ(log.find("ended", log.find("ended") + 1), std::string::npos) << log;
  EXPECT_FALSE(coordinator_.isActive());
  EXPECT_FALSE(coordinator_.appendVideo(frameAt(seconds(101)), "one", false, false));
  video("one", seconds(101));
  EXPECT_EQ(writerFor("one")->videoTimes().size(), 1u) << "no session: consume returns at once";

  coordinator_.begin(Url::fileUrl("/again"), 4);
  video("three", seconds(101));
  ::testing::internal::CaptureStderr();
  coordinator_.abortAll();
  log = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(writerFor("three")->aborted_);
  EXPECT_THAT(log, ::testing::HasSubstr("Isolated recording session aborted; discarded 1 partial file(s)"));
}

// Many capture threads at once, pausing and resuming meanwhile (on a host clock that stands still, so
// no pause span is cut and every track must come out strictly increasing).
TEST_F(IsolatedRecordingCoordinatorTest, ManyProducersKeepEveryTrackMonotonic) {
  constexpr int kSources = 8;
  constexpr int kBuffers = 400;
  // A producer can be scheduled entirely inside one pause; the tail it sends once the pausing is over
  // guarantees every source reaches its writer whatever the interleaving.
  constexpr int kTail = 10;
  std::atomic<bool> pausingDone{false};
  std::vector<std::thread> producers;
  for (int s = 0; s < kSources; ++s) {
    producers.emplace_back([&, s] {
      const std::string id = "source" + std::to_string(s);
      const double origin = s * 1000.0;  // every source on a clock of its own
      const auto deliver = [&](int i) {
        const CMTime pts = seconds(origin) + CMTime::make(i, 30);
        if (s % 2 == 0) {
          if (!coordinator_.appendVideo(frameAt(pts), id, false, false)) video(id, pts);
        } else if (!coordinator_.appendAudio(audioAt(pts), id, IsolatedAudioStem::ownFile, false)) {
          audio(id, pts);
        }
      };
      for (int i = 0; i < kBuffers; ++i) deliver(i);
      while (!pausingDone.load()) std::this_thread::yield();
      for (int i = kBuffers; i < kBuffers + kTail; ++i) deliver(i);
    });
  }
  ::testing::internal::CaptureStderr();  // each zero-length pause is logged
  std::thread pauser([&] {
    for (int i = 0; i < 50; ++i) coordinator_.setPaused(i % 2 == 0);
    coordinator_.setPaused(false);
    pausingDone = true;
  });
  for (auto& producer : producers) producer.join();
  pauser.join();
  coordinator_.end();
  ::testing::internal::GetCapturedStderr();
  ASSERT_EQ(made_.size(), static_cast<std::size_t>(kSources));
  for (const auto& writer : made_) {
    const auto times = writer->video_ ? writer->videoTimes() : writer->audioTimes();
    EXPECT_FALSE(times.empty()) << writer->key_;
    for (std::size_t i = 1; i < times.size(); ++i) {
      ASSERT_LT(CMTimeCompare(times[i - 1], times[i]), 0) << writer->key_ << " at " << i;
    }
    EXPECT_TRUE(writer->finalised_);
  }
}

}  // namespace
}  // namespace tav
