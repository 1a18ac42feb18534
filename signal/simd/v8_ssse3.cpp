// SSSE3. Only the 8-bit 5x5 Gaussian filter is faster, by multiplying pairs of bytes: it takes 0.25
// of the time of the plain loop of the portable code, where SSE2 takes 0.31 (printed by
// variant_timing on a Zen 5 EPYC, g++ 12, -O3). Everything else is the same as with SSE2.

#include <tmmintrin.h>

#include "signal/simd/level.h"
#include "signal/simd/registers_128.h"

namespace ns_signal {
namespace {

struct integers_ssse3 : integers_128 {
  static constexpr bool multiplies_pairs = true;
  // Multiplies unsigned bytes of `a` by signed bytes of `b` and adds adjacent products.
  static reg multiply_pairs(reg a, reg b) { return _mm_maddubs_epi16(a, b); }
};

}  // namespace

constexpr variant v8_variant = level<floats_128, integers_ssse3>(
    "v8_ SSSE3", SIGNAL_LEVEL_NEEDS, walk_in_bands, sse2_scaling_kernels);

}  // namespace ns_signal
