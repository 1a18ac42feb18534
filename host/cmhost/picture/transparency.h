#pragma once

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether any pixel of the frame is not opaque, by its alpha channel or palette. True as well for
/// an alpha channel of floating-point samples, which is not examined.
bool isTransparent(const AVFrame& frame);

}  // namespace cmhost
