#pragma once

#include <functional>
#include <string>

#include "bench/picture.h"

namespace ns_bench {

/// Work to be timed repeatedly; its setup is done when it is created.
using work = std::function<void()>;

/// A scaler from one picture to the size of another. Both pictures live as long as the work.
using scaler = work (*)(const picture& from, const picture& to);

/// Registers a scaler as `subject` for every pair of sizes, in groups named "method/sizes". Only
/// the work itself is timed. Returns true.
bool register_scaling(const std::string& method, const std::string& subject, picture_layout layout,
                      scaler prepare);

}  // namespace ns_bench
