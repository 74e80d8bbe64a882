// ".cube" texts for tests and benchmarks, built from their rule rather than stored.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tav::testing {

/// A 3D table of `size` points per side that maps each colour to its complement (1 - value), red
/// varying fastest as the format orders entries.
inline std::string invertingCube(int size) {
  std::string text = "LUT_3D_SIZE " + std::to_string(size) + "\n";
  const double step = 1.0 / (size - 1);
  for (int b = 0; b < size; ++b) {
    for (int g = 0; g < size; ++g) {
      for (int r = 0; r < size; ++r) {
        text += std::to_string(1 - r * step) + " " + std::to_string(1 - g * step) + " " + std::to_string(1 - b * step) + "\n";
      }
    }
  }
  return text;
}

/// A 3D table with a smooth, non-linear grade (warmer highlights, lifted shadows), so that
/// interpolation between its points does real work.
inline std::string gradingCube(int size) {
  std::string text = "TITLE \"grade\"\nLUT_3D_SIZE " + std::to_string(size) + "\n";
  const double step = 1.0 / (size - 1);
  for (int b = 0; b < size; ++b) {
    for (int g = 0; g < size; ++g) {
      for (int r = 0; r < size; ++r) {
        const double rr = r * step, gg = g * step, bb = b * step;
        text += std::to_string(0.05 + 0.95 * rr * (1.1 - 0.1 * rr)) + " " +
                std::to_string(0.03 + 0.97 * gg * gg * (3 - 2 * gg) * 0.5 + 0.485 * gg) + " " +
                std::to_string(0.08 + 0.8 * bb * (0.6 + 0.4 * bb)) + "\n";
      }
    }
  }
  return text;
}

inline std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace tav::testing
