#pragma once

#include <functional>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether the container can store a stream with these parameters, according to its table of codecs
/// and to what demuxers recognise.
bool supports(const AVOutputFormat& container, const AVCodecParameters& parameters);

/// Asks the muxer: whether it writes a header for the streams of `format` and those that `add` adds
/// to a copy of it. Nothing is written to the output.
bool acceptsHeaderWith(const AVFormatContext& format,
                       const std::function<void(AVFormatContext& copy)>& add);

/// For `AVFormatContext::io_open`: a muxer must not open further files.
int refuseToOpen(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                 AVDictionary** options);

}  // namespace cmhost
