#pragma once

#include <cstddef>

namespace ns_signal {

/// The region to filter: its first source and destination pixel, the bytes from row to row, and its
/// size in pixels. The source is readable around it as far as the mask reaches. 16-bit samples are
/// passed as bytes, because their rows may be unaligned.
struct gaussian_region {
  const unsigned char* src;
  std::ptrdiff_t src_step;
  unsigned char* dst;
  std::ptrdiff_t dst_step;
  std::ptrdiff_t width;
  std::ptrdiff_t height;
};

/// The horizontal sums of one source row with the three different rows of the 5x5 mask.
struct row_profiles {
  unsigned short* outer;   ///< (2, 7, 12, 7, 2)
  unsigned short* middle;  ///< (7, 31, 52, 31, 7)
  unsigned short* centre;  ///< (12, 52, 127, 52, 12)
};

/// The operations of the Gaussian filter in one implementation.
struct gaussian_rows {
  /// `sums` is scratch for width + 2 vertical sums.
  void (*filter_3x3_8u)(const gaussian_region& region, unsigned short* sums);
  /// Computes the profiles of the row that begins at `src`. The size of the scratch rows is `width`
  /// rounded up to a multiple of `profile_granularity`, and they may be written up to their end.
  void (*profiles_5x5_8u)(const unsigned char* src, const row_profiles& profiles,
                          std::ptrdiff_t width);
  /// Computes one output row from the profiles of five source rows, top to bottom.
  void (*combine_5x5_8u)(const row_profiles src[5], unsigned char* dst, std::ptrdiff_t width);
  void (*filter_3x3_16u)(const gaussian_region& region);
  void (*filter_5x5_16u)(const gaussian_region& region);
};

constexpr std::ptrdiff_t profile_granularity = 64;

}  // namespace ns_signal
