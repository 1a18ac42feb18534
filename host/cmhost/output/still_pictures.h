#pragma once

#include <string>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether an output is made of still pictures, one per file, such as PNG or JPEG: by the name of
/// the container or, if that is empty, by the output's name.
bool isStillOutput(const std::string& output, const std::string& formatName);

/// The container that writes the pictures one after another.
const AVOutputFormat& stillContainer();

/// The codec of still pictures with this name.
AVCodecID stillCodec(const std::string& output);

}  // namespace cmhost
