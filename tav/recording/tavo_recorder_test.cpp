#include "tav/recording/tavo_recorder.hpp"

#include <gtest/gtest.h>

#include "tav/profiles/profile_manager.hpp"
#include "tav/recording/video_recorder_error.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/scripted_asset_writer.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;

class Provider final : public TavoRecorderSettingsProvider {
 public:
  std::vector<TavoRecorderRecordingOutput> outputs;
  std::vector<std::string> calls;
  std::optional<MediaSettings> videoSettings() const override { return std::nullopt; }
  std::optional<MediaSettings> audioSettings() const override { return std::nullopt; }
  std::vector<TavoRecorderRecordingOutput> recordingOutputs() const override { return outputs; }
  void recorderWillStart(const std::vector<TavoRecorderRecordingOutput>&) override { calls.push_back("willStart"); }
  void recorderDidStop() override { calls.push_back("didStop"); }
};

TavoRecorderRecordingOutput output(CanvasRole role, std::optional<std::string> suffix = std::nullopt) {
  return TavoRecorderRecordingOutput(role, std::move(suffix), MediaSettings{});
}

class TavoRecorderTest : public ::testing::Test {
 protected:
  TavoRecorderTest() { recorder_.setSettingsProvider(provider_); }
  TavoRecorder::Configuration into(const char* name) const {
    return TavoRecorder::Configuration{std::nullopt, Url::fileUrl(scratch_ / name)};
  }
  std::string startError(const TavoRecorder::Configuration& configuration) {
    try {
      recorder_.startRecording(configuration);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "";
  }

  testing::ScratchDirectory scratch_{"tav-recorder"};
  testing::ScriptedAssetWriterFactory factory_;
  std::shared_ptr<InMemoryUserDefaults> store_ = std::make_shared<InMemoryUserDefaults>();
  ProfileManager profiles_{store_};
  NotificationCenter center_;
  TavoRecorder recorder_{factory_, defaultRecorderLocationHandler(), &profiles_, store_, MainContext::post, center_};
  std::shared_ptr<Provider> provider_ = std::make_shared<Provider>();
};

TEST_F(TavoRecorderTest, AFailedStartLeavesNoPipelineNoSessionFolderAndTellsTheProvider) {
  struct Case {
    const char* name;
    std::vector<TavoRecorderRecordingOutput> outputs;
    const char* file;
    int failingWriter;  // 1-based; 0 for none
    std::string error;
  };
  const std::vector<Case> cases{
      {"no outputs", {}, "a.mov", 0, "Invalid state: Cannot start recording: no outputs configured"},
      {"missing folder", {output(CanvasRole::primary)}, "missing/a.mov", 0,
       std::string(VideoRecorderError::defaultText(VideoRecorderError::Case::missingLocation))},
      {"second writer refused",
       {output(CanvasRole::primary), output(CanvasRole::secondary, " Vertical")},
       "b.mov", 2, "disk says no"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    provider_->outputs = c.outputs;
    provider_->calls.clear();
    int made = 0;
    factory_.prepareWriter = [&](testing::ScriptedWriterState&) {
      if (++made == c.failingWriter) throw std::runtime_error("disk says no");
    };
    EXPECT_EQ(startError(into(c.file)), c.error);
    EXPECT_TRUE(recorder_.inProgressOutputURLs().empty());
    EXPECT_FALSE(recorder_.isRecording().value());
    EXPECT_EQ(provider_->calls.back(), "didStop");
    EXPECT_FALSE(fs::exists(scratch_ / "b"));
  }
  // The writer prepared before the refused one was aborted, and nothing was created.
  EXPECT_TRUE(fs::is_empty(scratch_.path()));

  // Idle again: a good start works, and a second one is refused without touching the first.
  factory_.prepareWriter = nullptr;
  provider_->calls.clear();
  provider_->outputs = {output(CanvasRole::primary), output(CanvasRole::secondary, " Vertical")};
  recorder_.startRecording(into("c.mov"));
  EXPECT_EQ(provider_->calls, (std::vector<std::string>{"willStart"}));
  EXPECT_EQ(startError(into("d.mov")), "Invalid state: Cannot start recording: already in recording state");
  ASSERT_EQ(recorder_.inProgressOutputURLs().size(), 2u);
  EXPECT_EQ(recorder_.inProgressOutputURLs()[1].filePath(), scratch_ / "c" / "c Vertical.mov");
  EXPECT_EQ(factory_.writer(factory_.writerCount() - 1)->metadata,
            (std::vector<MetadataItem>{{"mdta", "common/type", "tavo-canvas.secondary"}}));
}

TEST_F(TavoRecorderTest, WithoutAProviderOneOutputOfTheActiveProfileSizeHasNoAudio) {
  recorder_.setSettingsProvider(nullptr);
  profiles_.setActive(profiles_.createProfile("Small", {1280, 720}, {60}).id);
  recorder_.startRecording(into("solo.mov"));
  ASSERT_EQ(factory_.writerCount(), 1u);
  EXPECT_TRUE(factory_.writer(0)->metadata.empty());
  EXPECT_EQ(factory_.writer(0)->inputs, (std::vector<MediaStreamType>{MediaStreamType::video()}));
  const MediaSettings settings = *factory_.input(MediaStreamType::video())->outputSettings;
  EXPECT_EQ(settings.at(AVVideoWidthKey).as_int64(), 1280);
  EXPECT_EQ(settings.at(AVVideoHeightKey).as_int64(), 720);
  // The rest is the writer's 1080p30 default: a key frame each second at 30 fps.
  EXPECT_EQ(settings.at(AVVideoCompressionPropertiesKey).as_object().at(AVVideoMaxKeyFrameIntervalKey).as_int64(), 30);
}

TEST_F(TavoRecorderTest, ToggleStartsAndStopsAndPauseNeedsARecording) {
  provider_->outputs = {output(CanvasRole::primary)};
  recorder_.pauseRecording();
  EXPECT_FALSE(recorder_.isRecordingPaused().value());
  recorder_.toggleRecording(into("t.mov"));
  EXPECT_TRUE(recorder_.isRecording().value());
  recorder_.pauseRecording();
  EXPECT_TRUE(recorder_.isRecordingPaused().value());
  // A frame written while paused is dropped, so the only writer never starts and the stop fails.
  const auto pixels = std::shared_ptr<const std::uint8_t>(new std::uint8_t[6]{}, std::default_delete<std::uint8_t[]>());
  recorder_.writeVideo(CMSampleBuffer::videoFrame(VideoFrame::packed(PixelFormat::nv12, 2, 2, pixels), kCMTimeZero),
                       CanvasRole::primary, false);
  EXPECT_THROW(recorder_.toggleRecording(), VideoRecorderError);
  EXPECT_FALSE(recorder_.isRecordingPaused().value());
  EXPECT_EQ(recorder_.droppedBufferCount(), 1);
  EXPECT_FALSE(fs::exists(scratch_ / "t.mov"));
}

TEST(TavoRecorderCanvasMetadata, RoleComesBackFromTheValue) {
  const std::vector<std::pair<std::string, std::optional<CanvasRole>>> cases{
      {"tavo-canvas.primary", CanvasRole::primary},
      {"tavo-canvas.secondary", CanvasRole::secondary},
      {"tavo-canvas.other", std::nullopt},
      {"tavo-canvas.", std::nullopt},
      {"secondary", std::nullopt},
  };
  for (const auto& [value, role] : cases) EXPECT_EQ(TavoRecorder::CanvasMetadata::role(value), role) << value;
  EXPECT_EQ(TavoRecorder::CanvasMetadata::metadataValue(CanvasRole::secondary), "tavo-canvas.secondary");
}

}  // namespace
}  // namespace tav
