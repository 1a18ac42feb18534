#pragma once

extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// The default matrix for untagged video of this height.
AVColorSpace usualMatrix(int height);

/// Whether the frame has full range, according to its tag or its pixel format.
bool isFullRange(const AVFrame& frame);

/// Whether the pixel format is RGB, including palettes.
bool isRgb(AVPixelFormat format);

/// Converts frames to another pixel format with swscale's exact arithmetic. Size and matrix do
/// not change, and the range only to a full-range format (YUVJ). Conversion between Y'CbCr and RGB
/// uses the matrix of the frame's tags or the default one; RGB has full range. The fields of
/// interlaced frames are converted separately.
class FormatConverter {
 public:
  /// Prepares conversion of frames like `like`. Throws `Failure`.
  FormatConverter(const AVFrame& like, AVPixelFormat to);

  /// Returns a new frame with the properties of `frame`.
  FramePtr convert(const AVFrame& frame);

 private:
  using ContextPtr = std::unique_ptr<SwsContext, decltype(&sws_freeContext)>;

  ContextPtr newContext(const AVFrame& like, int height) const;

  AVPixelFormat to_;
  ContextPtr whole_;
  ContextPtr fields_[2];
};

}  // namespace cmhost
