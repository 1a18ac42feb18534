#pragma once

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/dictionary.h"

namespace cmhost {

/// Sets the options of an encoder: defaults of better quality and speed than the encoder's own
/// where the user has set nothing that contradicts them, and those that the user has set.
/// `shorterSide` is the smaller of the frame's width and height. Throws `Failure`.
void setEncoderOptions(const AVCodec& encoder, const Options& options, int shorterSide,
                       Dictionary& dictionary);

}  // namespace cmhost
