// PreviewRenderingView: the one view of the library, a thin front to the host's video surface that
// shows composed frames and recovers a failed renderer by itself.
#pragma once

#include <functional>
#include <memory>

#include "tav/contracts/cm_sample_buffer.hpp"
#include "tav/contracts/video_surface.hpp"

namespace tav {

/// Called from the thread that owns the host's view. The surface is made lazily, by the host's factory,
/// the first time the view needs its backing layer (makeBackingLayer or the first frame).
class PreviewRenderingView {
 public:
  using SurfaceFactory = std::function<std::shared_ptr<VideoSurface>()>;

  /// `bufferLayer` stays absent until makeBackingLayer.
  explicit PreviewRenderingView(SurfaceFactory makeSurface) : makeSurface_(std::move(makeSurface)) {}

  /// Makes the surface, keeps it as bufferLayer and returns it.
  std::shared_ptr<VideoSurface> makeBackingLayer();
  const std::shared_ptr<VideoSurface>& bufferLayer() const { return bufferLayer_; }
  /// Frames are drawn top row first.
  bool isFlipped() const { return true; }

  /// Shows `frame`; when the renderer is then failed, flushes it and takes the picture away, so the next
  /// frame is shown as usual.
  void enqueue(const CMSampleBuffer& frame);
  /// Takes the displayed picture away.
  void clear();

 private:
  VideoSurface& surface();

  SurfaceFactory makeSurface_;
  std::shared_ptr<VideoSurface> bufferLayer_;
};

}  // namespace tav
