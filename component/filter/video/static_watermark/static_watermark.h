#pragma once

#include "lib/cm/CMComponent.h"

namespace ns_video_resize {
class qor_resize;
}

namespace ns_video_watermark {
class watermark;
}

/// The filter: stamps the artwork onto every frame, scaled to 90% of the frame's width and centred.
///
/// Frames are planar Y'CbCr, 8 bits a sample; the key "system_informat" says which layout: "IYUV"
/// 4:2:0, "Y22P" 4:2:2, "Y44P" 4:4:4. The stream's description passes through unchanged.
///
/// Owns nothing that it gives back: resizers, compositor, scaled artwork and the compositor's
/// record live as long as the process, and another `configure` makes new ones beside them.
///
/// Threads: none inside, no locks; the host's loop makes one call at a time.
class static_watermark : public QOR::CM::RFilter {
 public:
  using QOR::CM::RFilter::process;

  /// One step: the next frame of the first reader, with the artwork blended in, goes to the first
  /// writer as a new frame; an empty pointer goes there when the host could not make it. Where
  /// there is nothing to blend (no `configure` has succeeded, or the artwork could not be scaled)
  /// the input frame itself goes on. Returns false when no frame was waiting. The frame must hold a
  /// whole picture of the configured size and layout. Exceptions of the host and `std::bad_alloc`
  /// pass out.
  bool process() override;

  /// Does nothing: no frame is held between calls.
  void flush() override {}

  /// Scales the artwork for the stream of the first reader, gives the stream's description to the
  /// first writer and prepares the compositor. Prints two lines on standard output: what the
  /// picture and its alpha were scaled to, the bytes of each, and what the resizer's `process`
  /// returned.
  ///
  /// Returns 0. Throws `QOR::CException` "*** ERROR ***: Incorrect colorspace" when the key is
  /// missing or none of the three, "*** ERROR ***: Error configuring watermark." when the scaled
  /// artwork is taller than the frame. Throws `std::bad_alloc` when memory runs out and
  /// `std::out_of_range` without a reader or a writer.
  ///
  /// A stream so wide that the resizer refuses the plan (artwork of 2^31 bytes and more, its alpha
  /// included) is configured without artwork.
  QOR::Result configure(QOR::CM::RFilterConfiguration& config) override;

  // Open to tests; `configure` sets them all.
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
