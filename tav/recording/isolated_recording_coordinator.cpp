#include "tav/recording/isolated_recording_coordinator.hpp"

#include <time.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

#include "tav/profiles/profile_manager.hpp"
#include "tav/recording/canvas_metadata.hpp"
#include "tav/recording/isolated_seconds_text.hpp"
#include "tav/recording/isolated_source_writer.hpp"
#include "tav/recording/recording_video_settings.hpp"
#include "tav/recording/sample_buffer_shifting.hpp"
#include "tav/recording/tavo_writer.hpp"

namespace tav {

namespace detail {

/// Shared between a coordinator and the failure callbacks of its writers; the coordinator clears
/// `target` before it goes away, waiting for a callback that is using it.
struct IsolatedCoordinatorLink {
  std::mutex mutex;
  IsolatedRecordingCoordinator* target = nullptr;  // guarded by mutex
};

}  // namespace detail

namespace {

constexpr std::int32_t kHostTimescale = 1'000'000'000;
constexpr CMTime kNominalSampleStep = CMTime::make(1, 30);
constexpr CMTime kHostClockTolerance = CMTime::make(1, 1);
constexpr std::string_view kAudioStemSuffix = "#audio";

bool endsWith(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

/// The writer whose base name a file shares: a source's "#audio" stem and its video are partners.
std::string partnerKey(const std::string& key) {
  if (endsWith(key, kAudioStemSuffix)) return key.substr(0, key.size() - kAudioStemSuffix.size());
  return key + std::string(kAudioStemSuffix);
}

CMTime absolute(CMTime time) { return CMTimeCompare(time, kCMTimeZero) < 0 ? kCMTimeZero - time : time; }

IsolatedRecordingCoordinator::MakeWriter defaultMakeWriter() {
  return [](const std::string& key, const std::string& fileBaseName, const Url& fileURL, bool includesVideo,
            const std::optional<MediaSettings>& videoSettings, const std::optional<MediaSettings>& audioSettings,
            CMTime audioTimeOffset, const std::vector<MetadataItem>& metadata,
            IsolatedRecordingCoordinator::FailureCallback onFailure) -> std::shared_ptr<IsolatedSourceWriting> {
    return IsolatedSourceWriter::create(key, fileBaseName, fileURL, includesVideo, videoSettings, audioSettings,
                                        audioTimeOffset, metadata, std::move(onFailure));
  };
}

// Splitting a name: UTF-8 is decoded so that Unicode white space, newlines and C1 control characters
// separate words as ASCII ones do.
struct CodePoint {
  char32_t value;
  std::size_t length;
};

CodePoint decode(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 1;
  if (at + length > text.size()) length = 1;
  if (length == 1) return {lead, 1};
  char32_t value = lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[at + i]);
    if ((next >> 6) != 0x2) return {lead, 1};
    value = (value << 6) | (next & 0x3F);
  }
  return {value, length};
}

/// The nine characters a file name may not hold, and the white space and newlines that are not control
/// characters.
constexpr std::array<char32_t, 18> kSeparators{U'/', U'\\', U':', U'*',   U'?',   U'"',   U'<',   U'>',   U'|',
                                               U' ', 0x85,  0xA0, 0x1680, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};

bool separatesWords(char32_t c) {
  const bool control = c < 0x20 || (c >= 0x7F && c <= 0x9F);
  const bool space = c >= 0x2000 && c <= 0x200A;
  return control || space || std::find(kSeparators.begin(), kSeparators.end(), c) != kSeparators.end();
}

}  // namespace

IsolatedRecordingCoordinator::IsolatedRecordingCoordinator() : IsolatedRecordingCoordinator(nullptr, nullptr) {}

IsolatedRecordingCoordinator::IsolatedRecordingCoordinator(MakeWriter makeWriter, Clock now)
    : makeWriter_(makeWriter ? std::move(makeWriter) : defaultMakeWriter()),
      now_(now ? std::move(now) : Clock(&IsolatedRecordingCoordinator::hostClockSeconds)),
      link_(std::make_shared<detail::IsolatedCoordinatorLink>()) {
  link_->target = this;
}

IsolatedRecordingCoordinator::~IsolatedRecordingCoordinator() {
  {
    std::lock_guard lock(link_->mutex);
    link_->target = nullptr;
  }
  for (auto& [key, writer] : closeSession()) writer->abort();
}

IsolatedRecordingCoordinator& IsolatedRecordingCoordinator::shared() {
  static IsolatedRecordingCoordinator instance;
  return instance;
}

double IsolatedRecordingCoordinator::hostClockSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

bool IsolatedRecordingCoordinator::isActive() const {
  return session_.mutate([](const std::optional<Session>& session) { return session.has_value(); });
}

void IsolatedRecordingCoordinator::begin(const Url& sessionFolder, int videoWriterCap) {
  didWarnCap_.setWrappedValue(false);
  WriterMap previous = writers_.mutate([](WriterMap& writers) { return std::exchange(writers, {}); });
  if (!previous.empty()) {
    logger_.error("begin() called with {} writer(s) still active; aborting the previous session", previous.size());
    std::thread([previous = std::move(previous)] {
      for (const auto& [key, writer] : previous) writer->abort();
    }).detach();
  }
  pauseState_.setWrappedValue(PauseState{});
  timelines_.mutate([](auto& timelines) { timelines.clear(); });
  const int cap = videoWriterCap < 0 ? 0 : videoWriterCap;
  const std::filesystem::path folder = sessionFolder.filePath();
  session_.setWrappedValue(Session{folder, cap});
  logger_.info("Isolated recording session began at {} (video cap {})", folder.string(), cap);
}

void IsolatedRecordingCoordinator::setPaused(bool paused) {
  const double time = now_();
  const bool changed = pauseState_.mutate([&](PauseState& state) {
    if (state.isPaused == paused) return false;
    state.isPaused = paused;
    if (paused && !state.pauseWallStart) state.pauseWallStart = time;
    return true;
  });
  if (changed) logger_.info("Isolated recording session {}", paused ? "paused" : "resumed");
}

std::shared_ptr<IsolatedSourceWriting> IsolatedRecordingCoordinator::writer(const std::string& key) {
  return writers_.mutate([&](WriterMap& writers) -> std::shared_ptr<IsolatedSourceWriting> {
    const auto found = writers.find(key);
    return found == writers.end() ? nullptr : found->second;
  });
}

std::optional<CMSampleBuffer> IsolatedRecordingCoordinator::align(const CMSampleBuffer& sampleBuffer,
                                                                  const std::string& sourceID, bool isVideo,
                                                                  bool isGenerated) {
  const CMTime pts = CMSampleBufferGetPresentationTimeStamp(sampleBuffer);
  if (!pts.isNumeric()) return std::nullopt;
  const CMTime host = CMTime::withSeconds(now_(), kHostTimescale);
  const CMTime duration = CMSampleBufferGetDuration(sampleBuffer);
  const CMTime step = duration.isNumeric() && CMTimeCompare(duration, kCMTimeZero) > 0 ? duration : kNominalSampleStep;

  bool restarted = false;
  bool jumped = false;
  bool logRestart = false;
  bool logJump = false;
  const CMTime delta = timelines_.mutate([&](auto& timelines) {
    SourceTimeline& timeline = timelines[sourceID];
    Track& k = isVideo ? timeline.video : timeline.audio;
    CMTime aligned = pts;
    if (!isGenerated) {
      const auto anchor = [&] {
        const CMTime raw = host - pts;
        return CMTimeCompare(absolute(raw), kHostClockTolerance) <= 0 ? kCMTimeZero : raw;
      };
      CMTime off = k.offset ? *k.offset : anchor();
      aligned = pts + off;
      const CMTime reference = CMTimeMaximum(host, k.lastAligned ? *k.lastAligned : host);
      if (CMTimeCompare(aligned, reference + kHostClockTolerance) > 0) {
        off = anchor();
        aligned = pts + off;
        jumped = true;
      }
      if (k.lastSourceTime && k.lastAligned && CMTimeCompare(pts, *k.lastSourceTime) <= 0) {
        // The source's clock went back or stood still: the stem goes on where it stood.
        aligned = *k.lastAligned + step;
        off = aligned - pts;
        restarted = true;
        jumped = false;
      }
      k.offset = off;
      k.lastSourceTime = pts;
    }
    if (k.lastAligned && CMTimeCompare(aligned, *k.lastAligned) <= 0) aligned = *k.lastAligned + step;
    k.lastAligned = aligned;
    if (restarted && !k.didLogRestart) logRestart = k.didLogRestart = true;
    if (jumped && !k.didLogJumpAhead) logJump = k.didLogJumpAhead = true;
    return aligned - pts;
  });

  const char* medium = isVideo ? "video" : "audio";
  if (logRestart) {
    logger_.info("Isolated source {} restarted its {} timeline; continuing the stem's own", sourceID, medium);
  }
  if (logJump) {
    logger_.info("Isolated source {}'s {} clock jumped ahead of the host clock; re-anchoring its stem", sourceID,
                 medium);
  }
  if (CMTimeCompare(delta, kCMTimeZero) == 0) return sampleBuffer;
  return shiftingTimestamps(sampleBuffer, delta);
}

std::optional<CMSampleBuffer> IsolatedRecordingCoordinator::compact(const CMSampleBuffer& aligned,
                                                                    bool isInPauseTransition) {
  std::optional<double> nonPositiveGap;
  const std::optional<CMTime> accumulated = pauseState_.mutate([&](PauseState& state) -> std::optional<CMTime> {
    if (state.isPaused) return std::nullopt;
    if (state.pauseWallStart) {
      if (isInPauseTransition) return std::nullopt;  // the resume transition is still running
      const double gap = now_() - *state.pauseWallStart;
      state.pauseWallStart.reset();
      if (gap > 0) {
        state.accumulated = state.accumulated + CMTime::withSeconds(gap, kHostTimescale);
      } else {
        nonPositiveGap = gap;
      }
    }
    return state.accumulated;
  });
  if (nonPositiveGap) {
    logger_.error("Pause window closed with a non-positive span ({}s); not compacting for it",
                  detail::isolatedSecondsText(*nonPositiveGap));
  }
  if (!accumulated) return std::nullopt;
  if (CMTimeCompare(*accumulated, kCMTimeZero) > 0) return shiftingTimestamps(aligned, kCMTimeZero - *accumulated);
  return aligned;
}

std::optional<CMSampleBuffer> IsolatedRecordingCoordinator::place(const CMSampleBuffer& sampleBuffer,
                                                                  const std::string& sourceID, bool isVideo,
                                                                  bool isGenerated, bool isInPauseTransition) {
  std::optional<CMSampleBuffer> aligned = align(sampleBuffer, sourceID, isVideo, isGenerated);
  if (!aligned) return std::nullopt;
  return compact(*aligned, isInPauseTransition);
}

bool IsolatedRecordingCoordinator::appendVideo(const CMSampleBuffer& sampleBuffer, const std::string& sourceID,
                                               bool isInPauseTransition, bool isGenerated) {
  const std::shared_ptr<IsolatedSourceWriting> found = writer(sourceID);
  if (!found) return false;
  std::optional<CMSampleBuffer> placed = place(sampleBuffer, sourceID, true, isGenerated, isInPauseTransition);
  if (placed && found->includesVideo()) found->appendVideo(*placed);
  return true;
}

bool IsolatedRecordingCoordinator::appendAudio(const CMSampleBuffer& sampleBuffer, const std::string& sourceID,
                                               IsolatedAudioStem stem, bool isInPauseTransition) {
  std::shared_ptr<IsolatedSourceWriting> found;
  if (stem != IsolatedAudioStem::ownFile) found = writer(sourceID);
  if (!found) found = writer(sourceID + std::string(kAudioStemSuffix));
  if (!found) return false;
  std::optional<CMSampleBuffer> placed = place(sampleBuffer, sourceID, false, false, isInPauseTransition);
  if (placed) found->appendAudio(*placed);
  return true;
}

void IsolatedRecordingCoordinator::consumeVideo(const CMSampleBuffer& sampleBuffer, const std::string& sourceID,
                                                const std::function<std::string()>& displayName,
                                                const std::function<std::optional<IsolatedSourceType>()>& sourceType,
                                                const std::function<std::optional<MediaSettings>()>& audioSettings,
                                                const std::function<CMTime()>& audioTimeOffset,
                                                bool isInPauseTransition, bool isGenerated) {
  if (!isActive()) return;
  std::optional<CMSampleBuffer> placed = place(sampleBuffer, sourceID, true, isGenerated, isInPauseTransition);
  if (!placed) return;
  if (const auto existing = writer(sourceID)) {
    if (existing->includesVideo()) existing->appendVideo(*placed);
    return;
  }
  const VideoFrame* frame = placed->videoFrame();
  if (frame == nullptr || frame->width <= 0 || frame->height <= 0) return;

  const std::string name = sanitizedFileName(displayName());
  const std::optional<MediaSettings> audio = audioSettings();
  const CMTime offset = audioTimeOffset();
  const double frameRate = ProfileManager::shared().activeProfile().frameRate.value;
  const std::optional<MediaSettings> video =
      RecordingVideoSettings::videoSettings(frame->width, frame->height, frameRate);
  const std::vector<MetadataItem> items = metadata(sourceType());

  int refusedCap = -1;
  const auto made = writers_.mutate([&](WriterMap& writers) -> std::shared_ptr<IsolatedSourceWriting> {
    const std::optional<Session> session = session_.wrappedValue();
    if (!session) return nullptr;
    if (const auto found = writers.find(sourceID); found != writers.end()) return found->second;
    std::size_t videoWriters = 0;
    for (const auto& [key, each] : writers) videoWriters += each->includesVideo() ? 1 : 0;
    if (videoWriters >= static_cast<std::size_t>(session->videoWriterCap)) {
      if (!didWarnCap_.mutate([](bool& warned) { return std::exchange(warned, true); })) {
        refusedCap = session->videoWriterCap;
      }
      return nullptr;
    }
    const std::string base = fileBaseName(writers, name, partnerKey(sourceID));
    const Url url = Url::fileUrl(session->folder / (base + ".mov"));
    auto writer = makeWriter_(sourceID, base, url, true, video, audio, offset, items, failureCallback());
    if (writer) writers[sourceID] = writer;
    return writer;
  });
  if (refusedCap >= 0) {
    logger_.error("Isolated video-writer cap ({}) reached; not recording source {} separately", refusedCap, sourceID);
  }
  if (made && made->includesVideo()) made->appendVideo(*placed);
}

void IsolatedRecordingCoordinator::consumeAudio(const CMSampleBuffer& sampleBuffer, const std::string& sourceID,
                                                const std::function<std::string()>& displayName,
                                                const std::function<std::optional<IsolatedSourceType>()>& sourceType,
                                                const std::function<bool()>& isVideoSource, IsolatedAudioStem stem,
                                                const std::function<CMTime()>& audioTimeOffset,
                                                bool isInPauseTransition) {
  if (!isActive()) return;
  std::optional<CMSampleBuffer> placed = place(sampleBuffer, sourceID, false, false, isInPauseTransition);
  if (!placed) return;
  const bool ownFile = stem == IsolatedAudioStem::ownFile;
  const std::string key = ownFile ? sourceID + std::string(kAudioStemSuffix) : sourceID;
  if (const auto existing = writer(key)) {
    existing->appendAudio(*placed);
    return;
  }
  // Audio that shares its source's file waits for the video to make that file.
  if (!ownFile && isVideoSource()) return;

  const std::optional<AudioFormat> format = AudioFormat::of(*placed);
  if (!format) return;
  const MediaSettings lossless = losslessAudioSettings(*format);
  const std::string name = sanitizedFileName(displayName());
  const std::vector<MetadataItem> items =
      metadata(ownFile ? std::optional(IsolatedSourceType::microphone) : sourceType());
  const CMTime offset = audioTimeOffset();

  const auto made = writers_.mutate([&](WriterMap& writers) -> std::shared_ptr<IsolatedSourceWriting> {
    const std::optional<Session> session = session_.wrappedValue();
    if (!session) return nullptr;
    if (const auto found = writers.find(key); found != writers.end()) return found->second;
    const std::string base = fileBaseName(writers, name, partnerKey(key));
    const Url url = Url::fileUrl(session->folder / (base + ".m4a"));
    auto writer = makeWriter_(key, base, url, false, std::nullopt, lossless, offset, items, failureCallback());
    if (writer) writers[key] = writer;
    return writer;
  });
  if (made) made->appendAudio(*placed);
}

std::string IsolatedRecordingCoordinator::fileBaseName(const WriterMap& writers, const std::string& name,
                                                       const std::string& partnerKey) {
  if (const auto partner = writers.find(partnerKey); partner != writers.end()) {
    return partner->second->fileBaseName();
  }
  const auto taken = [&](const std::string& candidate) {
    for (const auto& [key, writer] : writers) {
      if (writer->fileBaseName() == candidate) return true;
    }
    return false;
  };
  if (!taken(name)) return name;
  for (int suffix = 2;; ++suffix) {
    std::string candidate = name + " " + std::to_string(suffix);
    if (!taken(candidate)) return candidate;
  }
}

std::vector<MetadataItem> IsolatedRecordingCoordinator::metadata(std::optional<IsolatedSourceType> type) {
  if (!type) return {};
  // The common "type" item, written as the composed recording marks its canvases.
  return {commonTypeMetadataItem(std::string(rawValue(*type)))};
}

IsolatedRecordingCoordinator::FailureCallback IsolatedRecordingCoordinator::failureCallback() const {
  return [link = std::weak_ptr<detail::IsolatedCoordinatorLink>(link_)](const std::string& key) {
    const auto strong = link.lock();
    if (!strong) return;
    std::lock_guard lock(strong->mutex);
    if (strong->target != nullptr) strong->target->forget(key);
  };
}

void IsolatedRecordingCoordinator::forget(const std::string& key) {
  std::shared_ptr<IsolatedSourceWriting> removed = writers_.mutate([&](WriterMap& writers) {
    std::shared_ptr<IsolatedSourceWriting> taken;
    if (const auto found = writers.find(key); found != writers.end()) {
      taken = std::move(found->second);
      writers.erase(found);
    }
    return taken;
  });
  timelines_.mutate([&](auto& timelines) { timelines.erase(key); });
}

IsolatedRecordingCoordinator::WriterMap IsolatedRecordingCoordinator::closeSession() {
  session_.setWrappedValue(std::nullopt);
  pauseState_.setWrappedValue(PauseState{});
  timelines_.mutate([](auto& timelines) { timelines.clear(); });
  return writers_.mutate([](WriterMap& writers) { return std::exchange(writers, {}); });
}

void IsolatedRecordingCoordinator::end() {
  if (!isActive()) return;
  const WriterMap writers = closeSession();
  for (const auto& [key, writer] : writers) writer->finalise();
  logger_.info("Isolated recording session ended; finalised {} file(s)", writers.size());
}

void IsolatedRecordingCoordinator::abortAll() {
  const WriterMap writers = closeSession();
  for (const auto& [key, writer] : writers) writer->abort();
  if (!writers.empty()) {
    logger_.info("Isolated recording session aborted; discarded {} partial file(s)", writers.size());
  }
}

std::int64_t IsolatedRecordingCoordinator::recordedByteCount() {
  const WriterMap writers = writers_.wrappedValue();
  std::int64_t total = 0;
  for (const auto& [key, writer] : writers) total += writer->recordedByteCount();
  return total;
}

std::string IsolatedRecordingCoordinator::sanitizedFileName(std::string_view name) {
  std::string result;
  std::string word;
  const auto flush = [&] {
    if (word.empty()) return;
    if (!result.empty()) result += ' ';
    result += word;
    word.clear();
  };
  for (std::size_t at = 0; at < name.size();) {
    const CodePoint point = decode(name, at);
    if (separatesWords(point.value)) {
      flush();
    } else {
      word.append(name.substr(at, point.length));
    }
    at += point.length;
  }
  flush();
  return result.empty() ? "Source" : result;
}

MediaSettings IsolatedRecordingCoordinator::audioSettings(const AudioFormat& format) {
  MediaSettings settings;
  settings[AVFormatIDKey] = kAudioFormatLinearPCM;
  settings[AVSampleRateKey] = format.sampleRate();
  settings[AVNumberOfChannelsKey] = format.channelCount();
  settings[AVLinearPCMBitDepthKey] = 32;
  settings[AVLinearPCMIsFloatKey] = true;
  settings[AVLinearPCMIsBigEndianKey] = false;
  settings[AVLinearPCMIsNonInterleaved] = false;
  return settings;
}

MediaSettings IsolatedRecordingCoordinator::losslessAudioSettings(const AudioFormat& format) {
  MediaSettings settings;
  settings[AVFormatIDKey] = kAudioFormatAppleLossless;
  settings[AVSampleRateKey] = format.sampleRate();
  settings[AVNumberOfChannelsKey] = format.channelCount();
  // Sample buffers carry 32-bit float PCM, which is neither of the integer formats.
  settings[AVEncoderBitDepthHintKey] = 24;
  return settings;
}

}  // namespace tav
