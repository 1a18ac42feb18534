#pragma once

#include "host/cmhost/options.h"

namespace cmhost {

/// One video from end to end: decoding, the component's loop and encoding on a thread each, bounded
/// queues between them. Throws `Failure`; then no output is left that looks whole.
void run(const Options& options);

}  // namespace cmhost
