// BasicAnimation: a progress value from 0 to 1 that follows a clock along an easing curve, and can turn
// round in mid-flight without a jump.
#pragma once

#include <optional>
#include <string>

#include "tav/playback/animation_clock.hpp"

namespace tav {

/// A plain object: not thread-safe. Whoever draws reads it; copies are independent animations with the
/// same start.
///
/// Progress: t = (now - startTime) / duration held to 0...1 (not a number counts as 1, so a duration
/// of 0 is at its end at once), eased by the curve, then added to (or, reversing, taken from)
/// startingProgress and held to 0...1. A run that starts part-way therefore reaches its end early and
/// stays there, at the speed a full run would have.
class BasicAnimation {
 public:
  enum class Curve { linear, quadraticEaseIn, quadraticEaseOut };

  /// Starts now by `clock`. Without a starting progress the run starts at 1 when reversing, else at 0.
  BasicAnimation(double duration, Curve curve, bool isReversing, std::optional<double> startingProgress = std::nullopt,
                 AnimationClock clock = animationClockNow);

  bool isReversing() const { return isReversing_; }
  /// Seconds of the clock at creation.
  double startTime() const { return startTime_; }
  double duration() const { return duration_; }
  Curve curve() const { return curve_; }
  double startingProgress() const { return startingProgress_; }
  /// The last result of getCurrentProgress(); absent until it is first called.
  std::optional<double> lastOutputtedProgress() const { return lastOutputtedProgress_; }

  /// The progress now, also kept as lastOutputtedProgress.
  double getCurrentProgress();
  /// The same animation the other way round, starting now from where this one was last read (or
  /// stands now, if it never was), with the full duration ahead at the same speed.
  BasicAnimation opposite() const;
  /// "0.5s Forward Animation: started at 12.0 [40.0% complete]"; doesn't count as a reading.
  std::string debugDescription() const;

 private:
  double progressAt(double now) const;

  bool isReversing_;
  double startTime_;
  double duration_;
  Curve curve_;
  double startingProgress_;
  std::optional<double> lastOutputtedProgress_;
  AnimationClock clock_;
};

}  // namespace tav
