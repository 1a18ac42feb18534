#pragma once

#include <cstdint>
#include <iosfwd>

namespace reference {

/// Everything that decides what a resizer does: what `qor_resize::create` was given, then the
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

/// Prints the two calls as they would be written in a program.
std::ostream& operator<<(std::ostream& out, const resize_request& request);

/// What the number of a layout stands for.
struct layout {
  bool valid;
  bool alpha;         ///< an alpha plane precedes the luma
  unsigned shift_x;   ///< chroma width = luma width >> shift_x
  unsigned shift_y;   ///< chroma height = luma height >> shift_y
  double frame_size;  ///< samples of a frame for each luma sample
};

layout layout_of(int space);

/// How wide samples are and which value stands for no colour.
struct sample_format {
  unsigned bytes;
  std::uint16_t neutral_chroma;
};

}  // namespace reference
