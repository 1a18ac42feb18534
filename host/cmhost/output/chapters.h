#pragma once

#include <cstdint>

#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Copies the chapters of `source` to `to`, shifted to the part, without those that end before it.
/// The end of the part is not known yet: see `cutChapters`.
void copyChapters(const Source& source, AVFormatContext& to);

/// Drops the chapters that start at `end` or later, and shortens the last one to `end`.
void cutChapters(AVFormatContext& format, std::int64_t end, AVRational timeBase);

/// Whether the container can store chapters that are set just before the trailer. All other
/// containers store the chapters that are set when the header is written, if any.
bool storesChaptersLast(const AVOutputFormat& container, bool seekable);

/// Whether `stream` is the track that holds the chapters of `from`, a QuickTime or MP4 file, and
/// the container stores chapters, if necessary in a track that it creates for them.
bool writesChapters(const AVOutputFormat& container, const AVFormatContext& from,
                    const AVStream& stream);

}  // namespace cmhost
