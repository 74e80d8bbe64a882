// The remote configuration and feedback reporters, as a host meets them.
//
// BM_ConfigRead: what reading the current configuration costs (the cache lock and a copy of a small
// record), from one thread and from two at once; a host may read it on every frame.
//
// BM_FeedbackWithLogs: one feedback with four 2 MB text logs, from the caller's call to the completion:
// copying into the staging folder, zipping with libzip, reading the archive back and encoding the request.
// The service answers at once (an in-process transport), so the figure is the reporter's own cost; it is
// reported in bytes of logs per second.
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "tav/foundation/serial_queue_run_loop.hpp"
#include "tav/reporting/app_feedback_reporter.hpp"
#include "tav/reporting/app_session_app_config_fetcher.hpp"

namespace tav::bench {
namespace {

struct BenchConfig {
  int refreshMinutes = 15;
  std::string channel = "release";
  bool previewEnabled = true;
  static std::string configKey() { return "bench"; }
};

}  // namespace
}  // namespace tav::bench

template <>
struct tav::JsonCoder<tav::bench::BenchConfig> {
  static void encode(JsonWriter& w, const bench::BenchConfig& v) {
    w.beginObject();
    w.field("refreshMinutes", v.refreshMinutes);
    w.field("channel", v.channel);
    w.field("previewEnabled", v.previewEnabled);
    w.endObject();
  }
  static bench::BenchConfig decode(const JsonValue& json, const JsonPath& path) {
    JsonObjectReader reader(json, path);
    return {reader.required<int>("refreshMinutes"), reader.required<std::string>("channel"),
            reader.required<bool>("previewEnabled")};
  }
};

namespace tav::bench {
namespace {

/// Answers every request at once, on the caller's thread: the feedback with an upload URL on loopback,
/// anything else with an empty object.
class InstantTransport final : public RequestTransport {
 public:
  void send(URLRequest request, Completion completion) override {
    const bool feedback = request.url.ends_with("nqs/app_feedbacks");
    completion(HTTPResponse{200, {}, feedback ? R"({"attachments_upload_url":"http://127.0.0.1/u"})" : "{}"});
  }
  void post(std::function<void()> task) override { task(); }
};

/// Runs every task at once on the caller's thread.
class InlineScheduler final : public TaskScheduler {
 public:
  void async(Task task) override { task(); }
  void asyncAfter(Duration, Task) override {}
};

void BM_ConfigRead(benchmark::State& state) {
  static SerialQueue timerQueue("com.morvane.bench.ConfigRead");
  static SerialQueueRunLoop runLoop(timerQueue);
  static std::shared_ptr<AppConfigFetcher<BenchConfig>> fetcher = [] {
    auto made = AppConfigFetcher<BenchConfig>::create<AppConfigFetcher<BenchConfig>>(AppConfigFetcherEnvironment{
        std::make_shared<InMemoryUserDefaults>(), &runLoop, std::make_shared<InlineScheduler>(),
        std::make_unique<ScriptedNetworkPathMonitor>()});
    made->setResult(AppConfigResult<BenchConfig>(BenchConfig{}));
    return made;
  }();
  for (auto _ : state) benchmark::DoNotOptimize(fetcher->config());
}
BENCHMARK(BM_ConfigRead)->Threads(1)->Threads(2);

void BM_FeedbackWithLogs(benchmark::State& state) {
  const auto folder = std::filesystem::temp_directory_path() / "tav-bench-feedback";
  std::filesystem::create_directories(folder);
  std::vector<Url> logs;
  std::int64_t bytes = 0;
  for (int i = 0; i < 4; ++i) {
    const auto file = folder / ("studio-" + std::to_string(i) + ".log");
    std::ofstream out(file);
    for (int line = 0; line < 40'000; ++line) out << "2026-03-01 10:00:00.000 info [TavoWriter] frame " << line * 7 + i << '\n';
    out.close();
    bytes += static_cast<std::int64_t>(std::filesystem::file_size(file));
    logs.push_back(Url::fileUrl(file));
  }
  AppFeedbackReporter reporter(
      AppFeedbackReporter::Environment{std::make_shared<InstantTransport>(), nullptr, std::make_shared<InlineScheduler>()});
  for (auto _ : state) {
    bool sent = false;
    reporter.sendFeedback({"me@example.com", "bench", AppFeedbackReporter::Feedback::Source::adHoc, std::nullopt}, logs,
                          {}, [&sent](std::exception_ptr error) { sent = error == nullptr; });
    if (!sent) state.SkipWithError("the feedback was not sent");
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_FeedbackWithLogs)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tav::bench
