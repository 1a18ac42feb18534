#pragma once

namespace ns_video_resize {

/// Scales planar Y'CbCr frames, optionally with an alpha plane, from one size to another. Crops or
/// pads to a display aspect, smooths before strong reductions, and scales complete frames or field
/// by field, with 8 or 16 bits per sample.
///
/// Life cycle: `create`, `init` once, `process` for every frame, `destroy`.
///
/// Threads: one object is used by one thread at a time; different objects share nothing that
/// changes after `create`.
class qor_resize {
 public:
  /// Frame layouts. The planes are stored one after another in the given order, each row after row
  /// without padding; halved chroma sizes are rounded down. Samples are bytes; in the `_16` layouts
  /// they are native 16-bit words.
  enum colorspace : unsigned int {
    yuv420 = 1,     ///< Y, Cb, Cr; chroma half width, half height
    ayuv420 = 2,    ///< A, Y, Cb, Cr; chroma half width, half height
    yuv422 = 3,     ///< Y, Cb, Cr; chroma half width
    yuv444 = 4,     ///< Y, Cb, Cr; chroma full size
    ayuv422 = 5,    ///< A, Y, Cb, Cr; chroma half width
    ayuv444 = 6,    ///< A, Y, Cb, Cr; chroma full size
    yuv422_16 = 7,  ///< as `yuv422`, 16 bits
    yuv444_16 = 8,  ///< as `yuv444`, 16 bits
  };

  /// Creates a resizer for the sample width of `space`: 16 bits for the `_16` layouts, 8 bits for
  /// every other value (`init` rejects a value that is not a layout). Also selects the processor
  /// variant of the signal primitives. Throws `std::bad_alloc`.
  static qor_resize* create(colorspace space);

  /// Destroys a resizer; does nothing for null.
  static void destroy(qor_resize* object);

  /// Makes the plan: computes and allocates everything that is needed to process frames.
  ///
  ///   out_width, out_height     size of the output
  ///   in_width, in_height       size of the frames passed to `process`; both even
  ///   space                     layout of input and output; with a layout of the other sample
  ///                             width, the object's own sample width is used
  ///   crop_left .. crop_bottom  columns and rows to crop from the input's edges
  ///   aspect_preset             display aspect of the input: 0 none; 2 is 4:3; 3 is 16:9; 4 is
  ///                             2.21:1; 5 is 5:4; any other value is aspect_x : aspect_y
  ///   resize_mode               0 scales complete frames; 2 scales the two fields of an interlaced
  ///                             frame separately; any other value only crops or pads,
  ///                             centred
  ///   fit_mode                  0 stretches, 1 crops, 2 pads the input to the output's aspect
  ///   kernel_param              free parameter of the cubic convolution, usually -0.5
  ///   interpolation             0 and 2 cubic convolution; 1 linear; 3 cubic B-spline; 4 one
  ///                             sample, the one to the right of or below the position
  ///   smoothing                 0 off; 2 at least 3x3; any other value depends on the
  ///                             reduction: above 1.7 on an axis 3x3, above 3.8 5x5
  ///   smoothing_level           stored, has no effect
  ///
  /// Returns 1 on success. Returns 0 for an interpolation other than 0 to 4, unless nothing is
  /// scaled. Returns -1 for an odd or negative input size, a negative output size, a value of
  /// `space` that is not a layout, an impossible fit (the aspect is negative or infinite), and a
  /// plan in which an input, cropped, intermediate or output frame would exceed 2^31 - 1 bytes.
  /// Throws `std::bad_alloc` when memory runs out. After any result other than 1 the object has no
  /// plan: `get_output_size` returns 0 and `process` writes nothing.
  ///
  /// If the sizes are possible but leave no picture, `init` succeeds and the output is neutral
  /// (alpha and luma 0, chroma 128 or 32768). This happens if the input has no pixels, if the crop
  /// removes all columns or rows (a negative amount counts as more than all), for an undefined
  /// `fit_mode`, and if an output size is 0. When only cropping or padding, the output is then
  /// empty.
  ///
  /// Limit cases of kernels and tables: a single output sample on an axis is at the position of the
  /// first source sample. If a plane has fewer rows or columns than the kernel has taps, the taps
  /// after the last one read the last one; the single-sample method does not go beyond the last
  /// one.
  ///
  /// A second `init` releases the first plan and starts again.
  virtual int init(int out_width, int out_height, int in_width, int in_height, colorspace space,
                   int crop_left, int crop_right, int crop_top, int crop_bottom, int aspect_preset,
                   float aspect_x, float aspect_y, int resize_mode, int fit_mode,
                   float kernel_param, int interpolation, int smoothing, int smoothing_level) = 0;

  /// Bytes of one output frame; 0 without a plan. In 4:2:0 and 4:2:2 with an odd output size this
  /// is more than the sum of the planes; `process` does not write the bytes after the last plane.
  virtual int get_output_size() = 0;

  /// Makes one output frame.
  ///
  /// `in` is an input frame of `in_size` bytes; no byte after these or after a complete frame is
  /// read. Missing samples count as neutral (alpha and luma 0, chroma 128 or 32768). `out` is a
  /// buffer of `get_output_size()` bytes. Neither needs alignment; they must not overlap.
  /// `out_size` receives the size of an output frame in bytes.
  ///
  /// With a null `in` or `out` no frame is written; `out_size` is then set if complete frames are
  /// scaled to another size, and not changed otherwise.
  ///
  /// When fields are scaled and the output has an odd number of rows, the last row of each plane of
  /// full height is not written, unless there is no picture. A plane smaller than a smoothing mask
  /// is not smoothed.
  ///
  /// Always returns 1. Throws `std::bad_alloc` only while smoothing or completing a short input;
  /// the object remains usable.
  virtual int process(unsigned int in_size, unsigned char* in, unsigned int& out_size,
                      unsigned char* out) = 0;

  virtual ~qor_resize() = default;
};

}  // namespace ns_video_resize
