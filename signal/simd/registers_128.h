#pragma once

#include <emmintrin.h>

#include <cstddef>

/// Registers of 128 bits with the operations of SSE2, the base of the levels with that width. In an
/// unnamed namespace for the reason given in level.h.
namespace ns_signal {
namespace {

struct floats_128 {
  using reg = __m128;
  using ints = __m128i;
  static constexpr std::ptrdiff_t count = 4;
  static constexpr std::ptrdiff_t widened = 16;

  static reg load(const float* p) { return _mm_loadu_ps(p); }
  static void store(float* p, reg a) { _mm_storeu_ps(p, a); }
  static reg all(float value) { return _mm_set1_ps(value); }
  static reg add(reg a, reg b) { return _mm_add_ps(a, b); }
  static reg sub(reg a, reg b) { return _mm_sub_ps(a, b); }
  static reg mul(reg a, reg b) { return _mm_mul_ps(a, b); }
  static reg min(reg a, reg b) { return _mm_min_ps(a, b); }
  static reg zero_where_nan(reg source, reg value) {
    return _mm_andnot_ps(_mm_cmpunord_ps(source, source), value);
  }
  static ints to_nearest(reg a) { return _mm_cvtps_epi32(a); }
  static ints truncate(reg a) { return _mm_cvttps_epi32(a); }
  static reg to_float(ints a) { return _mm_cvtepi32_ps(a); }
  static ints add_one_from_half_on(ints whole, reg rest) {
    const __m128 at_least = _mm_cmpge_ps(rest, _mm_set1_ps(0.5F));
    return _mm_sub_epi32(whole, _mm_castps_si128(at_least));
  }
  static void store_bytes(unsigned char* p, ints a, ints b, ints c, ints d) {
    const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), bytes);
  }

  static __m128i load_integers(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
  }
  static void store_words(float* p, __m128i words) {
    const __m128i zero = _mm_setzero_si128();
    _mm_storeu_ps(p, _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, zero)));
    _mm_storeu_ps(p + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(words, zero)));
  }
  static void widen(const unsigned char* from, float* to) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i bytes = load_integers(from);
    store_words(to, _mm_unpacklo_epi8(bytes, zero));
    store_words(to + 8, _mm_unpackhi_epi8(bytes, zero));
  }
  static void widen(const unsigned short* from, float* to) {
    store_words(to, load_integers(from));
    store_words(to + 8, load_integers(from + 8));
  }
};

struct integers_128 {
  using reg = __m128i;
  static constexpr std::ptrdiff_t bytes = 16;
  static constexpr bool multiplies_pairs = false;

  static reg load(const unsigned char* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }
  static void store(unsigned char* p, reg a) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a); }
  static reg all8(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
  static reg all16(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
  static reg add8(reg a, reg b) { return _mm_add_epi8(a, b); }
  static reg sub8(reg a, reg b) { return _mm_sub_epi8(a, b); }
  static reg average8(reg a, reg b) { return _mm_avg_epu8(a, b); }
  static reg add16(reg a, reg b) { return _mm_add_epi16(a, b); }
  static reg sub16(reg a, reg b) { return _mm_sub_epi16(a, b); }
  static reg average16(reg a, reg b) { return _mm_avg_epu16(a, b); }
  static reg multiply_low16(reg a, reg b) { return _mm_mullo_epi16(a, b); }
  static reg multiply_high16(reg a, reg b) { return _mm_mulhi_epu16(a, b); }
  template <int count>
  static reg shift_right16(reg a) {
    return _mm_srli_epi16(a, count);
  }
  static reg bit_and(reg a, reg b) { return _mm_and_si128(a, b); }
  static reg unpack_low(reg a, reg b) { return _mm_unpacklo_epi8(a, b); }
  static reg unpack_high(reg a, reg b) { return _mm_unpackhi_epi8(a, b); }
  static reg pack(reg low, reg high) { return _mm_packus_epi16(low, high); }
};

}  // namespace
}  // namespace ns_signal
