#pragma once

#include "video/resize/qor_resize.h"

namespace ns_video_resize {

/// Computes which rectangle of a frame is kept and how large the border around it is, so that the
/// result has the requested aspect and even sizes; then copies that rectangle from planar frames.
///
/// Order of calls: `init`; the owner stores the user crop and the pads and sets `crop_valid`;
/// `set_out_ratio`; then the `process_` functions, any number of times. All sizes are in samples of
/// `T`, which is `unsigned char` or `unsigned short`.
///
/// Threads: the `process_` functions change no members and may run concurrently; everything else is
/// for one thread at a time.
template <typename T>
class crop {
 public:
  using colorspace = qor_resize::colorspace;

  /// Stores the layout and size of the input frames and, if `aspect_enabled`, their display aspect
  /// `aspect_x` : `aspect_y`. Returns 1 and sets `ready`. Clears it and returns -1 if `space` is
  /// not a layout or does not allow an odd size (4:2:0 needs both even, `ayuv422` the width).
  int init(colorspace space, bool aspect_enabled, int in_width, int in_height, float aspect_x,
           float aspect_y);

  /// Fits the kept rectangle to a picture of target_width x target_height: `fit_mode` 0 stretches,
  /// 1 crops and 2 pads to the ratio. Returns 1 and writes the size of the resulting frames, both
  /// even and possibly 0. Returns -1 and changes nothing if not `ready`, `fit_mode` is above 2, no
  /// crop is valid or a target size is 0. Returns 0 and changes nothing if there is no possible
  /// rectangle or size: the crop is larger than the frame, or a size exceeds 2^31 - 1.
  int set_out_ratio(unsigned int target_width, unsigned int target_height, unsigned int fit_mode,
                    int* out_width, int* out_height);

  /// Crops one frame without alpha (planes Y, Cb, Cr) from `src`, a complete frame of the input
  /// size, to `dst`, a complete frame of the output size; the border is black luma and neutral
  /// chroma. The frames must not overlap. With a null `dst` the result replaces the source, whose
  /// buffer must be as large as the larger of both frames. Does nothing before `set_out_ratio` has
  /// succeeded. Always returns 1. Throws `std::bad_alloc` with a null `dst` only.
  int process_yp_cb_cr_plan(T* src, T* dst);

  /// The same for planes A, Y, Cb, Cr; the border of the alpha plane is transparent.
  int process_a_yp_cb_cr_plan(T* src, T* dst);

  /// Fills `count` samples with the neutral chroma value, 128 or 32768.
  void clear_chroma(T* p, unsigned int count);

  // The effective crop, after fitting.
  unsigned int left = 0, right = 0, top = 0, bottom = 0;
  // The requested crop.
  unsigned int user_left = 0, user_right = 0, user_top = 0, user_bottom = 0;
  // The border.
  unsigned int pad_left = 0, pad_right = 0, pad_top = 0, pad_bottom = 0;
  // The alpha plane, in layouts that have one.
  unsigned int alpha_in_width = 0, alpha_in_height = 0, alpha_out_width = 0, alpha_out_height = 0;
  // The frame before and after.
  unsigned int in_width = 0, in_height = 0;
  unsigned int out_width = 0, out_height = 0;
  // Index 0 is the Cb plane, 1 the Cr plane.
  unsigned int chroma_in_width[2] = {0, 0}, chroma_in_height[2] = {0, 0};
  unsigned int chroma_out_width[2] = {0, 0}, chroma_out_height[2] = {0, 0};
  colorspace space = colorspace();
  float aspect_x = 0, aspect_y = 0;  // 0 when disabled
  bool aspect_enabled = false;
  bool identity = false;  // nothing cropped, nothing padded
  unsigned int fit_mode = 0;
  double target_ratio = 0;  // required width / height of the kept rectangle, in input pixels
  unsigned int target_width = 0, target_height = 0;
  bool ready = false;       // `init` succeeded
  bool crop_valid = false;  // the owner stored a valid crop
  bool ratio_set = false;   // `set_out_ratio` succeeded

 private:
  int cut_frame(T* src, T* dst, unsigned int full_planes);
};

extern template class crop<unsigned char>;
extern template class crop<unsigned short>;

}  // namespace ns_video_resize
