#pragma once

#include <cstdint>
#include <iosfwd>

namespace reference {

/// Everything that determines a resizer's results: the argument of `qor_resize::create`, then the
/// arguments of `init` in their order.
struct resize_request {
  int created_for = 1;
  int out_width = 0;
  int out_height = 0;
  int in_width = 0;
  int in_height = 0;
  int space = 1;
  int crop_left = 0;
  int crop_right = 0;
  int crop_top = 0;
  int crop_bottom = 0;
  int aspect_preset = 0;
  float aspect_x = 0.0F;
  float aspect_y = 0.0F;
  int resize_mode = 0;
  int fit_mode = 0;
  float kernel_param = -0.5F;
  int interpolation = 2;
  int smoothing = 0;
  int smoothing_level = 0;
};

/// Prints the two calls as source code.
std::ostream& operator<<(std::ostream& out, const resize_request& request);

/// The properties of a layout number.
struct layout {
  bool valid;
  bool alpha;         ///< an alpha plane precedes the luma
  unsigned shift_x;   ///< chroma width = luma width >> shift_x
  unsigned shift_y;   ///< chroma height = luma height >> shift_y
  double frame_size;  ///< samples of a frame for each luma sample
};

layout layout_of(int space);

/// The width of samples and the neutral value of chroma.
struct sample_format {
  unsigned bytes;
  std::uint16_t neutral_chroma;
};

}  // namespace reference
