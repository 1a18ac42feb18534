#pragma once

#include <functional>
#include <string>

#include "bench/picture.h"

namespace ns_bench {

/// Something to be timed over and over; what it needs is made when it is.
using work = std::function<void()>;

/// A way of scaling one picture to the size of another. Both live as long as the work.
using scaler = work (*)(const picture& from, const picture& to);

/// Registers a scaler as `subject` for every pair of sizes, in groups named "method/sizes".
/// Everything but the work itself stands outside the time. Returns true.
bool register_scaling(const std::string& method, const std::string& subject, picture_layout layout,
                      scaler prepare);

}  // namespace ns_bench
