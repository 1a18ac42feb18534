#pragma once

#include "host/cmhost/input/input_file.h"
#include "host/cmhost/input/references.h"
#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Opens the file with the demuxer that the options name, or else its content, and hands over what
/// the options say to it. A negative error of the media library is returned in `error`, with null.
/// Throws `Failure` for wrong options, and for a file that needs references which are not allowed.
InputFormatPtr openDemuxer(InputFile& file, References& references, const Options& options,
                           int& error);

}  // namespace cmhost
