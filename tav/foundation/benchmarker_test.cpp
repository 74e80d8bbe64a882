#include "tav/foundation/benchmarker.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace tav {
namespace benchmarker_test {
enum class TestMetric { render, upload };
}  // namespace benchmarker_test

template <>
struct EnumTraits<benchmarker_test::TestMetric> {
  using TestMetric = benchmarker_test::TestMetric;
  static constexpr std::array cases{EnumCase<TestMetric>{TestMetric::render, "render"},
                                    EnumCase<TestMetric>{TestMetric::upload, "upload"}};
};

namespace benchmarker_test {

std::string metricName(TestMetric metric) { return metric == TestMetric::render ? "Render" : "Upload"; }
std::size_t sampleLimit(TestMetric metric) { return metric == TestMetric::render ? 3 : 10; }
BenchmarkerFormats formatter(TestMetric metric) {
  return metric == TestMetric::render ? BenchmarkerFormats::fps : BenchmarkerFormats::ms;
}

namespace {

/// A clock the test moves by hand.
struct ManualClock {
  std::shared_ptr<double> now = std::make_shared<double>(100.0);
  Benchmarker<TestMetric>::Clock function() const {
    return [now = now] { return *now; };
  }
};

/// Each signpost event seen while the recorder lives.
struct SignpostRecorder {
  std::shared_ptr<std::vector<std::pair<SignpostEvent::Kind, std::uint64_t>>> events =
      std::make_shared<std::vector<std::pair<SignpostEvent::Kind, std::uint64_t>>>();
  SignpostRecorder() {
    SignpostLog::setListener([events = events](const SignpostEvent& event) {
      EXPECT_EQ(event.subsystem, "com.morvane.tavo");
      EXPECT_EQ(event.category, "Benchmarker");
      EXPECT_EQ(event.name, "Benchmark");
      events->emplace_back(event.kind, event.id);
    });
  }
  ~SignpostRecorder() { SignpostLog::setListener({}); }
};

TEST(BenchmarkerFormats, FormatsAndNumbersFollowTheTable) {
  struct Case {
    BenchmarkerFormats format;
    double average;
    const char* text;
    double number;
  };
  const Case cases[] = {
      {BenchmarkerFormats::fps, 0.02, "50.0 FPS", 50.0},
      {BenchmarkerFormats::fps, 0.5, "02.0 FPS", 2.0},
      {BenchmarkerFormats::ms, 0.0042, "04.20 ms", 4.2},
      {BenchmarkerFormats::ms, 0.25, "250.00 ms", 250.0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(format(c.format, c.average), c.text);
    EXPECT_DOUBLE_EQ(numberFormat(c.format, c.average), c.number);
  }
}

TEST(Benchmarker, UnrecordedMetricAveragesZeroAndFpsShowsInfinity) {
  Benchmarker<TestMetric> benchmarker;
  EXPECT_EQ(benchmarker.average(TestMetric::render), 0.0);
  EXPECT_EQ(benchmarker.formattedAverage(TestMetric::render), " inf FPS");
  EXPECT_EQ(benchmarker.formattedAverage(TestMetric::upload), "00.00 ms");
  EXPECT_TRUE(benchmarker.recordings().empty());
}

TEST(Benchmarker, KeepsTheNewestSampleLimitDurations) {
  ManualClock clock;
  Benchmarker<TestMetric> benchmarker(clock.function());
  for (double duration : {0.1, 0.2, 0.3, 0.4}) {
    auto stopwatch = benchmarker.track(TestMetric::render);
    *clock.now += duration;
    stopwatch.stop();
    EXPECT_TRUE(stopwatch.hasStopped());
  }
  const auto durations = benchmarker.recordings().at(TestMetric::render);
  ASSERT_EQ(durations.size(), 3u);
  EXPECT_NEAR(durations[0], 0.2, 1e-9);
  EXPECT_NEAR(durations[2], 0.4, 1e-9);
  EXPECT_NEAR(benchmarker.average(TestMetric::render), 0.3, 1e-9);
  EXPECT_NEAR(benchmarker.formattedNumberAverage(TestMetric::render), 1 / 0.3, 1e-9);

  // time(metric, block) measures the block and hands back its result.
  int result = benchmarker.time(TestMetric::upload, [&] {
    *clock.now += 0.004;
    return 7;
  });
  EXPECT_EQ(result, 7);
  EXPECT_EQ(benchmarker.formattedAverage(TestMetric::upload), "04.00 ms");
}

TEST(Benchmarker, SecondStopAndStopAfterBenchmarkerIsGoneRecordNothingButEndTheSignpost) {
  SignpostRecorder signposts;
  ManualClock clock;
  auto benchmarker = std::make_unique<Benchmarker<TestMetric>>(clock.function());
  auto stopwatch = benchmarker->track(TestMetric::upload);
  *clock.now += 1;
  stopwatch.stop();
  stopwatch.stop();
  EXPECT_EQ(benchmarker->recordings().at(TestMetric::upload).size(), 1u);

  auto orphan = benchmarker->track(TestMetric::render);
  benchmarker.reset();
  orphan.stop();
  EXPECT_TRUE(orphan.hasStopped());

  using Kind = SignpostEvent::Kind;
  const std::vector<std::pair<Kind, std::uint64_t>> expected{{Kind::begin, stopwatch.signpostID()},
                                                             {Kind::end, stopwatch.signpostID()},
                                                             {Kind::begin, orphan.signpostID()},
                                                             {Kind::end, orphan.signpostID()}};
  EXPECT_EQ(*signposts.events, expected);
  EXPECT_NE(stopwatch.signpostID(), orphan.signpostID());
}

TEST(Benchmarker, PrintSummaryLogsOneLinePerMetricAndNothingWhenEmpty) {
  ManualClock clock;
  Benchmarker<TestMetric> benchmarker(clock.function());
  auto logOf = [&] {
    ::testing::internal::CaptureStderr();
    benchmarker.printSummary();
    return ::testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ(logOf(), "");

  benchmarker.time(TestMetric::render, [&] { *clock.now += 0.02; });
  benchmarker.time(TestMetric::upload, [&] { *clock.now += 0.0042; });
  const std::string log = logOf();
  EXPECT_THAT(log,
              ::testing::HasSubstr("[Benchmarker] --- SUMMARY: ---\n- Render: 50.0 FPS [1/3]\n- Upload: 04.20 ms [1/10]\n"));

  benchmarker.reset(TestMetric::render);
  benchmarker.reset(TestMetric::upload);
  EXPECT_TRUE(benchmarker.recordings().empty());
  EXPECT_EQ(logOf(), "");
}

}  // namespace
}  // namespace benchmarker_test
}  // namespace tav
