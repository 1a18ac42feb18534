#pragma once

#include "host/cmhost/support/file_io.h"

namespace cmhost::standard_output {

/// Reserves standard output for what the program itself writes there. What a module or a library
/// prints on it goes to standard error from now on, as soon as a line is complete, or nowhere with
/// `quiet`. Throws `Failure`.
void reserve(bool quiet);

/// What standard output was before `reserve`. To be called once.
FileDescriptor take();

}  // namespace cmhost::standard_output
