#pragma once

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Degrees clockwise by which the pictures of a stream are turned before they are shown; 0 when its
/// container does not turn them.
long rotationOf(const AVStream& stream);

}  // namespace cmhost
