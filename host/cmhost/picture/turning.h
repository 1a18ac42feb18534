#pragma once

#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/picture/rotation.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether frames of this layout can be turned without changing a sample: 4:2:2 has no form that is
/// turned by a quarter.
bool canTurn(const PictureLayout& layout, const Orientation& orientation);

/// A turned copy of a frame of this layout, without display matrix. Each sample moves and keeps its
/// value. Size and sample aspect ratio follow, and so does the chroma location where the result has
/// a name. Frames turned by a quarter are no longer interlaced: their fields would be columns.
FramePtr turned(const AVFrame& frame, const PictureLayout& layout, const Orientation& orientation);

}  // namespace cmhost
