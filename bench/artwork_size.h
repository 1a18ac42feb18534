#pragma once

namespace ns_bench {

struct artwork_size {
  unsigned int width, height;
};

/// What the module's configuration scales for a frame 1920 pixels wide, and to what.
constexpr artwork_size artwork_in = {800, 186};
constexpr artwork_size artwork_out = {1728, 401};

}  // namespace ns_bench
