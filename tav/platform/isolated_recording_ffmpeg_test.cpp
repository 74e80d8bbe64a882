// The isolated recording end to end: synthetic sources on awkward clocks, real writers, real files read
// back with FFmpeg.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/platform/isolated_sync_check.hpp"
#include "tav/recording/isolated_recording_coordinator.hpp"
#include "tav/testing/isolated_sync_sources.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/scripted_asset_writer.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;

TEST(IsolatedRecordingFiles, SourcesOnUnrelatedClocksLineUpThroughJumpsRestartsAndAPause) {
  testing::ScratchDirectory folder("isolated-files");
  std::atomic<double> host{0};
  // The first writer of "Broken" cannot create its file: only that source loses its first frame, and
  // its next buffer makes a new writer.
  testing::ScriptedAssetWriterFactory failingOnce;
  failingOnce.prepareWriter = [](testing::ScriptedWriterState& state) { state.startWritingResult = false; };
  std::atomic<int> brokenWriters{0};
  // Stepped faster than real time: the encoders' queues hold what they have not yet taken.
  FfmpegAssetWriterFactory files(FfmpegAssetWriterOptions{4096, 65536});
  const auto real = testing::isolatedWriters(files);
  const auto broken = testing::isolatedWriters(failingOnce);
  IsolatedRecordingCoordinator coordinator(
      [&](const std::string& key, const std::string& base, const Url& url, bool video,
          const std::optional<MediaSettings>& videoSettings, const std::optional<MediaSettings>& audioSettings,
          CMTime offset, const std::vector<MetadataItem>& metadata,
          IsolatedRecordingCoordinator::FailureCallback onFailure) {
        const auto& make = key == "Broken" && brokenWriters++ == 0 ? broken : real;
        return make(key, base, url, video, videoSettings, audioSettings, offset, metadata, std::move(onFailure));
      },
      [&] { return host.load(); });

  constexpr double start = 5000;
  std::vector<testing::SyncTestSource> sources = testing::syncTestSources(start, 4, 160, 90);
  sources.emplace_back("Broken", testing::SyncClocks::hostClock(), true, false, 160, 90);
  coordinator.begin(Url::fileUrl(folder.path()), 4);
  ::testing::internal::CaptureStderr();
  // Paused for the frames from 5001.5333 s to 5002.2 s: 21 frames, 0.7 s, cut from every file.
  testing::recordSyncSession(coordinator, sources, host, start, 4, start + 1.51, start + 2.21);
  coordinator.end();
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("Isolated recording session ended; finalised 5 file(s)"), std::string::npos) << log;
  EXPECT_NE(log.find("Isolated writer for Broken failed; dropping this source"), std::string::npos) << log;
  EXPECT_EQ(brokenWriters.load(), 2);

  const fs::path names[] = {"Offset.mov", "Jump.mov", "Restart.mov", "Voice.m4a"};
  std::vector<SyncMarks> marks;
  for (const fs::path& name : names) {
    ASSERT_TRUE(fs::exists(folder / name.string())) << name;
    marks.push_back(findSyncMarks(folder / name.string()));
    const ProbedMovie movie = probeMovie(folder / name.string());
    // 4 s recorded, 0.7 s of it paused: 3.3 s, give or take a frame (and AAC's last packet).
    EXPECT_NEAR(movie.duration, 3.3, 0.05) << name;
    const std::pair<std::string, std::string> type{"common/type", name == "Voice.m4a" ? "microphone" : "camera"};
    EXPECT_NE(std::find(movie.metadata.begin(), movie.metadata.end(), type), movie.metadata.end()) << name;
    // An audio source of its own is recorded losslessly; a video source's audio as the coordinator's
    // linear PCM settings say: 32-bit float, little-endian.
    for (const auto& track : movie.tracks) {
      if (track.mediaType != "audio") continue;
      EXPECT_EQ(track.codec, name == "Voice.m4a" ? "alac" : "pcm_f32le") << name;
    }
  }
  EXPECT_TRUE(fs::exists(folder / "Broken.mov")) << "the second writer of the failed source records";

  // Flashes at host 5000, 5001, then 5003 and 5004 lands at 2.3 s after the cut; the last is cut off.
  const std::vector<double> expectedFlashes{0, 1, 2.3};
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_EQ(marks[i].flashes.size(), expectedFlashes.size()) << names[i];
    for (std::size_t f = 0; f < expectedFlashes.size(); ++f) {
      EXPECT_NEAR(marks[i].flashes[f], expectedFlashes[f], 0.034) << names[i] << " flash " << f;
    }
    const auto audioToVideo = medianOffset(marks[i].beeps, marks[i].flashes);
    ASSERT_TRUE(audioToVideo.has_value()) << names[i];
    EXPECT_LT(std::fabs(*audioToVideo), 0.010) << names[i];
  }
  const auto voice = medianOffset(marks[3].beeps, marks[0].flashes);
  ASSERT_TRUE(voice.has_value());
  EXPECT_LT(std::fabs(*voice), 0.010) << "the audio-only source against the video of another";
}

}  // namespace
}  // namespace tav
