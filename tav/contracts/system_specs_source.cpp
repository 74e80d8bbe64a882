#include "tav/contracts/system_specs_source.hpp"

namespace tav {

std::string description(ThermalState state) {
  switch (state) {
    case ThermalState::nominal:
      return "nominal (0/3)";
    case ThermalState::fair:
      return "fair (1/3)";
    case ThermalState::serious:
      return "serious (2/3)";
    case ThermalState::critical:
      return "critical (3/3)";
  }
  return "unknown (?/3)";
}

}  // namespace tav
