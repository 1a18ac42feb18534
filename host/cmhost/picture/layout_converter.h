#pragma once

#include "host/cmhost/picture/format_converter.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Converts frames to a layout that modules support. Size and range do not change. RGB frames get
/// the default matrix for their size, limited range or, on request, full range, and the matching
/// tags.
class LayoutConverter {
 public:
  /// Prepares conversion of frames like `like`. Throws `Failure`.
  LayoutConverter(const AVFrame& like, const PictureLayout& layout, bool rgbToFullRange = false);

  /// Returns a new frame with the properties of `frame`.
  FramePtr convert(const AVFrame& frame);

 private:
  const PictureLayout& layout_;
  FormatConverter format_;
};

}  // namespace cmhost
