// Seconds in log lines of the isolated recording, printed as the platform prints a double: the shortest
// text that reads back exactly, with ".0" kept on whole numbers ("0.25", "-1.5", "0.0").
#pragma once

#include <string>

namespace tav::detail {

std::string isolatedSecondsText(double seconds);

}  // namespace tav::detail
