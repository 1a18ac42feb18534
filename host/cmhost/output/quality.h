#pragma once

#include <string>
#include <vector>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// An option for quality or speed that an encoder has, with the values that it takes.
struct QualityOption {
  std::string name;  ///< "--crf"
  std::string values;
};

/// The options for quality and speed that the encoder has.
std::vector<QualityOption> qualityOptionsOf(const AVCodec& encoder);

/// Translates --crf, --bitrate, --preset, --lossless and --threads to the encoder's own options.
/// Throws `Failure` when the encoder lacks one of them or does not take its value; the message
/// names those it has.
Options::KeyValues encoderOptionsFor(const AVCodec& encoder, const Options& options);

}  // namespace cmhost
