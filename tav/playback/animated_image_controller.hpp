// AnimatedImageController: plays a GIF as a layer's content. It decodes every frame at load, and a
// timer at the studio's frame rate asks at each tick which frame is due by the file's own delays, so the
// file keeps its timing while the delegate is fed at the output rate.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tav/contracts/image.hpp"
#include "tav/contracts/run_loop.hpp"
#include "tav/contracts/url.hpp"
#include "tav/playback/animation_clock.hpp"
#include "tav/playback/gif_info.hpp"
#include "tav/scene/scene_enums.hpp"

namespace tav {

/// Receives each frame the controller delivers, on the controller's run loop.
class AnimatedImageControllerDelegate {
 public:
  virtual ~AnimatedImageControllerDelegate() = default;
  virtual void animatedImageController(const Image& didOutputImage) = 0;
};

/// Held by the host, one per playing layer. Not thread-safe and locks nothing: the host calls it on the
/// run loop it gives (its main context by default), where the timer fires too. Destroying the
/// controller stops its timer first; the timer does not keep the controller alive.
///
///   idle --load ok--> playing --stop()--> stopped --resume()--> playing (same frame)
///   A failed load changes nothing, so an earlier file goes on playing.
class AnimatedImageController {
 public:
  /// What the controller runs on; tests inject all three.
  struct Environment {
    /// Where the timer fires; must outlive the controller. Null: the main context.
    RunLoop* runLoop = nullptr;
    AnimationClock clock = animationClockNow;
    /// Frames per second of the output, read each time the timer starts. Empty: the active profile's.
    std::function<double()> frameRate;
  };

  /// Plays on the main context at the active profile's frame rate.
  explicit AnimatedImageController(std::optional<std::string> identifier = std::nullopt);
  AnimatedImageController(std::optional<std::string> identifier, Environment environment);
  ~AnimatedImageController();
  AnimatedImageController(const AnimatedImageController&) = delete;
  AnimatedImageController& operator=(const AnimatedImageController&) = delete;

  /// Decodes the GIF at `url` and starts playing it. When its frames or info can't be read, nothing
  /// changes. The frame index is kept, unless it lies past the new file's frames (then 0).
  void load(const Url& url);
  /// Every frame of the file, composited; absent when it can't be opened as a GIF, empty when it has no
  /// frames. A frame that can't be decoded is left out. Decoding stops at 1 GiB of frames.
  static std::optional<std::vector<Image>> getImages(const Url& url);
  /// The file's info; absent when it can't be opened or frame 0 lacks a property (see gifInfo).
  static std::optional<GifInfo> getInfo(const Url& url);

  /// Starts a timer when something is loaded and none runs.
  void resume();
  /// Stops the timer; the frame index stays.
  void stop();
  bool isLoaded() const { return animatedImages_.has_value(); }

  /// The image due now (null when nothing is playable): the current one until its delay has run out
  /// since the last advance, then the next one by `looping`. Never moves more than one frame a call.
  const Image* getFrame();
  /// What each timer tick does: gives the delegate the frame getFrame() returns, if any.
  void dispatchImage();

  const std::optional<std::vector<Image>>& animatedImages() const { return animatedImages_; }
  const std::vector<double>& frameDurations() const { return frameDurations_; }
  /// True while a timer runs.
  bool hasDispatchTimer() const { return dispatchTimer_ != nullptr; }
  std::ptrdiff_t dispatchFrameIndex() const { return dispatchFrameIndex_; }
  double lastRetrievalTime() const { return lastRetrievalTime_; }
  void setDelegate(std::weak_ptr<AnimatedImageControllerDelegate> delegate) { delegate_ = std::move(delegate); }
  Looping looping() const { return looping_; }
  void setLooping(Looping looping) { looping_ = looping; }
  bool isReversing() const { return isReversing_; }
  const std::optional<std::string>& identifier() const { return identifier_; }

 private:
  void startTimer();

  std::optional<std::vector<Image>> animatedImages_;
  std::vector<double> frameDurations_;
  std::unique_ptr<RunLoopTimer> dispatchTimer_;
  std::ptrdiff_t dispatchFrameIndex_ = 0;
  double lastRetrievalTime_ = 0;
  std::weak_ptr<AnimatedImageControllerDelegate> delegate_;
  Looping looping_ = Looping::loop;
  bool isReversing_ = false;
  const std::optional<std::string> identifier_;
  Environment environment_;
};

}  // namespace tav
