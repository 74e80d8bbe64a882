// Colour look-up tables (".cube" files, 1D and 3D) and the filters made from them, which recolour a
// picture. A LUT has no picture of its own: the library shows one by applying it to a base picture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

#include "tav/contracts/image.hpp"

namespace tav {

/// Why bytes are not a usable look-up table: what is wrong and on which line ("line 12: expected
/// three numbers"), or for the whole file ("expected 35937 entries for LUT_3D_SIZE 33, found 35936").
class LookupTableError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Recolours pictures. Immutable once made; `apply` may be called from several threads at once.
class ColorFilter {
 public:
  virtual ~ColorFilter() = default;
  /// Writes rows [firstRow, firstRow + rowCount) of `input`, recoloured, into the same rows of
  /// `output`, which has the input's size. Alpha is kept as it is.
  virtual void apply(const Image& input, Image& output, int firstRow, int rowCount) const = 0;
};

/// A parsed table, ready to become a filter.
class ColorLookupTable {
 public:
  virtual ~ColorLookupTable() = default;
  /// Entries per side of the 3D table (0 for none) and of the 1D table (0 for none).
  virtual int size3D() const = 0;
  virtual int size1D() const = 0;
  /// The filter that applies the table (3D tables by tetrahedral interpolation). Throws
  /// LookupTableError when one cannot be made.
  virtual std::shared_ptr<const ColorFilter> makeFilter() const = 0;
};

// Defined by the platform library (tavcommon_platform), with OpenColorIO.

/// Reads a ".cube" file's bytes: LUT_1D_SIZE and/or LUT_3D_SIZE, DOMAIN_MIN/DOMAIN_MAX (or the
/// LUT_1D/3D_INPUT_RANGE forms), TITLE and comments. Throws LookupTableError for anything else, and
/// before anything is allocated for a declared size that the bytes do not hold.
std::shared_ptr<const ColorLookupTable> parseColorLookupTable(std::span<const std::uint8_t> bytes);

}  // namespace tav
