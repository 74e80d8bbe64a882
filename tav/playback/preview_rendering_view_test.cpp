#include "tav/playback/preview_rendering_view.hpp"

#include <gtest/gtest.h>

#include "tav/contracts/recording_video_surface.hpp"
#include "tav/testing/synthetic_media.hpp"

namespace tav {
namespace {

using Kind = RecordingVideoSurface::Event::Kind;

TEST(PreviewRenderingView, AFailedRendererIsClearedAndTheNextFrameShowsAsUsual) {
  auto surface = std::make_shared<RecordingVideoSurface>();
  PreviewRenderingView view([surface] { return surface; });
  EXPECT_FALSE(view.bufferLayer());
  EXPECT_TRUE(view.isFlipped());

  view.enqueue(testing::syntheticVideoFrame(PixelFormat::bgra, 4, 4, 0));
  surface->failNextEnqueue();
  view.enqueue(testing::syntheticVideoFrame(PixelFormat::bgra, 4, 4, 1));
  view.enqueue(testing::syntheticVideoFrame(PixelFormat::bgra, 4, 4, 2));
  EXPECT_EQ(view.bufferLayer(), surface);

  std::vector<Kind> kinds;
  for (const auto& event : surface->events()) kinds.push_back(event.kind);
  EXPECT_EQ(kinds, (std::vector<Kind>{Kind::enqueue, Kind::enqueue, Kind::flushAndRemoveImage, Kind::enqueue}));
  EXPECT_EQ(surface->events().back().presentationTime, CMTime::make(2, 30));
  EXPECT_EQ(std::tuple(surface->status(), surface->displayedFrames()), std::tuple(VideoSurface::Status::rendering, 1u));

  view.clear();
  EXPECT_EQ(surface->events().back().kind, Kind::flushAndRemoveImage);
  EXPECT_EQ(surface->displayedFrames(), 0u);
}

}  // namespace
}  // namespace tav
