// Where a frame member really lands on the canvas once the rotations of its enclosing frames are
// applied, and the whole-degree folding every rotation of the structure goes through.
#pragma once

#include <cstdint>

#include "tav/contracts/geometry.hpp"

namespace tav {

/// `degrees` brought into -180...180: the remainder by 360 with the sign of `degrees`, then 360 taken
/// off above 180 and added below -180. So 181 gives -179, 180 and -180 stay, 540 gives 180.
constexpr int foldedDegrees(std::int64_t degrees) {
  std::int64_t remainder = degrees % 360;
  if (remainder > 180) remainder -= 360;
  if (remainder < -180) remainder += 360;
  return static_cast<int>(remainder);
}

/// One member's landing: its unrotated box, centred where its centre lands, in fractions of the canvas;
/// its total rotation; and the part of that rotation that comes from the frames around it. Both
/// rotations are folded to -180...180.
struct SceneLayoutPlacement {
  Rect rect;
  int rotation = 0;
  int inheritedRotation = 0;

  SceneLayoutPlacement() = default;
  SceneLayoutPlacement(Rect landedRect, int totalRotation, int rotationFromFrames)
      : rect(landedRect), rotation(totalRotation), inheritedRotation(rotationFromFrames) {}

  friend bool operator==(const SceneLayoutPlacement&, const SceneLayoutPlacement&) = default;
};

}  // namespace tav
