#pragma once

#include "lib/cm/CMComponent.h"

namespace ns_video_resize {
class qor_resize;
}

namespace ns_video_watermark {
class watermark;
}

/// The filter: stamps the artwork on every frame, scaled to 90% of the frame's width and centred.
///
/// Frames are planar Y'CbCr, 8 bits per sample; the key "system_informat" names the layout: "IYUV"
/// 4:2:0, "Y22P" 4:2:2, "Y44P" 4:4:4. The stream's description is passed on unchanged.
///
/// Frees nothing: resizers, compositor, scaled artwork and the compositor's record live as long as
/// the process, and another `configure` makes new ones in addition.
///
/// Threads: uses no threads and no locks; the host's loop makes one call at a time.
class static_watermark : public QOR::CM::RFilter {
 public:
  using QOR::CM::RFilter::process;

  /// One step: takes the next frame from the first reader, blends the artwork into it and puts the
  /// result on the first writer as a new frame, or a null pointer if the host could not make it. If
  /// there is nothing to blend (no `configure` has succeeded, or the artwork could not be scaled),
  /// puts the input frame itself. Returns false if no frame was waiting. The frame must contain a
  /// complete picture of the configured size and layout. Does not catch exceptions of the host and
  /// `std::bad_alloc`.
  bool process() override;

  /// Does nothing: no frame is held between calls.
  void flush() override {}

  /// Scales the artwork for the stream of the first reader, sets the stream's description on the
  /// first writer and prepares the compositor. Prints two lines on standard output, for the picture
  /// and its alpha: the scaled size, its bytes, and the result of the resizer's `process`.
  ///
  /// Returns 0. Throws `QOR::CException` "*** ERROR ***: Incorrect colorspace" if the key is
  /// missing or none of the three, "*** ERROR ***: Error configuring watermark." if the scaled
  /// artwork is taller than the frame. Throws `std::bad_alloc` when memory runs out and
  /// `std::out_of_range` without a reader or a writer.
  ///
  /// If the stream is so wide that the resizer rejects the plan (artwork of 2^31 bytes or more,
  /// including its alpha), the filter is configured without artwork.
  QOR::Result configure(QOR::CM::RFilterConfiguration& config) override;

  // Public for tests; `configure` sets all of them.
  int watermark_x;            ///< left edge of the artwork on the frame, in luma pixels
  int watermark_y;            ///< top edge, in luma rows
  unsigned short reserved16;  ///< 0xFFFF; nothing reads it
  unsigned int opacity;       ///< percent; always 100
  unsigned int frame_width;
  unsigned int frame_height;
  int watermark_width;   ///< of the scaled artwork
  int watermark_height;  ///< of the scaled artwork
  ns_video_watermark::watermark* compositor;
  ns_video_resize::qor_resize* image_resizer;  ///< for the artwork's picture
  ns_video_resize::qor_resize* alpha_resizer;  ///< for its alpha
  unsigned int frame_size;                     ///< bytes of one frame picture
  unsigned int output_fourcc;                  ///< pixel format of every new frame
};
