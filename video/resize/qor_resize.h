#pragma once

namespace ns_video_resize {

/// Scales planar Y'CbCr frames, optionally with an alpha plane, from one size to another: cropping
/// and padding to a display aspect, smoothing before strong reductions, whole frames or field by
/// field, 8 or 16 bits a sample.
///
/// Life: `create`, `init` once, `process` for every frame, `destroy`.
///
/// Threads: one object is used by one thread at a time; different objects share nothing that
/// changes after `create`.
class qor_resize {
 public:
  /// Frame layouts. Planes follow one another in the order named, each stored row after row without
  /// padding; chroma is halved where the name says so, rounding down. Samples are bytes, for the
  /// layouts `_16` native 16-bit words.
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

  /// A new resizer for the sample width of `space`: 16 bits for the layouts `_16`, 8 bits for every
  /// other value (one that is no layout is rejected by `init`). Selects the processor variant of
  /// the signal primitives on the way. Throws `std::bad_alloc`.
  static qor_resize* create(colorspace space);

  /// Destroys a resizer; does nothing for null.
  static void destroy(qor_resize* object);

  /// Makes the plan: everything that a frame needs is computed and allocated here.
  ///
  ///   out_width, out_height     wanted size of the output
  ///   in_width, in_height       size of the frames that `process` will get; both even
  ///   space                     layout of input and output; on an object for the other sample
  ///                             width it counts with that object's samples
  ///   crop_left .. crop_bottom  columns and rows to cut off the input's edges
  ///   aspect_preset             display aspect of the input: 0 none; 2 is 4:3; 3 is 16:9; 4 is
  ///                             2.21:1; 5 is 5:4; any other value is aspect_x : aspect_y
  ///   resize_mode               0 scales whole frames; 2 scales the two fields of an interlaced
  ///                             frame apart; any other value only crops or pads, centred
  ///   fit_mode                  0 stretches, 1 crops, 2 pads the input to the output's aspect
  ///   kernel_param              free parameter of the cubic convolution; -0.5 is the usual
  ///   interpolation             0 and 2 cubic convolution; 1 linear; 3 cubic B-spline; 4 one
  ///                             sample, the one right of or below the position
  ///   smoothing                 0 off; 2 at least 3x3; any other value as the reduction asks:
  ///                             beyond 1.7 on an axis 3x3, beyond 3.8 5x5
  ///   smoothing_level           stored, of no effect
  ///
  /// Returns 1 when the plan stands. Returns 0 for an interpolation other than 0 to 4, unless
  /// nothing is scaled. Returns -1 for an odd or negative input size, a negative output size, a
  /// value of `space` that is no layout, a fit that cannot be made (by an aspect that is negative
  /// or infinite), and a plan in which an input, cropped, intermediate or output frame would have
  /// more than 2^31 - 1 bytes. Throws `std::bad_alloc` when memory runs out. After anything but 1
  /// the object has no plan: `get_output_size` is 0 and `process` writes nothing.
  ///
  /// Where a size is possible but leaves nothing to show, the plan stands and the output is neutral
  /// (alpha and luma 0, chroma 128 or 32768): when the input has no pixels, when at least as many
  /// columns or rows are cropped as there are (a negative amount counts as more), for a fit_mode
  /// that does not exist, and when an output size is 0. When only cropping or padding, the output
  /// is then empty.
  ///
  /// Kernels and tables at the limits: a single output sample on an axis stands at the first source
  /// sample; where a plane has fewer rows or columns than the kernel has taps, the taps beyond its
  /// last one read the last one; the single-sample method stays on the last one.
  ///
  /// A second `init` releases the first plan and starts anew.
  virtual int init(int out_width, int out_height, int in_width, int in_height, colorspace space,
                   int crop_left, int crop_right, int crop_top, int crop_bottom, int aspect_preset,
                   float aspect_x, float aspect_y, int resize_mode, int fit_mode,
                   float kernel_param, int interpolation, int smoothing, int smoothing_level) = 0;

  /// Bytes of one output frame; 0 without a plan. In 4:2:0 and 4:2:2 with an odd output size this
  /// is more than the planes hold; `process` leaves the bytes behind the last plane as they are.
  virtual int get_output_size() = 0;

  /// Makes one output frame.
  ///
  /// `in` is an input frame of `in_size` bytes; no more than these are read, and no more than a
  /// frame. Samples that are missing count as neutral (alpha and luma 0, chroma 128 or 32768).
  /// `out` has room for `get_output_size()` bytes. Neither needs alignment, and they do not
  /// overlap. `out_size` receives the bytes of an output frame.
  ///
  /// With a null `in` or `out` nothing is written; `out_size` is then set when whole frames are
  /// scaled to another size, and stays as it was otherwise.
  ///
  /// When fields are scaled and the output has an odd number of rows, the last row of each plane
  /// that has them all is not written, unless there is nothing to show. A plane smaller than a
  /// smoothing mask is not smoothed.
  ///
  /// Always returns 1. Throws `std::bad_alloc`, from smoothing and from completing a short input
  /// only; the object can be used on.
  virtual int process(unsigned int in_size, unsigned char* in, unsigned int& out_size,
                      unsigned char* out) = 0;

  virtual ~qor_resize() = default;
};

}  // namespace ns_video_resize
