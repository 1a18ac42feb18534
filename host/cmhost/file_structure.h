#pragma once

#include <cstdint>

namespace cmhost {

/// How long a regular file should be by what the outermost elements of its container say, for
/// Matroska, MP4/QuickTime, AVI and MPEG transport streams; -1 for other files and where the
/// container does not say. A file that is shorter has been cut, which demuxers may take for a plain
/// end. The reading position may change.
std::int64_t declaredSize(int file);

}  // namespace cmhost
