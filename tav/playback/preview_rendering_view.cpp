#include "tav/playback/preview_rendering_view.hpp"

#include <stdexcept>

namespace tav {

std::shared_ptr<VideoSurface> PreviewRenderingView::makeBackingLayer() {
  bufferLayer_ = makeSurface_ ? makeSurface_() : nullptr;
  if (!bufferLayer_) throw std::logic_error("PreviewRenderingView: the host's surface factory gave no surface");
  return bufferLayer_;
}

VideoSurface& PreviewRenderingView::surface() {
  if (!bufferLayer_) makeBackingLayer();
  return *bufferLayer_;
}

void PreviewRenderingView::enqueue(const CMSampleBuffer& frame) {
  VideoSurface& target = surface();
  target.enqueue(frame);
  if (target.status() == VideoSurface::Status::failed) target.flushAndRemoveImage();
}

void PreviewRenderingView::clear() { surface().flushAndRemoveImage(); }

}  // namespace tav
