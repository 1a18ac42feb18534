#pragma once

#include "host/cmhost/options.h"

namespace cmhost {

/// One video from end to end: decoding, the component's loop and encoding on a thread each, bounded
/// queues between them. Returns the program's exit code: done, or interrupted with an output that
/// holds what was done until then. Throws `Failure`; then no output is left that looks whole.
int run(const Options& options);

}  // namespace cmhost
