// The aspect ratios a scene can be arranged for, with their titles, ratio and canonical canvas size.
//
// Read leniently: a text that names no case reads as `unknown`, which behaves as landscape 16:9, so a
// document from a later version with a new aspect still opens.
#pragma once

#include <string_view>
#include <vector>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/geometry.hpp"

namespace tav {

enum class AspectRatio { landscape, portrait, fourByThree, threeByFour, square, unknown };

template <>
struct EnumTraits<AspectRatio> {
  using E = AspectRatio;
  static constexpr std::array cases{EnumCase<E>{E::landscape, "landscape"},
                                    EnumCase<E>{E::portrait, "portrait"},
                                    EnumCase<E>{E::fourByThree, "fourByThree"},
                                    EnumCase<E>{E::threeByFour, "threeByFour"},
                                    EnumCase<E>{E::square, "square"},
                                    EnumCase<E>{E::unknown, "unknown"}};
  static constexpr E unknownCase = E::unknown;
};

/// "16:9", "9:16", "4:3", "3:4", "1:1" ("16:9" for unknown).
std::string_view title(AspectRatio aspect);
/// "Landscape 16:9", "Portrait 9:16", "Landscape 4:3", "Portrait 3:4", "Square".
std::string_view menuTitle(AspectRatio aspect);
/// "Landscape", "Portrait" or "Square".
std::string_view formatName(AspectRatio aspect);
/// Width over height: 16/9, 0.5625, 4/3, 0.75, 1.
double value(AspectRatio aspect);
/// True for portrait and threeByFour.
bool isVertical(AspectRatio aspect);
/// The canvas in points that layouts of this aspect are scaled with (1920 x 1080 for landscape).
Size canonicalSize(AspectRatio aspect);

}  // namespace tav
