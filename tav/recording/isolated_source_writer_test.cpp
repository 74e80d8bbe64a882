#include "tav/recording/isolated_source_writer.hpp"

#include <gtest/gtest.h>

#include <condition_variable>
#include <thread>

#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/scripted_asset_writer.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav {
namespace {

using testing::ScriptedAssetWriterFactory;

CMSampleBuffer frameAt(CMTime pts) { return testing::syntheticVideoFrame(PixelFormat::nv12, 4, 4, 0, 30, pts); }
CMSampleBuffer audioAt(CMTime pts) { return testing::syntheticAudio(2, 48000, 480, 0, pts); }

class IsolatedSourceWriterTest : public ::testing::Test {
 protected:
  std::shared_ptr<IsolatedSourceWriter> make(const char* file, bool video, CMTime offset) {
    return IsolatedSourceWriter::create(
        "src", "Source", Url::fileUrl(scratch_ / file), video, std::nullopt, testing::stereoAudio(), offset, {},
        [this](const std::string& id) {
          std::lock_guard lock(mutex_);
          failures_.push_back(id);
        },
        factory_);
  }
  std::vector<std::string> failures() {
    std::lock_guard lock(mutex_);
    return failures_;
  }

  testing::ScratchDirectory scratch_{"isolated-writer"};
  ScriptedAssetWriterFactory factory_;
  std::mutex mutex_;
  std::vector<std::string> failures_;
};

TEST_F(IsolatedSourceWriterTest, AudioDelayMovesTheStemAndPadsOnlyAnAudioOnlyFile) {
  const CMTime t = CMTime::make(10, 1);
  struct Case {
    const char* what;
    bool video;
    CMTime offset;
    std::vector<CMTime> expectedAudio;
  };
  const Case cases[] = {
      {"audio-only, 0.25 s: silence from the first buffer's own time, then the buffer moved",
       false,
       CMTime::make(1, 4),
       {t, t + CMTime::make(1, 4)}},
      {"audio-only, -0.25 s: moved earlier, no silence", false, CMTime::make(-1, 4), {t - CMTime::make(1, 4)}},
      {"with video, 0.25 s: moved, no silence", true, CMTime::make(1, 4), {t + CMTime::make(1, 4)}},
  };
  for (const Case& c : cases) {
    auto writer = make(c.video ? "a.mov" : "a.m4a", c.video, c.offset);
    if (c.video) {
      // Audio that reaches a movie before its first frame is dropped: let the frame land first.
      writer->appendVideo(frameAt(t));
      while (factory_.input(MediaStreamType::video()) == nullptr ||
             factory_.input(MediaStreamType::video())->appendedTimes().empty()) {
        std::this_thread::yield();
      }
    }
    writer->appendAudio(audioAt(t));
    writer->finalise();
    EXPECT_EQ(factory_.input(MediaStreamType::audio())->appendedTimes(), c.expectedAudio) << c.what;
  }

  // The padding itself: 0.25 s at 48 kHz is 12,000 frames of silence, ending where the stem begins.
  const auto silence = IsolatedSourceWriter::silentBuffer(audioAt(t), CMTime::make(1, 4), t + CMTime::make(1, 4));
  ASSERT_TRUE(silence.has_value());
  const AudioBufferData& data = *silence->audioData();
  EXPECT_EQ(data.frameCount, 12000);
  EXPECT_EQ(data.channelCount, 2);
  EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(*silence), t);
  for (int i = 0; i < 2 * 12000; ++i) ASSERT_EQ(data.samples.get()[i], 0.0f) << i;
  EXPECT_FALSE(IsolatedSourceWriter::silentBuffer(audioAt(t), CMTime::make(1, 100000), t).has_value())
      << "shorter than one sample";
  EXPECT_FALSE(IsolatedSourceWriter::silentBuffer(frameAt(t), CMTime::make(1, 4), t).has_value()) << "not audio";
}

TEST_F(IsolatedSourceWriterTest, KeepsEachMediumAdvancingAndWritesWhatCameBeforeTheStart) {
  // Hold the preparation until the buffers are queued: they wait for it and are written in order.
  std::mutex gateMutex;
  std::condition_variable gate;
  bool open = false;
  factory_.prepareWriter = [&](testing::ScriptedWriterState&) {
    std::unique_lock lock(gateMutex);
    gate.wait(lock, [&] { return open; });
  };
  auto writer = make("a.mov", true, kCMTimeZero);
  ::testing::internal::CaptureStderr();
  writer->appendVideo(frameAt(CMTime::make(1, 30)));
  writer->appendVideo(frameAt(CMTime::make(1, 30)));  // does not advance: dropped
  writer->appendVideo(frameAt(CMTime::make(2, 30)));
  writer->appendAudio(audioAt(CMTime::make(2, 30)));
  writer->appendAudio(audioAt(CMTime::make(1, 30)));  // goes back: dropped, not logged again
  writer->appendVideo(frameAt(kCMTimeInvalid));       // invalid: refused
  {
    std::lock_guard lock(gateMutex);
    open = true;
  }
  gate.notify_all();
  writer->finalise();
  writer->appendVideo(frameAt(CMTime::make(3, 30)));  // after finalise: refused at the door
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(factory_.input(MediaStreamType::video())->appendedTimes(),
            (std::vector<CMTime>{CMTime::make(1, 30), CMTime::make(2, 30)}));
  const std::string line = "Isolated writer for src dropped a video buffer whose timestamp did not advance";
  EXPECT_NE(log.find(line), std::string::npos) << log;
  EXPECT_EQ(log.find("whose timestamp did not advance"), log.rfind("whose timestamp did not advance")) << log;
  EXPECT_TRUE(factory_.writer(0)->called("finishWriting"));
}

TEST_F(IsolatedSourceWriterTest, AWriterWithoutASharedOwnerWritesToo) {
  {
    IsolatedSourceWriter local("src", "Source", Url::fileUrl(scratch_ / "local.m4a"), false, std::nullopt,
                               testing::stereoAudio(), kCMTimeZero, {}, nullptr, factory_);
    local.appendAudio(audioAt(CMTime::make(1, 30)));
    local.appendAudio(audioAt(CMTime::make(2, 30)));
  }  // destroyed without finalise: the queued writes still ran
  EXPECT_EQ(factory_.input(MediaStreamType::audio())->appendedTimes(),
            (std::vector<CMTime>{CMTime::make(1, 30), CMTime::make(2, 30)}));
  EXPECT_EQ(factory_.writer(0)->fileType, FileType::appleM4A);
}

TEST_F(IsolatedSourceWriterTest, FailuresStayInsideTheWriter) {
  // A start that fails: every buffer is ignored, finalise discards, no failure is reported.
  factory_.makeWriterError = "cannot create " + (scratch_ / "gone/a.mov").string();
  ::testing::internal::CaptureStderr();
  auto unstarted = make("gone/a.mov", true, kCMTimeZero);
  unstarted->appendVideo(frameAt(CMTime::make(1, 30)));
  unstarted->finalise();
  std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("Isolated writer failed to start for src: cannot create"), std::string::npos) << log;
  EXPECT_NE(log.find("Isolated writer for src had nothing to finalise; discarding: "), std::string::npos) << log;
  EXPECT_TRUE(failures().empty());
  EXPECT_FALSE(std::filesystem::exists(scratch_ / "gone/a.mov"));

  // A write that fails: the file is removed and the coordinator told once, whatever follows.
  factory_.makeWriterError.reset();
  factory_.prepareWriter = [](testing::ScriptedWriterState& state) { state.startWritingResult = false; };
  auto failing = make("b.mov", true, kCMTimeZero);
  ::testing::internal::CaptureStderr();
  failing->appendVideo(frameAt(CMTime::make(1, 30)));
  failing->appendVideo(frameAt(CMTime::make(2, 30)));
  while (failures().empty()) std::this_thread::yield();  // a failure found after finalise would only be logged
  failing->appendVideo(frameAt(CMTime::make(3, 30)));
  failing->finalise();
  log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(failures(), std::vector<std::string>{"src"});
  EXPECT_NE(log.find("Isolated writer for src failed; dropping this source: "), std::string::npos) << log;
  EXPECT_FALSE(factory_.writer(0)->called("finishWriting"));
  EXPECT_FALSE(std::filesystem::exists(scratch_ / "b.mov"));
}

}  // namespace
}  // namespace tav
