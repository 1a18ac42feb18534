#pragma once

#include <cstddef>

namespace ns_signal {

/// The horizontal sums of one source row under the three different rows of the 5x5 mask.
struct row_profiles {
  unsigned short* outer;   ///< (2, 7, 12, 7, 2)
  unsigned short* middle;  ///< (7, 31, 52, 31, 7)
  unsigned short* centre;  ///< (12, 52, 127, 52, 12)
};

/// The row operations of the Gaussian filter in one implementation. Rows are given at the region's
/// first column; sources are read one (3x3) or two (5x5) samples beyond both ends. 16-bit rows are
/// given as bytes, since they need not be aligned.
struct gaussian_rows {
  /// One output row; `sums` has room for width + 2 vertical sums.
  void (*row_3x3_8u)(const unsigned char* const src[3], unsigned short* sums, unsigned char* dst,
                     std::ptrdiff_t width);
  void (*profiles_5x5_8u)(const unsigned char* src, const row_profiles& profiles,
                          std::ptrdiff_t width);
  /// One output row from the profiles of five source rows, top to bottom.
  void (*combine_5x5_8u)(const row_profiles src[5], unsigned char* dst, std::ptrdiff_t width);
  void (*row_3x3_16u)(const unsigned char* const src[3], unsigned char* dst, std::ptrdiff_t width);
  void (*row_5x5_16u)(const unsigned char* const src[5], unsigned char* dst, std::ptrdiff_t width);
};

}  // namespace ns_signal
