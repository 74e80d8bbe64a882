#include "tav/playback/basic_animation.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

namespace tav {
namespace {

double clamped(double value) { return std::clamp(value, 0.0, 1.0); }

/// A double as the platform prints one: shortest exact digits, with ".0" on whole numbers.
std::string decimalText(double value) {
  char buffer[64];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string text(buffer, error == std::errc() ? end : buffer);
  if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

}  // namespace

double animationClockNow() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

BasicAnimation::BasicAnimation(double duration, Curve curve, bool isReversing, std::optional<double> startingProgress,
                               AnimationClock clock)
    : isReversing_(isReversing),
      startTime_(clock()),
      duration_(duration),
      curve_(curve),
      startingProgress_(startingProgress.value_or(isReversing ? 1.0 : 0.0)),
      clock_(std::move(clock)) {}

double BasicAnimation::progressAt(double now) const {
  double t = (now - startTime_) / duration_;
  t = std::isnan(t) ? 1.0 : clamped(t);
  double eased = t;
  switch (curve_) {
    case Curve::linear:
      break;
    case Curve::quadraticEaseIn:
      eased = t * t;
      break;
    case Curve::quadraticEaseOut:
      eased = -(t * (t - 2));
      break;
  }
  eased = clamped(eased);
  return clamped(isReversing_ ? startingProgress_ - eased : startingProgress_ + eased);
}

double BasicAnimation::getCurrentProgress() {
  lastOutputtedProgress_ = progressAt(clock_());
  return *lastOutputtedProgress_;
}

BasicAnimation BasicAnimation::opposite() const {
  const double from = lastOutputtedProgress_ ? *lastOutputtedProgress_ : progressAt(clock_());
  return BasicAnimation(duration_, curve_, !isReversing_, from, clock_);
}

std::string BasicAnimation::debugDescription() const {
  const double percent = std::round(progressAt(clock_()) * 10000) / 100;
  return decimalText(duration_) + "s " + (isReversing_ ? "Reverse" : "Forward") + " Animation: started at " +
         decimalText(std::round(startTime_)) + " [" + decimalText(percent) + "% complete]";
}

}  // namespace tav
