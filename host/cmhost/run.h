#pragma once

#include "host/cmhost/options.h"

namespace cmhost {

/// Processes one video. Decoding, the component's loop and encoding run in separate threads with
/// bounded queues between them. Returns the program's exit code: success, or interrupted by a
/// signal with an output of the frames finished so far. Throws `Failure`; then no output is left
/// that looks complete.
int run(const Options& options);

}  // namespace cmhost
