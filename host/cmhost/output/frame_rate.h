#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <optional>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The constant rate to which the frames are converted: the one that the user wants, or the nearest
/// that the encoder and the container support when they lack `rate`, that of the source, which is
/// then printed as a note. Nothing when the frames keep their times. `height` is that of a frame.
/// Throws `Failure` when the user's rate is not supported.
std::optional<AVRational> rateToConvertTo(const Options& options, const AVCodec& encoder,
                                          const AVOutputFormat& container, int height,
                                          AVRational rate);

}  // namespace cmhost
