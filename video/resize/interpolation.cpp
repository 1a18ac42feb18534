// The kernels, and the tables of both passes: for every output sample the first source sample and
// one weight per tap.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {
namespace {

// Halves are rounded up; positions are not negative.
float nearest_integer(float position) {
  const double moved = static_cast<double>(position) + 0.5;
  return static_cast<float>(static_cast<std::int64_t>(moved));
}

unsigned int last_start(unsigned int source_size, unsigned int taps) {
  return source_size > taps ? source_size - taps : 0;
}

// The tables of one axis. A single output sample is at position 0. In a source with fewer samples
// than taps, every span starts at the first sample.
template <typename Kernel>
void fill_axis(unsigned int source_size, unsigned int count, unsigned int taps,
               const Kernel& weight_at, unsigned int* index, float** weights) {
  const float ratio =
      count > 1 ? static_cast<float>(source_size - 1) / static_cast<float>(count - 1) : 0.0f;
  const std::int64_t last = last_start(source_size, taps);
  for (unsigned int j = 0; j < count; ++j) {
    float position = static_cast<float>(j) * ratio;
    std::int64_t start = static_cast<std::int64_t>(position) + 1 - taps / 2;
    if (start < 0 || start > last) {
      start = start < 0 ? 0 : last;
      position = nearest_integer(position);
    }
    index[j] = static_cast<unsigned int>(start);
    for (unsigned int k = 0; k < taps; ++k) {
      weights[k][j] = weight_at(std::fabs(position - static_cast<float>(index[j] + k)));
    }
  }
}

// The table of another plane: the first entries of the first plane's table. Chroma planes use the
// luma positions and weights; only the start indices are clamped to the plane.
unsigned int* copy_index(const unsigned int* first, unsigned int count, bool chroma,
                         unsigned int last) {
  auto* const index = new unsigned int[count];
  for (unsigned int j = 0; j < count; ++j) index[j] = chroma ? std::min(first[j], last) : first[j];
  return index;
}

template <typename Table>
void free_tables(Table**& tables, unsigned int count) {
  for (unsigned int i = 0; tables != nullptr && i < count; ++i) delete[] tables[i];
  delete[] tables;
  tables = nullptr;
}

}  // namespace

template <typename T>
float video_resize_impl<T>::calculate_weight(float x) const {
  const float a = kernel_param;
  const float x2 = x * x;
  const float x3 = x2 * x;
  switch (interpolation) {
    case 1:
      return std::fabs(1.0f - x);
    case 2:
      if (x >= 0.0f && x <= 1.0f) return (a + 2.0f) * x3 - (a + 3.0f) * x2 + 1.0f;
      if (x > 1.0f && x <= 2.0f) return a * x3 + -5.0f * a * x * x + 8.0f * a * x + -4.0f * a;
      return 0.0f;
    case 3:
      if (x >= 0.0f && x <= 1.0f) return 0.5f * x3 - x2 + 2.0f / 3.0f;
      if (x > 1.0f && x <= 2.0f) return (-1.0f / 6.0f) * x3 + x2 - 2.0f * x + 4.0f / 3.0f;
      return 0.0f;
    case 4:
      return 1.0f;
    default:
      return 0.0f;
  }
}

template <typename T>
void video_resize_impl<T>::init_interpol_vecs() {
  const std::size_t longest = std::max(out_width, out_height);
  auto x_table = std::make_unique<unsigned int[]>(longest);
  auto y_table = std::make_unique<unsigned int[]>(longest);
  x_index_vecs = new unsigned int*[plane_count]();
  y_index_vecs = new unsigned int*[plane_count]();
  unsigned int* const first_x = x_index = x_index_vecs[0] = x_table.release();
  unsigned int* const first_y = y_index = y_index_vecs[0] = y_table.release();
  x_weight_vecs = new float*[taps]();
  y_weight_vecs = new float*[taps]();
  for (unsigned int tap = 0; tap < taps; ++tap) {
    x_weight_vecs[tap] = new float[out_width]();
    y_weight_vecs[tap] = new float[out_height]();
  }

  const unsigned int fields = field_mode != 0 ? 2 : 1;
  const auto weight_at = [this](float distance) { return calculate_weight(distance); };
  fill_axis(in_width, out_width, taps, weight_at, first_x, x_weight_vecs);
  fill_axis(in_height / fields, out_height / fields, taps, weight_at, first_y, y_weight_vecs);

  for (unsigned int p = 1; p < plane_count; ++p) {
    const bool chroma = out_planes[p]->kind != 1;
    x_index_vecs[p] =
        copy_index(first_x, out_planes[p]->width, chroma, last_start(in_planes[p]->width, taps));
    y_index_vecs[p] =
        copy_index(first_y, out_planes[p]->height, chroma, last_start(in_planes[p]->height, taps));
  }
}

template <typename T>
void video_resize_impl<T>::free_interpol_vecs() {
  free_tables(x_index_vecs, plane_count);
  free_tables(y_index_vecs, plane_count);
  free_tables(x_weight_vecs, taps);
  free_tables(y_weight_vecs, taps);
  x_index = nullptr;
  y_index = nullptr;
}

template float video_resize_impl<unsigned char>::calculate_weight(float) const;
template float video_resize_impl<unsigned short>::calculate_weight(float) const;
template void video_resize_impl<unsigned char>::init_interpol_vecs();
template void video_resize_impl<unsigned short>::init_interpol_vecs();
template void video_resize_impl<unsigned char>::free_interpol_vecs();
template void video_resize_impl<unsigned short>::free_interpol_vecs();

}  // namespace ns_video_resize
