// Benchmarker: a bounded run of recent durations per named metric, with averages for logs; every
// measurement also shows as a signpost interval ("Benchmark", the metric's name) to system profilers.
//
//   enum class RenderMetric { frame, upload };   // with EnumTraits, metricName, sampleLimit, formatter
//   Benchmarker<RenderMetric> benchmarker;
//   benchmarker.time(RenderMetric::frame, [&] { renderFrame(); });
//   auto stopwatch = benchmarker.track(RenderMetric::upload);  ...  stopwatch.stop();
//   benchmarker.printSummary();   // "- Upload: 04.20 ms [12/60]"
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tav/foundation/benchmarker_formats.hpp"
#include "tav/foundation/stopwatch.hpp"
#include "tav/foundation/unfair_lock.hpp"

namespace tav {

/// Any thread may call any member: the recordings are guarded by one lock. A metric's `sampleLimit` is
/// read with that lock held, so it must not call back into the Benchmarker. Stopwatches hold the
/// Benchmarker weakly: one stopped after the Benchmarker is gone records nothing.
template <BenchmarkerMetricRepresentable Metric>
class Benchmarker {
 public:
  /// Durations per metric in seconds, oldest first; metrics in the order of the enumeration's values.
  using Recordings = std::map<Metric, std::vector<double>>;
  using Clock = std::function<double()>;

 private:
  struct State;

 public:
  /// A running measurement of one metric, for one thread at a time. Destroying a stopwatch does not
  /// stop it: a run that nobody stops is not recorded.
  class Stopwatch {
   public:
    /// Records the time since the start for the metric (if the Benchmarker still exists) and ends the
    /// signpost interval. A second call logs "Tried to stop already stopped stopwatch." at debug level
    /// and does nothing else.
    void stop();
    bool hasStopped() const { return hasStopped_; }
    Metric metric() const { return metric_; }
    std::uint64_t signpostID() const { return signpostID_; }

   private:
    friend class Benchmarker;
    Stopwatch(std::weak_ptr<State> benchmarker, Metric metric, double start);

    std::weak_ptr<State> benchmarker_;
    Metric metric_;
    double start_;
    std::uint64_t signpostID_;
    bool hasStopped_ = false;
  };

  /// Starts with no recordings. `clock` gives seconds on a monotonic clock (tests pass their own).
  explicit Benchmarker(Clock clock = hostTime) : state_(std::make_shared<State>(std::move(clock))) {}
  Benchmarker(const Benchmarker&) = delete;
  Benchmarker& operator=(const Benchmarker&) = delete;

  /// A copy of every metric's durations, taken under the lock.
  Recordings recordings() const;
  /// The mean of the metric's durations, or 0.0 when it has none.
  double average(Metric metric) const;
  /// average(metric) through the metric's formatter, as text.
  std::string formattedAverage(Metric metric) const { return format(formatter(metric), average(metric)); }
  /// average(metric) through the formatter's numberFormat.
  double formattedNumberAverage(Metric metric) const { return numberFormat(formatter(metric), average(metric)); }
  /// Forgets the metric's durations (its entry is removed, not emptied).
  void reset(Metric metric) {
    state_->lock.whileLocked([&] { state_->recordings.erase(metric); });
  }
  /// A running stopwatch for `metric`; its signpost interval begins now.
  Stopwatch track(Metric metric) { return Stopwatch(state_, metric, state_->clock()); }
  /// Measures `block` under a stopwatch of `metric` and returns what it returns. A block that throws is
  /// not recorded.
  template <class Block>
  auto time(Metric metric, Block&& block) {
    Stopwatch stopwatch = track(metric);
    if constexpr (std::is_void_v<std::invoke_result_t<Block>>) {
      std::forward<Block>(block)();
      stopwatch.stop();
    } else {
      auto result = std::forward<Block>(block)();
      stopwatch.stop();
      return result;
    }
  }
  /// Logs at info level "--- SUMMARY: ---" and one line per metric recorded,
  /// "- <name>: <formatted average> [<count>/<sampleLimit>]"; logs nothing when nothing is recorded.
  void printSummary() const;

 private:
  struct State {
    explicit State(Clock c) : clock(std::move(c)) {}
    Clock clock;
    mutable UnfairLock lock;
    std::map<Metric, std::deque<double>> recordings;  // guarded by lock

    void record(Metric metric, double duration) {
      lock.whileLocked([&] {
        auto& durations = recordings[metric];
        durations.push_back(duration);
        const std::size_t limit = sampleLimit(metric);
        while (durations.size() > limit) durations.pop_front();
      });
    }
  };

  static double meanOf(const std::deque<double>& durations);

  std::shared_ptr<State> state_;
};

// ---- implementation ----

template <BenchmarkerMetricRepresentable Metric>
Benchmarker<Metric>::Stopwatch::Stopwatch(std::weak_ptr<State> benchmarker, Metric metric, double start)
    : benchmarker_(std::move(benchmarker)), metric_(metric), start_(start) {
  const SignpostLog& log = benchmarkerSignpostLog();
  signpostID_ = log.makeSignpostID();
  log.beginInterval(signpostID_, "Benchmark", std::string(metricName(metric_)).c_str());
}

template <BenchmarkerMetricRepresentable Metric>
void Benchmarker<Metric>::Stopwatch::stop() {
  if (hasStopped_) {
    detail::benchmarkerLogger().debug("Tried to stop already stopped stopwatch.");
    return;
  }
  auto benchmarker = benchmarker_.lock();
  const double duration = (benchmarker ? benchmarker->clock() : hostTime()) - start_;
  hasStopped_ = true;
  if (benchmarker) benchmarker->record(metric_, duration);
  benchmarkerSignpostLog().endInterval(signpostID_, "Benchmark", std::string(metricName(metric_)).c_str());
}

template <BenchmarkerMetricRepresentable Metric>
auto Benchmarker<Metric>::recordings() const -> Recordings {
  return state_->lock.whileLocked([&] {
    Recordings copy;
    for (const auto& [metric, durations] : state_->recordings) {
      copy.emplace(metric, std::vector<double>(durations.begin(), durations.end()));
    }
    return copy;
  });
}

template <BenchmarkerMetricRepresentable Metric>
double Benchmarker<Metric>::meanOf(const std::deque<double>& durations) {
  if (durations.empty()) return 0.0;
  double sum = 0;
  for (double duration : durations) sum += duration;
  return sum / static_cast<double>(durations.size());
}

template <BenchmarkerMetricRepresentable Metric>
double Benchmarker<Metric>::average(Metric metric) const {
  return state_->lock.whileLocked([&] {
    auto it = state_->recordings.find(metric);
    return it == state_->recordings.end() ? 0.0 : meanOf(it->second);
  });
}

template <BenchmarkerMetricRepresentable Metric>
void Benchmarker<Metric>::printSummary() const {
  struct Line {
    Metric metric;
    double average;
    std::size_t count;
  };
  // One snapshot under the lock, so each line's average and count belong together; the formatting runs
  // after the lock is released.
  std::vector<Line> snapshot = state_->lock.whileLocked([&] {
    std::vector<Line> result;
    for (const auto& [metric, durations] : state_->recordings) {
      result.push_back(Line{metric, meanOf(durations), durations.size()});
    }
    return result;
  });
  if (snapshot.empty()) return;
  std::string lines;
  for (const Line& line : snapshot) {
    if (!lines.empty()) lines += '\n';
    lines += "- " + std::string(metricName(line.metric)) + ": " + format(formatter(line.metric), line.average) +
             " [" + std::to_string(line.count) + "/" +
             std::to_string(static_cast<std::size_t>(sampleLimit(line.metric))) + "]";
  }
  detail::benchmarkerLogger().info("--- SUMMARY: ---\n{}", lines);
}

}  // namespace tav
