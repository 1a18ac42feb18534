#pragma once

namespace ns_bench {

struct artwork_size {
  unsigned int width, height;
};

/// The source and target size of the scaling that the module does for frames 1920 pixels wide.
constexpr artwork_size artwork_in = {800, 186};
constexpr artwork_size artwork_out = {1728, 401};

}  // namespace ns_bench
