#pragma once

#include <cstddef>
#include <cstdint>

#include "video/resize/qor_resize.h"

namespace ns_video_resize {

/// Properties of a frame layout. `space` may be any value unless stated otherwise.

/// Whether `space` is one of the eight layouts.
inline bool is_layout(qor_resize::colorspace space) { return space >= 1 && space <= 8; }

/// Whether an alpha plane precedes the luma plane.
inline bool has_alpha(qor_resize::colorspace space) {
  return space < 7 && (100u >> space & 1) != 0;
}

/// Right shift from luma width to chroma width; 1 for a value that is not a layout.
inline unsigned int chroma_shift_x(qor_resize::colorspace space) {
  constexpr unsigned int shifts[] = {1, 1, 1, 0, 1, 0, 1, 0};
  return is_layout(space) ? shifts[space - 1] : 1;
}

/// Right shift from luma height to chroma height; 1 for a value that is not a layout.
inline unsigned int chroma_shift_y(qor_resize::colorspace space) {
  constexpr unsigned int shifts[] = {1, 1, 0, 0, 0, 0, 0, 0};
  return is_layout(space) ? shifts[space - 1] : 1;
}

/// Samples in one frame of width x height luma pixels; `space` must be a layout. With subsampled
/// chroma and an odd size, the result is a few samples larger than the sum of the planes.
inline std::uint64_t frame_samples(qor_resize::colorspace space, std::uint64_t width,
                                   std::uint64_t height) {
  constexpr unsigned int halves[] = {3, 5, 4, 6, 6, 8, 4, 6};
  return width * height * halves[space - 1] / 2;
}

/// The neutral chroma value of a sample type.
template <typename T>
constexpr T neutral_chroma = sizeof(T) == 1 ? T{128} : static_cast<T>(32768);

/// Fills one frame with transparent alpha and black luma (0) and neutral chroma. The frame has
/// `frame_samples` samples; those after the last chroma plane of an odd frame are filled, too.
template <typename T>
void fill_neutral(T* frame, qor_resize::colorspace space, std::size_t width, std::size_t height) {
  const std::size_t chroma_start = width * height * (has_alpha(space) ? 2 : 1);
  const std::size_t samples = frame_samples(space, width, height);
  for (std::size_t i = 0; i < chroma_start; ++i) frame[i] = 0;
  for (std::size_t i = chroma_start; i < samples; ++i) frame[i] = neutral_chroma<T>;
}

}  // namespace ns_video_resize
