#pragma once

#include <memory>

#include "signal/scaling_kernels.h"
#include "video/resize/crop.h"
#include "video/resize/image_plane.h"
#include "video/resize/qor_resize.h"

namespace ns_video_resize {

/// The resizer for samples of type `T`, `unsigned char` or `unsigned short`. Users see it as a
/// `qor_resize`; all members are public so that tests can examine the plan.
///
/// The path of a frame: crop stage -> `crop_buffer` -> smoothing -> two passes per plane, one along
/// rows and one along columns, through a plane of `mid_planes` -> output. A frame that is neither
/// cropped nor smoothed is scaled from the caller's buffer. `init` makes all buffers and tables.
template <typename T>
class video_resize_impl : public qor_resize {
 public:
  using plane = image_plane<T>;
  using pass = void (video_resize_impl::*)(plane* destination, plane* source);

  /// The object as `create` returns it. Throws `std::bad_alloc`.
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

  /// Scale a complete frame or its two fields, with the arguments of `process`; `in` and `out` need
  /// not be aligned. The second writes no frame if the plan is not for fields. Always return 1.
  int process_frame_scale(unsigned int in_size, T* in, unsigned int& out_size, T* out);
  int process_field_scale(unsigned int in_size, T* in, unsigned int& out_size, T* out);

  /// Smooth a plane without padding in place with the Gaussian mask; the outermost one or two rows
  /// and columns keep their values, and so does a plane that consists of these only. Throw
  /// `std::bad_alloc`, with the plane unchanged.
  void smooth_3x3(T* samples, unsigned int width, unsigned int height);
  void smooth_5x5(T* samples, unsigned int width, unsigned int height);

  /// The value of the selected kernel at a distance in source samples.
  ///
  ///   1  linear: |1 - x| for every x
  ///   2  cubic convolution (Keys 1981) with free parameter `kernel_param`: 0 outside 0 to 2
  ///   3  cubic B-spline: 0 outside 0 to 2
  ///   4  box: 1 for every x
  ///
  /// Any other method gives 0. Single precision, evaluated in the order in which the terms are
  /// written.
  float calculate_weight(float distance) const;

  /// Makes the tables of both passes for all planes; `init` calls it when sizes, taps and planes
  /// are set. Throws `std::bad_alloc`.
  void init_interpol_vecs();
  void free_interpol_vecs();

  /// The passes. For an x pass the source has the destination's height, for a y pass its width.
  /// `x_index` or `y_index` has one entry per destination column or row, in non-decreasing order.
  /// If the source has fewer samples than the kernel has taps, the taps after its last sample read
  /// that sample. The source must not be empty unless the destination is.
  void scale_x_integer(plane* destination, plane* source);
  void scale_y_integer(plane* destination, plane* source);
  void scale_x_float(plane* destination, plane* source);
  void scale_y_float(plane* destination, plane* source);

  /// The two forms of the weighted passes, which give the same bytes: the sequence of vector
  /// primitives, which is the definition, and one sweep per row with the kernels of a processor
  /// variant. `scale_x_float` and `scale_y_float` use the second if the variant has kernels.
  void scale_x_by_primitives(plane* destination, plane* source);
  void scale_y_by_primitives(plane* destination, plane* source);
  void scale_x_fused(const ns_signal::scaling_kernels& kernels, plane* destination, plane* source);
  void scale_y_fused(const ns_signal::scaling_kernels& kernels, plane* destination, plane* source);

  pass x_pass = nullptr;
  pass y_pass = nullptr;
  unsigned int plane_count = 0;
  unsigned int bytes_in = 0;  // of all frames; wraps
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

  // First source sample of every output sample: the current table, and the tables by plane.
  unsigned int* x_index = nullptr;
  unsigned int* y_index = nullptr;
  unsigned int** x_index_vecs = nullptr;
  unsigned int** y_index_vecs = nullptr;
  // Weights by tap, shared by all planes.
  float** x_weight_vecs = nullptr;
  float** y_weight_vecs = nullptr;

  // Scratch rows by tap; their length is the largest dimension of any frame.
  T** line_buffers = nullptr;
  float** float_lines = nullptr;

  crop<T> cropper;
  unsigned int smoothing = 0;           // 0 none, 1 `smooth_3x3`, 2 `smooth_5x5`
  unsigned int smoothing_strength = 0;  // stored, not used
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

  // Scratch rows of the fused passes, in one block: aligned, and each followed by `columns_padding`
  // floats, because kernels read past their ends. Null without a plan.
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
