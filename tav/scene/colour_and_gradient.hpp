// How a layer's fill colour and fill gradient take a partial update together.
//
// A layer is filled either by a colour or by a gradient, and the colour doubles as the gradient's
// stand-in where only a flat colour can be shown. An update therefore never sets one of the pair
// without looking at the other.
#pragma once

#include <optional>

#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_gradient.hpp"

namespace tav {

/// Merges an incoming colour and gradient into the stored pair:
/// - both incoming: both replace the stored ones;
/// - colour only: the colour replaces the stored one and the stored gradient is cleared;
/// - gradient only: the gradient replaces the stored one and the colour becomes the colour of its
///   first sorted stop (the stored colour stays when the gradient has no stops);
/// - neither: nothing changes.
void mergeColourAndGradient(std::optional<SceneColor>& colour, std::optional<SceneGradient>& gradient,
                            const std::optional<SceneColor>& incomingColour,
                            const std::optional<SceneGradient>& incomingGradient);

}  // namespace tav
