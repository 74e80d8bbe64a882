// VideoSurface: the host's surface that shows timed video frames (a display layer), behind the preview
// view. The library hands it frames; the host draws them.
#pragma once

#include "tav/contracts/cm_sample_buffer.hpp"

namespace tav {

/// Implemented by the host. Called from the thread that owns the view; the surface says in its own
/// contract whether other threads may call it.
class VideoSurface {
 public:
  /// The renderer's state after the last frame: a failed renderer shows nothing more until flushed.
  enum class Status { unknown = 0, rendering = 1, failed = 2 };

  virtual ~VideoSurface() = default;
  /// Queues `frame` for display at its presentation time.
  virtual void enqueue(const CMSampleBuffer& frame) = 0;
  virtual Status status() const = 0;
  /// Drops every queued frame and takes the displayed picture away; the renderer is usable again.
  virtual void flushAndRemoveImage() = 0;
};

}  // namespace tav
