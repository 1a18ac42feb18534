#pragma once

extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Scales frames to one size and pixel format.
class FrameFitter {
 public:
  FrameFitter(int width, int height, AVPixelFormat format)
      : width_(width), height_(height), format_(format), scaler_(nullptr, &sws_freeContext) {}

  /// Returns a new frame with the properties of `frame`, or null if the pixel formats cannot be
  /// converted.
  FramePtr fit(const AVFrame& frame);

 private:
  int width_;
  int height_;
  AVPixelFormat format_;
  std::unique_ptr<SwsContext, decltype(&sws_freeContext)> scaler_;
};

}  // namespace cmhost
