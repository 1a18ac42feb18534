#pragma once

#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Width of two pictures of this width beside each other. Each half has an even width, so that both
/// have chroma samples of their own.
int sideBySideWidth(int width);

/// A new frame of `left` and `right`, which have the same size and layout, with the properties of
/// `right`. In a picture of odd width, the last column is repeated.
FramePtr sideBySide(const AVFrame& left, const AVFrame& right, const PictureLayout& layout);

}  // namespace cmhost
