#pragma once

#include "host/cmhost/picture/format_converter.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Converts pictures to a layout that modules take, size and range unchanged. Pictures without a
/// Y'CbCr matrix of their own get the usual one of their size and limited range, and tags that say
/// so.
class LayoutConverter {
 public:
  /// For pictures like `like`. Throws `Failure`.
  LayoutConverter(const AVFrame& like, const PictureLayout& layout);

  /// A new frame with the properties of `frame`.
  FramePtr convert(const AVFrame& frame);

 private:
  const PictureLayout& layout_;
  FormatConverter format_;
};

}  // namespace cmhost
