#include "tav/scene/colour_and_gradient.hpp"

namespace tav {

void mergeColourAndGradient(std::optional<SceneColor>& colour, std::optional<SceneGradient>& gradient,
                            const std::optional<SceneColor>& incomingColour,
                            const std::optional<SceneGradient>& incomingGradient) {
  if (incomingColour) {
    colour = incomingColour;
    gradient = incomingGradient;  // absent clears: a flat colour replaces a gradient
  } else if (incomingGradient) {
    if (auto first = incomingGradient->representativeColor()) colour = first;
    gradient = incomingGradient;
  }
}

}  // namespace tav
