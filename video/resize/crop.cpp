#include "video/resize/crop.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "video/resize/colorspace.h"

namespace ns_video_resize {
namespace {

constexpr std::uint64_t largest_size = 0x7FFFFFFF;

// Amounts on the two sides of an axis; 64 bits, so that their sums do not wrap.
struct sides {
  std::uint64_t first, second;

  std::uint64_t sum() const { return first + second; }
  bool any() const { return (first | second) != 0; }

  void add(std::uint64_t amount) {
    first += amount;
    second += amount;
  }

  // Chroma is cropped by half of each amount, so two odd amounts are replaced by two even ones.
  void even_out() {
    if ((first & second & 1) == 0) return;
    first += 1;
    second -= 1;
  }
};

// The part of one axis that is kept, and the border around it.
struct axis {
  std::uint64_t in;
  sides cropped, padded;

  bool possible() const {
    return cropped.sum() <= in && padded.sum() + in - cropped.sum() <= largest_size;
  }
  std::uint64_t out() const { return padded.sum() + in - cropped.sum(); }
};

// Half of an amount that is first truncated and taken modulo 2^32. False if the truncated amount
// does not fit in 64 bits.
bool half_of(double amount, std::uint64_t& half) {
  constexpr double limit = 9223372036854775808.0;
  if (!(amount >= -limit && amount < limit)) return false;
  half = static_cast<std::uint32_t>(static_cast<std::int64_t>(amount)) >> 1;
  return true;
}

// Crop amounts are rounded, pad amounts truncated.
bool fit(unsigned int fit_mode, double ratio, axis& x, axis& y) {
  const double width = static_cast<double>(x.out());
  const double height = static_cast<double>(y.out());
  const double current = width / height;
  std::uint64_t half = 0;
  if (fit_mode == 1) {
    if (current > ratio) {
      if (!half_of(width - height * ratio + 0.5, half)) return false;
      x.cropped.add(half);
    } else if (ratio > current) {
      if (!half_of(height - width / ratio + 0.5, half)) return false;
      y.cropped.add(half);
    }
  } else if (fit_mode == 2) {
    if (ratio > current) {
      if (!half_of(height * ratio - width, half)) return false;
      x.padded.add(half);
    } else if (current > ratio) {
      if (!half_of(width / ratio - height, half)) return false;
      y.padded.add(half);
    }
  }
  return x.possible() && y.possible();
}

// Makes an odd size even by padding or cropping one more row or column.
bool make_even(unsigned int fit_mode, axis& side) {
  if ((side.out() & 1) != 0) (fit_mode == 2 ? side.padded : side.cropped).first += 1;
  return side.possible();
}

template <typename T>
void copy_rectangle(const T* src, std::size_t src_stride, T* dst, std::size_t dst_stride,
                    std::size_t width, std::size_t height) {
  for (std::size_t row = 0; row < height; ++row) {
    const void* const from = src + row * src_stride;  // may be unaligned
    std::memcpy(dst + row * dst_stride, from, width * sizeof(T));
  }
}

}  // namespace

template <typename T>
int crop<T>::init(colorspace layout, bool with_aspect, int width, int height, float aspect_width,
                  float aspect_height) {
  space = layout;
  aspect_enabled = with_aspect;
  in_width = static_cast<unsigned int>(width);
  in_height = static_cast<unsigned int>(height);
  aspect_x = with_aspect ? aspect_width : 0.0f;
  aspect_y = with_aspect ? aspect_height : 0.0f;
  ready = ratio_set = false;
  if (!is_layout(space)) return -1;

  if (has_alpha(space)) {
    alpha_in_width = in_width;
    alpha_in_height = in_height;
  }
  for (int plane = 0; plane < 2; ++plane) {
    chroma_in_width[plane] = in_width >> chroma_shift_x(space);
    chroma_in_height[plane] = in_height >> chroma_shift_y(space);
  }

  // yuv422 and its 16-bit layout accept odd widths here: the owner of the cropper rejects them.
  const bool wants_even_width = chroma_shift_y(space) == 1 || space == qor_resize::ayuv422;
  const bool wants_even_height = chroma_shift_y(space) == 1;
  if (wants_even_width && (in_width & 1) != 0) return -1;
  if (wants_even_height && (in_height & 1) != 0) return -1;
  ready = true;
  return 1;
}

template <typename T>
int crop<T>::set_out_ratio(unsigned int wanted_width, unsigned int wanted_height,
                           unsigned int wanted_fit, int* result_width, int* result_height) {
  if (!ready || wanted_fit > 2 || !crop_valid || wanted_width == 0 || wanted_height == 0) return -1;

  double ratio = static_cast<double>(wanted_width) / wanted_height;
  if (aspect_x != 0.0f && aspect_y != 0.0f) {
    const float pixel_aspect =
        (aspect_x / aspect_y) / (static_cast<float>(in_width) / static_cast<float>(in_height));
    ratio /= static_cast<double>(pixel_aspect);
  }

  axis x{in_width, {user_left, user_right}, {pad_left, pad_right}};
  axis y{in_height, {user_top, user_bottom}, {pad_top, pad_bottom}};
  if (!x.possible() || !y.possible()) return 0;
  if (!fit(wanted_fit, ratio, x, y)) return 0;
  if (!make_even(wanted_fit, x) || !make_even(wanted_fit, y)) return 0;
  bool touched = false;
  for (sides* side : {&y.cropped, &x.cropped, &y.padded, &x.padded}) {
    side->even_out();
    touched |= side->any();
  }

  fit_mode = wanted_fit;
  target_width = wanted_width;
  target_height = wanted_height;
  target_ratio = ratio;
  left = static_cast<unsigned int>(x.cropped.first);
  right = static_cast<unsigned int>(x.cropped.second);
  top = static_cast<unsigned int>(y.cropped.first);
  bottom = static_cast<unsigned int>(y.cropped.second);
  pad_left = static_cast<unsigned int>(x.padded.first);
  pad_right = static_cast<unsigned int>(x.padded.second);
  pad_top = static_cast<unsigned int>(y.padded.first);
  pad_bottom = static_cast<unsigned int>(y.padded.second);
  out_width = static_cast<unsigned int>(x.out());
  out_height = static_cast<unsigned int>(y.out());
  alpha_out_width = has_alpha(space) ? out_width : alpha_in_width;
  alpha_out_height = has_alpha(space) ? out_height : alpha_in_height;
  for (int plane = 0; plane < 2; ++plane) {
    chroma_out_width[plane] = out_width >> chroma_shift_x(space);
    chroma_out_height[plane] = out_height >> chroma_shift_y(space);
  }
  identity = !touched;
  ratio_set = true;
  *result_width = static_cast<int>(out_width);
  *result_height = static_cast<int>(out_height);
  return 1;
}

template <typename T>
int crop<T>::process_yp_cb_cr_plan(T* src, T* dst) {
  return cut_frame(src, dst, 1);
}

template <typename T>
int crop<T>::process_a_yp_cb_cr_plan(T* src, T* dst) {
  return cut_frame(src, dst, 2);
}

// `full_planes` is the number of planes of luma size before the chroma planes.
template <typename T>
int crop<T>::cut_frame(T* src, T* dst, unsigned int full_planes) {
  if (!ratio_set || out_width == 0 || out_height == 0) return 1;
  const std::size_t in_size = std::size_t{in_width} * in_height;
  const std::size_t out_size = std::size_t{out_width} * out_height;
  const std::size_t in_chroma_width = chroma_in_width[0];
  const std::size_t out_chroma_width = chroma_out_width[0];
  const std::size_t out_chroma_size = out_chroma_width * chroma_out_height[0];

  const unsigned int shift_y = (out_height / chroma_out_height[1]) >> 1;
  const unsigned int shift_x = (out_width / chroma_out_width[1]) >> 1;
  const std::size_t rows = in_height - top - bottom;
  const std::size_t row_length = in_width - left - right;
  const std::size_t chroma_rows = rows >> shift_y;
  const std::size_t chroma_row_length = row_length >> shift_x;

  T* const in_place = dst == nullptr ? src : nullptr;
  const std::size_t out_samples = full_planes * out_size + 2 * out_chroma_size;
  std::unique_ptr<T[]> scratch;
  if (in_place != nullptr) {
    scratch.reset(new T[out_samples]);
    dst = scratch.get();
  }

  std::fill_n(dst, full_planes * out_size, T{0});
  clear_chroma(dst + full_planes * out_size, static_cast<unsigned int>(2 * out_chroma_size));

  for (std::size_t plane = 0; plane < full_planes; ++plane) {
    copy_rectangle(src + (plane * in_height + top) * in_width + left, in_width,
                   dst + (plane * out_height + pad_top) * out_width + pad_left, out_width,
                   row_length, rows);
  }

  // The distance from Cb to Cr is computed from the amounts, not from the plane sizes: with one odd
  // amount the two differ by one row.
  const T* cb_src =
      src + full_planes * in_size + (top >> shift_y) * in_chroma_width + (left >> shift_x);
  T* cb_dst = dst + full_planes * out_size + (pad_top >> shift_y) * out_chroma_width +
              (pad_left >> shift_x);
  const std::size_t src_step =
      in_chroma_width * (chroma_rows + (top >> shift_y) + (bottom >> shift_y));
  const std::size_t dst_step =
      out_chroma_width * (chroma_rows + (pad_top >> shift_y) + (pad_bottom >> shift_y));
  for (std::size_t plane = 0; plane < 2; ++plane) {
    copy_rectangle(cb_src + plane * src_step, in_chroma_width, cb_dst + plane * dst_step,
                   out_chroma_width, chroma_row_length, chroma_rows);
  }

  if (in_place != nullptr) std::memcpy(in_place, dst, out_samples * sizeof(T));
  return 1;
}

template <typename T>
void crop<T>::clear_chroma(T* p, unsigned int count) {
  std::fill_n(p, count, neutral_chroma<T>);
}

template class crop<unsigned char>;
template class crop<unsigned short>;

}  // namespace ns_video_resize
