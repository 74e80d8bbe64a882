// A lead recording killed without warning: the file it leaves must play up to the fragment being written,
// and the next launch must find it through the mark and hand it to the media library.
#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "tav/platform/ffmpeg_asset_writer.hpp"
#include "tav/platform/ffmpeg_movie_probe.hpp"
#include "tav/platform/file_user_defaults.hpp"
#include "tav/platform/videos_folder_media_library.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/tavo_writer.hpp"
#include "tav/testing/scoped_environment_variable.hpp"
#include "tav/testing/scratch_directory.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav {
namespace {

// The child: records 640x360 NV12 at 30 fps and 48 kHz stereo in real time into `output` until it is
// killed (or 30 s pass, should the parent be gone). Writes one byte to `ready` after the first frame and
// counts the frames handed to the writer in `handed`, memory it shares with the parent.
[[noreturn]] void recordUntilKilled(const std::filesystem::path& output, const std::filesystem::path& defaultsFile,
                                    int ready, std::atomic<std::int64_t>* handed) {
  try {
    auto defaults = std::make_shared<FileUserDefaults>(defaultsFile);
    FfmpegAssetWriterFactory factory;
    TavoWriter writer(true, factory, defaults);
    writer.start(Url::fileUrl(output), RecordingVideoSettings::videoSettings(640, 360, 30.0, false), testing::stereoAudio(),
                 true, FileType::quickTimeMovie, {});
    const CMTime origin = CMTime::make(1000, 1);  // a host clock's time, not zero
    const auto begin = std::chrono::steady_clock::now();
    for (std::int64_t frame = 0; frame < 30 * 30; ++frame) {
      std::this_thread::sleep_until(begin + std::chrono::microseconds(frame * 1'000'000 / 30));
      writer.write(testing::syntheticVideoFrame(PixelFormat::nv12, 640, 360, frame, 30, origin), MediaStreamType::video());
      writer.write(testing::syntheticAudio(2, 48000, 1600, frame * 1600, origin), MediaStreamType::audio());
      handed->store(frame + 1);
      if (frame == 0) {
        const char byte = 1;
        if (::write(ready, &byte, 1) != 1) ::_exit(3);
      }
    }
  } catch (const std::exception&) {
    ::_exit(2);
  }
  ::_exit(0);
}

struct KilledRecording {
  double handedSeconds = 0;  ///< media handed to the writer before the kill
  ProbedMovie movie;
};

// Records into `output` in a child process and kills it `moment` after its first frame.
void recordAndKill(const std::filesystem::path& output, const std::filesystem::path& defaultsFile,
                   std::chrono::milliseconds moment, KilledRecording& result) {
  void* shared = ::mmap(nullptr, sizeof(std::atomic<std::int64_t>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                        -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* handed = new (shared) std::atomic<std::int64_t>(0);
  int pipeEnds[2];
  ASSERT_EQ(::pipe(pipeEnds), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::close(pipeEnds[0]);
    recordUntilKilled(output, defaultsFile, pipeEnds[1], handed);
  }
  ::close(pipeEnds[1]);
  char byte = 0;
  const bool started = ::read(pipeEnds[0], &byte, 1) == 1;
  ::close(pipeEnds[0]);
  if (started) std::this_thread::sleep_for(moment);
  ::kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  result.handedSeconds = static_cast<double>(handed->load()) / 30.0;
  ::munmap(shared, sizeof(std::atomic<std::int64_t>));
  ASSERT_TRUE(started) << "the child failed before its first frame, exit status " << WEXITSTATUS(status);
  ASSERT_TRUE(WIFSIGNALED(status));
  ASSERT_EQ(WTERMSIG(status), SIGKILL);
  ASSERT_TRUE(std::filesystem::exists(output));
  result.movie = probeMovie(output);
}

const ProbedTrack* trackOf(const ProbedMovie& movie, std::string_view mediaType) {
  for (const auto& track : movie.tracks) {
    if (track.mediaType == mediaType) return &track;
  }
  return nullptr;
}

// Killed at any moment after 1.5 s, a recording loses at most 1.2 s: the one fragment being written
// (fragments are a second long) and what the encoder still holds.
TEST(InterruptedRecording, AKillAtAnyMomentLosesAtMostTheFragmentBeingWritten) {
  for (const int milliseconds : {1600, 2300, 4700}) {
    SCOPED_TRACE(milliseconds);
    testing::ScratchDirectory temporary("tav-kill");
    KilledRecording killed;
    recordAndKill(temporary / "killed.mov", temporary / "defaults.json", std::chrono::milliseconds(milliseconds), killed);
    if (::testing::Test::HasFatalFailure()) return;
    const ProbedTrack* video = trackOf(killed.movie, "video");
    ASSERT_NE(video, nullptr) << "a file without media";
    EXPECT_GE(video->duration, killed.handedSeconds - 1.2) << "handed " << killed.handedSeconds << " s";
    EXPECT_NE(trackOf(killed.movie, "audio"), nullptr);
  }
}

TEST(InterruptedRecording, KilledLeadWriterLeavesAPlayableFileThatRecoveryMoves) {
  testing::ScratchDirectory temporary("tav-crash");
  const std::filesystem::path output = temporary / "Recording 2026-11-23.mov";
  const std::filesystem::path defaultsFile = temporary / "defaults.json";
  // The recovery looks in the temporary directory; the child records there too.
  testing::ScopedEnvironmentVariable tmpdir("TMPDIR", temporary.path().string());
  KilledRecording killed;
  recordAndKill(output, defaultsFile, std::chrono::milliseconds(3100), killed);
  if (::testing::Test::HasFatalFailure()) return;

  // The torn file reads back with all but its last fragment of video, and its audio.
  const ProbedMovie& movie = killed.movie;
  EXPECT_GE(movie.fragmentCount, 2);
  const ProbedTrack* video = trackOf(movie, "video");
  const ProbedTrack* audio = trackOf(movie, "audio");
  ASSERT_NE(video, nullptr);
  ASSERT_NE(audio, nullptr);
  EXPECT_EQ(video->codec, "h264");
  EXPECT_EQ(video->width, 640);
  EXPECT_EQ(video->height, 360);
  EXPECT_DOUBLE_EQ(video->startTime, 0.0);
  EXPECT_GE(video->duration, killed.handedSeconds - 1.2);
  EXPECT_GE(video->packetCount, 60);
  EXPECT_EQ(audio->sampleRate, 48000);
  EXPECT_EQ(audio->channels, 2);

  // The next launch: the mark names the file, recovery moves it into the videos folder.
  auto defaults = std::make_shared<FileUserDefaults>(defaultsFile);
  const auto mark = TavoWriter::currentOutputURL(defaults).get();
  ASSERT_TRUE(mark.has_value());
  EXPECT_EQ(mark->filePath(), output);
  VideosFolderMediaLibrary library(temporary / "videos");
  TavoWriter::saveInterruptedRecording(defaults, library);
  EXPECT_FALSE(std::filesystem::exists(output));
  const std::filesystem::path saved = temporary / "videos" / "Recording 2026-11-23.mov";
  ASSERT_TRUE(std::filesystem::exists(saved));
  EXPECT_EQ(probeMovie(saved).duration, movie.duration);
  // The mark stays until a launch finds no file behind it.
  EXPECT_TRUE(TavoWriter::currentOutputURL(defaults).get().has_value());
  TavoWriter::saveInterruptedRecording(defaults, library);
  EXPECT_FALSE(TavoWriter::currentOutputURL(defaults).get().has_value());
}

}  // namespace
}  // namespace tav
