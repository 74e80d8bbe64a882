#include "sync_check_command.hpp"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture_sources.hpp"
#include "exit_status.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/platform/isolated_sync_check.hpp"

namespace tav::tool {
namespace {

namespace fs = std::filesystem;

/// The files of a folder that a recording writes (sorted by name), or the files given.
std::vector<fs::path> inputFiles(const std::vector<std::string>& arguments) {
  std::vector<fs::path> files;
  for (const std::string& argument : arguments) {
    std::error_code error;
    if (!fs::is_directory(argument, error)) {
      files.emplace_back(argument);
      continue;
    }
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(argument, error)) {
      const std::string extension = entry.path().extension().string();
      if (entry.is_regular_file() && (extension == ".mov" || extension == ".m4a" || extension == ".mp4")) {
        found.push_back(entry.path());
      }
    }
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

void writeNumbers(JsonWriter& w, const std::vector<double>& values) {
  w.beginArray();
  for (const double value : values) w.number(value);
  w.endArray();
}

void writeOptional(JsonWriter& w, const std::optional<double>& value) {
  if (value) {
    w.number(*value);
  } else {
    w.null();
  }
}

/// {"files": [{"file", "hasVideo", "hasAudio", "flashes", "beeps", "audioToVideo", "offsets": {name:
/// seconds}}], "maxOffset", "maxAudioToVideo", "inSync"}. An offset is this file's marks minus the
/// other's; null where a file has no marks.
std::string report(const SyncComparison& comparison) {
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.key("files");
  w.beginArray();
  for (const SyncComparison::File& file : comparison.files) {
    w.beginObject();
    w.field("file", file.marks.file.string());
    w.field("hasVideo", file.marks.hasVideo);
    w.field("hasAudio", file.marks.hasAudio);
    w.key("flashes");
    writeNumbers(w, file.marks.flashes);
    w.key("beeps");
    writeNumbers(w, file.marks.beeps);
    w.key("audioToVideo");
    writeOptional(w, file.audioToVideo);
    w.key("offsets");
    w.beginObject();
    for (const auto& [name, offset] : file.offsets) {
      w.key(name);
      writeOptional(w, offset);
    }
    w.endObject();
    w.endObject();
  }
  w.endArray();
  w.field("maxOffset", comparison.maxOffset);
  w.field("maxAudioToVideo", comparison.maxAudioToVideo);
  w.field("inSync", comparison.isInSync());
  w.endObject();
  return out;
}

}  // namespace

void addSyncCheckCommand(CLI::App& app, int& status) {
  struct Options {
    std::vector<std::string> inputs;
    double recordSeconds = 0;
    std::vector<std::string> sources;
  };
  auto options = std::make_shared<Options>();
  auto* command = app.add_subcommand(
      "sync-check",
      "Find the flashes and beeps of the sync-check sources in recorded files and report, as JSON, each file's "
      "offset against the others and its audio against its video");
  command->add_option("inputs", options->inputs, "A session folder, or files")->required();
  command
      ->add_option("--record", options->recordSeconds,
                   "First record this many seconds into the (single) folder given, each source to its own file: "
                   "the synthetic sync-check sources (with a pause in the middle), or the --source inputs in "
                   "real time")
      ->check(CLI::Range(1.0, 600.0));
  command->add_option("--source", options->sources,
                      "NAME=URL: a file, or FORMAT:INPUT such as lavfi:testsrc2, v4l2:/dev/video0, x11grab::0.0, "
                      "pulse:default (repeatable; with --record)");
  command->callback([options, &status] {
    silenceFfmpegMessages();
    if (!options->sources.empty() && options->recordSeconds <= 0) {
      std::cerr << "tavo: --source is recorded with --record SECONDS\n";
      status = kUsage;
      return;
    }
    if (options->recordSeconds > 0) {
      if (options->inputs.size() != 1) {
        std::cerr << "tavo: --record takes one folder\n";
        status = kUsage;
        return;
      }
      std::vector<std::unique_ptr<CaptureSource>> sources;
      for (const std::string& text : options->sources) {
        const std::optional<CaptureSourceSpec> sourceSpec = CaptureSourceSpec::parse(text);
        if (!sourceSpec) {
          std::cerr << "tavo: --source " << text << ": expected NAME=URL\n";
          status = kUsage;
          return;
        }
        try {
          sources.push_back(openCaptureSource(*sourceSpec));
        } catch (const std::exception& error) {
          std::cerr << "tavo: " << error.what() << '\n';
          status = kNoInput;
          return;
        }
      }
      try {
        if (sources.empty()) {
          recordSyntheticSession(options->inputs.front(), options->recordSeconds);
        } else {
          recordCaptureSession(options->inputs.front(), options->recordSeconds, std::move(sources));
        }
      } catch (const std::exception& error) {
        std::cerr << "tavo: " << error.what() << '\n';
        status = kNoInput;
        return;
      }
    }
    const std::vector<fs::path> files = inputFiles(options->inputs);
    if (files.empty()) {
      std::cerr << "tavo: no recorded files (.mov, .m4a, .mp4) in " << options->inputs.front() << '\n';
      status = kNoInput;
      return;
    }
    std::vector<SyncMarks> marks;
    try {
      for (const fs::path& file : files) marks.push_back(findSyncMarks(file));
    } catch (const MovieProbeError& error) {
      std::cerr << "tavo: " << error.what() << '\n';
      status = error.kind() == MovieProbeError::Kind::cannotOpen ? kNoInput : kDataError;
      return;
    }
    std::cout << report(compareSyncMarks(std::move(marks))) << '\n';
    status = kSuccess;
  });
}

}  // namespace tav::tool
