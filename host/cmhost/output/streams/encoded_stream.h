#pragma once

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Adds a stream to `format` for the packets of `encoder`, which is open. Tags and disposition are
/// those of `from`.
AVStream& addEncodedStream(const AVStream& from, const AVCodecContext& encoder,
                           AVFormatContext& format);

}  // namespace cmhost
