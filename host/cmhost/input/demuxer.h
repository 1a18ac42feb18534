#pragma once

#include "host/cmhost/input/input_file.h"
#include "host/cmhost/input/references.h"
#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Opens the file with the demuxer named in the options, or detected from the content, and passes
/// the input options to it. On an error of the media library, returns null and stores the error
/// code in `error`. Throws `Failure` for invalid options and for files that need references which
/// are not allowed.
InputFormatPtr openDemuxer(InputFile& file, References& references, const Options& options,
                           int& error);

}  // namespace cmhost
