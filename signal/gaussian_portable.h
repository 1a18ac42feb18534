#pragma once

#include "signal/gaussian_rows.h"

namespace ns_signal::portable {

void filter_3x3_8u(const gaussian_region& region, unsigned short* sums);
void profiles_5x5_8u(const unsigned char* src, const row_profiles& profiles, std::ptrdiff_t width);
void combine_5x5_8u(const row_profiles src[5], unsigned char* dst, std::ptrdiff_t width);
void filter_3x3_16u(const gaussian_region& region);
void filter_5x5_16u(const gaussian_region& region);

}  // namespace ns_signal::portable
