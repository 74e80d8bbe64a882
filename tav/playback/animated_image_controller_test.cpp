#include "tav/playback/animated_image_controller.hpp"

#include <gtest/gtest.h>

#include "tav/testing/gif_writer.hpp"
#include "tav/testing/manual_run_loop.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

using testing::ManualRunLoop;

/// Remembers which frame each delivered image is, by its first pixel's red value (10 * frame).
class FrameRecorder final : public AnimatedImageControllerDelegate {
 public:
  void animatedImageController(const Image& didOutputImage) override {
    delivered.push_back(didOutputImage.pixels[0] / 10);
  }
  std::vector<int> delivered;
};

class AnimatedImageControllerTest : public ::testing::Test {
 protected:
  /// A full-canvas GIF of `frames` frames, frame i red 10 * i, each `delayCentiseconds` long.
  Url writeGif(int frames, int delayCentiseconds = 10, const std::string& name = "a.gif") {
    testing::TestGif gif{2, 2, {}, 0, {}};
    for (int i = 0; i < frames; ++i) {
      gif.palette.push_back({static_cast<std::uint8_t>(10 * i), 0, 0});
      testing::TestGifFrame frame = testing::solidFrame(0, 0, 2, 2, static_cast<std::uint8_t>(i));
      frame.delayCentiseconds = delayCentiseconds;
      gif.frames.push_back(frame);
    }
    const std::vector<std::uint8_t> bytes = testing::encodeGif(gif);
    return Url::fileUrl(directory_.write(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
  }

  std::unique_ptr<AnimatedImageController> makeController() {
    auto controller = std::make_unique<AnimatedImageController>(
        "layer", AnimatedImageController::Environment{&runLoop_, [this] { return now_; }, [this] { return fps_; }});
    controller->setDelegate(recorder_);
    return controller;
  }

  /// Advances the clock by `seconds` and fires the timer, `ticks` times.
  void tick(int ticks, double seconds) {
    for (int i = 0; i < ticks; ++i) {
      now_ += seconds;
      runLoop_.fire();
    }
  }

  testing::ScratchDirectory directory_{"tav-gif-controller"};
  ManualRunLoop runLoop_;
  double now_ = 1000;
  double fps_ = 30;
  std::shared_ptr<FrameRecorder> recorder_ = std::make_shared<FrameRecorder>();
};

TEST_F(AnimatedImageControllerTest, ATenFpsGifDrivenAtThirtyFpsShowsEachFrameThreeTicks) {
  auto controller = makeController();
  controller->load(writeGif(3, 10));
  ASSERT_EQ(runLoop_.validTimers(), 1u);
  EXPECT_DOUBLE_EQ(runLoop_.timers().back()->interval.count(), 1.0 / 30);
  // Timer fires land a hair after their due time, as real ones do.
  tick(10, 1.0 / 30 + 1e-9);
  EXPECT_EQ(recorder_->delivered, (std::vector<int>{1, 1, 1, 2, 2, 2, 0, 0, 0, 1}));
}

TEST_F(AnimatedImageControllerTest, EachLoopingModeWalksTheFramesByItsRule) {
  struct Case {
    Looping looping;
    int frames;
    std::vector<int> expected;
  };
  const std::vector<Case> cases{
      {Looping::loop, 3, {1, 2, 0, 1, 2, 0}},
      {Looping::playOnce, 3, {1, 2, 2, 2, 2, 2}},
      {Looping::bounce, 3, {1, 2, 1, 0, 1, 2}},
      {Looping::bounce, 1, {0, 0, 0, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.looping));
    recorder_->delivered.clear();
    auto controller = makeController();
    controller->setLooping(c.looping);
    controller->load(writeGif(c.frames, 10, "loop" + std::to_string(c.frames) + ".gif"));
    tick(6, 0.5);
    EXPECT_EQ(recorder_->delivered, c.expected);
  }
}

TEST_F(AnimatedImageControllerTest, LoopDuringABackwardBounceGoesForwardAndKeepsTheDirectionFlag) {
  auto controller = makeController();
  controller->setLooping(Looping::bounce);
  controller->load(writeGif(4));
  tick(4, 0.5);  // 1, 2, 3, then back to 2
  ASSERT_TRUE(controller->isReversing());
  controller->setLooping(Looping::loop);
  tick(2, 0.5);
  EXPECT_EQ(recorder_->delivered, (std::vector<int>{1, 2, 3, 2, 3, 0}));
  EXPECT_TRUE(controller->isReversing());
}

TEST_F(AnimatedImageControllerTest, StopAndResumeKeepTheFrameAndTheTimerIsNeverDoubled) {
  auto controller = makeController();
  controller->resume();
  EXPECT_EQ(runLoop_.validTimers(), 0u) << "resume without a load";

  controller->load(writeGif(3));
  tick(1, 0.5);
  controller->stop();
  EXPECT_FALSE(controller->hasDispatchTimer());
  tick(3, 0.5);
  EXPECT_EQ(controller->dispatchFrameIndex(), 1);

  fps_ = 60;  // reaches the timer only when it starts again
  controller->resume();
  controller->resume();
  EXPECT_EQ(runLoop_.validTimers(), 1u);
  EXPECT_DOUBLE_EQ(runLoop_.timers().back()->interval.count(), 1.0 / 60);
  tick(1, 0.5);
  EXPECT_EQ(recorder_->delivered, (std::vector<int>{1, 2}));
}

TEST_F(AnimatedImageControllerTest, AFailedLoadChangesNothing) {
  auto controller = makeController();
  const Url gif = writeGif(2);
  controller->load(gif);
  const std::filesystem::path text = directory_.write("not.gif", "plain text");
  controller->load(Url::fileUrl(text));
  controller->load(Url::fileUrl(directory_ / "missing.gif"));
  EXPECT_EQ(controller->animatedImages()->size(), 2u);
  EXPECT_EQ(runLoop_.validTimers(), 1u);
  EXPECT_FALSE(AnimatedImageController::getImages(Url::fileUrl(text)));
  EXPECT_FALSE(AnimatedImageController::getInfo(Url::fileUrl(text)));
}

TEST_F(AnimatedImageControllerTest, GetInfoClampsTheFileDelaysAndDestroyingStopsTheTimer) {
  const std::optional<GifInfo> info = AnimatedImageController::getInfo(writeGif(2, 1));
  ASSERT_TRUE(info);
  EXPECT_EQ(std::tuple(info->frameDurations, info->pixelWidth), std::tuple(std::vector<double>{0.02, 0.02}, 2));
  EXPECT_TRUE(info->images.empty());
  EXPECT_EQ(AnimatedImageController::getInfo(writeGif(1, 0, "zero.gif"))->frameDurations, std::vector<double>{0.1});

  auto controller = makeController();
  controller->load(writeGif(2));
  controller.reset();
  EXPECT_EQ(runLoop_.validTimers(), 0u);
}

}  // namespace
}  // namespace tav
