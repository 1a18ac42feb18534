#include "signal/gaussian_portable.h"
#include "signal/variant.h"
#include "signal/vector_portable.h"

namespace ns_signal {
namespace {

constexpr variant portable_with(const char* name, decltype(variant::walk_8u) walk) {
  return {name,
          0,
          portable::convert_8u32f,
          portable::convert_16u32f,
          portable::convert_32f8u,
          portable::mul_c_32f,
          portable::add_32f,
          portable::mul_32f,
          {portable::filter_3x3_8u, portable::profiles_5x5_8u, portable::combine_5x5_8u,
           portable::filter_3x3_16u, portable::filter_5x5_16u},
          walk,
          nullptr};
}

}  // namespace

constexpr variant portable_variant = portable_with("portable", walk_in_bands);
constexpr variant portable_variant_on_stack = portable_with("portable, on stack", walk_in_tiles);

}  // namespace ns_signal
