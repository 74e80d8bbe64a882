#include "tav/playback/basic_animation.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace tav {
namespace {

using Curve = BasicAnimation::Curve;

/// A clock the test moves by hand; copies share the time.
struct ManualClock {
  std::shared_ptr<double> now = std::make_shared<double>(100);
  AnimationClock clock() const {
    return [now = now] { return *now; };
  }
  void advance(double seconds) const { *now += seconds; }
};

TEST(BasicAnimation, ProgressFollowsEachCurveFromWhereTheRunStarts) {
  struct Case {
    Curve curve;
    bool reversing;
    std::optional<double> start;
    double elapsed;  // of a 2 s run
    double expected;
  };
  const std::vector<Case> cases{
      {Curve::linear, false, std::nullopt, 0.5, 0.25},
      {Curve::quadraticEaseIn, false, std::nullopt, 1.0, 0.25},     // 0.5 * 0.5
      {Curve::quadraticEaseOut, false, std::nullopt, 1.0, 0.75},    // -(0.5 * (0.5 - 2))
      {Curve::linear, true, std::nullopt, 0.5, 0.75},               // reversing starts at 1
      {Curve::linear, true, std::nullopt, 3.0, 0.0},
      {Curve::linear, false, 0.5, 1.5, 1.0},                        // 0.5 + 0.75, held to 1
      {Curve::linear, false, 0.5, -1.0, 0.5},                       // clock before the start
      {Curve::quadraticEaseOut, true, 0.6, 1.0, 0.6 - 0.75},        // held to 0 below
  };
  for (const Case& c : cases) {
    ManualClock time;
    BasicAnimation animation(2.0, c.curve, c.reversing, c.start, time.clock());
    time.advance(c.elapsed);
    EXPECT_DOUBLE_EQ(animation.getCurrentProgress(), std::max(0.0, c.expected))
        << static_cast<int>(c.curve) << " reversing " << c.reversing << " after " << c.elapsed;
  }
}

TEST(BasicAnimation, AZeroDurationIsAtItsEndAtOnce) {
  ManualClock time;
  BasicAnimation forward(0, Curve::linear, false, std::nullopt, time.clock());
  EXPECT_EQ(forward.getCurrentProgress(), 1.0);  // 0 / 0 counts as the end
  BasicAnimation backward(0, Curve::quadraticEaseIn, true, std::nullopt, time.clock());
  time.advance(1);
  EXPECT_EQ(backward.getCurrentProgress(), 0.0);
}

TEST(BasicAnimation, OppositeTurnsRoundWithoutAJump) {
  ManualClock time;
  BasicAnimation opening(1.0, Curve::linear, false, std::nullopt, time.clock());
  time.advance(0.375);
  EXPECT_EQ(opening.getCurrentProgress(), 0.375);
  time.advance(0.25);  // the value last read counts, not the time since
  BasicAnimation closing = opening.opposite();
  EXPECT_TRUE(closing.isReversing());
  EXPECT_EQ(std::tuple(closing.startTime(), closing.getCurrentProgress()), std::tuple(100.625, 0.375));
  time.advance(0.125);
  EXPECT_EQ(closing.getCurrentProgress(), 0.25);
  time.advance(1.0);
  EXPECT_EQ(closing.getCurrentProgress(), 0.0);

  BasicAnimation unread(1.0, Curve::linear, false, std::nullopt, time.clock());
  time.advance(0.25);
  EXPECT_EQ(unread.opposite().startingProgress(), 0.25);
  EXPECT_FALSE(unread.lastOutputtedProgress());
}

TEST(BasicAnimation, DebugDescriptionTellsDurationDirectionStartAndProgress) {
  ManualClock time;
  *time.now = 12.4;
  BasicAnimation animation(0.5, Curve::linear, false, std::nullopt, time.clock());
  time.advance(0.123456);
  EXPECT_EQ(animation.debugDescription(), "0.5s Forward Animation: started at 12.0 [24.69% complete]");
  EXPECT_FALSE(animation.lastOutputtedProgress());
  BasicAnimation reverse(2, Curve::linear, true, std::nullopt, time.clock());
  EXPECT_EQ(reverse.debugDescription(), "2.0s Reverse Animation: started at 13.0 [100.0% complete]");
}

}  // namespace
}  // namespace tav
