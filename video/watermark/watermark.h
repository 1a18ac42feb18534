#pragma once

namespace ns_video_watermark {

/// Where an overlay goes on a frame, and how. Nine unsigned 32-bit fields; sizes and positions
/// count luma pixels and rows.
struct watermark_config {
  unsigned int frame_width;      ///< width of the frame's luma plane
  unsigned int frame_height;     ///< height of the frame's luma plane
  unsigned int width;            ///< width of the overlay picture
  unsigned int height;           ///< height of the overlay picture
  unsigned int x;                ///< left column of the overlay on the frame
  unsigned int y;                ///< top row of the overlay on the frame
  unsigned int opacity;          ///< overall opacity in percent; `configure` clamps it to 100
  unsigned int format;           ///< frame layout: 0 planar 4:2:0, 1 planar 4:2:2, 2 planar 4:4:4
  unsigned int hold_last_image;  ///< after the last image: non-zero shows it on, 0 starts over
};

/// Blends a picture with its own alpha plane into planar Y'CbCr frames, 8 bits a sample.
///
/// A frame picture is one contiguous buffer: the luma plane, then Cb, then Cr, rows stored without
/// padding; chroma sizes are the luma sizes halved as the format says, rounding down.
///
/// Threads: none inside, no locks. One object is used by one thread at a time; different objects
/// share nothing.
class watermark {
 public:
  /// A new, unconfigured compositor. Throws `std::bad_alloc`.
  static watermark* create();

  /// Destroys a compositor; does nothing for null.
  static void destroy(watermark* object);

  /// Takes ownership of `config`, which the caller has allocated with `new`, clamps its opacity to
  /// 100 and derives the geometry of every plane. `frame_size` receives the bytes of one frame
  /// picture. Returns 0 when the overlay lies inside the frame, 1 when it does not; after a 1 the
  /// object is in its failed state: it takes no image and blends no frame. A null `config` ends in
  /// the failed state too, with `frame_size` 0. Throws `std::bad_alloc`.
  ///
  /// The check and `frame_size` are unsigned 32-bit and wrap. An overlay that passes the check only
  /// by wrapping, or a frame or overlay of 4 GiB or more, is answered as the wrapped numbers say,
  /// but no image is taken and no frame blended for it. A `format` above 2 leaves the planes as an
  /// earlier call has set them; without one they are empty.
  ///
  /// A second call makes everything anew and keeps the images. The earlier record and opacity table
  /// are not freed; who calls it again and cares keeps the record's address.
  virtual unsigned int configure(watermark_config* config, unsigned int& frame_size) = 0;

  /// Appends an image to the sequence, one image shown a frame. `image` holds the overlay's luma
  /// plane (width x height) followed by Cb and Cr at the sizes of the frame's format; `alpha` holds
  /// width x height bytes, 255 showing only the overlay and 0 only the frame, or is null for a
  /// fully opaque overlay. An opacity below 100 weakens the alpha. Both are copied. Returns 0 when
  /// added; 1, with nothing added, in the failed state, before `configure`, for wrapped sizes and
  /// for a null `image`. Throws `std::bad_alloc` and is then as it was.
  virtual unsigned int add_watermark_image(unsigned char* image, unsigned char* alpha) = 0;

  /// A new picture: the frame with the current image blended in, each sample truncated (see
  /// `blend_sample`). Chroma takes the alpha of the first pixel it covers; there is no averaging.
  /// `frame` is a whole frame picture and is only read. The caller owns the result and frees it
  /// with `delete[]`. Null when there is nothing to blend: failed state, no image, wrapped sizes,
  /// an image left from an earlier `configure` that is too small for the overlay of now, or a null
  /// `frame`. Throws `std::bad_alloc` and is then as it was.
  virtual unsigned char* process(unsigned char* frame) = 0;

  virtual ~watermark() = default;
};

}  // namespace ns_video_watermark
