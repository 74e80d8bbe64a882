#include "tav/playback/animated_image_controller.hpp"

#include <cmath>
#include <exception>

#include "tav/contracts/gif_source.hpp"
#include "tav/foundation/serial_queue_run_loop.hpp"
#include "tav/profiles/profile_manager.hpp"

namespace tav {
namespace {

/// Decoded frames past this many bytes are left out, so a long animation can't take all memory.
constexpr std::size_t kMaxDecodedBytes = std::size_t{1} << 30;

std::unique_ptr<GifSource> openSource(const Url& url) {
  if (!url.isFileUrl()) return nullptr;
  try {
    return makeGifSource(url.filePath());
  } catch (const std::exception&) {
    // A file that isn't a readable GIF is no source; playback reports nothing, as the platform's doesn't.
    return nullptr;
  }
}

}  // namespace

AnimatedImageController::AnimatedImageController(std::optional<std::string> identifier)
    : AnimatedImageController(std::move(identifier), Environment{}) {}

AnimatedImageController::AnimatedImageController(std::optional<std::string> identifier, Environment environment)
    : identifier_(std::move(identifier)), environment_(std::move(environment)) {
  if (environment_.runLoop == nullptr) environment_.runLoop = &MainContextRunLoop::shared();
  if (!environment_.clock) environment_.clock = animationClockNow;
  if (!environment_.frameRate) {
    environment_.frameRate = [] { return ProfileManager::shared().activeProfile().frameRate.value; };
  }
}

AnimatedImageController::~AnimatedImageController() { stop(); }

std::optional<std::vector<Image>> AnimatedImageController::getImages(const Url& url) {
  const std::unique_ptr<GifSource> source = openSource(url);
  if (!source) return std::nullopt;
  std::vector<Image> images;
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < source->count(); ++i) {
    const std::size_t frameBytes = static_cast<std::size_t>(source->width()) * static_cast<std::size_t>(source->height()) * 4;
    if (bytes + frameBytes > kMaxDecodedBytes) break;
    if (std::optional<Image> image = source->image(i)) {
      bytes += frameBytes;
      images.push_back(std::move(*image));
    }
  }
  return images;
}

std::optional<GifInfo> AnimatedImageController::getInfo(const Url& url) {
  const std::unique_ptr<GifSource> source = openSource(url);
  if (!source) return std::nullopt;
  return gifInfo(*source);
}

void AnimatedImageController::load(const Url& url) {
  std::optional<std::vector<Image>> images = getImages(url);
  if (!images) return;
  std::optional<GifInfo> info = getInfo(url);
  if (!info) return;
  animatedImages_ = std::move(images);
  frameDurations_ = std::move(info->frameDurations);
  // The index must name a frame of the new file.
  if (dispatchFrameIndex_ >= static_cast<std::ptrdiff_t>(frameDurations_.size())) dispatchFrameIndex_ = 0;
  stop();
  startTimer();
}

void AnimatedImageController::resume() {
  if (dispatchTimer_ || !isLoaded()) return;
  startTimer();
}

void AnimatedImageController::stop() {
  if (!dispatchTimer_) return;
  dispatchTimer_->invalidate();
  dispatchTimer_.reset();
}

void AnimatedImageController::startTimer() {
  double rate = environment_.frameRate();
  // A profile without a usable rate plays at the studio's usual 30 frames a second.
  if (!(rate > 0) || !std::isfinite(rate)) rate = 30;
  dispatchTimer_ = environment_.runLoop->scheduleRepeating(RunLoop::Interval(1.0 / rate), [this] { dispatchImage(); });
}

const Image* AnimatedImageController::getFrame() {
  if (!animatedImages_) return nullptr;
  const auto n = static_cast<std::ptrdiff_t>(animatedImages_->size());
  if (n == 0 || static_cast<std::ptrdiff_t>(frameDurations_.size()) != n) return nullptr;
  std::ptrdiff_t i = dispatchFrameIndex_;
  const double now = environment_.clock();
  if (now - lastRetrievalTime_ < frameDurations_[static_cast<std::size_t>(i)]) {
    return &(*animatedImages_)[static_cast<std::size_t>(i)];
  }
  switch (looping_) {
    case Looping::playOnce:
      i = std::min(i + 1, n - 1);
      break;
    case Looping::loop:
      i = (i + 1) % n;
      break;
    case Looping::bounce:
      i = isReversing_ ? (i - 1 + n) % n : (i + 1) % n;
      break;
  }
  if (looping_ != Looping::loop) {
    if (i == 0 && isReversing_) {
      isReversing_ = false;
    } else if (i == n - 1 && !isReversing_) {
      isReversing_ = true;
    }
  }
  dispatchFrameIndex_ = i;
  lastRetrievalTime_ = now;
  return &(*animatedImages_)[static_cast<std::size_t>(i)];
}

void AnimatedImageController::dispatchImage() {
  const Image* image = getFrame();
  if (image == nullptr) return;
  if (const std::shared_ptr<AnimatedImageControllerDelegate> delegate = delegate_.lock()) {
    delegate->animatedImageController(*image);
  }
}

}  // namespace tav
