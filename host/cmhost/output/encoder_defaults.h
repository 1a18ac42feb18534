#pragma once

#include "host/cmhost/options.h"
#include "host/cmhost/support/dictionary.h"

namespace cmhost {

/// Sets the options of an encoder: defaults of better quality than the encoder's own where the user
/// has set nothing that contradicts them, and those in `named`. `shorterSide` is the smaller of the
/// frame's width and height.
void setEncoderOptions(const char* encoder, const Options::KeyValues& named, int shorterSide,
                       Dictionary& dictionary);

}  // namespace cmhost
