#pragma once

namespace ns_video_resize {

/// Scales planar Y'CbCr frames, optionally with an alpha plane, from one size to another: cropping
/// and padding to a display aspect, smoothing before strong reductions, whole frames or field by
/// field, 8 or 16 bits a sample.
///
/// Life: `create`, `init` once, `process` for every frame, `destroy`.
///
/// Threads: one object is used by one thread at a time; different objects share nothing that changes
/// after `create`.
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
  /// other value (one that is no layout is rejected by `init`). Selects the processor variant of the
  /// signal primitives on the way. Throws `std::bad_alloc`.
  static qor_resize* create(colorspace space);

  /// Destroys a resizer; does nothing for null.
  static void destroy(qor_resize* object);

  virtual int init(int out_width, int out_height, int in_width, int in_height, colorspace space,
                   int crop_left, int crop_right, int crop_top, int crop_bottom, int aspect_preset,
                   float aspect_x, float aspect_y, int resize_mode, int fit_mode,
                   float kernel_param, int interpolation, int smoothing, int smoothing_level) = 0;

  virtual int get_output_size() = 0;

  virtual int process(unsigned int in_size, unsigned char* in, unsigned int& out_size,
                      unsigned char* out) = 0;

  virtual ~qor_resize() = default;
};

}  // namespace ns_video_resize
