#pragma once

#include "signal/gaussian_rows.h"

namespace ns_signal::portable {

void row_3x3_8u(const unsigned char* const src[3], unsigned short* sums, unsigned char* dst,
                std::ptrdiff_t width);
void profiles_5x5_8u(const unsigned char* src, const row_profiles& profiles, std::ptrdiff_t width);
void combine_5x5_8u(const row_profiles src[5], unsigned char* dst, std::ptrdiff_t width);
void row_3x3_16u(const unsigned char* const src[3], unsigned char* dst, std::ptrdiff_t width);
void row_5x5_16u(const unsigned char* const src[5], unsigned char* dst, std::ptrdiff_t width);

}  // namespace ns_signal::portable
