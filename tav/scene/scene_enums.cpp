#include "tav/scene/scene_enums.hpp"

#include <stdexcept>

#include "tav/contracts/localizer.hpp"

namespace tav {

std::string_view title(Looping looping) {
  switch (looping) {
    case Looping::playOnce: return "Play once";
    case Looping::loop: return "Loop";
    case Looping::bounce: return "Bounce";
  }
  return "Loop";
}

std::string title(ScaleMode mode) {
  switch (mode) {
    case ScaleMode::aspectFill: return localizedText("ASPECT_FILL_TITLE", "Aspect Fill");
    case ScaleMode::stretchFill: return localizedText("STRETCH_FILL_TITLE", "Stretch Fill");
    case ScaleMode::aspectFit: return localizedText("ASPECT_FIT_TITLE", "Aspect Fit");
  }
  return localizedText("ASPECT_FILL_TITLE", "Aspect Fill");
}

VideoGravity gravity(ScaleMode mode) {
  switch (mode) {
    case ScaleMode::aspectFill: return VideoGravity::resizeAspectFill;
    case ScaleMode::stretchFill: return VideoGravity::resize;
    case ScaleMode::aspectFit: return VideoGravity::resizeAspect;
  }
  return VideoGravity::resizeAspectFill;
}

std::string_view title(SceneTextAlignment alignment) { return rawValue(alignment); }

std::size_t index(SceneTextAlignment alignment) { return caseIndex(alignment); }

SceneTextAlignment fromNative(int nativeAlignment) {
  switch (nativeAlignment) {
    case 0: return SceneTextAlignment::left;
    case 1: return SceneTextAlignment::center;
    case 2: return SceneTextAlignment::right;
    default: throw std::logic_error("Alignment value not supported.");
  }
}

std::string_view title(ThumbnailActor actor) {
  switch (actor) {
    case ThumbnailActor::a: return "Actor A";
    case ThumbnailActor::b: return "Actor B";
    case ThumbnailActor::c: return "Actor C";
    case ThumbnailActor::d: return "Actor D";
  }
  return "Actor A";
}

std::string_view title(SceneElementPosition position) {
  switch (position) {
    case SceneElementPosition::xPosition: return "X";
    case SceneElementPosition::yPosition: return "Y";
    case SceneElementPosition::width: return "W";
    case SceneElementPosition::height: return "H";
  }
  return "X";
}

}  // namespace tav
