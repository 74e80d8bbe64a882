#include "record_command.hpp"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <set>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "capture_sources.hpp"
#include "exit_status.hpp"
#include "record_loop.hpp"
#include "record_source_grid.hpp"
#include "record_test_pattern.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/recording/isolated_recording_coordinator.hpp"
#include "tav/recording/recording_location.hpp"
#include "tav/recording/recording_location_handler.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/video_recorder_error.hpp"

namespace tav::tool {
namespace {

struct RecordArguments {
  double seconds = 10;
  int canvases = 1;
  std::string size = "1280x720";
  double fps = 30;
  std::vector<double> pauseAt;
  std::vector<double> resumeAt;
  std::string out = ".";
  bool json = false;
  std::vector<std::string> sources;  ///< NAME=URL
  bool isolated = false;
};

// Set from the signal handler; the producers and the progress loop watch it.
std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void requestStop(int) { stopRequested = true; }

/// The outputs of the run: the primary canvas, and the same canvas turned on its side as the second.
class RecordProvider final : public TavoRecorderSettingsProvider {
 public:
  RecordProvider(CanvasSize primary, CanvasSize secondary, int canvases, double fps)
      : primary_(primary), secondary_(secondary), canvases_(canvases), fps_(fps) {}

  std::optional<MediaSettings> videoSettings() const override { return settingsFor(primary_); }
  std::optional<MediaSettings> audioSettings() const override {
    MediaSettings settings;
    settings[AVFormatIDKey] = kAudioFormatMPEG4AAC;
    settings[AVSampleRateKey] = 48000;
    settings[AVNumberOfChannelsKey] = 2;
    settings[AVEncoderBitRateKey] = 128000;
    return settings;
  }
  std::vector<TavoRecorderRecordingOutput> recordingOutputs() const override {
    std::vector<TavoRecorderRecordingOutput> outputs{{CanvasRole::primary, std::nullopt, settingsFor(primary_)}};
    if (canvases_ == 2) {
      const char* suffix = secondary_.height > secondary_.width ? " Vertical" : " Secondary";
      outputs.emplace_back(CanvasRole::secondary, suffix, settingsFor(secondary_));
    }
    return outputs;
  }

 private:
  MediaSettings settingsFor(CanvasSize size) const {
    return RecordingVideoSettings::videoSettings(size.width, size.height, fps_);
  }
  CanvasSize primary_;
  CanvasSize secondary_;
  int canvases_;
  double fps_;
};

/// "WxH" with both sides even and from 16 to 8192; absent otherwise.
std::optional<CanvasSize> parseSize(const std::string& text) {
  int width = 0;
  int height = 0;
  char x = 0;
  char rest = 0;
  if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &rest) != 3 || (x != 'x' && x != 'X')) {
    return std::nullopt;
  }
  if (width < 16 || height < 16 || width > 8192 || height > 8192 || width % 2 != 0 || height % 2 != 0) {
    return std::nullopt;
  }
  return CanvasSize{width, height};
}

/// Pairs --pause-at with --resume-at in order; the last pause may stay open. A message on error.
std::optional<std::string> pauseSpans(const RecordArguments& args, std::vector<PauseSpan>& spans) {
  if (args.resumeAt.size() > args.pauseAt.size() || args.pauseAt.size() > args.resumeAt.size() + 1) {
    return "each --resume-at needs a --pause-at before it";
  }
  double last = -1;
  for (std::size_t i = 0; i < args.pauseAt.size(); ++i) {
    PauseSpan span{args.pauseAt[i], std::nullopt};
    if (i < args.resumeAt.size()) span.end = args.resumeAt[i];
    if (span.start <= last || (span.end && *span.end <= span.start)) {
      return "pauses must be in order: --pause-at " + fmt::format("{}", span.start) + " does not follow the last one";
    }
    last = span.end.value_or(span.start);
    spans.push_back(span);
  }
  return std::nullopt;
}

std::string sizeText(std::int64_t bytes) {
  if (bytes < 1024 * 1024) return fmt::format("{:.1f} KB", static_cast<double>(bytes) / 1024);
  return fmt::format("{:.1f} MB", static_cast<double>(bytes) / (1024 * 1024));
}

struct FrameTotals {
  std::int64_t written = 0;
  std::int64_t dropped = 0;
};

FrameTotals totals(const TavoRecorder& recorder) {
  FrameTotals result;
  for (const auto& counts : recorder.writerCounts()) {
    result.written += counts.videoFrameCount;
    result.dropped += counts.videoDropCount;
  }
  return result;
}

/// The finish notification's user info as one JSON object, keys in the notification's order, then the
/// isolated files when the run recorded them.
std::string finishJson(const Notification& finished, const std::optional<std::vector<std::string>>& isolatedPaths) {
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.field("path", *finished.info<std::string>("path"));
  w.key("paths");
  w.beginArray();
  for (const auto& path : *finished.info<std::vector<std::string>>("paths")) w.string(path);
  w.endArray();
  w.field("numberOfFiles", *finished.info<int>("numberOfFiles"));
  w.field("failedCount", *finished.info<int>("failedCount"));
  w.field("locationTitle", *finished.info<std::string>("locationTitle"));
  w.field("length", *finished.info<double>("length"));
  if (isolatedPaths) {
    w.key("isolatedPaths");
    w.beginArray();
    for (const auto& path : *isolatedPaths) w.string(path);
    w.endArray();
  }
  w.endObject();
  return out;
}

int exitStatusFor(const std::exception& error) {
  if (const auto* recorderError = dynamic_cast<const VideoRecorderError*>(&error)) {
    if (recorderError->errorCase() == VideoRecorderError::Case::missingLocation ||
        recorderError->errorCase() == VideoRecorderError::Case::fileCreationFailed) {
      return kNoInput;
    }
  }
  return kSoftware;
}

/// Opens every --source, in order. A status other than kSuccess (with its message printed) on error.
int openSources(const RecordArguments& args, std::vector<std::unique_ptr<CaptureSource>>& sources) {
  std::set<std::string> names;
  for (const std::string& text : args.sources) {
    const std::optional<CaptureSourceSpec> sourceSpec = CaptureSourceSpec::parse(text);
    if (!sourceSpec) {
      std::cerr << "tavo: --source " << text << ": expected NAME=URL, such as cam=lavfi:testsrc2 or mic=pulse:default\n";
      return kUsage;
    }
    // The name keys the source's isolated file: two sources of one name would share it.
    if (!names.insert(sourceSpec->name).second) {
      std::cerr << "tavo: --source " << text << ": the name \"" << sourceSpec->name << "\" is given twice\n";
      return kUsage;
    }
  }
  for (const std::string& text : args.sources) {
    try {
      sources.push_back(openCaptureSource(*CaptureSourceSpec::parse(text)));
    } catch (const std::exception& error) {
      std::cerr << "tavo: " << error.what() << '\n';
      return kNoInput;
    }
  }
  return kSuccess;
}

/// Stops the sources it watches when it goes out of scope, so that no source delivers into a renderer
/// or coordinator that is gone, whichever way the run ends.
class SourcesRunning {
 public:
  explicit SourcesRunning(std::vector<std::unique_ptr<CaptureSource>>& sources) : sources_(sources) {}
  ~SourcesRunning() { stop(); }
  SourcesRunning(const SourcesRunning&) = delete;
  SourcesRunning& operator=(const SourcesRunning&) = delete;
  void stop() {
    for (auto& source : sources_) source->stop();
  }
  bool allFinished() const {
    return std::all_of(sources_.begin(), sources_.end(), [](const auto& source) { return source->isFinished(); });
  }

 private:
  std::vector<std::unique_ptr<CaptureSource>>& sources_;
};

/// The recordings in `folder` (".mov", ".m4a") that are not among `canvasFiles`, sorted: the isolated
/// files of a session folder.
std::vector<std::string> isolatedFiles(const std::filesystem::path& folder, const std::set<std::string>& canvasFiles) {
  std::vector<std::string> found;
  std::error_code error;
  for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    const std::filesystem::path& path = it->path();
    const std::string extension = path.extension().string();
    if (path.filename().string().starts_with('.') || (extension != ".mov" && extension != ".m4a")) continue;
    if (canvasFiles.count(path.string()) == 0) found.push_back(path.string());
  }
  std::sort(found.begin(), found.end());
  return found;
}

int record(const RecordArguments& args) {
  const std::optional<CanvasSize> primary = parseSize(args.size);
  if (!primary) {
    std::cerr << "tavo: --size " << args.size << ": expected WIDTHxHEIGHT, even numbers from 16 to 8192\n";
    return kUsage;
  }
  if (!(args.seconds > 0) || !(args.fps >= 1 && args.fps <= 240)) {
    std::cerr << "tavo: --seconds must be above 0 and --fps from 1 to 240\n";
    return kUsage;
  }
  RecordLoopOptions options;
  options.seconds = args.seconds;
  options.fps = args.fps;
  options.canvases = args.canvases;
  if (auto problem = pauseSpans(args, options.pauses)) {
    std::cerr << "tavo: " << *problem << '\n';
    return kUsage;
  }
  std::error_code error;
  const std::filesystem::path out = std::filesystem::absolute(args.out, error);
  if (error || !std::filesystem::is_directory(out, error)) {
    std::cerr << "tavo: " << args.out << ": not a folder\n";
    return kNoInput;
  }
  // Opened before the recording starts, so that a source that cannot be read leaves no file behind.
  std::vector<std::unique_ptr<CaptureSource>> sources;
  if (const int status = openSources(args, sources); status != kSuccess) return status;
  const bool composesSources = !args.sources.empty() || args.isolated;

  const bool showProgress = ::isatty(STDERR_FILENO) == 1;
  // Library log lines would tear the progress line; errors still show.
  if (showProgress) ::setenv("TAV_LOG_LEVEL", "error", 0);
  silenceFfmpegMessages();
  RecordingLocationHandler& locations = RecordingLocationHandler::shared();
  locations.recordingSavePath().set(Url::fileUrl(out).absoluteString());
  // The folder is this run's save location, as a host's custom location would be, so the finished
  // recording names it ("locationTitle") rather than the library. The store is this process's own.
  try {
    CustomRecordingLocation::addCustomLocation(Url::fileUrl(out), {}, locations.store());
    locations.currentLocation().set(CustomRecordingLocation::locations(locations.store()).get().back());
  } catch (const RecordingLocationError& refused) {
    std::cerr << "tavo: " << out.string() << ": " << refused.what() << " (the save location keeps its title)\n";
  }
  // The isolated files go beside the canvas in the recorder's session folder, which the recorder
  // makes for a single canvas too when asked to.
  if (args.isolated) locations.setUsesSessionSubfolder(true);

  const CanvasSize secondary{primary->height, primary->width};
  auto provider = std::make_shared<RecordProvider>(*primary, secondary, args.canvases, args.fps);
  TavoRecorder& recorder = TavoRecorder::shared();
  recorder.setSettingsProvider(provider);

  std::mutex mutex;
  std::condition_variable ended;
  std::optional<Notification> finished;
  std::optional<Notification> failed;
  const auto keep = [&](std::optional<Notification>& slot) {
    return [&](const Notification& n) {
      std::lock_guard lock(mutex);
      slot = n;
      ended.notify_all();
    };
  };
  NotificationCenter& center = NotificationCenter::defaultCenter();
  NotificationObservation onFinish =
      center.observe(std::string(TavoRecorder::recordingDidFinishNotification), keep(finished));
  NotificationObservation onFail = center.observe(std::string(TavoRecorder::recordingDidFailNotification), keep(failed));

  stopRequested = false;
  std::signal(SIGINT, requestStop);
  std::signal(SIGTERM, requestStop);

  try {
    recorder.startRecording(std::nullopt);
  } catch (const std::exception& e) {
    std::cerr << "tavo: cannot start recording: " << e.what() << '\n';
    return exitStatusFor(e);
  }

  // The recorder's files, known once it has started: their folder is the session folder.
  std::set<std::string> canvasFiles;
  for (const Url& url : recorder.inProgressOutputURLs()) canvasFiles.insert(url.filePath().string());
  const std::filesystem::path sessionFolder =
      canvasFiles.empty() ? out : std::filesystem::path(*canvasFiles.begin()).parent_path();

  // Made now rather than before the start: they schedule their first frame from the present moment.
  if (composesSources && sources.empty()) {
    // Three pictures and a voice: cells of a 2x2 grid, so the sources are made at cell size.
    const int cellWidth = std::max(16, (primary->width / 2) & ~1);
    const int cellHeight = std::max(16, (primary->height / 2) & ~1);
    sources = syntheticCaptureSources(args.seconds, cellWidth, cellHeight);
  }
  IsolatedRecordingCoordinator isolated;
  if (args.isolated) {
    isolated.begin(Url::fileUrl(sessionFolder), IsolatedRecordingCoordinator::defaultVideoWriterCap);
    options.onPauseChanged = [&isolated](bool paused) { isolated.setPaused(paused); };
  }
  std::unique_ptr<CanvasRenderer> renderer;
  if (composesSources) {
    auto grid = std::make_unique<SourceGridRenderer>(sources, *primary, secondary);
    for (std::size_t i = 0; i < sources.size(); ++i) {
      CaptureSinks toCanvas = grid->sinks(i);
      sources[i]->start(args.isolated ? isolatedFeed(isolated, *sources[i], std::move(toCanvas)) : std::move(toCanvas));
    }
    renderer = std::move(grid);
  } else {
    renderer = std::make_unique<TestPatternRenderer>(*primary, secondary);
  }
  SourcesRunning running(sources);

  RecordLoop loop(recorder, *renderer, options);
  std::atomic<bool> producersDone{false};
  std::thread producers([&] {
    loop.run(stopRequested);
    producersDone = true;
  });
  // Progress, and the watch for a recording that a failed output ended by itself.
  while (!producersDone) {
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    if (!recorder.isRecording().value()) stopRequested = true;
    // Sources given by the user that have all ended (files played out, devices gone) end the run.
    if (!args.sources.empty() && running.allFinished() && !stopRequested) {
      std::cerr << (showProgress ? "\n" : "") << "tavo: every source has ended; stopping\n";
      stopRequested = true;
    }
    if (showProgress) {
      const FrameTotals frames = totals(recorder);
      std::cerr << fmt::format("\rtavo: recording {}  frames {} written, {} dropped  {}      ",
                               recorder.displayDuration().value().value_or("00:00"), frames.written, frames.dropped,
                               sizeText(recorder.recordedFileSize()))
                << std::flush;
    }
  }
  producers.join();
  if (showProgress) std::cerr << '\n';
  running.stop();
  std::optional<std::vector<std::string>> isolatedPaths;
  if (args.isolated) {
    isolated.end();
    isolatedPaths = isolatedFiles(sessionFolder, canvasFiles);
  }

  int status = kSuccess;
  if (recorder.isRecording().value()) {
    try {
      recorder.stopRecording();
    } catch (const std::exception& e) {
      std::cerr << "tavo: " << e.what() << '\n';
      status = kSoftware;
    }
  }
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);

  std::unique_lock lock(mutex);
  if (status == kSuccess) ended.wait(lock, [&] { return finished || failed; });
  if (!finished) {
    if (failed) std::cerr << "tavo: the recording failed and no canvas file was saved\n";
    if (isolatedPaths) {
      for (const auto& path : *isolatedPaths) std::cerr << "tavo: isolated file kept: " << path << '\n';
    }
    return kSoftware;
  }
  const FrameTotals frames = totals(recorder);
  std::cerr << fmt::format("tavo: saved {} file(s), {:.2f} s, {} frames written, {} dropped, {} failed output(s)\n",
                           *finished->info<int>("numberOfFiles"), *finished->info<double>("length"), frames.written,
                           frames.dropped, *finished->info<int>("failedCount"));
  if (isolatedPaths) {
    std::cerr << fmt::format("tavo: {} isolated file(s) in {}\n", isolatedPaths->size(), sessionFolder.string());
  }
  if (args.json) {
    std::cout << finishJson(*finished, isolatedPaths) << '\n';
  } else {
    for (const auto& path : *finished->info<std::vector<std::string>>("paths")) std::cout << path << '\n';
    if (isolatedPaths) {
      for (const auto& path : *isolatedPaths) std::cout << path << '\n';
    }
  }
  return status;
}

}  // namespace

void addRecordCommand(CLI::App& app, int& status) {
  auto args = std::make_shared<RecordArguments>();
  auto* command = app.add_subcommand(
      "record",
      "Record canvases through the recorder: a moving test pattern and a tone, or a grid of capture sources "
      "(--source, --isolated); Ctrl-C stops");
  command->add_option("--seconds", args->seconds, "Length of the run in seconds, pauses included (default 10)");
  command->add_option("--canvases", args->canvases, "1: one canvas; 2: also the canvas turned on its side")
      ->check(CLI::IsMember({1, 2}));
  command->add_option("--size", args->size, "Size of the first canvas, WIDTHxHEIGHT (default 1280x720)");
  command->add_option("--fps", args->fps, "Frames per second (default 30)");
  command->add_option("--pause-at", args->pauseAt, "Pause at this second of the run (repeatable)");
  command->add_option("--resume-at", args->resumeAt, "Resume at this second of the run (one per --pause-at)");
  command->add_option("--out", args->out, "Folder to save into (default: the current folder)");
  command->add_flag("--json", args->json, "Print the saved recording's details as JSON");
  command->add_option("--source", args->sources,
                      "NAME=URL: a capture source shown in a grid on the canvas, a file or FORMAT:INPUT such as "
                      "lavfi:testsrc2, lavfi:sine, v4l2:/dev/video0, x11grab::0.0, pulse:default (repeatable)");
  command->add_flag("--isolated", args->isolated,
                    "Also record each source to its own file in the session folder (without --source: the "
                    "synthetic sync-check sources)");
  command->callback([args, &status] { status = record(*args); });
}

}  // namespace tav::tool
