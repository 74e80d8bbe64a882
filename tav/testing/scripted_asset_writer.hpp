// A media writer for tests of the recording logic: it records every call, can be told to be not
// ready, to fail, or to refuse a buffer, and creates its file at startWriting like a real one.
//
// The factory keeps the script of every writer and input it made, so a test can look at them after
// the writer under test has dropped its media writer.
#pragma once

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tav/contracts/asset_writer.hpp"

namespace tav::testing {

/// What an input was told and what it answers. Guarded by its own mutex: the writer under test and
/// the test may touch it from different threads.
struct ScriptedInputState {
  mutable std::mutex mutex;
  MediaStreamType mediaType = MediaStreamType::video();
  std::optional<MediaSettings> outputSettings;
  bool realTime = false;
  bool ready = true;          // the answer of isReadyForMoreMediaData
  bool appendResult = true;   // the answer of append
  bool finished = false;      // markAsFinished was called
  std::vector<CMTime> appended;  // presentation times of accepted buffers

  void setReady(bool value) { std::lock_guard lock(mutex); ready = value; }
  void setAppendResult(bool value) { std::lock_guard lock(mutex); appendResult = value; }
  std::vector<CMTime> appendedTimes() const { std::lock_guard lock(mutex); return appended; }
  bool isFinished() const { std::lock_guard lock(mutex); return finished; }
};

class ScriptedAssetWriterInput final : public AssetWriterInput {
 public:
  explicit ScriptedAssetWriterInput(std::shared_ptr<ScriptedInputState> state) : state_(std::move(state)) {}
  MediaStreamType mediaType() const override { std::lock_guard lock(state_->mutex); return state_->mediaType; }
  bool expectsMediaDataInRealTime() const override { std::lock_guard lock(state_->mutex); return state_->realTime; }
  void setExpectsMediaDataInRealTime(bool value) override { std::lock_guard lock(state_->mutex); state_->realTime = value; }
  bool isReadyForMoreMediaData() const override {
    std::lock_guard lock(state_->mutex);
    return state_->ready && !state_->finished;
  }
  bool append(const CMSampleBuffer& sampleBuffer) override {
    std::lock_guard lock(state_->mutex);
    if (!state_->appendResult || state_->finished) return false;
    state_->appended.push_back(CMSampleBufferGetPresentationTimeStamp(sampleBuffer));
    return true;
  }
  void markAsFinished() override { std::lock_guard lock(state_->mutex); state_->finished = true; }

 private:
  std::shared_ptr<ScriptedInputState> state_;
};

/// The script and record of one writer.
struct ScriptedWriterState {
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::filesystem::path outputURL;
  FileType fileType = FileType::quickTimeMovie;
  AssetWriterStatus status = AssetWriterStatus::unknown;
  std::optional<std::string> error;
  CMTime fragmentInterval = kCMTimeInvalid;
  std::vector<MetadataItem> metadata;
  std::vector<MediaStreamType> inputs;  // media types in the order added
  bool startWritingResult = true;
  std::optional<CMTime> sessionStart;
  std::vector<std::string> calls;       // "startWriting", "startSession", "finishWriting", "cancelWriting"
  /// When true, finishWriting waits for completeFinish() before it completes.
  bool holdFinish = false;
  std::function<void()> pendingCompletion;

  /// Makes the writer fail now, as an encoder error would.
  void fail(std::optional<std::string> message) {
    std::lock_guard lock(mutex);
    status = AssetWriterStatus::failed;
    error = std::move(message);
  }
  bool called(const std::string& name) const {
    std::lock_guard lock(mutex);
    for (const auto& call : calls) {
      if (call == name) return true;
    }
    return false;
  }
  /// Blocks until finishWriting has been called.
  void waitForFinishCall() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return static_cast<bool>(pendingCompletion); });
  }
  /// Completes a held finishWriting (on a thread of its own, as a real writer would).
  void completeFinish() {
    std::function<void()> completion;
    {
      std::lock_guard lock(mutex);
      completion = std::move(pendingCompletion);
      pendingCompletion = nullptr;
      status = AssetWriterStatus::completed;
    }
    if (completion) std::thread(completion).join();
  }
};

class ScriptedAssetWriter final : public AssetWriter {
 public:
  explicit ScriptedAssetWriter(std::shared_ptr<ScriptedWriterState> state) : state_(std::move(state)) {}

  AssetWriterStatus status() const override { std::lock_guard lock(state_->mutex); return state_->status; }
  std::optional<std::string> error() const override { std::lock_guard lock(state_->mutex); return state_->error; }
  std::filesystem::path outputURL() const override { std::lock_guard lock(state_->mutex); return state_->outputURL; }
  CMTime movieFragmentInterval() const override { std::lock_guard lock(state_->mutex); return state_->fragmentInterval; }
  void setMovieFragmentInterval(CMTime interval) override { std::lock_guard lock(state_->mutex); state_->fragmentInterval = interval; }
  void setMetadata(std::vector<MetadataItem> metadata) override { std::lock_guard lock(state_->mutex); state_->metadata = std::move(metadata); }
  void addInput(std::shared_ptr<AssetWriterInput> input) override {
    std::lock_guard lock(state_->mutex);
    state_->inputs.push_back(input->mediaType());
  }
  bool startWriting() override {
    std::lock_guard lock(state_->mutex);
    state_->calls.push_back("startWriting");
    if (!state_->startWritingResult) {
      state_->status = AssetWriterStatus::failed;
      if (!state_->error) state_->error = "cannot create " + state_->outputURL.string();
      return false;
    }
    std::ofstream(state_->outputURL) << "scripted";
    state_->status = AssetWriterStatus::writing;
    return true;
  }
  void startSession(CMTime sourceTime) override {
    std::lock_guard lock(state_->mutex);
    state_->calls.push_back("startSession");
    state_->sessionStart = sourceTime;
  }
  void finishWriting(std::function<void()> completion) override {
    std::unique_lock lock(state_->mutex);
    state_->calls.push_back("finishWriting");
    if (state_->holdFinish) {
      state_->pendingCompletion = std::move(completion);
      state_->changed.notify_all();
      return;
    }
    state_->status = state_->status == AssetWriterStatus::writing ? AssetWriterStatus::completed : AssetWriterStatus::failed;
    lock.unlock();
    std::thread(std::move(completion)).join();
  }
  void cancelWriting() override {
    std::lock_guard lock(state_->mutex);
    state_->calls.push_back("cancelWriting");
    state_->status = AssetWriterStatus::cancelled;
  }

 private:
  std::shared_ptr<ScriptedWriterState> state_;
};

/// Makes scripted writers and inputs and keeps their scripts, in the order made.
class ScriptedAssetWriterFactory final : public AssetWriterFactory {
 public:
  /// The script the next writer starts from (its file and type are filled in by makeWriter).
  std::function<void(ScriptedWriterState&)> prepareWriter;
  /// When set, makeWriter throws this text as a std::runtime_error.
  std::optional<std::string> makeWriterError;

  std::unique_ptr<AssetWriter> makeWriter(const std::filesystem::path& outputURL, FileType fileType) override {
    if (makeWriterError) throw std::runtime_error(*makeWriterError);
    auto state = std::make_shared<ScriptedWriterState>();
    state->outputURL = outputURL;
    state->fileType = fileType;
    if (prepareWriter) prepareWriter(*state);
    std::lock_guard lock(mutex_);
    writers_.push_back(state);
    return std::make_unique<ScriptedAssetWriter>(state);
  }
  std::shared_ptr<AssetWriterInput> makeInput(MediaStreamType mediaType,
                                              const std::optional<MediaSettings>& outputSettings) override {
    auto state = std::make_shared<ScriptedInputState>();
    state->mediaType = mediaType;
    state->outputSettings = outputSettings;
    std::lock_guard lock(mutex_);
    inputs_.push_back(state);
    return std::make_shared<ScriptedAssetWriterInput>(state);
  }

  std::shared_ptr<ScriptedWriterState> writer(std::size_t index) const {
    std::lock_guard lock(mutex_);
    return writers_.at(index);
  }
  std::size_t writerCount() const { std::lock_guard lock(mutex_); return writers_.size(); }
  /// The last input made for `mediaType`; nullptr when none.
  std::shared_ptr<ScriptedInputState> input(const MediaStreamType& mediaType) const {
    std::lock_guard lock(mutex_);
    for (auto it = inputs_.rbegin(); it != inputs_.rend(); ++it) {
      if ((*it)->mediaType == mediaType) return *it;
    }
    return nullptr;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<ScriptedWriterState>> writers_;
  std::vector<std::shared_ptr<ScriptedInputState>> inputs_;
};

}  // namespace tav::testing
