// libFuzzer target for reading movie files: the asset's tracks, the sync-sample scan, a reverse chunk
// decode and a few ticks of a bouncing controller over whatever bytes come in. Nothing may crash, hang
// or leak; a file that is no movie must read as one without tracks, and the controller must stop.
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tav/foundation/serial_queue.hpp"
#include "tav/platform/ffmpeg_asset_reader.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/playback/video_file_chunks.hpp"
#include "tav/playback/video_file_controller.hpp"

namespace {

// Each input gets a file of its own, removed once it has run: work a controller left on its background
// queue may still open the previous input's file, and must find it gone rather than holding other bytes.
std::filesystem::path nextInputPath() {
  static unsigned long count = 0;
  return std::filesystem::temp_directory_path() /
         ("asset-reader-fuzz-" + std::to_string(::getpid()) + "-" + std::to_string(count++) + ".mov");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tav::silenceFfmpegMessages();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::filesystem::path inputPath = nextInputPath();
  {
    std::ofstream out(inputPath, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  auto asset = tav::makeFfmpegAsset(inputPath);
  const auto boundaries = tav::scanSyncSamples(*asset);
  if (boundaries.empty() || boundaries.front() != tav::kCMTimeZero) std::abort();
  std::atomic<bool> abandoned{false};
  const auto plan = tav::planReverseChunk(asset->duration(), boundaries, tav::VideoFileController::maxReverseChunkDuration);
  (void)tav::decodeReverseChunk(*asset, plan.timeRange, tav::ImageOrientation::right, abandoned);

  auto timer = std::make_shared<tav::ManualVideoFileTimer>();
  tav::VideoFileController::Environment environment;
  environment.makeAsset = [asset](const tav::Url&) { return asset; };
  environment.timer = timer;
  // Queues of our own, so that the input ends only once all of the controller's work has run.
  environment.readingQueue = std::make_shared<tav::SerialQueue>("com.morvane.fuzz.reading");
  environment.prefetchQueue = std::make_shared<tav::SerialQueue>("com.morvane.fuzz.prefetch");
  const auto queues = {environment.readingQueue, environment.prefetchQueue};
  auto controller = tav::VideoFileController::create(tav::Url::fileUrl(inputPath), tav::Looping::bounce, environment);
  controller->start();
  for (int i = 0; i < 8; ++i) timer->fire();
  controller->stop();
  controller.reset();
  for (int round = 0; round < 2; ++round) {  // a prefetch may post back to the reading queue
    for (const auto& queue : queues) queue->sync([] {});
  }
  if (timer->isScheduled()) std::abort();
  std::error_code ignored;
  std::filesystem::remove(inputPath, ignored);
  return 0;
}
