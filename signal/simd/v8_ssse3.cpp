#include <tmmintrin.h>

#include "signal/simd/kernels.h"
#include "signal/simd/registers_128.h"

namespace ns_signal {
namespace {

struct integers_ssse3 : integers_128 {
  static constexpr bool multiplies_pairs = true;
  // Unsigned bytes of `a` by signed ones of `b`, neighbouring products added.
  static reg multiply_pairs(reg a, reg b) { return _mm_maddubs_epi16(a, b); }
};

}  // namespace

constexpr variant v8_variant = level<floats_128, integers_ssse3>(
    "v8_ SSSE3", SIGNAL_LEVEL_NEEDS, walk_in_bands, sse2_scaling_kernels);

}  // namespace ns_signal
