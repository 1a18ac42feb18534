#pragma once

#include <cstdint>

#include "host/cmhost/input/integrity/byte_source.h"

namespace cmhost {

/// Returns the minimum size of the file according to its container: the sizes of the top-level
/// elements of MP4/QuickTime, AVI, MXF, FLV and MPEG streams, the size declared in ASF, and the end
/// markers of Ogg, NUT, GIF and PNG. Returns -1 for other containers and when the size is not
/// declared. A shorter file was truncated, which demuxers may report as a normal end of file.
/// Containers whose demuxers detect truncation are not handled here.
std::int64_t declaredSize(const ByteSource& input);

}  // namespace cmhost
