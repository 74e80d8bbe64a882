// The clock animations and GIF playback read: seconds of a monotonic clock, injectable so that tests
// drive time by hand.
#pragma once

#include <functional>

namespace tav {

/// Returns the present time in seconds; only differences between readings mean anything.
using AnimationClock = std::function<double()>;

/// Seconds of CLOCK_MONOTONIC (steady_clock): the default AnimationClock.
double animationClockNow();

}  // namespace tav
