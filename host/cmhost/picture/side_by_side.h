#pragma once

#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Width of two frames of this width side by side. Each half has an even width, so that the halves
/// share no chroma samples.
int sideBySideWidth(int width);

/// Joins `left` and `right`, which have the same size and layout, in a new frame with the
/// properties of `right`. If the width is odd, the last column is repeated.
FramePtr sideBySide(const AVFrame& left, const AVFrame& right, const PictureLayout& layout);

}  // namespace cmhost
