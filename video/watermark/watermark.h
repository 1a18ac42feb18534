#pragma once

namespace ns_video_watermark {

/// The position of an overlay on a frame, and how it is blended. Nine unsigned 32-bit fields; sizes
/// and positions are in luma pixels and rows.
struct watermark_config {
  unsigned int frame_width;      ///< width of the frame's luma plane
  unsigned int frame_height;     ///< height of the frame's luma plane
  unsigned int width;            ///< width of the overlay picture
  unsigned int height;           ///< height of the overlay picture
  unsigned int x;                ///< left column of the overlay on the frame
  unsigned int y;                ///< top row of the overlay on the frame
  unsigned int opacity;          ///< overall opacity in percent; `configure` clamps it to 100
  unsigned int format;           ///< frame layout: 0 planar 4:2:0, 1 planar 4:2:2, 2 planar 4:4:4
  unsigned int hold_last_image;  ///< after the last image: non-zero repeats it, 0 starts over
};

/// Blends a picture with its own alpha plane into planar Y'CbCr frames, 8 bits per sample.
///
/// A frame picture is one contiguous buffer: the luma plane, then Cb, then Cr, rows stored without
/// padding; chroma sizes are the luma sizes halved as the format requires, rounding down.
///
/// Threads: uses no threads and no locks. One object is used by one thread at a time; different
/// objects share nothing.
class watermark {
 public:
  /// Creates an unconfigured compositor. Throws `std::bad_alloc`.
  static watermark* create();

  /// Destroys a compositor; does nothing for null.
  static void destroy(watermark* object);

  /// Takes ownership of `config`, which the caller has allocated with `new`, clamps its opacity to
  /// 100 and computes the geometry of every plane. `frame_size` receives the bytes of one frame
  /// picture. Returns 0 if the overlay is inside the frame, 1 if it is not; after a 1 the object is
  /// in its failed state: it accepts no image and blends no frame. A null `config` also leads to
  /// the failed state, with `frame_size` 0. Throws `std::bad_alloc`.
  ///
  /// The check and `frame_size` use unsigned 32-bit arithmetic and wrap. For an overlay that passes
  /// the check only by wrapping, or a frame or overlay of 4 GiB or more, the results are those of
  /// the wrapped numbers, but no image is accepted and no frame is blended. With a `format` above 2
  /// the planes remain as an earlier call has set them; without an earlier call they are empty.
  ///
  /// A second call recomputes everything and keeps the images. The earlier record and opacity table
  /// are not freed; a caller that needs to free the record must keep its address.
  virtual unsigned int configure(watermark_config* config, unsigned int& frame_size) = 0;

  /// Appends an image to the sequence, which advances by one image per frame. `image` contains the
  /// overlay's luma plane (width x height) followed by Cb and Cr at the sizes of the frame's
  /// format. `alpha` contains width x height bytes, where 255 shows only the overlay and 0 only the
  /// frame, or is null for a fully opaque overlay. An opacity below 100 reduces the alpha. Both are
  /// copied. Returns 0 if the image was added. Returns 1 and adds nothing in the failed state,
  /// before `configure`, for wrapped sizes and for a null `image`. Throws `std::bad_alloc`, with
  /// the object unchanged.
  virtual unsigned int add_watermark_image(unsigned char* image, unsigned char* alpha) = 0;

  /// Returns a new picture: the frame with the current image blended in, each sample truncated (see
  /// `blend_sample`). A chroma sample uses the alpha of the first pixel that it covers, without
  /// averaging. `frame` is a complete frame picture and is only read. The caller owns the result
  /// and frees it with `delete[]`. Returns null if there is nothing to blend: failed state, no
  /// image, wrapped sizes, an image from before another `configure` that is too small for the
  /// current overlay, or a null `frame`. Throws `std::bad_alloc`, with the object unchanged.
  virtual unsigned char* process(unsigned char* frame) = 0;

  virtual ~watermark() = default;
};

}  // namespace ns_video_watermark
