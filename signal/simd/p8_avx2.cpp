// AVX2, used for index 3 if available. Times relative to the plain loop of the portable code, as
// printed by variant_timing on a Zen 5 EPYC (g++ 12, -O3), for rows of 1,920 elements and planes of
// 1920 x 1080:
//
//   conversion of 8u to 32f 0.47, of 16u to 32f 0.55, of 32f to 8u 0.04
//   MulC 0.3, Add 0.47, Mul 0.49
//   Gaussian 3x3 0.41 (8 bits), 0.07 (16 bits); 5x5 0.13, 0.17

#include <immintrin.h>

#include "signal/simd/level.h"

namespace ns_signal {
namespace {

struct floats_256 {
  using reg = __m256;
  using ints = __m256i;
  static constexpr std::ptrdiff_t count = 8;
  static constexpr std::ptrdiff_t widened = 16;

  static reg load(const float* p) { return _mm256_loadu_ps(p); }
  static void store(float* p, reg a) { _mm256_storeu_ps(p, a); }
  static reg all(float value) { return _mm256_set1_ps(value); }
  static reg add(reg a, reg b) { return _mm256_add_ps(a, b); }
  static reg sub(reg a, reg b) { return _mm256_sub_ps(a, b); }
  static reg mul(reg a, reg b) { return _mm256_mul_ps(a, b); }
  static reg min(reg a, reg b) { return _mm256_min_ps(a, b); }
  static reg zero_where_nan(reg source, reg value) {
    return _mm256_and_ps(_mm256_cmp_ps(source, source, _CMP_ORD_Q), value);
  }
  static ints to_nearest(reg a) { return _mm256_cvtps_epi32(a); }
  static ints truncate(reg a) { return _mm256_cvttps_epi32(a); }
  static reg to_float(ints a) { return _mm256_cvtepi32_ps(a); }
  static ints add_one_from_half_on(ints whole, reg rest) {
    const __m256 at_least = _mm256_cmp_ps(rest, _mm256_set1_ps(0.5F), _CMP_GE_OQ);
    return _mm256_sub_epi32(whole, _mm256_castps_si256(at_least));
  }
  static void store_bytes(unsigned char* p, ints a, ints b, ints c, ints d) {
    // Packing works on halves of 128 bits; the permutation orders the groups of four.
    const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(a, b), _mm256_packs_epi32(c, d));
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_permutevar8x32_epi32(bytes, order));
  }
  static void widen(const unsigned char* from, float* to) {
    for (int i = 0; i < 16; i += 8) {
      const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + i));
      _mm256_storeu_ps(to + i, _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(eight)));
    }
  }
  static void widen(const unsigned short* from, float* to) {
    for (int i = 0; i < 16; i += 8) {
      const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
      _mm256_storeu_ps(to + i, _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(eight)));
    }
  }
};

struct integers_256 {
  using reg = __m256i;
  static constexpr std::ptrdiff_t bytes = 32;
  static constexpr bool multiplies_pairs = true;

  static reg load(const unsigned char* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  }
  static void store(unsigned char* p, reg a) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a);
  }
  static reg all8(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
  static reg all16(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
  static reg add8(reg a, reg b) { return _mm256_add_epi8(a, b); }
  static reg sub8(reg a, reg b) { return _mm256_sub_epi8(a, b); }
  static reg average8(reg a, reg b) { return _mm256_avg_epu8(a, b); }
  static reg add16(reg a, reg b) { return _mm256_add_epi16(a, b); }
  static reg sub16(reg a, reg b) { return _mm256_sub_epi16(a, b); }
  static reg average16(reg a, reg b) { return _mm256_avg_epu16(a, b); }
  static reg multiply_low16(reg a, reg b) { return _mm256_mullo_epi16(a, b); }
  static reg multiply_high16(reg a, reg b) { return _mm256_mulhi_epu16(a, b); }
  template <int count>
  static reg shift_right16(reg a) {
    return _mm256_srli_epi16(a, count);
  }
  static reg bit_and(reg a, reg b) { return _mm256_and_si256(a, b); }
  // Unpacking and packing both work on halves of 128 bits, so that packing restores the order.
  static reg unpack_low(reg a, reg b) { return _mm256_unpacklo_epi8(a, b); }
  static reg unpack_high(reg a, reg b) { return _mm256_unpackhi_epi8(a, b); }
  static reg pack(reg low, reg high) { return _mm256_packus_epi16(low, high); }
  // Multiplies unsigned bytes of `a` by signed bytes of `b` and adds adjacent products.
  static reg multiply_pairs(reg a, reg b) { return _mm256_maddubs_epi16(a, b); }
};

}  // namespace

constexpr variant p8_avx2_variant = level<floats_256, integers_256>(
    "p8_ AVX2", SIGNAL_LEVEL_NEEDS, walk_in_tiles, avx2_scaling_kernels);

}  // namespace ns_signal
