#pragma once

#include <string>
#include <vector>

#include "host/cmhost/options.h"

namespace cmhost {

/// One input of several, and where its output is written.
struct BatchItem {
  std::string input;
  std::string output;
};

/// The outputs of all inputs in the output folder: the base name of the input, with the extension
/// of --output-format if that is given. Throws `Failure` if two inputs have the same output or if
/// an output is one of the inputs.
std::vector<BatchItem> planBatch(const Options& options);

}  // namespace cmhost
