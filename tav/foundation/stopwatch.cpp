#include "tav/foundation/stopwatch.hpp"

#include <time.h>

namespace tav {

double hostTime() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

const SignpostLog& benchmarkerSignpostLog() {
  static const SignpostLog log("com.morvane.tavo", "Benchmarker");
  return log;
}

namespace detail {
const Logger& benchmarkerLogger() {
  static const Logger logger("Benchmarker");
  return logger;
}
}  // namespace detail

}  // namespace tav
