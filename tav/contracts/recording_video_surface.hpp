// An in-memory VideoSurface that remembers what it was shown, for tests of the code that feeds a
// preview.
#pragma once

#include <cstddef>
#include <vector>

#include "tav/contracts/video_surface.hpp"

namespace tav {

/// Not thread-safe. Keeps every frame enqueued and every flush, in order, and fails on request.
class RecordingVideoSurface final : public VideoSurface {
 public:
  /// One thing the surface was asked to do.
  struct Event {
    enum class Kind { enqueue, flushAndRemoveImage };
    Kind kind;
    /// The frame's presentation time for an enqueue.
    CMTime presentationTime;
    friend bool operator==(const Event&, const Event&) = default;
  };

  void enqueue(const CMSampleBuffer& frame) override {
    events_.push_back({Event::Kind::enqueue, CMSampleBufferGetPresentationTimeStamp(frame)});
    if (failNextEnqueue_) {
      status_ = Status::failed;
      failNextEnqueue_ = false;
    } else if (status_ != Status::failed) {
      status_ = Status::rendering;
      ++displayedFrames_;
    }
  }
  Status status() const override { return status_; }
  void flushAndRemoveImage() override {
    events_.push_back({Event::Kind::flushAndRemoveImage, kCMTimeInvalid});
    status_ = Status::unknown;
    displayedFrames_ = 0;
  }

  /// The renderer fails on the next enqueue, as a platform renderer does on a frame it can't show.
  void failNextEnqueue() { failNextEnqueue_ = true; }
  const std::vector<Event>& events() const { return events_; }
  /// Frames shown since the last flush.
  std::size_t displayedFrames() const { return displayedFrames_; }

 private:
  std::vector<Event> events_;
  Status status_ = Status::unknown;
  bool failNextEnqueue_ = false;
  std::size_t displayedFrames_ = 0;
};

}  // namespace tav
