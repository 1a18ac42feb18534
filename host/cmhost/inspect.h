#pragma once

#include "host/cmhost/options.h"

namespace cmhost {

/// Prints on standard output what a module is, what the primitives select on this processor, and
/// what the module prints and answers when it is configured. Returns the program's exit code: done
/// when the module takes the configuration. Throws `Failure` for what is no filter module; as JSON,
/// the reason has then been printed.
int inspect(const Options& options);

}  // namespace cmhost
