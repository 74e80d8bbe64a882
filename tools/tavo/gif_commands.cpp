#include "gif_commands.hpp"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "exit_status.hpp"
#include "tav/contracts/gif_source.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/playback/gif_info.hpp"

namespace tav::tool {
namespace {

/// Opens `file`, or prints why not and sets `status`: 66 when it can't be read, 65 when it is no usable GIF.
std::unique_ptr<GifSource> openGif(const std::string& file, int& status) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) {
    std::cerr << "tavo: " << file << ": no such file\n";
    status = kNoInput;
    return nullptr;
  }
  try {
    return makeGifSource(std::filesystem::path(file));
  } catch (const GifReadError& failure) {
    std::cerr << "tavo: " << failure.what() << '\n';
    status = kDataError;
    return nullptr;
  }
}

int printInfo(const std::string& file, int& status) {
  const std::unique_ptr<GifSource> source = openGif(file, status);
  if (!source) return status;
  const std::optional<GifInfo> info = gifInfo(*source);
  if (!info) {
    std::cerr << "tavo: " << file << ": the GIF has no frames to play\n";
    return kDataError;
  }
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.key("colorModel");
  w.string(info->colorModel);
  w.key("depth");
  w.integer(info->depth);
  if (info->hasAlpha) {
    w.key("hasAlpha");
    w.boolean(*info->hasAlpha);
  }
  w.key("pixelWidth");
  w.integer(info->pixelWidth);
  w.key("pixelHeight");
  w.integer(info->pixelHeight);
  w.key("frameDurations");
  w.beginArray();
  for (double duration : info->frameDurations) w.number(duration);
  w.endArray();
  // Beside the info playback uses: how often the file asks to be played.
  if (const std::optional<int> loops = source->loopCount()) {
    w.key("loopCount");
    w.integer(*loops);
  }
  w.endObject();
  std::cout << out << '\n';
  return kSuccess;
}

int writeFrames(const std::string& file, const std::string& directory, int& status) {
  const std::unique_ptr<GifSource> source = openGif(file, status);
  if (!source) return status;
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    std::cerr << "tavo: " << directory << ": " << error.message() << '\n';
    return kNoInput;
  }
  std::string out;
  JsonWriter w(out);
  w.beginArray();
  std::size_t skipped = 0;
  for (std::size_t i = 0; i < source->count(); ++i) {
    const std::optional<Image> image = source->image(i);
    if (!image) {
      ++skipped;
      continue;
    }
    char name[32];
    std::snprintf(name, sizeof name, "frame-%04zu.png", i);
    const std::filesystem::path path = std::filesystem::path(directory) / name;
    try {
      writePNG(*image, path);
    } catch (const std::exception& failure) {
      std::cerr << "tavo: " << path.string() << ": " << failure.what() << '\n';
      return kSoftware;
    }
    w.string(path.string());
  }
  w.endArray();
  std::cout << out << '\n';
  if (skipped > 0) std::cerr << "tavo: " << file << ": " << skipped << " frames could not be decoded\n";
  return kSuccess;
}

}  // namespace

void addGifCommands(CLI::App& app, int& status) {
  auto* gif = app.add_subcommand("gif", "Read GIF files as GIF layers play them");
  gif->require_subcommand(1);

  auto infoFile = std::make_shared<std::string>();
  auto* info = gif->add_subcommand("info", "Print the GIF's size, colour model and frame delays (as played) as JSON");
  info->add_option("FILE", *infoFile, "The GIF file")->required();
  info->callback([infoFile, &status] { status = printInfo(*infoFile, status); });

  auto framesFile = std::make_shared<std::string>();
  auto framesOut = std::make_shared<std::string>();
  auto* frames = gif->add_subcommand(
      "frames", "Write every frame, composited as a browser shows it, as frame-NNNN.png; print the files as JSON");
  frames->add_option("FILE", *framesFile, "The GIF file")->required();
  frames->add_option("--out", *framesOut, "The folder for the pictures (created when missing)")->required();
  frames->callback([framesFile, framesOut, &status] { status = writeFrames(*framesFile, *framesOut, status); });
}

}  // namespace tav::tool
