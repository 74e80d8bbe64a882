#include "play_command.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "exit_status.hpp"
#include "tav/contracts/frame_memory.hpp"
#include "tav/contracts/image.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/foundation/serial_queue.hpp"
#include "tav/playback/video_file_controller.hpp"
#include "tav/platform/ffmpeg_asset_reader.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav::tool {
namespace {

using Clock = std::chrono::steady_clock;

struct PlayOptions {
  std::string file;
  std::string looping = "playOnce";
  double seconds = 0;
  std::string framesOut;
  int every = 1;
  bool json = false;
};

/// A BGRA frame as the RGBA picture PNG files are written from.
Image rgbaImage(const VideoFrame& frame) {
  Image image;
  image.width = frame.width;
  image.height = frame.height;
  image.pixels.resize(static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height) * 4);
  for (int y = 0; y < frame.height; ++y) {
    const std::uint8_t* in = frame.planes[0] + static_cast<std::ptrdiff_t>(y) * frame.strides[0];
    std::uint8_t* out = image.pixel(0, y);
    for (int x = 0; x < frame.width; ++x, in += 4, out += 4) {
      out[0] = in[2];
      out[1] = in[1];
      out[2] = in[0];
      out[3] = in[3];
    }
  }
  return image;
}

/// Counts what the controller delivers, on its reading queue; the command's thread reads the counts.
class PlayObserver final : public VideoFileControllerDelegate {
 public:
  PlayObserver(std::filesystem::path framesOut, int every) : framesOut_(std::move(framesOut)), every_(every) {}

  void videoFileControllerDidOutputVideo(const CMSampleBuffer& buffer) override {
    const auto now = Clock::now();
    const CMTime time = CMSampleBufferGetPresentationTimeStamp(buffer);
    std::uint64_t index = 0;
    {
      std::lock_guard lock(mutex_);
      index = frames_++;
      if (last_) longestGap_ = std::max(longestGap_, now - *last_);
      last_ = now;
      if (previousTime_.isValid() && time < previousTime_) {
        backwards_ = true;
        ++reverseFrames_;
      } else if (previousTime_.isValid() && time > previousTime_) {
        backwards_ = false;
      }
      previousTime_ = time;
    }
    if (!framesOut_.empty() && index % static_cast<std::uint64_t>(every_) == 0 && buffer.videoFrame() != nullptr) {
      // Written on a queue of the command's own, so that a slow disk never holds the picture up.
      writer_.async([this, buffer, index] {
        char name[32];
        std::snprintf(name, sizeof name, "frame-%06llu.png", static_cast<unsigned long long>(index));
        try {
          writePNG(rgbaImage(*buffer.videoFrame()), framesOut_ / name);
          std::lock_guard lock(mutex_);
          ++written_;
        } catch (const std::exception& error) {
          std::lock_guard lock(mutex_);
          if (writeError_.empty()) writeError_ = error.what();
        }
      });
    }
  }
  void videoFileControllerDidOutputAudio(const AudioPCMBuffer&) override {}

  struct Counts {
    std::uint64_t frames = 0;
    std::uint64_t reverseFrames = 0;
    std::uint64_t written = 0;
    bool backwards = false;
    double longestGap = 0;
    std::string writeError;
  };
  Counts counts() {
    std::lock_guard lock(mutex_);
    return Counts{frames_, reverseFrames_, written_, backwards_, std::chrono::duration<double>(longestGap_).count(),
                  writeError_};
  }
  /// Waits for the frames still being written.
  void finishWriting() { writer_.drain(); }

 private:
  const std::filesystem::path framesOut_;
  const int every_;
  SerialQueue writer_{"com.morvane.tavo.play.frames"};
  std::mutex mutex_;
  std::uint64_t frames_ = 0;          // guarded by mutex_
  std::uint64_t reverseFrames_ = 0;   // guarded by mutex_
  std::uint64_t written_ = 0;         // guarded by mutex_
  bool backwards_ = false;            // guarded by mutex_
  CMTime previousTime_ = kCMTimeInvalid;  // guarded by mutex_
  std::optional<Clock::time_point> last_;  // guarded by mutex_
  Clock::duration longestGap_{0};     // guarded by mutex_
  std::string writeError_;            // guarded by mutex_
};

int play(const PlayOptions& options) {
  const std::optional<Looping> looping = enumFromRawValue<Looping>(options.looping);
  if (!looping) {
    std::cerr << "tavo: --looping must be playOnce, loop or bounce, not \"" << options.looping << "\"\n";
    return kUsage;
  }
  if (options.every < 1) {
    std::cerr << "tavo: --every must be at least 1\n";
    return kUsage;
  }
  std::error_code missing;
  if (!std::filesystem::is_regular_file(options.file, missing)) {
    std::cerr << "tavo: " << options.file << ": no such file\n";
    return kNoInput;
  }
  // Checked here so that a file that cannot play is an error of the command, not only a log line.
  const std::shared_ptr<Asset> asset = makeFfmpegAsset(options.file);
  try {
    asset->makeReader();
  } catch (const std::exception& error) {
    std::cerr << "tavo: " << error.what() << '\n';
    return kDataError;
  }
  if (asset->tracksWithMediaType(MediaStreamType::video()).empty()) {
    std::cerr << "tavo: " << options.file << ": no video track\n";
    return kDataError;
  }
  if (!options.framesOut.empty()) {
    std::error_code failed;
    std::filesystem::create_directories(options.framesOut, failed);
    if (failed) {
      std::cerr << "tavo: cannot create " << options.framesOut << ": " << failed.message() << '\n';
      return kSoftware;
    }
  }
  const double duration = asset->duration().seconds();
  const double seconds =
      options.seconds > 0 ? options.seconds : (*looping == Looping::bounce ? 2 * duration : duration) + 0.5;

  auto observer = std::make_shared<PlayObserver>(options.framesOut, options.every);
  VideoFileController::Environment environment;
  environment.makeAsset = [asset](const Url&) { return asset; };
  auto controller = VideoFileController::create(Url::fileUrl(options.file), *looping, environment);
  controller->setDelegate(observer);
  FrameMemory::resetPeak();
  const auto started = Clock::now();
  controller->start();

  const bool showProgress = ::isatty(STDERR_FILENO) != 0 || !options.json;
  for (int second = 1;; ++second) {
    const auto next = started + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                                    std::min<double>(second, seconds)));
    std::this_thread::sleep_until(next);
    const auto counts = observer->counts();
    if (showProgress) {
      std::cerr << "tavo: " << std::min<double>(second, seconds) << " s: " << counts.frames << " frames, "
                << (counts.backwards ? "backwards" : "forwards") << ", " << controller->statistics().stalls
                << " stalls\n";
    }
    if (second >= seconds) break;
  }
  const bool wasRunning = controller->isRunning();
  const VideoFilePlaybackStatistics statistics = controller->statistics();
  controller.reset();  // stops synchronously
  observer->finishWriting();
  const auto counts = observer->counts();
  if (!wasRunning) {
    std::cerr << "tavo: " << options.file << ": the file could not be played\n";
    return kDataError;
  }
  if (!counts.writeError.empty()) {
    std::cerr << "tavo: " << counts.writeError << '\n';
    return kSoftware;
  }
  if (options.json) {
    std::string out;
    JsonWriter w(out);
    w.beginObject();
    w.field("file", options.file);
    w.field("looping", options.looping);
    w.field("seconds", seconds);
    w.field("frames", static_cast<std::int64_t>(counts.frames));
    w.field("reverseFrames", static_cast<std::int64_t>(counts.reverseFrames));
    w.field("stalls", static_cast<std::int64_t>(statistics.stalls));
    w.field("longestGap", counts.longestGap);
    w.field("peakDecodedFrameMemory", static_cast<std::int64_t>(FrameMemory::peak()));
    w.field("framesWritten", static_cast<std::int64_t>(counts.written));
    w.endObject();
    std::cout << out << '\n';
  }
  return kSuccess;
}

}  // namespace

void addPlayCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<PlayOptions>();
  auto* command = app.add_subcommand("play", "Play a video file in real time as a layer source does, and report how it went");
  command->add_option("file", options->file, "The video file")->required();
  command->add_option("--looping", options->looping, "playOnce (the default), loop or bounce");
  command->add_option("--seconds", options->seconds,
                      "How long to play; by default the file's length (twice that to bounce)");
  auto* framesOut = command->add_option("--frames-out", options->framesOut, "Write delivered frames as PNG files here");
  command->add_option("--every", options->every, "With --frames-out: write every Nth frame (default 1)")->needs(framesOut);
  command->add_flag("--json", options->json,
                    "Print a summary as JSON: frames, stalls, the longest gap between frames (s), peak decoded-frame "
                    "memory (bytes)");
  command->callback([options, &status] {
    silenceFfmpegMessages();
    status = play(*options);
  });
}

}  // namespace tav::tool
