#pragma once

#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Advances the time code in `metadata`, which is that of the file's first frame, to the start of
/// the part.
void shiftTimeCode(const Source& source, AVDictionary*& metadata);

/// Whether `from` is a time code track, and the container stores the time code of `video` as a tag
/// or creates a track from it.
bool writesTimeCode(const AVOutputFormat& container, const AVStream& video, const AVStream& from);

}  // namespace cmhost
