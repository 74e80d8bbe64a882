// How a benchmark metric shows its average: the formatter protocol, the two stock formats, and what a
// host's enumeration of metrics must offer to be measured by a Benchmarker.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <string>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// A formatter of averages. `format(formatter, average)` gives the text people read and
/// `numberFormat(formatter, average)` the same figure as a number; `average` is in seconds. Both are
/// found by argument-dependent lookup beside the formatter type.
template <class Formatter>
concept BenchmarkerMetricFormattable = requires(const Formatter& formatter, double average) {
  { format(formatter, average) } -> std::convertible_to<std::string>;
  { numberFormat(formatter, average) } -> std::convertible_to<double>;
};

/// The stock formats: frames per second and milliseconds.
enum class BenchmarkerFormats { fps, ms };

/// `fps`: "%04.1f FPS" of 1 / average; `ms`: "%05.2f ms" of average * 1000. An average of 0 shows as
/// " inf FPS", as the format prints an infinity.
std::string format(BenchmarkerFormats formatter, double average);
/// `fps`: 1 / average; `ms`: average * 1000.
double numberFormat(BenchmarkerFormats formatter, double average);

static_assert(BenchmarkerMetricFormattable<BenchmarkerFormats>);

/// A host's enumeration of metrics: a table enumeration (so its cases can be listed) that is hashable,
/// with three members beside it, found by argument-dependent lookup: `metricName(metric)` (text),
/// `sampleLimit(metric)` (the most durations kept, at least 1) and `formatter(metric)`.
template <class Metric>
concept BenchmarkerMetricRepresentable = TableEnum<Metric> && requires(const Metric& metric) {
  { std::hash<Metric>{}(metric) } -> std::convertible_to<std::size_t>;
  { metricName(metric) } -> std::convertible_to<std::string>;
  { sampleLimit(metric) } -> std::convertible_to<std::size_t>;
  { formatter(metric) } -> BenchmarkerMetricFormattable;
};

}  // namespace tav
