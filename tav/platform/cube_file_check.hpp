// A look over a ".cube" file before it is handed to the colour library: the declared sizes are in
// range, every entry is three finite numbers and the number of entries is what the sizes declare.
// Nothing is allocated from a declared size, so a hostile file costs no more than its own length.
#pragma once

#include <string_view>

namespace tav {

struct CubeFileShape {
  int size1D = 0;  // LUT_1D_SIZE, 0 when absent
  int size3D = 0;  // LUT_3D_SIZE, 0 when absent
};

/// The largest sizes taken: 65536 entries for a 1D table, 256 per side for a 3D one.
inline constexpr int kMaxCubeSize1D = 65536;
inline constexpr int kMaxCubeSize3D = 256;

/// The file's declared sizes. Throws LookupTableError naming the line and the problem, or the counts
/// for a file whose number of entries does not match.
CubeFileShape checkCubeFile(std::string_view text);

}  // namespace tav
