#pragma once

#include <memory>

#include "signal/scaling_kernels.h"
#include "video/resize/crop.h"
#include "video/resize/image_plane.h"
#include "video/resize/qor_resize.h"

namespace ns_video_resize {

/// The resizer for samples of type `T`, `unsigned char` or `unsigned short`. Users hold it as a
/// `qor_resize`; everything is open so that tests can look into the plan.
///
/// A frame goes: crop stage -> `crop_buffer` -> smoothing -> two passes a plane, one along rows and
/// one along columns, through a plane of `mid_planes` -> output. A frame of which nothing is
/// cropped or smoothed is scaled where it stands. `init` makes every buffer and table once.
template <typename T>
class video_resize_impl : public qor_resize {
 public:
  using plane = image_plane<T>;
  using pass = void (video_resize_impl::*)(plane* destination, plane* source);

  /// The state of an object fresh from `create`. Throws `std::bad_alloc`.
  video_resize_impl();
  video_resize_impl(const video_resize_impl&) = delete;
  video_resize_impl& operator=(const video_resize_impl&) = delete;
  ~video_resize_impl() override;

  int init(int out_width, int out_height, int in_width, int in_height, colorspace space,
           int crop_left, int crop_right, int crop_top, int crop_bottom, int aspect_preset,
           float aspect_x, float aspect_y, int resize_mode, int fit_mode, float kernel_param,
           int interpolation, int smoothing, int smoothing_level) override;
  int get_output_size() override;
  int process(unsigned int in_size, unsigned char* in, unsigned int& out_size,
              unsigned char* out) override;

  /// The two ways of scaling a frame, with the arguments of `process`; `in` and `out` need not be
  /// aligned. The second writes nothing where the plan is not for fields. Always return 1.
  int process_frame_scale(unsigned int in_size, T* in, unsigned int& out_size, T* out);
  int process_field_scale(unsigned int in_size, T* in, unsigned int& out_size, T* out);

  /// Smooths a dense plane in place with the Gaussian mask; the outermost one or two rows and
  /// columns keep their values, and a plane that has nothing else stays as it is. Throws
  /// `std::bad_alloc`, with the plane unchanged.
  void smooth_3x3(T* samples, unsigned int width, unsigned int height);
  void smooth_5x5(T* samples, unsigned int width, unsigned int height);

  /// The kernel in force at a distance in source samples.
  ///
  ///   1  linear: |1 - x| for every x
  ///   2  cubic convolution (Keys 1981) with free parameter `kernel_param`: 0 outside 0 to 2
  ///   3  cubic B-spline: 0 outside 0 to 2
  ///   4  box: 1 for every x
  ///
  /// Any other method gives 0. Single precision, in the order in which the terms are written.
  float calculate_weight(float distance) const;

  /// Makes the tables of both passes for all planes; `init` calls it once sizes, taps and planes
  /// are there. Throws `std::bad_alloc`.
  void init_interpol_vecs();
  void free_interpol_vecs();

  /// The passes. An x pass takes a source of the destination's height, a y pass one of its width;
  /// `x_index` or `y_index` holds an entry a destination column or row, none below the one before
  /// it. Taps that lie beyond a source with fewer samples than taps read its last sample. The
  /// source must not be empty unless the destination is.
  void scale_x_integer(plane* destination, plane* source);
  void scale_y_integer(plane* destination, plane* source);
  void scale_x_float(plane* destination, plane* source);
  void scale_y_float(plane* destination, plane* source);

  /// The two forms of the weighted passes, which give the same bytes: the sequence of vector
  /// primitives, which is the definition, and one sweep a row with the kernels of a processor
  /// variant. `scale_x_float` and `scale_y_float` take the second where there is one.
  void scale_x_by_primitives(plane* destination, plane* source);
  void scale_y_by_primitives(plane* destination, plane* source);
  void scale_x_fused(const ns_signal::scaling_kernels& kernels, plane* destination, plane* source);
  void scale_y_fused(const ns_signal::scaling_kernels& kernels, plane* destination, plane* source);

  pass x_pass = nullptr;
  pass y_pass = nullptr;
  unsigned int plane_count = 0;
  unsigned int bytes_in = 0;  // over all frames, wrapping
  unsigned int frames_in = 0;
  colorspace space = yuv420;
  colorspace work_space = yuv420;
  unsigned int in_width = 0, in_height = 0;    // the cropped and padded source
  unsigned int mid_width = 0, mid_height = 0;  // between the passes
  unsigned int out_width = 0, out_height = 0;
  unsigned int out_frame_size = 0;  // samples
  unsigned int in_frame_size = 0;   // samples of a cropped source frame
  T* crop_buffer = nullptr;
  unsigned int copy_only = 0;
  unsigned int field_mode = 0;
  bool x_first = false;
  unsigned int aspect_fixed = 0;
  T* work_buffer = nullptr;  // never allocated
  T* out_buffer = nullptr;
  plane** in_planes = nullptr;
  plane** mid_planes = nullptr;
  plane** out_planes = nullptr;
  unsigned int taps = 0;
  unsigned int interpolation = 0;
  float kernel_param = -0.5f;

  // First source sample of every output sample: the table in use, and the tables by plane.
  unsigned int* x_index = nullptr;
  unsigned int* y_index = nullptr;
  unsigned int** x_index_vecs = nullptr;
  unsigned int** y_index_vecs = nullptr;
  // Weights by tap, shared by all planes.
  float** x_weight_vecs = nullptr;
  float** y_weight_vecs = nullptr;

  // Scratch rows by tap, as long as the largest dimension of any frame.
  T** line_buffers = nullptr;
  float** float_lines = nullptr;

  crop<T> cropper;
  unsigned int smoothing = 0;           // 0 none, 1 `smooth_3x3`, 2 `smooth_5x5`
  unsigned int smoothing_strength = 0;  // stored, read by nothing
  T* field_scratch = nullptr;
  plane* in_fields[2] = {nullptr, nullptr};
  plane* mid_fields[2] = {nullptr, nullptr};
  plane* out_fields[2] = {nullptr, nullptr};
  unsigned char* clip_table = nullptr;  // at value + 1024: the value clamped to 0..255

  bool planned = false;  // `init` returned 1

 private:
  struct crop_amounts {
    int left, right, top, bottom;
  };

  // Scratch rows of the fused passes, in one block: aligned, and with `columns_padding` floats
  // behind each, since kernels read past their ends. Null without a plan.
  std::unique_ptr<float[]> kernel_block_;
  float* kernel_lines_[ns_signal::columns_rows] = {};

  void release_plan();
  void store_crop(crop_amounts amounts);
  void choose_pass_order();
  void choose_smoothing(int wanted);
  bool choose_taps();
  void make_planes();
  void make_lines();

  unsigned int output_bytes() const;
  T* crop_stage(unsigned int in_size, T* in, bool is_written);
  void smooth_source();
  void select_plane(unsigned int index, T* samples);
  void scale_whole(unsigned int index, T* out);
  void scale_by_fields(unsigned int index, T* out);
  void run_passes(plane* destination, plane* middle, plane* source);
  void smooth(T* samples, unsigned int width, unsigned int height, int mask, unsigned int border);
};

}  // namespace ns_video_resize
