// The small enumerations that fields of a scene use: looping of media, scaling into a frame, text
// alignment, the thumbnail's stock actor, the canvas of a dual-output recording, the geometry fields of
// a layer, and the axes and size modes of frame sizing.
#pragma once

#include <string>
#include <string_view>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// How a video or animated image plays: once, in a loop, or back and forth.
enum class Looping { playOnce, loop, bounce };

/// "Play once", "Loop", "Bounce".
std::string_view title(Looping looping);

/// How content is scaled into its layer. Stored as the integers 0, 1, 2.
enum class ScaleMode { aspectFill, stretchFill, aspectFit };

/// The localised title ("Aspect Fill", "Stretch Fill", "Aspect Fit" by default).
std::string title(ScaleMode mode);

/// The video gravity a renderer applies for a scale mode. Its raw texts are the names the platform's
/// layers use ("AVLayerVideoGravityResizeAspectFill" ...), so a host can pass them through.
enum class VideoGravity { resizeAspectFill, resize, resizeAspect };

/// aspectFill -> resizeAspectFill, stretchFill -> resize, aspectFit -> resizeAspect.
VideoGravity gravity(ScaleMode mode);

/// Horizontal alignment of a text layer.
enum class SceneTextAlignment { left, center, right };

/// "left", "center", "right".
std::string_view title(SceneTextAlignment alignment);
/// The position of the case in allCases: 0, 1, 2.
std::size_t index(SceneTextAlignment alignment);
/// The platform's text alignment values 0 (left), 1 (center), 2 (right). Any other value is a
/// programming error: throws std::logic_error("Alignment value not supported.").
SceneTextAlignment fromNative(int nativeAlignment);

/// The stock actor a scene thumbnail shows. Stored as the integers 0 to 3.
enum class ThumbnailActor { a, b, c, d };

/// "Actor A" ... "Actor D".
std::string_view title(ThumbnailActor actor);

/// One of the four actors, picked uniformly at random (new scenes, documents without one).
ThumbnailActor randomThumbnailActor();

/// One of the two canvases of a dual-output recording.
enum class CanvasRole { primary, secondary };

/// A geometry field of a layer's settings.
enum class SceneElementPosition { xPosition, yPosition, width, height };

/// "X", "Y", "W", "H".
std::string_view title(SceneElementPosition position);

/// An axis of member sizing in frames. Not stored.
enum class SceneLayoutAxis { width, height };

/// How a frame member is sized along an axis. Not stored.
enum class SceneSizeMode { fixed, fill, hug };

template <>
struct EnumTraits<Looping> {
  static constexpr std::array cases{EnumCase<Looping>{Looping::playOnce, "playOnce"},
                                    EnumCase<Looping>{Looping::loop, "loop"},
                                    EnumCase<Looping>{Looping::bounce, "bounce"}};
};

template <>
struct EnumTraits<ScaleMode> {
  static constexpr std::array cases{EnumCase<ScaleMode, int>{ScaleMode::aspectFill, 0},
                                    EnumCase<ScaleMode, int>{ScaleMode::stretchFill, 1},
                                    EnumCase<ScaleMode, int>{ScaleMode::aspectFit, 2}};
};

template <>
struct EnumTraits<VideoGravity> {
  static constexpr std::array cases{
      EnumCase<VideoGravity>{VideoGravity::resizeAspectFill, "AVLayerVideoGravityResizeAspectFill"},
      EnumCase<VideoGravity>{VideoGravity::resize, "AVLayerVideoGravityResize"},
      EnumCase<VideoGravity>{VideoGravity::resizeAspect, "AVLayerVideoGravityResizeAspect"}};
};

template <>
struct EnumTraits<SceneTextAlignment> {
  using E = SceneTextAlignment;
  static constexpr std::array cases{EnumCase<E>{E::left, "left"}, EnumCase<E>{E::center, "center"},
                                    EnumCase<E>{E::right, "right"}};
};

template <>
struct EnumTraits<ThumbnailActor> {
  using E = ThumbnailActor;
  static constexpr std::array cases{EnumCase<E, int>{E::a, 0}, EnumCase<E, int>{E::b, 1}, EnumCase<E, int>{E::c, 2},
                                    EnumCase<E, int>{E::d, 3}};
};

template <>
struct EnumTraits<CanvasRole> {
  static constexpr std::array cases{EnumCase<CanvasRole>{CanvasRole::primary, "primary"},
                                    EnumCase<CanvasRole>{CanvasRole::secondary, "secondary"}};
};

template <>
struct EnumTraits<SceneElementPosition> {
  using E = SceneElementPosition;
  static constexpr std::array cases{EnumCase<E>{E::xPosition, "xPosition"}, EnumCase<E>{E::yPosition, "yPosition"},
                                    EnumCase<E>{E::width, "width"}, EnumCase<E>{E::height, "height"}};
};

}  // namespace tav
