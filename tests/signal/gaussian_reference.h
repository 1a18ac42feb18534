#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "signal/gaussian_filter.h"
#include "tests/signal/protected_buffer.h"

/// A slow reference implementation of the Gaussian filter, and planes to compare both.
namespace gaussian_reference {

/// The weight at a distance from the centre. Every weight of the 5x5 mask depends only on the two
/// distances, and not on their order.
inline int weight(int mask, int dx, int dy) {
  dx = std::abs(dx);
  dy = std::abs(dy);
  if (mask == 33) {
    return (2 - dx) * (2 - dy);
  }
  const int by_distances[3][3] = {{127, 52, 12}, {52, 31, 7}, {12, 7, 2}};
  return by_distances[dx][dy];
}

inline int total(int mask) {
  const int reach = mask == 33 ? 1 : 2;
  int sum = 0;
  for (int dy = -reach; dy <= reach; ++dy) {
    for (int dx = -reach; dx <= reach; ++dx) {
      sum += weight(mask, dx, dy);
    }
  }
  return sum;
}

/// A picture with its border; rows without padding.
template <class T>
struct picture {
  int width;
  int height;
  int border;
  std::vector<T> samples;

  picture(int w, int h, int b)
      : width(w),
        height(h),
        border(b),
        samples(static_cast<std::size_t>(w + 2 * b) * static_cast<std::size_t>(h + 2 * b)) {}
  T& at(int x, int y) {
    return samples[static_cast<std::size_t>(y + border) *
                       static_cast<std::size_t>(width + 2 * border) +
                   static_cast<std::size_t>(x + border)];
  }
  T at(int x, int y) const { return const_cast<picture*>(this)->at(x, y); }
};

/// Division in double precision, where a quotient by 16 is exact and one by 571 is far enough from
/// every half; `nearbyint` rounds ties to even.
template <class T>
std::vector<T> filter(const picture<T>& source, int mask) {
  const int reach = mask == 33 ? 1 : 2;
  std::vector<T> result;
  for (int y = 0; y < source.height; ++y) {
    for (int x = 0; x < source.width; ++x) {
      double sum = 0;
      for (int dy = -reach; dy <= reach; ++dy) {
        for (int dx = -reach; dx <= reach; ++dx) {
          sum += weight(mask, dx, dy) * static_cast<double>(source.at(x + dx, y + dy));
        }
      }
      result.push_back(static_cast<T>(std::nearbyint(sum / total(mask))));
    }
  }
  return result;
}

/// Samples of several kinds: noise, extremes only, near-constant and rare spikes.
template <class T>
picture<T> random_picture(int width, int height, int mask, std::mt19937& random) {
  picture<T> p(width, height, mask == 33 ? 1 : 2);
  constexpr unsigned int most = static_cast<T>(~T{0});
  const unsigned int character = static_cast<unsigned int>(random() % 5);
  const unsigned int base = static_cast<unsigned int>(random()) & most;
  for (T& sample : p.samples) {
    const unsigned int r = static_cast<unsigned int>(random());
    const unsigned int value = character == 0   ? r
                               : character == 1 ? (r & 1) * most
                               : character == 2 ? base ^ (r & 1)
                               : character == 3 ? (r % 16 == 0 ? most : 0)
                                                : most;
    sample = static_cast<T>(value & most);
  }
  return p;
}

inline int call(const unsigned char* src, int src_step, unsigned char* dst, int dst_step,
                IppiSize roi, int mask) {
  return ippiFilterGauss_8u_C1R(src, src_step, dst, dst_step, roi, mask);
}

inline int call(const unsigned short* src, int src_step, unsigned short* dst, int dst_step,
                IppiSize roi, int mask) {
  return ippiFilterGauss_16u_C1R(src, src_step, dst, dst_step, roi, mask);
}

/// The result of a run of the filter: its status, the region, and whether anything else was
/// written.
template <class T>
struct outcome {
  int status = 1;
  std::vector<T> region;
  bool rest_untouched = false;
};

/// Runs the filter between protected pages, with rows that are `src_padding` and `dst_padding`
/// bytes longer than necessary. The source buffer contains only the picture with its border and the
/// padding between rows, the destination buffer only the region and the padding. Guard bytes are
/// `fill`.
template <class T>
outcome<T> run(const picture<T>& source, int mask, int src_padding = 0, int dst_padding = 0,
               int fill = 0x5a, bool at_begin = false) {
  using bytes = protected_buffer<unsigned char>;
  const auto side = at_begin ? bytes::side::begin : bytes::side::end;
  const std::size_t sample = sizeof(T);
  const std::size_t border = static_cast<std::size_t>(source.border);
  const std::size_t line = (static_cast<std::size_t>(source.width) + 2 * border) * sample;
  const std::size_t lines = static_cast<std::size_t>(source.height) + 2 * border;
  const std::size_t src_step = line + static_cast<std::size_t>(src_padding);
  bytes src(src_step * (lines - 1) + line, side);
  src.fill(fill);
  for (std::size_t y = 0; y < lines; ++y) {
    std::memcpy(
        src.data() + y * src_step,
        source.samples.data() + y * static_cast<std::size_t>(source.width + 2 * source.border),
        line);
  }
  const std::size_t out_line = static_cast<std::size_t>(source.width) * sample;
  const std::size_t dst_step = out_line + static_cast<std::size_t>(dst_padding);
  const std::size_t height = static_cast<std::size_t>(source.height);
  bytes dst(dst_step * (height - 1) + out_line, side);
  dst.fill(fill);

  outcome<T> result;
  const std::size_t first = static_cast<std::size_t>(source.border) * (src_step + sample);
  result.status = call(reinterpret_cast<const T*>(src.data() + first), static_cast<int>(src_step),
                       reinterpret_cast<T*>(dst.data()), static_cast<int>(dst_step),
                       {source.width, source.height}, mask);
  result.region.resize(static_cast<std::size_t>(source.width) * height);
  result.rest_untouched = true;
  for (std::size_t y = 0; y < height; ++y) {
    const unsigned char* const row = dst.data() + y * dst_step;
    std::memcpy(result.region.data() + y * static_cast<std::size_t>(source.width), row, out_line);
    if (y + 1 < height) {
      result.rest_untouched =
          result.rest_untouched && std::all_of(row + out_line, row + dst_step,
                                               [fill](unsigned char b) { return b == fill; });
    }
  }
  return result;
}

}  // namespace gaussian_reference
