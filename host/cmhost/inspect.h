#pragma once

#include "host/cmhost/options.h"

namespace cmhost {

/// Loads and configures a module, and prints on standard output its type, what it printed and
/// whether it accepted the configuration. Returns the program's exit code: success if it did.
/// Throws `Failure` if the file is not a filter module; with --json, the reason has then been
/// printed.
int inspect(const Options& options);

}  // namespace cmhost
