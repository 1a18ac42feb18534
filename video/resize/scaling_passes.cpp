// The passes over one plane in one direction. The single-sample passes copy. The weighted ones
// gather the taps of a row in scratch rows, and multiply and add these with the vector primitives,
// tap by tap.

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "signal/scaling_kernels.h"
#include "signal/vector_primitives.h"
#include "video/resize/pixel_conversion.h"
#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {
namespace {

template <typename T>
const T* row_of(const image_plane<T>& plane, std::size_t row) {
  return plane.data + row * plane.width;
}

template <typename T>
T* row_of(image_plane<T>& plane, std::size_t row) {
  return plane.data + row * plane.width;
}

void pick_columns(const ns_signal::scaling_kernels& kernels, const unsigned char* src,
                  const unsigned int* index, unsigned char* dst, unsigned int count) {
  kernels.pick_columns_8u(src, index, dst, static_cast<int>(count));
}

void pick_columns(const ns_signal::scaling_kernels& kernels, const unsigned short* src,
                  const unsigned int* index, unsigned short* dst, unsigned int count) {
  kernels.pick_columns_16u(src, index, dst, static_cast<int>(count));
}

void store(unsigned char* dst, const float* src, unsigned int count) {
  convert_f32_to_pixel(dst, src, count);
}

void store(unsigned short* dst, const float* src, unsigned int count) {
  for (unsigned int i = 0; i < count; ++i) dst[i] = truncate_to_16u(src[i]);
}

}  // namespace

template <typename T>
void video_resize_impl<T>::scale_x_integer(plane* destination, plane* source) {
  const auto* const kernels = ns_signal::current_scaling_kernels();
  if (destination->width == 0) return;
  for (unsigned int r = 0; r < destination->height; ++r) {
    const T* const from = row_of(*source, r);
    T* const to = row_of(*destination, r);
    if (kernels != nullptr) {
      pick_columns(*kernels, from, x_index, to, destination->width);
    } else {
      for (unsigned int j = 0; j < destination->width; ++j) to[j] = from[x_index[j]];
    }
  }
}

template <typename T>
void video_resize_impl<T>::scale_y_integer(plane* destination, plane* source) {
  for (unsigned int r = 0; r < destination->height; ++r) {
    std::memcpy(row_of(*destination, r), row_of(*source, y_index[r]), source->width * sizeof(T));
  }
}

template <typename T>
void video_resize_impl<T>::scale_x_float(plane* destination, plane* source) {
  const auto* const kernels = ns_signal::current_scaling_kernels();
  if (kernels != nullptr && kernel_block_ != nullptr) {
    scale_x_fused(*kernels, destination, source);
  } else {
    scale_x_by_primitives(destination, source);
  }
}

template <typename T>
void video_resize_impl<T>::scale_y_float(plane* destination, plane* source) {
  const auto* const kernels = ns_signal::current_scaling_kernels();
  if (kernels != nullptr && kernel_block_ != nullptr) {
    scale_y_fused(*kernels, destination, source);
  } else {
    scale_y_by_primitives(destination, source);
  }
}

template <typename T>
void video_resize_impl<T>::scale_x_by_primitives(plane* destination, plane* source) {
  const unsigned int width = destination->width;
  const unsigned int last = source->width - 1;
  const int length = static_cast<int>(width);
  for (unsigned int r = 0; r < destination->height; ++r) {
    const T* const from = row_of(*source, r);
    for (unsigned int k = 0; k < taps; ++k) {
      for (unsigned int j = 0; j < width; ++j) {
        line_buffers[k][j] = from[std::min(x_index[j] + k, last)];
      }
      convert_pixel_to_f32(float_lines[k], line_buffers[k], width);
    }
    ippsMul_32f(float_lines[0], x_weight_vecs[0], float_lines[0], length);
    for (unsigned int k = 1; k < taps; ++k) {
      ippsMul_32f(float_lines[k], x_weight_vecs[k], float_lines[k], length);
      ippsAdd_32f(float_lines[k], float_lines[0], float_lines[0], length);
    }
    store(line_buffers[0], float_lines[0], width);
    std::memcpy(row_of(*destination, r), line_buffers[0], width * sizeof(T));
  }
}

template <typename T>
void video_resize_impl<T>::scale_y_by_primitives(plane* destination, plane* source) {
  const unsigned int width = source->width;
  const unsigned int last = source->height - 1;
  const int length = static_cast<int>(width);
  for (unsigned int r = 0; r < destination->height; ++r) {
    for (unsigned int k = 0; k < taps; ++k) {
      const T* const from = row_of(*source, std::min(y_index[r] + k, last));
      std::memcpy(line_buffers[k], from, width * sizeof(T));
      convert_pixel_to_f32(float_lines[k], line_buffers[k], width);
    }
    ippsMulC_32f(float_lines[0], y_weight_vecs[0][r], float_lines[0], length);
    for (unsigned int k = 1; k < taps; ++k) {
      ippsMulC_32f(float_lines[k], y_weight_vecs[k][r], float_lines[k], length);
      ippsAdd_32f(float_lines[k], float_lines[0], float_lines[0], length);
    }
    store(line_buffers[0], float_lines[0], width);
    std::memcpy(row_of(*destination, r), line_buffers[0], width * sizeof(T));
  }
}

template void video_resize_impl<unsigned char>::scale_x_integer(plane*, plane*);
template void video_resize_impl<unsigned short>::scale_x_integer(plane*, plane*);
template void video_resize_impl<unsigned char>::scale_y_integer(plane*, plane*);
template void video_resize_impl<unsigned short>::scale_y_integer(plane*, plane*);
template void video_resize_impl<unsigned char>::scale_x_by_primitives(plane*, plane*);
template void video_resize_impl<unsigned short>::scale_x_by_primitives(plane*, plane*);
template void video_resize_impl<unsigned char>::scale_y_by_primitives(plane*, plane*);
template void video_resize_impl<unsigned short>::scale_y_by_primitives(plane*, plane*);
template void video_resize_impl<unsigned char>::scale_x_float(plane*, plane*);
template void video_resize_impl<unsigned short>::scale_x_float(plane*, plane*);
template void video_resize_impl<unsigned char>::scale_y_float(plane*, plane*);
template void video_resize_impl<unsigned short>::scale_y_float(plane*, plane*);

}  // namespace ns_video_resize
