#include "signal/simd/kernels.h"
#include "signal/simd/registers_128.h"

namespace ns_signal {

constexpr variant w7_variant = level<floats_128, integers_128>("w7_ SSE2", SIGNAL_LEVEL_NEEDS,
                                                               walk_in_bands, sse2_scaling_kernels);

}  // namespace ns_signal
