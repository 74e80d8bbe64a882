// Small arithmetic on sizes, in floating point: ratio, scaling, cropping to a ratio, comparing fits.
#pragma once

#include "tav/contracts/geometry.hpp"

namespace tav {

/// Width over height.
inline double aspectRatio(Size size) { return size.width / size.height; }

/// Both sides times `factor`.
inline Size operator*(Size size, double factor) { return Size{size.width * factor, size.height * factor}; }

/// The largest size of `ratio` (width over height) inside `size` that keeps one of its sides: narrower
/// when `ratio` is below the size's own ratio, else lower.
inline Size croppedToRatio(Size size, double ratio) {
  if (ratio < size.width / size.height) return Size{ratio * size.height, size.height};
  return Size{size.width, size.width / ratio};
}

/// How much smaller `other` is, summed over both sides as fractions: (1 - ow / w) + (1 - oh / h).
inline double difference(Size size, Size other) {
  return (1 - other.width / size.width) + (1 - other.height / size.height);
}

/// True when `other` fits inside `size` on both sides.
inline bool canFit(Size size, Size other) { return other.width <= size.width && other.height <= size.height; }

}  // namespace tav
