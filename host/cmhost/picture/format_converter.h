#pragma once

extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// The matrix that video of this height usually has when it does not say.
AVColorSpace usualMatrix(int height);

/// Whether samples use all 256 values, by the frame's tag or by its pixel format's name.
bool isFullRange(const AVFrame& frame);

/// Whether pictures of this format hold RGB, in samples or in a palette.
bool isRgb(AVPixelFormat format);

/// Brings pictures to another pixel format, size, matrix and range unchanged, in the media
/// library's exact arithmetic. Between Y'CbCr and RGB, the matrix is the picture's own or the usual
/// one, and RGB has full range. Fields of interlaced pictures are converted apart.
class FormatConverter {
 public:
  /// For pictures like `like`. Throws `Failure`.
  FormatConverter(const AVFrame& like, AVPixelFormat to);

  /// A new frame with the properties of `frame`.
  FramePtr convert(const AVFrame& frame);

 private:
  using ContextPtr = std::unique_ptr<SwsContext, decltype(&sws_freeContext)>;

  ContextPtr newContext(const AVFrame& like, int height) const;

  AVPixelFormat to_;
  ContextPtr whole_;
  ContextPtr fields_[2];
};

}  // namespace cmhost
