#include "tav/scene/position.hpp"

namespace tav {

std::string_view title(Position position) {
  switch (position) {
    case Position::primary: return "Primary Source";
    case Position::secondary: return "Secondary Source";
    case Position::audio: return "Audio";
    case Position::background: return "Layers";
    case Position::controlPanel: return "Control Panels";
  }
  return "Primary Source";
}

int intValue(Position position) {
  switch (position) {
    case Position::primary:
    case Position::secondary: return 0;
    case Position::audio: return 1;
    case Position::background: return 2;
    case Position::controlPanel: return 3;
  }
  return 0;
}

bool isVideo(Position position) { return position == Position::primary || position == Position::secondary; }

}  // namespace tav
