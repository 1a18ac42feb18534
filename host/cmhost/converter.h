#pragma once

extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>

#include "host/cmhost/av.h"
#include "host/cmhost/picture_layout.h"

namespace cmhost {

/// Converts pictures to a layout that modules take, in the media library's exact arithmetic, size
/// and range unchanged. Pictures without a Y'CbCr matrix of their own get the usual one of their
/// size and limited range, and tags that say so. Fields of interlaced pictures are converted apart.
class Converter {
 public:
  Converter(const AVFrame& like, const PictureLayout& layout);

  /// A new frame with the properties of `frame`.
  FramePtr convert(const AVFrame& frame);

 private:
  using ScalerPtr = std::unique_ptr<SwsContext, decltype(&sws_freeContext)>;

  ScalerPtr newScaler(const AVFrame& like, int height) const;
  void convertField(const AVFrame& from, AVFrame& to, int field, int fields, SwsContext& scaler);

  const PictureLayout& layout_;
  bool isRgb_;
  ScalerPtr whole_;
  ScalerPtr fields_[2];
};

}  // namespace cmhost
