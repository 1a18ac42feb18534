#include "signal/gaussian_portable.h"

#include <cstring>

namespace ns_signal::portable {
namespace {

// Rounds to nearest, ties to even.
unsigned int divide_by_16(unsigned int sum) { return (sum + 7 + (sum >> 4 & 1)) >> 4; }

// Rounds to nearest; 571 is odd, so there are no ties.
unsigned int divide_by_571(unsigned int sum) { return (sum + 571 / 2) / 571; }

unsigned int sample_16u(const unsigned char* row, std::ptrdiff_t x) {
  unsigned short sample = 0;
  std::memcpy(&sample, row + 2 * x, sizeof sample);
  return sample;
}

void store_16u(unsigned char* row, std::ptrdiff_t x, unsigned int value) {
  const auto sample = static_cast<unsigned short>(value);
  std::memcpy(row + 2 * x, &sample, sizeof sample);
}

constexpr unsigned int weights_3[3][3] = {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}};

constexpr unsigned int weights_5[5][5] = {{2, 7, 12, 7, 2},
                                          {7, 31, 52, 31, 7},
                                          {12, 52, 127, 52, 12},
                                          {7, 31, 52, 31, 7},
                                          {2, 7, 12, 7, 2}};

template <int size>
unsigned int weighted_sum(const unsigned char* centre, std::ptrdiff_t step,
                          const unsigned int (&weights)[size][size]) {
  unsigned int sum = 0;
  for (int y = 0; y < size; ++y) {
    for (int x = 0; x < size; ++x) {
      sum += weights[y][x] * sample_16u(centre + (y - size / 2) * step, x - size / 2);
    }
  }
  return sum;
}

unsigned short profile(const unsigned char* src, unsigned int far, unsigned int near,
                       unsigned int centre) {
  return static_cast<unsigned short>(far * (src[-2] + src[2]) + near * (src[-1] + src[1]) +
                                     centre * src[0]);
}

}  // namespace

void filter_3x3_8u(const gaussian_region& region, unsigned short* sums) {
  const std::ptrdiff_t width = region.width;
  for (std::ptrdiff_t y = 0; y < region.height; ++y) {
    const unsigned char* const row = region.src + y * region.src_step;
    const unsigned char* const above = row - region.src_step;
    const unsigned char* const below = row + region.src_step;
    for (std::ptrdiff_t x = -1; x <= width; ++x) {
      sums[x + 1] = static_cast<unsigned short>(above[x] + 2 * row[x] + below[x]);
    }
    unsigned char* const dst = region.dst + y * region.dst_step;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      const int sum = sums[x] + 2 * sums[x + 1] + sums[x + 2];
      dst[x] = static_cast<unsigned char>(divide_by_16(static_cast<unsigned int>(sum)));
    }
  }
}

void profiles_5x5_8u(const unsigned char* src, const row_profiles& profiles, std::ptrdiff_t width) {
  for (std::ptrdiff_t x = 0; x < width; ++x) {
    profiles.outer[x] = profile(src + x, 2, 7, 12);
    profiles.middle[x] = profile(src + x, 7, 31, 52);
    profiles.centre[x] = profile(src + x, 12, 52, 127);
  }
}

void combine_5x5_8u(const row_profiles src[5], unsigned char* dst, std::ptrdiff_t width) {
  for (std::ptrdiff_t x = 0; x < width; ++x) {
    const int sum =
        src[0].outer[x] + src[1].middle[x] + src[2].centre[x] + src[3].middle[x] + src[4].outer[x];
    dst[x] = static_cast<unsigned char>(divide_by_571(static_cast<unsigned int>(sum)));
  }
}

void filter_3x3_16u(const gaussian_region& region) {
  for (std::ptrdiff_t y = 0; y < region.height; ++y) {
    const unsigned char* const row = region.src + y * region.src_step;
    unsigned char* const dst = region.dst + y * region.dst_step;
    for (std::ptrdiff_t x = 0; x < region.width; ++x) {
      store_16u(dst, x, divide_by_16(weighted_sum(row + 2 * x, region.src_step, weights_3)));
    }
  }
}

void filter_5x5_16u(const gaussian_region& region) {
  for (std::ptrdiff_t y = 0; y < region.height; ++y) {
    const unsigned char* const row = region.src + y * region.src_step;
    unsigned char* const dst = region.dst + y * region.dst_step;
    for (std::ptrdiff_t x = 0; x < region.width; ++x) {
      store_16u(dst, x, divide_by_571(weighted_sum(row + 2 * x, region.src_step, weights_5)));
    }
  }
}

}  // namespace ns_signal::portable
