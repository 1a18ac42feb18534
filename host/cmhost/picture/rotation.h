#pragma once

#include "host/cmhost/support/av.h"

namespace cmhost {

/// The clockwise rotation in degrees that players apply to a stream; 0 without a display matrix.
long rotationOf(const AVStream& stream);

}  // namespace cmhost
