// The logical slots the host assigns to sources: the main and second camera, audio, layers and
// control panels.
#pragma once

#include <array>
#include <string_view>

#include "tav/contracts/enum_table.hpp"

namespace tav {

/// Stored as the integers 0 to 4.
enum class Position { primary, secondary, audio, background, controlPanel };

template <>
struct EnumTraits<Position> {
  static constexpr std::array cases{EnumCase<Position, int>{Position::primary, 0},
                                    EnumCase<Position, int>{Position::secondary, 1},
                                    EnumCase<Position, int>{Position::audio, 2},
                                    EnumCase<Position, int>{Position::background, 3},
                                    EnumCase<Position, int>{Position::controlPanel, 4}};
};

/// "Primary Source", "Secondary Source", "Audio", "Layers", "Control Panels".
std::string_view title(Position position);
/// The section the slot is shown in: 0 for both video sources, then 1, 2, 3.
int intValue(Position position);
/// True for the two video sources.
bool isVideo(Position position);

}  // namespace tav
