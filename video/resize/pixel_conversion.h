#pragma once

#include "signal/vector_primitives.h"

namespace ns_video_resize {

/// Converts a row of `count` samples to floats; exact. The rows must not overlap.
template <typename T>
void convert_pixel_to_f32(float* dst, const T* src, unsigned int count);

template <>
inline void convert_pixel_to_f32(float* dst, const unsigned char* src, unsigned int count) {
  ippsConvert_8u32f(src, dst, static_cast<int>(count));
}

template <>
inline void convert_pixel_to_f32(float* dst, const unsigned short* src, unsigned int count) {
  ippsConvert_16u32f(src, dst, static_cast<int>(count));
}

/// Converts a row of floats to samples: rounded to nearest, ties to even, and clamped to 0..255.
/// Not defined for 16 bits, which are truncated (`truncate_to_16u`).
template <typename T>
void convert_f32_to_pixel(T* dst, const float* src, unsigned int count);

template <>
inline void convert_f32_to_pixel(unsigned char* dst, const float* src, unsigned int count) {
  ippsConvert_32f8u_Sfs(src, dst, static_cast<int>(count), 1, 0);
}

/// Converts a float to a 16-bit sample: truncated toward zero and clamped to 0..65535; NaN gives 0.
inline unsigned short truncate_to_16u(float value) {
  if (!(value > 0.0f)) return 0;
  if (value >= 65536.0f) return 65535;
  return static_cast<unsigned short>(value);
}

}  // namespace ns_video_resize
