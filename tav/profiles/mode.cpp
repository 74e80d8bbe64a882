#include "tav/profiles/mode.hpp"

#include "tav/contracts/localizer.hpp"

namespace tav {

std::string humanReadbleString(Mode mode) {
  switch (mode) {
    case Mode::normal:
      return Localizer::mainBundle().localized("MODE_NORMAL", "Settings", "Normal");
    case Mode::centerStage:
      return "?";
    case Mode::studioLight:
      return "Studio Light";
    case Mode::portrait:
      break;
  }
  return Localizer::mainBundle().localized("MODE_PORTRAIT_MODE", "Settings", "Portrait");
}

bool isBeta(Mode mode) { return mode != Mode::normal; }

CustomDisplayData displayData(Mode mode) { return CustomDisplayData{humanReadbleString(mode), isBeta(mode)}; }

ModeBuiltInSection section(Mode mode) { return mode == Mode::normal ? ModeBuiltInSection::normal : ModeBuiltInSection::focus; }

std::optional<CustomDisplayData> displayData(ModeBuiltInSection section) {
  if (section == ModeBuiltInSection::normal) return std::nullopt;
  return CustomDisplayData{"Focus", false};
}

}  // namespace tav
