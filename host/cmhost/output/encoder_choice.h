#pragma once

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The encoder used in a container when the user names none: one for the codec of the source,
/// `from`, where recordings in this container usually keep it, otherwise one for the container's
/// own codec. With `lossless`, one that can be lossless where the container has it. Null when there
/// is none.
const AVCodec* defaultEncoder(const AVOutputFormat& container, AVCodecID from, bool lossless);

/// Whether the container can hold the codec, as far as this is known before the header is written.
/// Of less usual combinations, such as old codecs in Matroska, only those that `compliance` allows.
bool holds(const AVOutputFormat& container, AVCodecID codec,
           int compliance = FF_COMPLIANCE_EXPERIMENTAL);

/// The encoder named in the options, or the default of the container for a source with the codec
/// `from`. Throws `Failure` when it does not exist or the container does not support it.
const AVCodec& chooseEncoder(const Options& options, const AVOutputFormat& container,
                             AVCodecID from);

}  // namespace cmhost
