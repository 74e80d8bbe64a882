// What every Benchmarker stopwatch shares whatever its metric: the monotonic clock it reads, the
// process's signpost log for benchmarks, and the Benchmarker logger.
#pragma once

#include "tav/contracts/logger.hpp"
#include "tav/contracts/signpost_log.hpp"

namespace tav {

/// Seconds on the monotonic clock (CLOCK_MONOTONIC): only differences mean anything. Thread-safe.
double hostTime();

/// The log of benchmark signposts, subsystem "com.morvane.tavo" and category "Benchmarker", made once
/// for the process.
const SignpostLog& benchmarkerSignpostLog();

namespace detail {
/// The logger labelled "Benchmarker", shared by every Benchmarker and its stopwatches.
const Logger& benchmarkerLogger();
}  // namespace detail

}  // namespace tav
