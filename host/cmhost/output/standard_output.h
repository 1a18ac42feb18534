#pragma once

#include "host/cmhost/support/file_io.h"

namespace cmhost::standard_output {

/// Reserves standard output for the program itself. Text that a module or a library prints there is
/// redirected line by line to standard error, or discarded with `quiet`. Throws `Failure`.
void reserve(bool quiet);

/// The original standard output. Call it once, after `reserve`.
FileDescriptor take();

}  // namespace cmhost::standard_output
