#include "tav/profiles/aspect_resolutions.hpp"

namespace tav {

const std::vector<Profile::Resolution>& resolutions(AspectRatio aspect) {
  switch (aspect) {
    case AspectRatio::portrait:
      return Profile::Resolution::portraitOptions();
    case AspectRatio::fourByThree:
      return Profile::Resolution::landscapeFourThreeOptions();
    case AspectRatio::threeByFour:
      return Profile::Resolution::portraitFourThreeOptions();
    case AspectRatio::square:
      return Profile::Resolution::squareOptions();
    case AspectRatio::landscape:
    case AspectRatio::unknown:
      break;
  }
  return Profile::Resolution::landscapeOptions();
}

}  // namespace tav
