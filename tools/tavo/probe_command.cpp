#include "probe_command.hpp"

#include <iostream>
#include <memory>
#include <string>

#include "exit_status.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"

namespace tav::tool {
namespace {

/// {"file", "format", "duration", "fragmentCount", "tracks": [...], "metadata": {...}}; a track gives
/// width, height and frameRate for video, sampleRate and channels for audio.
std::string describe(const std::string& file, const ProbedMovie& movie) {
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.field("file", file);
  w.field("format", movie.formatName);
  w.field("duration", movie.duration);
  w.field("fragmentCount", movie.fragmentCount);
  w.key("tracks");
  w.beginArray();
  for (const auto& track : movie.tracks) {
    w.beginObject();
    w.field("mediaType", track.mediaType);
    w.field("codec", track.codec);
    w.field("codecTag", track.codecTag);
    if (track.mediaType == "video") {
      w.field("width", track.width);
      w.field("height", track.height);
      w.field("frameRate", track.frameRate);
    }
    if (track.mediaType == "audio") {
      w.field("sampleRate", track.sampleRate);
      w.field("channels", track.channels);
    }
    w.field("packetCount", track.packetCount);
    w.field("startTime", track.startTime);
    w.field("duration", track.duration);
    w.endObject();
  }
  w.endArray();
  w.key("metadata");
  w.beginObject();
  for (const auto& [key, value] : movie.metadata) w.field(key, value);
  w.endObject();
  w.endObject();
  return out;
}

}  // namespace

void addProbeCommand(CLI::App& app, int& status) {
  auto file = std::make_shared<std::string>();
  auto* probe = app.add_subcommand("probe", "Show the tracks, duration, fragments and metadata of a movie file as JSON");
  probe->add_option("file", *file, "The movie or audio file")->required();
  probe->callback([file, &status] {
    silenceFfmpegMessages();
    try {
      std::cout << describe(*file, probeMovie(*file)) << '\n';
      status = kSuccess;
    } catch (const MovieProbeError& error) {
      std::cerr << "tavo: " << error.what() << '\n';
      status = error.kind() == MovieProbeError::Kind::cannotOpen ? kNoInput : kDataError;
    }
  });
}

}  // namespace tav::tool
