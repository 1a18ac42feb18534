#pragma once

#include "host/cmhost/options.h"

namespace cmhost {

/// Processes several inputs, each in a process of its own, so that a file or module that ends one
/// does not affect the others. Returns the exit status of the worst run. Throws `Failure` before
/// the first run starts.
int runBatch(const Options& options);

}  // namespace cmhost
