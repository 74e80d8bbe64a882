#include "tav/recording/tavo_writer.hpp"

#include <stdlib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "tav/recording/video_recorder_error.hpp"
#include "tav/testing/scoped_environment_variable.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/scripted_asset_writer.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;
using testing::ScriptedAssetWriterFactory;
using ::testing::HasSubstr;
using ::testing::Not;

CMSampleBuffer videoAt(std::int64_t value, std::int32_t timescale = 30) {
  static const auto pixels = std::shared_ptr<const std::uint8_t>(new std::uint8_t[6]{}, std::default_delete<std::uint8_t[]>());
  return CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, 2, 2, pixels), CMTime::make(value, timescale));
}

CMSampleBuffer audioAt(std::int64_t value, std::int32_t timescale = 30) {
  static const auto samples = std::shared_ptr<const float>(new float[4]{}, std::default_delete<float[]>());
  return CMSampleBuffer::audio(AudioBufferData{1, 48000, 4, samples}, CMTime::make(value, timescale));
}

MediaSettings stereo(int channels) { return {{AVFormatIDKey, kAudioFormatMPEG4AAC}, {AVNumberOfChannelsKey, channels}}; }

/// A writer on a scripted factory and an in-memory store, writing into a scratch folder.
class TavoWriterTest : public ::testing::Test {
 protected:
  TavoWriter makeWriter(bool isLead = true) { return TavoWriter(isLead, factory_, store_); }
  Url fileURL(const char* name = "take.mov") const { return Url::fileUrl(scratch_ / name); }
  void startWithBoth(TavoWriter& writer) {
    writer.start(fileURL(), std::nullopt, stereo(2), true, FileType::quickTimeMovie, {});
  }
  std::optional<Url> mark() const { return TavoWriter::currentOutputURL(store_).get(); }

  testing::ScratchDirectory scratch_{"tav-writer"};
  ScriptedAssetWriterFactory factory_;
  std::shared_ptr<InMemoryUserDefaults> store_ = std::make_shared<InMemoryUserDefaults>();
};

template <class F>
std::string stderrOf(F&& action) {
  ::testing::internal::CaptureStderr();
  action();
  return ::testing::internal::GetCapturedStderr();
}

template <class F>
VideoRecorderError recorderErrorOf(F&& action) {
  try {
    action();
  } catch (const VideoRecorderError& error) {
    return error;
  }
  ADD_FAILURE() << "no VideoRecorderError";
  return VideoRecorderError::unknown();
}

TEST_F(TavoWriterTest, StartConfiguresInputsFragmentsAndTheMark) {
  TavoWriter writer = makeWriter();
  std::vector<MetadataItem> metadata{{"mdta", "com.apple.quicktime.content.identifier", "tavo-canvas.primary"}};
  std::string log = stderrOf([&] { writer.start(fileURL(), std::nullopt, stereo(2), true, FileType::quickTimeMovie, metadata); });
  auto script = factory_.writer(0);
  EXPECT_EQ(script->inputs, (std::vector<MediaStreamType>{MediaStreamType::audio(), MediaStreamType::video()}));
  EXPECT_EQ(script->fragmentInterval, CMTime::make(1, 1));
  EXPECT_EQ(script->metadata, metadata);
  EXPECT_TRUE(factory_.input(MediaStreamType::video())->realTime);
  EXPECT_TRUE(factory_.input(MediaStreamType::audio())->realTime);
  // No video settings given: the defaults, 1920x1080.
  EXPECT_EQ(factory_.input(MediaStreamType::video())->outputSettings->at(AVVideoWidthKey).as_int64(), 1920);
  EXPECT_EQ(mark(), fileURL());
  EXPECT_FALSE(fs::exists(scratch_ / "take.mov"));  // the file comes with the first buffer
  EXPECT_THAT(log, HasSubstr("Output URL: " + (scratch_ / "take.mov").string()));
  EXPECT_THAT(log, HasSubstr("Configured AVAssetWriter and inputs. Ready to record."));

  TavoWriter audioFile = makeWriter(false);
  audioFile.start(fileURL("voice.m4a"), std::nullopt, stereo(1), false, FileType::appleM4A, {});
  EXPECT_FALSE(factory_.writer(1)->fragmentInterval.isValid());
  EXPECT_EQ(factory_.writer(1)->inputs, (std::vector<MediaStreamType>{MediaStreamType::audio()}));
  EXPECT_EQ(mark(), fileURL());  // only the lead writer marks

  // A writer's own encoder support picks the default codec, whatever the process's shared answer is.
  for (const bool hevc : {true, false}) {
    const EncoderSupport support(hevc);
    TavoWriter own(false, factory_, store_, support);
    own.start(fileURL(hevc ? "hevc.mov" : "h264.mov"), std::nullopt, stereo(2), true, FileType::quickTimeMovie, {});
    EXPECT_EQ(factory_.input(MediaStreamType::video())->outputSettings->at(AVVideoCodecKey).as_string(),
              hevc ? "hvc1" : "avc1");
  }
}

TEST_F(TavoWriterTest, AudioBeforeTheFirstVideoFrameIsDroppedAndCreatesNothing) {
  TavoWriter writer = makeWriter();
  startWithBoth(writer);
  auto script = factory_.writer(0);
  writer.write(audioAt(0), MediaStreamType::audio());
  EXPECT_EQ(writer.counts().audioDropCount, 1);
  EXPECT_FALSE(script->called("startWriting"));
  EXPECT_FALSE(fs::exists(scratch_ / "take.mov"));
  EXPECT_FALSE(writer.sessionStartTime().has_value());

  std::string log = stderrOf([&] { writer.write(videoAt(10), MediaStreamType::video()); });
  EXPECT_THAT(log, HasSubstr("Recording session started at first video sample"));
  EXPECT_EQ(script->sessionStart, CMTime::make(10, 30));
  EXPECT_TRUE(fs::exists(scratch_ / "take.mov"));

  writer.write(audioAt(9), MediaStreamType::audio());    // earlier than the session: dropped
  writer.write(audioAt(20, 60), MediaStreamType::audio());  // equal (10/30): kept
  writer.write(videoAt(5), MediaStreamType::video());    // video is not tested against the start
  EXPECT_EQ(writer.counts(), (TavoWriter::Counts{2, 1, 0, 2}));
  EXPECT_EQ(factory_.input(MediaStreamType::audio())->appendedTimes(), (std::vector<CMTime>{CMTime::make(20, 60)}));
}

TEST_F(TavoWriterTest, AudioOnlyWriterStartsAtItsFirstAudioBuffer) {
  TavoWriter writer = makeWriter();
  writer.start(fileURL("voice.m4a"), std::nullopt, stereo(2), false, FileType::appleM4A, {});
  std::string log = stderrOf([&] { writer.write(audioAt(7), MediaStreamType::audio()); });
  EXPECT_THAT(log, HasSubstr("Recording session started at first audio sample"));
  EXPECT_EQ(factory_.writer(0)->sessionStart, CMTime::make(7, 30));
  EXPECT_EQ(writer.counts(), (TavoWriter::Counts{0, 1, 0, 0}));
  EXPECT_EQ(recorderErrorOf([&] { writer.write(videoAt(8), MediaStreamType::video()); }).what(),
            std::string("Unsupported media type: vide"));
}

TEST_F(TavoWriterTest, DropsLogTheFirstAndEveryHundredthPerMedium) {
  TavoWriter writer = makeWriter();
  startWithBoth(writer);
  writer.write(videoAt(0), MediaStreamType::video());
  factory_.input(MediaStreamType::video())->setReady(false);
  factory_.input(MediaStreamType::audio())->setReady(false);
  std::string log = stderrOf([&] {
    for (int i = 1; i <= 100; ++i) writer.write(videoAt(i), MediaStreamType::video());
    writer.write(audioAt(1), MediaStreamType::audio());
    writer.write(audioAt(2), MediaStreamType::audio());
  });
  EXPECT_THAT(log, HasSubstr("video input not ready — dropped 1 frames so far"));
  EXPECT_THAT(log, HasSubstr("video input not ready — dropped 100 frames so far"));
  EXPECT_THAT(log, Not(HasSubstr("dropped 2 frames")));
  EXPECT_THAT(log, Not(HasSubstr("dropped 99 frames")));
  EXPECT_THAT(log, HasSubstr("audio input not ready — dropped 1 frames so far"));
  EXPECT_EQ(writer.counts(), (TavoWriter::Counts{1, 0, 100, 2}));
}

TEST_F(TavoWriterTest, FinishWithoutBuffersIsRefusedAndAbortLeavesNoFile) {
  TavoWriter writer = makeWriter();
  EXPECT_STREQ(recorderErrorOf([&] { writer.finish(); }).what(),
               "Invalid state: Attempted to stop asset writer before it was initialized.");
  EXPECT_STREQ(recorderErrorOf([&] { writer.write(videoAt(0), MediaStreamType::video()); }).what(),
               "Invalid state: Attempted to write to asset writer before it was initialized.");
  startWithBoth(writer);
  EXPECT_STREQ(recorderErrorOf([&] { writer.finish(); }).what(),
               "Invalid state: Cannot stop recording: writer is in idle state");
  // Something left at the path (an earlier run's file) goes too, without a cancel of a writer that
  // never wrote.
  scratch_.write("take.mov", "stale");
  std::string log = stderrOf([&] { writer.abort(); });
  EXPECT_FALSE(fs::exists(scratch_ / "take.mov"));
  EXPECT_FALSE(factory_.writer(0)->called("cancelWriting"));
  EXPECT_THAT(log, HasSubstr("Writer aborted; state reset"));
  EXPECT_EQ(mark(), std::nullopt);
  writer.abort();  // again, and without a writer: harmless
}

TEST_F(TavoWriterTest, AbortWhileWritingCancelsAndRemovesTheFile) {
  TavoWriter writer = makeWriter();
  startWithBoth(writer);
  writer.write(videoAt(0), MediaStreamType::video());
  ASSERT_TRUE(fs::exists(scratch_ / "take.mov"));
  writer.abort();
  EXPECT_TRUE(factory_.writer(0)->called("cancelWriting"));
  EXPECT_TRUE(factory_.input(MediaStreamType::video())->isFinished());
  EXPECT_FALSE(fs::exists(scratch_ / "take.mov"));
  EXPECT_EQ(mark(), std::nullopt);
  // Back to idle: it can start again.
  startWithBoth(writer);
  EXPECT_EQ(factory_.writerCount(), 2u);
}

TEST_F(TavoWriterTest, StartIsRefusedUnlessIdleAndAFactoryFailureLeavesItPreparing) {
  TavoWriter writer = makeWriter();
  startWithBoth(writer);
  writer.write(videoAt(0), MediaStreamType::video());
  EXPECT_STREQ(recorderErrorOf([&] { startWithBoth(writer); }).what(),
               "Invalid state: Cannot start recording: writer is in writing state");

  TavoWriter broken = makeWriter(false);
  factory_.makeWriterError = "cannot create file";
  EXPECT_THROW(startWithBoth(broken), std::runtime_error);
  factory_.makeWriterError.reset();
  EXPECT_STREQ(recorderErrorOf([&] { startWithBoth(broken); }).what(),
               "Invalid state: Cannot start recording: writer is in preparing state");
}

TEST_F(TavoWriterTest, ZeroChannelsGiveNoAudioInput) {
  TavoWriter writer = makeWriter();
  std::string log = stderrOf([&] { writer.start(fileURL(), std::nullopt, stereo(0), true, FileType::quickTimeMovie, {}); });
  EXPECT_THAT(log, HasSubstr("Provided number of channels is 0, defaulting to no audio"));
  EXPECT_EQ(factory_.writer(0)->inputs, (std::vector<MediaStreamType>{MediaStreamType::video()}));
  writer.write(videoAt(0), MediaStreamType::video());
  VideoRecorderError error = recorderErrorOf([&] { writer.write(audioAt(1), MediaStreamType::audio()); });
  EXPECT_EQ(error.errorCase(), VideoRecorderError::Case::unsupportedMediaType);
  EXPECT_STREQ(error.what(), "Unsupported media type: soun");
}

TEST_F(TavoWriterTest, MediaWriterFailuresReachTheCaller) {
  // A write the media writer fails reaches the caller as fileCreationFailed; returns what was logged.
  const auto failedWrite = [](TavoWriter& writer, std::int64_t frame) {
    return stderrOf([&] {
      EXPECT_EQ(recorderErrorOf([&] { writer.write(videoAt(frame), MediaStreamType::video()); }).errorCase(),
                VideoRecorderError::Case::fileCreationFailed);
    });
  };
  factory_.prepareWriter = [](testing::ScriptedWriterState& state) { state.startWritingResult = false; };
  TavoWriter cannotStart = makeWriter(false);
  startWithBoth(cannotStart);
  std::string log = failedWrite(cannotStart, 0);
  EXPECT_THAT(log, HasSubstr("startWriting() failed: cannot create"));
  // Back to idle; the writer now reports its failure as its own error.
  try {
    cannotStart.write(videoAt(1), MediaStreamType::video());
    ADD_FAILURE() << "no error";
  } catch (const VideoRecorderError&) {
    ADD_FAILURE() << "expected the writer's own error";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot create"));
  }

  factory_.prepareWriter = nullptr;
  TavoWriter refused = makeWriter(false);
  startWithBoth(refused);
  refused.write(videoAt(0), MediaStreamType::video());
  factory_.input(MediaStreamType::video())->setAppendResult(false);
  log = failedWrite(refused, 1);
  EXPECT_THAT(log, HasSubstr("append() failed for video. Writer status: 1, error: none"));
  EXPECT_EQ(refused.counts().videoFrameCount, 1);

  factory_.writer(1)->fail(std::nullopt);
  log = failedWrite(refused, 2);
  EXPECT_THAT(log, HasSubstr("Writer flipped to .failed mid-session: none"));

  TavoWriter failedEarly = makeWriter(false);
  startWithBoth(failedEarly);
  factory_.writer(2)->fail(std::nullopt);
  EXPECT_EQ(recorderErrorOf([&] { failedEarly.write(videoAt(0), MediaStreamType::video()); }).errorCase(),
            VideoRecorderError::Case::unknown);
}

TEST_F(TavoWriterTest, FinishServesOtherCallsWhileTheFileCompletes) {
  factory_.prepareWriter = [](testing::ScriptedWriterState& state) { state.holdFinish = true; };
  TavoWriter writer = makeWriter();
  startWithBoth(writer);
  writer.write(videoAt(0), MediaStreamType::video());
  writer.write(audioAt(1), MediaStreamType::audio());
  auto script = factory_.writer(0);

  std::string log;
  ::testing::internal::CaptureStderr();
  auto finishing = std::async(std::launch::async, [&] { writer.finish(); });
  script->waitForFinishCall();
  // The writer's lock is free: a write finds `stopping` and is dropped without counting.
  writer.write(videoAt(2), MediaStreamType::video());
  EXPECT_GT(writer.recordedFileSize(), 0);
  EXPECT_EQ(writer.counts(), (TavoWriter::Counts{1, 1, 0, 0}));
  EXPECT_EQ(mark(), fileURL());
  EXPECT_TRUE(factory_.input(MediaStreamType::video())->isFinished());
  EXPECT_TRUE(factory_.input(MediaStreamType::audio())->isFinished());
  script->completeFinish();
  finishing.get();
  log = ::testing::internal::GetCapturedStderr();

  EXPECT_THAT(log, HasSubstr("Recording stats — video: 1 written, 0 dropped | audio: 1 written, 0 dropped"));
  EXPECT_THAT(log, HasSubstr("Successfully finished recording"));
  EXPECT_EQ(mark(), std::nullopt);
  EXPECT_EQ(writer.recordedFileSize(), 0);  // no file any more
  EXPECT_TRUE(fs::exists(scratch_ / "take.mov"));
}

TEST_F(TavoWriterTest, FileSizeFailuresAreLoggedFromTheFourthInARow) {
  TavoWriter writer = makeWriter();
  EXPECT_EQ(writer.recordedFileSize(), 0);
  startWithBoth(writer);
  std::string quiet = stderrOf([&] {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(writer.recordedFileSize(), 0);
  });
  EXPECT_THAT(quiet, Not(HasSubstr("Can't get recorded file size")));
  std::string loud = stderrOf([&] { EXPECT_EQ(writer.recordedFileSize(), 0); });
  EXPECT_THAT(loud, HasSubstr("Can't get recorded file size: "));

  writer.write(videoAt(0), MediaStreamType::video());
  EXPECT_EQ(writer.recordedFileSize(), 8);  // "scripted"
  fs::remove(scratch_ / "take.mov");
  quiet = stderrOf([&] {
    for (int i = 0; i < 3; ++i) writer.recordedFileSize();
  });
  EXPECT_THAT(quiet, Not(HasSubstr("Can't get recorded file size")));
}

/// A media library that records what it is given and moves files into its own folder.
class FakeMediaLibrary final : public MediaLibrary {
 public:
  explicit FakeMediaLibrary(fs::path folder) : folder_(std::move(folder)) { fs::create_directories(folder_); }
  MediaLibraryAuthorizationStatus status = MediaLibraryAuthorizationStatus::authorized;
  bool failChanges = false;
  std::vector<fs::path> added;

  MediaLibraryAuthorizationStatus requestAuthorization(MediaLibraryAccessLevel level) override {
    EXPECT_EQ(level, MediaLibraryAccessLevel::addOnly);
    return status;
  }
  void addVideoResource(const fs::path& file, bool shouldMoveFile) override {
    EXPECT_TRUE(shouldMoveFile);
    if (failChanges) throw std::runtime_error("library is full");
    fs::rename(file, folder_ / file.filename());
    added.push_back(file);
  }

 private:
  fs::path folder_;
};

/// Points TMPDIR at a folder while it lives, then puts back what was there.

TEST_F(TavoWriterTest, RecoveryFindsTheMarkedFileInTheTemporaryDirectory) {
  FakeMediaLibrary library(scratch_ / "library");
  testing::ScopedEnvironmentVariable temporary("TMPDIR", (scratch_ / "tmp").string());
  fs::create_directories(scratch_ / "tmp");
  auto markHandle = TavoWriter::currentOutputURL(store_);

  // Nothing marked: nothing done.
  TavoWriter::saveInterruptedRecording(store_, library);
  EXPECT_TRUE(library.added.empty());

  // Marked, but the file is not in the temporary directory: the mark is cleared, nothing saved.
  markHandle.set(Url::fileUrl(scratch_ / "elsewhere" / "cut.mov"));
  TavoWriter::saveInterruptedRecording(store_, library);
  EXPECT_TRUE(library.added.empty());
  EXPECT_EQ(markHandle.get(), std::nullopt);

  // Marked and present (whatever folder the mark names): saved by moving; the mark stays for the next
  // launch to clear.
  markHandle.set(Url::fileUrl(scratch_ / "elsewhere" / "cut.mov"));
  scratch_.write("tmp/cut.mov", "frames");
  std::string log = stderrOf([&] { TavoWriter::saveInterruptedRecording(store_, library); });
  EXPECT_EQ(library.added, (std::vector<fs::path>{scratch_ / "tmp" / "cut.mov"}));
  EXPECT_TRUE(fs::exists(scratch_ / "library" / "cut.mov"));
  EXPECT_TRUE(markHandle.get().has_value());
  EXPECT_THAT(log, Not(HasSubstr("Failed")));
  TavoWriter::saveInterruptedRecording(store_, library);
  EXPECT_EQ(markHandle.get(), std::nullopt);
}

TEST_F(TavoWriterTest, RecoveryFailuresAreLoggedAndKeepTheFile) {
  FakeMediaLibrary library(scratch_ / "library");
  testing::ScopedEnvironmentVariable temporary("TMPDIR", (scratch_ / "tmp").string());
  scratch_.write("tmp/cut.mov", "frames");
  TavoWriter::currentOutputURL(store_).set(Url::fileUrl(scratch_ / "cut.mov"));

  library.status = MediaLibraryAuthorizationStatus::denied;
  std::string log = stderrOf([&] { TavoWriter::saveInterruptedRecording(store_, library); });
  EXPECT_THAT(log, HasSubstr("Could not save the recording to photo library: no permission"));
  EXPECT_THAT(log, HasSubstr("Failed to save interrupted recording to photo library: Photo library permissions have "
                             "not been given to Tavo Studio"));

  library.status = MediaLibraryAuthorizationStatus::authorized;
  library.failChanges = true;
  EXPECT_EQ(recorderErrorOf([&] { TavoWriter::saveToPhotoLibrary(Url::fileUrl(scratch_ / "tmp" / "cut.mov"), library); }).errorCase(),
            VideoRecorderError::Case::failedToSaveToPhotoLibrary);
  EXPECT_TRUE(fs::exists(scratch_ / "tmp" / "cut.mov"));
  EXPECT_TRUE(TavoWriter::currentOutputURL(store_).get().has_value());
}

}  // namespace
}  // namespace tav
