#pragma once

#include <cstdint>

namespace cmhost {

/// How long a regular file should at least be by what its container says: the sizes of the
/// outermost elements of Matroska, MP4/QuickTime, AVI, FLV, MXF and MPEG streams, the size that ASF
/// declares, the mark on the last page of each Ogg stream. -1 for other files and where the
/// container does not say. A file that is shorter has been cut, which demuxers may take for a plain
/// end. The reading position may change.
std::int64_t declaredSize(int file);

}  // namespace cmhost
