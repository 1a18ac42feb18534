#pragma once

#include <cstddef>

#include "signal/variant.h"

namespace ns_signal {

enum class gaussian_mask { three, five };

/// The region to filter; rows are counted from its first one, and source rows above and below it
/// exist.
struct gaussian_region {
  const unsigned char* src;
  std::ptrdiff_t src_step;
  unsigned char* dst;
  std::ptrdiff_t dst_step;
  std::ptrdiff_t width;
  std::ptrdiff_t height;

  const unsigned char* source_row(std::ptrdiff_t y) const { return src + y * src_step; }
  unsigned char* destination_row(std::ptrdiff_t y) const { return dst + y * dst_step; }
};

/// The way through the region for the 16-bit filter.
void walk_16u(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask);

}  // namespace ns_signal
