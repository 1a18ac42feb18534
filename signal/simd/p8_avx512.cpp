// AVX-512, used for index 3 if available. Times relative to the plain loop of the portable code, as
// printed by variant_timing on a Zen 5 EPYC (g++ 12, -O3), for rows of 1,920 elements and planes of
// 1920 x 1080:
//
//   conversion of 8u to 32f 0.35, of 16u to 32f 0.42, of 32f to 8u 0.02
//   MulC 0.3, Add 0.41, Mul 0.43
//   Gaussian 3x3 0.32 (8 bits), 0.05 (16 bits); 5x5 0.10, 0.11
//
// With unaligned stores of floats, Add and Mul took a quarter longer than with AVX2.

#include "signal/simd/immintrin_512.h"
#include "signal/simd/level.h"

namespace ns_signal {
namespace {

struct floats_512 {
  using reg = __m512;
  using ints = __m512i;
  static constexpr std::ptrdiff_t count = 16;
  static constexpr std::ptrdiff_t widened = 32;

  static reg load(const float* p) { return _mm512_loadu_ps(p); }
  static void store(float* p, reg a) { _mm512_storeu_ps(p, a); }
  static reg all(float value) { return _mm512_set1_ps(value); }
  static reg add(reg a, reg b) { return _mm512_add_ps(a, b); }
  static reg sub(reg a, reg b) { return _mm512_sub_ps(a, b); }
  static reg mul(reg a, reg b) { return _mm512_mul_ps(a, b); }
  static reg min(reg a, reg b) { return _mm512_min_ps(a, b); }
  static reg zero_where_nan(reg source, reg value) {
    return _mm512_maskz_mov_ps(_mm512_cmp_ps_mask(source, source, _CMP_ORD_Q), value);
  }
  static ints to_nearest(reg a) { return _mm512_cvtps_epi32(a); }
  static ints truncate(reg a) { return _mm512_cvttps_epi32(a); }
  static reg to_float(ints a) { return _mm512_cvtepi32_ps(a); }
  static ints add_one_from_half_on(ints whole, reg rest) {
    const __mmask16 at_least = _mm512_cmp_ps_mask(rest, _mm512_set1_ps(0.5F), _CMP_GE_OQ);
    return _mm512_mask_add_epi32(whole, at_least, whole, _mm512_set1_epi32(1));
  }
  static void store_bytes(unsigned char* p, ints a, ints b, ints c, ints d) {
    // Packing works on quarters of 128 bits; the permutation orders the groups of four.
    const __m512i bytes = _mm512_packus_epi16(_mm512_packs_epi32(a, b), _mm512_packs_epi32(c, d));
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    _mm512_storeu_si512(p, _mm512_permutexvar_epi32(order, bytes));
  }
  static void widen(const unsigned char* from, float* to) {
    for (int i = 0; i < 32; i += 16) {
      const __m128i sixteen = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
      _mm512_storeu_ps(to + i, _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(sixteen)));
    }
  }
  static void widen(const unsigned short* from, float* to) {
    for (int i = 0; i < 32; i += 16) {
      const __m256i sixteen = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
      _mm512_storeu_ps(to + i, _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(sixteen)));
    }
  }
};

struct integers_512 {
  using reg = __m512i;
  static constexpr std::ptrdiff_t bytes = 64;
  static constexpr bool multiplies_pairs = true;

  static reg load(const unsigned char* p) { return _mm512_loadu_si512(p); }
  static void store(unsigned char* p, reg a) { _mm512_storeu_si512(p, a); }
  static reg all8(int value) { return _mm512_set1_epi8(static_cast<char>(value)); }
  static reg all16(int value) { return _mm512_set1_epi16(static_cast<short>(value)); }
  static reg add8(reg a, reg b) { return _mm512_add_epi8(a, b); }
  static reg sub8(reg a, reg b) { return _mm512_sub_epi8(a, b); }
  static reg average8(reg a, reg b) { return _mm512_avg_epu8(a, b); }
  static reg add16(reg a, reg b) { return _mm512_add_epi16(a, b); }
  static reg sub16(reg a, reg b) { return _mm512_sub_epi16(a, b); }
  static reg average16(reg a, reg b) { return _mm512_avg_epu16(a, b); }
  static reg multiply_low16(reg a, reg b) { return _mm512_mullo_epi16(a, b); }
  static reg multiply_high16(reg a, reg b) { return _mm512_mulhi_epu16(a, b); }
  template <int count>
  static reg shift_right16(reg a) {
    return _mm512_srli_epi16(a, count);
  }
  static reg bit_and(reg a, reg b) { return _mm512_and_si512(a, b); }
  // Unpacking and packing both work on quarters of 128 bits, so that packing restores the order.
  static reg unpack_low(reg a, reg b) { return _mm512_unpacklo_epi8(a, b); }
  static reg unpack_high(reg a, reg b) { return _mm512_unpackhi_epi8(a, b); }
  static reg pack(reg low, reg high) { return _mm512_packus_epi16(low, high); }
  // Multiplies unsigned bytes of `a` by signed bytes of `b` and adds adjacent products.
  static reg multiply_pairs(reg a, reg b) { return _mm512_maddubs_epi16(a, b); }
};

}  // namespace

constexpr variant p8_avx512_variant = level<floats_512, integers_512>(
    "p8_ AVX-512", SIGNAL_LEVEL_NEEDS, walk_in_tiles, avx512_scaling_kernels);

}  // namespace ns_signal
