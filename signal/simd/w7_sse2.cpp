// SSE2, which every x86-64 processor has. Times relative to the plain loop of the portable code, as
// printed by variant_timing on a Zen 5 EPYC (g++ 12, -O3), for rows of 1,920 elements and planes of
// 1920 x 1080:
//
//   conversion of 8u to 32f 0.76, of 16u to 32f 0.8 to 1.2, of 32f to 8u 0.06
//   MulC 0.5, Add 0.88, Mul 0.93
//   Gaussian 3x3 0.67 (8 bits), 0.14 (16 bits); 5x5 0.31, 0.29
//
// Where the gain is small, loads and stores of 128 bits already limit the plain loop.

#include "signal/simd/level.h"
#include "signal/simd/registers_128.h"

namespace ns_signal {

constexpr variant w7_variant = level<floats_128, integers_128>("w7_ SSE2", SIGNAL_LEVEL_NEEDS,
                                                               walk_in_bands, sse2_scaling_kernels);

}  // namespace ns_signal
