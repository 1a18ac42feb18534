#include <smmintrin.h>

#include <cstring>

#include "signal/simd/kernels.h"
#include "signal/simd/registers_128.h"

namespace ns_signal {
namespace {

struct floats_sse41 : floats_128 {
  static constexpr std::ptrdiff_t widened = 16;

  static void widen(const unsigned char* from, float* to) {
    for (int i = 0; i < 16; i += 4) {
      int four = 0;
      std::memcpy(&four, from + i, sizeof four);
      _mm_storeu_ps(to + i, _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four))));
    }
  }
  static void widen(const unsigned short* from, float* to) {
    for (int i = 0; i < 16; i += 4) {
      const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + i));
      _mm_storeu_ps(to + i, _mm_cvtepi32_ps(_mm_cvtepu16_epi32(four)));
    }
  }
};

struct integers_sse41 : integers_128 {
  static constexpr bool multiplies_pairs = true;
  // Unsigned bytes of `a` by signed ones of `b`, neighbouring products added.
  static reg multiply_pairs(reg a, reg b) { return _mm_maddubs_epi16(a, b); }
};

}  // namespace

constexpr variant p8_variant = level<floats_sse41, integers_sse41>(
    "p8_ SSE4.1", SIGNAL_LEVEL_NEEDS, walk_in_tiles, sse2_scaling_kernels);

}  // namespace ns_signal
