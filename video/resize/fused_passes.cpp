// The weighted passes in one sweep per row: the same products and sums in the same order as the
// sequence of primitives in scaling_passes.cpp, without rows of intermediate results.

#include <algorithm>
#include <cstddef>

#include "signal/float_environment.h"
#include "signal/scaling_kernels.h"
#include "video/resize/pixel_conversion.h"
#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {
namespace {

using ns_signal::columns_rows;
using ns_signal::scaling_kernels;

// Columns that a y pass processes at a time, so that its rows of floats stay in the first-level
// cache.
constexpr unsigned int strip_width = 2048;

void weigh_rows(const scaling_kernels& kernels, const float* const* rows, const float* weights,
                unsigned int taps, unsigned char* dst, unsigned int count) {
  kernels.weigh_rows_8u(rows, weights, static_cast<int>(taps), dst, static_cast<int>(count));
}

void weigh_rows(const scaling_kernels& kernels, const float* const* rows, const float* weights,
                unsigned int taps, unsigned short* dst, unsigned int count) {
  kernels.weigh_rows_16u(rows, weights, static_cast<int>(taps), dst, static_cast<int>(count));
}

void weigh_columns(const scaling_kernels& kernels, const float* const* rows, unsigned int row_count,
                   const unsigned int* index, const float* const* weights, unsigned int taps,
                   unsigned char* const* dst, unsigned int count) {
  kernels.weigh_columns_8u(rows, static_cast<int>(row_count), index, weights,
                           static_cast<int>(taps), dst, static_cast<int>(count));
}

void weigh_columns(const scaling_kernels& kernels, const float* const* rows, unsigned int row_count,
                   const unsigned int* index, const float* const* weights, unsigned int taps,
                   unsigned short* const* dst, unsigned int count) {
  kernels.weigh_columns_16u(rows, static_cast<int>(row_count), index, weights,
                            static_cast<int>(taps), dst, static_cast<int>(count));
}

}  // namespace

template <typename T>
void video_resize_impl<T>::scale_x_fused(const scaling_kernels& kernels, plane* destination,
                                         plane* source) {
  const ns_signal::float_environment plain_arithmetic;
  const std::size_t width = source->width;
  const std::size_t out_width_here = destination->width;
  if (out_width_here == 0) return;
  for (unsigned int r = 0; r < destination->height; r += columns_rows) {
    const unsigned int rows = std::min<unsigned int>(columns_rows, destination->height - r);
    T* results[columns_rows];
    for (unsigned int i = 0; i < rows; ++i) {
      float* const line = kernel_lines_[i];
      convert_pixel_to_f32(line, source->data + (r + i) * width, source->width);
      std::fill_n(line + width, taps, line[width - 1]);  // for a source narrower than the taps
      results[i] = destination->data + (r + i) * out_width_here;
    }
    weigh_columns(kernels, kernel_lines_, rows, x_index, x_weight_vecs, taps, results,
                  destination->width);
  }
}

template <typename T>
void video_resize_impl<T>::scale_y_fused(const scaling_kernels& kernels, plane* destination,
                                         plane* source) {
  const ns_signal::float_environment plain_arithmetic;
  const std::size_t width = source->width;
  const unsigned int last = source->height - 1;
  for (unsigned int left = 0; left < source->width; left += strip_width) {
    const unsigned int count = std::min(strip_width, source->width - left);
    // Adjacent output rows share source rows. Converted rows are kept: row n in line n % taps.
    std::ptrdiff_t held[4] = {-1, -1, -1, -1};
    for (unsigned int r = 0; r < destination->height; ++r) {
      const float* rows[4];
      float weights[4];
      for (unsigned int k = 0; k < taps; ++k) {
        const unsigned int row = std::min(y_index[r] + k, last);
        const unsigned int line = row % taps;
        if (held[line] != static_cast<std::ptrdiff_t>(row)) {
          convert_pixel_to_f32(kernel_lines_[line], source->data + row * width + left, count);
          held[line] = row;
        }
        rows[k] = kernel_lines_[line];
        weights[k] = y_weight_vecs[k][r];
      }
      weigh_rows(kernels, rows, weights, taps, destination->data + r * width + left, count);
    }
  }
}

template void video_resize_impl<unsigned char>::scale_x_fused(const scaling_kernels&, plane*,
                                                              plane*);
template void video_resize_impl<unsigned short>::scale_x_fused(const scaling_kernels&, plane*,
                                                               plane*);
template void video_resize_impl<unsigned char>::scale_y_fused(const scaling_kernels&, plane*,
                                                              plane*);
template void video_resize_impl<unsigned short>::scale_y_fused(const scaling_kernels&, plane*,
                                                               plane*);

}  // namespace ns_video_resize
