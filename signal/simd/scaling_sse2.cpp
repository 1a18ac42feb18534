// Scaling kernels with SSE2. Four sums stand in one register; the taps of four columns are loaded
// column by column and transposed.

#include <emmintrin.h>

#include <cstring>

#include "signal/scaling_kernels.h"

namespace {

constexpr int lanes = 4;

// The minimum gives its second operand where that is a NaN, the conversion then the most negative
// integer, and packing makes 0 of it.
__m128i to_integers(__m128 sums, const unsigned char*) {
  return _mm_cvtps_epi32(_mm_min_ps(_mm_set1_ps(255.0f), sums));
}

// The maximum gives its second operand where the first is a NaN, so 0 to 65535 are left.
__m128i to_integers(__m128 sums, const unsigned short*) {
  const __m128 positive = _mm_max_ps(sums, _mm_setzero_ps());
  return _mm_cvttps_epi32(_mm_min_ps(positive, _mm_set1_ps(65535.0f)));
}

template <typename T>
T to_sample(float sum, const T* kind) {
  const int value = _mm_cvtsi128_si32(to_integers(_mm_set_ss(sum), kind));
  return static_cast<T>(value < 0 ? 0 : value);
}

// Four times four values as bytes: those of `values[n]` in the n-th quarter.
__m128i pack_8u(const __m128i (&values)[4]) {
  return _mm_packus_epi16(_mm_packs_epi32(values[0], values[1]),
                          _mm_packs_epi32(values[2], values[3]));
}

// Twice four values, 0 to 65535, as words. There is no unsigned packing of such at this level, so
// they go through the signed one, moved by half the range.
__m128i pack_16u(__m128i first, __m128i second) {
  const __m128i half = _mm_set1_epi32(32768);
  const __m128i packed = _mm_packs_epi32(_mm_sub_epi32(first, half), _mm_sub_epi32(second, half));
  return _mm_xor_si128(packed, _mm_set1_epi16(static_cast<short>(0x8000)));
}

// Four values each of four rows.
void store_rows(const __m128i (&values)[4], unsigned char* const* dst, int j) {
  unsigned char packed[4 * lanes];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(packed), pack_8u(values));
  for (int r = 0; r < 4; ++r) std::memcpy(dst[r] + j, packed + r * lanes, lanes);
}

void store_rows(const __m128i (&values)[4], unsigned short* const* dst, int j) {
  for (int half = 0; half < 2; ++half) {
    const __m128i packed = pack_16u(values[2 * half], values[2 * half + 1]);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst[2 * half] + j), packed);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst[2 * half + 1] + j), _mm_srli_si128(packed, 8));
  }
}

// Four times four values of one row.
void store_run(const __m128i (&values)[4], unsigned char* dst) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), pack_8u(values));
}

void store_run(const __m128i (&values)[4], unsigned short* dst) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), pack_16u(values[0], values[1]));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 2 * lanes), pack_16u(values[2], values[3]));
}

template <int taps, typename T>
void weigh_rows(const float* const* rows, const float* weights, T* dst, int len) {
  constexpr int run = 4 * lanes;
  int i = 0;
  for (; i + run <= len; i += run) {
    __m128i values[4];
    for (int part = 0; part < 4; ++part) {
      const int at = i + part * lanes;
      __m128 sum = _mm_mul_ps(_mm_loadu_ps(rows[0] + at), _mm_set1_ps(weights[0]));
      for (int k = 1; k < taps; ++k) {
        const __m128 tap = _mm_loadu_ps(rows[k] + at);
        sum = _mm_add_ps(_mm_mul_ps(tap, _mm_set1_ps(weights[k])), sum);
      }
      values[part] = to_integers(sum, dst);
    }
    store_run(values, dst + i);
  }
  for (; i < len; ++i) {
    float sum = rows[0][i] * weights[0];
    for (int k = 1; k < taps; ++k) sum = rows[k][i] * weights[k] + sum;
    dst[i] = to_sample(sum, dst);
  }
}

// taps[k] holds tap k of four columns, which start at row + index[0..3].
template <int taps>
void load_taps(const float* row, const unsigned int* index, __m128 (&tap)[4]) {
  const __m128 a = _mm_loadu_ps(row + index[0]);
  const __m128 b = _mm_loadu_ps(row + index[1]);
  const __m128 c = _mm_loadu_ps(row + index[2]);
  const __m128 d = _mm_loadu_ps(row + index[3]);
  const __m128 ab = _mm_unpacklo_ps(a, b);
  const __m128 cd = _mm_unpacklo_ps(c, d);
  tap[0] = _mm_movelh_ps(ab, cd);
  tap[1] = _mm_movehl_ps(cd, ab);
  if (taps > 2) {
    const __m128 ab_high = _mm_unpackhi_ps(a, b);
    const __m128 cd_high = _mm_unpackhi_ps(c, d);
    tap[2] = _mm_movelh_ps(ab_high, cd_high);
    tap[3] = _mm_movehl_ps(cd_high, ab_high);
  }
}

template <int taps, typename T>
void weigh_columns(const float* const* rows, int row_count, const unsigned int* index,
                   const float* const* weights, T* const* dst, int len) {
  int j = 0;
  for (; row_count == 4 && j + lanes <= len; j += lanes) {
    __m128i values[4];
    for (int r = 0; r < 4; ++r) {
      __m128 tap[4];
      load_taps<taps>(rows[r], index + j, tap);
      __m128 sum = _mm_mul_ps(tap[0], _mm_loadu_ps(weights[0] + j));
      for (int k = 1; k < taps; ++k) {
        sum = _mm_add_ps(_mm_mul_ps(tap[k], _mm_loadu_ps(weights[k] + j)), sum);
      }
      values[r] = to_integers(sum, dst[0]);
    }
    store_rows(values, dst, j);
  }
  for (; j < len; ++j) {
    for (int r = 0; r < row_count; ++r) {
      const float* const first = rows[r] + index[j];
      float sum = first[0] * weights[0][j];
      for (int k = 1; k < taps; ++k) sum = first[k] * weights[k][j] + sum;
      dst[r][j] = to_sample(sum, dst[0]);
    }
  }
}

template <typename T>
void weigh_rows_2_or_4(const float* const* rows, const float* weights, int taps, T* dst, int len) {
  if (taps == 2) {
    weigh_rows<2>(rows, weights, dst, len);
  } else {
    weigh_rows<4>(rows, weights, dst, len);
  }
}

template <typename T>
void weigh_columns_2_or_4(const float* const* rows, int row_count, const unsigned int* index,
                          const float* const* weights, int taps, T* const* dst, int len) {
  if (taps == 2) {
    weigh_columns<2>(rows, row_count, index, weights, dst, len);
  } else {
    weigh_columns<4>(rows, row_count, index, weights, dst, len);
  }
}

template <typename T>
void pick_columns(const T* src, const unsigned int* index, T* dst, int len) {
  for (int j = 0; j < len; ++j) dst[j] = src[index[j]];
}

}  // namespace

namespace ns_signal {

extern const scaling_kernels sse2_scaling_kernels = {
    weigh_rows_2_or_4<unsigned char>,    weigh_rows_2_or_4<unsigned short>,
    weigh_columns_2_or_4<unsigned char>, weigh_columns_2_or_4<unsigned short>,
    pick_columns<unsigned char>,         pick_columns<unsigned short>};

}  // namespace ns_signal
