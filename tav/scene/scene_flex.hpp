// The vocabulary of frame layouts: direction, justification and alignment of a flex layout, and how a
// frame is pinned to its parent. Stored as their texts; a text that names no case fails to read.
#pragma once

#include "tav/contracts/enum_table.hpp"

namespace tav {

enum class SceneFlexDirection { row, column };
enum class SceneFlexJustify { start, center, end, spaceBetween, spaceAround, spaceEvenly };
enum class SceneFlexAlign { start, center, end, stretch };
enum class SceneFrameConstraint { leading, center, trailing };

template <>
struct EnumTraits<SceneFlexDirection> {
  using E = SceneFlexDirection;
  static constexpr std::array cases{EnumCase<E>{E::row, "row"}, EnumCase<E>{E::column, "column"}};
};

template <>
struct EnumTraits<SceneFlexJustify> {
  using E = SceneFlexJustify;
  static constexpr std::array cases{EnumCase<E>{E::start, "start"},
                                    EnumCase<E>{E::center, "center"},
                                    EnumCase<E>{E::end, "end"},
                                    EnumCase<E>{E::spaceBetween, "spaceBetween"},
                                    EnumCase<E>{E::spaceAround, "spaceAround"},
                                    EnumCase<E>{E::spaceEvenly, "spaceEvenly"}};
};

template <>
struct EnumTraits<SceneFlexAlign> {
  using E = SceneFlexAlign;
  static constexpr std::array cases{EnumCase<E>{E::start, "start"}, EnumCase<E>{E::center, "center"},
                                    EnumCase<E>{E::end, "end"}, EnumCase<E>{E::stretch, "stretch"}};
};

template <>
struct EnumTraits<SceneFrameConstraint> {
  using E = SceneFrameConstraint;
  static constexpr std::array cases{EnumCase<E>{E::leading, "leading"}, EnumCase<E>{E::center, "center"},
                                    EnumCase<E>{E::trailing, "trailing"}};
};

}  // namespace tav
