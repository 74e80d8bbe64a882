// The output resolutions that go with each aspect ratio, largest first.
#pragma once

#include <vector>

#include "tav/profiles/profile.hpp"
#include "tav/scene/aspect_ratio.hpp"

namespace tav {

/// Landscape (and unknown): 3840 x 2160 down to 1280 x 720; fourByThree: 1920 x 1440 down to 640 x 480;
/// square: 1440 down to 720; portrait and threeByFour: the rotated landscape and 4:3 lists.
const std::vector<Profile::Resolution>& resolutions(AspectRatio aspect);

}  // namespace tav
