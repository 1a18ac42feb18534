#pragma once

#include <cstdint>

#include "host/cmhost/input/integrity/byte_source.h"

namespace cmhost {

/// How long an input should at least be by what its container says: the sizes of the outermost
/// elements of MP4/QuickTime, AVI, MXF, FLV and MPEG streams, the size that ASF
/// declares, and the marks at the end of Ogg, NUT, GIF and PNG. -1 for other inputs and where the
/// container does not say. One that is shorter has been cut, which demuxers may take for a plain
/// end. Containers are left out whose demuxers notice that by themselves.
std::int64_t declaredSize(const ByteSource& input);

}  // namespace cmhost
