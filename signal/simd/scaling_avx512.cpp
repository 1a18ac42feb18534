// Scaling kernels with AVX-512 (F, BW, DQ, VL, VBMI). Sixteen sums stand in one register; the taps
// of sixteen columns are picked by permutation from a window of 32 or 64 floats.

// gcc 12 takes the header's own undefined registers for mistakes.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif

#include "signal/scaling_kernels.h"

namespace {

constexpr int lanes = 16;

__mmask16 first_lanes(int count) {
  return static_cast<__mmask16>(count >= lanes ? 0xFFFF : (1 << count) - 1);
}

// The minimum gives its second operand where that is a NaN, the conversion then the most negative
// integer, and packing makes 0 of it.
__m512i to_integers(__m512 sums, const unsigned char*) {
  return _mm512_cvtps_epi32(_mm512_min_ps(_mm512_set1_ps(255.0f), sums));
}

__m512i to_integers(__m512 sums, const unsigned short*) {
  return _mm512_cvttps_epi32(_mm512_min_ps(_mm512_set1_ps(65535.0f), sums));
}

void store_one(__m512i values, unsigned char* dst, __mmask16 mask) {
  const __m512i positive = _mm512_max_epi32(values, _mm512_setzero_si512());
  _mm_mask_storeu_epi8(dst, mask, _mm512_cvtepi32_epi8(positive));
}

void store_one(__m512i values, unsigned short* dst, __mmask16 mask) {
  const __m512i positive = _mm512_max_epi32(values, _mm512_setzero_si512());
  _mm256_mask_storeu_epi16(dst, mask, _mm512_cvtepi32_epi16(positive));
}

// Four times sixteen values as bytes: those of `values[n]` in the n-th quarter.
__m512i pack_8u(const __m512i (&values)[4]) {
  const __m512i packed = _mm512_packus_epi16(_mm512_packs_epi32(values[0], values[1]),
                                             _mm512_packs_epi32(values[2], values[3]));
  const __m512i by_source = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  return _mm512_permutexvar_epi32(by_source, packed);
}

// Twice sixteen values as words: those of `first` in the lower half.
__m512i pack_16u(__m512i first, __m512i second) {
  const __m512i by_source = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
  return _mm512_permutexvar_epi64(by_source, _mm512_packus_epi32(first, second));
}

// Sixteen values each of four rows.
void store_rows(const __m512i (&values)[4], unsigned char* const* dst, int j) {
  const __m512i packed = pack_8u(values);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[0] + j), _mm512_castsi512_si128(packed));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[1] + j), _mm512_extracti32x4_epi32(packed, 1));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[2] + j), _mm512_extracti32x4_epi32(packed, 2));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[3] + j), _mm512_extracti32x4_epi32(packed, 3));
}

void store_rows(const __m512i (&values)[4], unsigned short* const* dst, int j) {
  for (int half = 0; half < 2; ++half) {
    const __m512i packed = pack_16u(values[2 * half], values[2 * half + 1]);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst[2 * half] + j),
                        _mm512_castsi512_si256(packed));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst[2 * half + 1] + j),
                        _mm512_extracti64x4_epi64(packed, 1));
  }
}

// Four times sixteen values of one row.
void store_run(const __m512i (&values)[4], unsigned char* dst) {
  _mm512_storeu_si512(dst, pack_8u(values));
}

void store_run(const __m512i (&values)[4], unsigned short* dst) {
  _mm512_storeu_si512(dst, pack_16u(values[0], values[1]));
  _mm512_storeu_si512(dst + 2 * lanes, pack_16u(values[2], values[3]));
}

template <int taps, typename T>
void weigh_rows(const float* const* rows, const float* weights, T* dst, int len) {
  constexpr int run = 4 * lanes;
  __m512 weight[taps];
  for (int k = 0; k < taps; ++k) weight[k] = _mm512_set1_ps(weights[k]);
  int i = 0;
  for (; i + run <= len; i += run) {
    __m512i values[4];
    for (int part = 0; part < 4; ++part) {
      const int at = i + part * lanes;
      __m512 sum = _mm512_mul_ps(_mm512_loadu_ps(rows[0] + at), weight[0]);
      for (int k = 1; k < taps; ++k) {
        sum = _mm512_add_ps(_mm512_mul_ps(_mm512_loadu_ps(rows[k] + at), weight[k]), sum);
      }
      values[part] = to_integers(sum, dst);
    }
    store_run(values, dst + i);
  }
  for (; i < len; i += lanes) {
    const __mmask16 mask = first_lanes(len - i);
    __m512 sum = _mm512_mul_ps(_mm512_maskz_loadu_ps(mask, rows[0] + i), weight[0]);
    for (int k = 1; k < taps; ++k) {
      const __m512 tap = _mm512_maskz_loadu_ps(mask, rows[k] + i);
      sum = _mm512_add_ps(_mm512_mul_ps(tap, weight[k]), sum);
    }
    store_one(to_integers(sum, dst), dst + i, mask);
  }
}

// Sixteen columns: where their taps lie from the first column's on, and their weights.
template <int taps>
struct column_group {
  unsigned int base;
  unsigned int span;  // floats from the first tap of all to the last
  __mmask16 mask;
  __m512i offset[taps];
  __m512 weight[taps];

  column_group(const unsigned int* index, const float* const* weights, int j, int count)
      : base(index[j]), span(index[j + count - 1] - base + taps), mask(first_lanes(count)) {
    const __m512i first = _mm512_set1_epi32(static_cast<int>(base));
    const __m512i starts = _mm512_mask_loadu_epi32(first, mask, index + j);
    for (int k = 0; k < taps; ++k) {
      offset[k] = _mm512_add_epi32(_mm512_sub_epi32(starts, first), _mm512_set1_epi32(k));
      weight[k] = _mm512_maskz_loadu_ps(mask, weights[k] + j);
    }
  }
};

// The ways to pick sixteen floats at `offset` from `src`, by how far they may lie apart.
struct window_16 {
  __m512 part;

  explicit window_16(const float* src) : part(_mm512_loadu_ps(src)) {}
  __m512 pick(__m512i offset) const { return _mm512_permutexvar_ps(offset, part); }
};

struct window_32 {
  __m512 low, high;

  explicit window_32(const float* src)
      : low(_mm512_loadu_ps(src)), high(_mm512_loadu_ps(src + lanes)) {}
  __m512 pick(__m512i offset) const { return _mm512_permutex2var_ps(low, offset, high); }
};

struct window_64 {
  window_32 low, high;

  explicit window_64(const float* src) : low(src), high(src + 2 * lanes) {}
  __m512 pick(__m512i offset) const {
    const __mmask16 upper = _mm512_test_epi32_mask(offset, _mm512_set1_epi32(2 * lanes));
    return _mm512_mask_blend_ps(upper, low.pick(offset), high.pick(offset));
  }
};

struct anywhere {
  const float* src;

  explicit anywhere(const float* start) : src(start) {}
  __m512 pick(__m512i offset) const { return _mm512_i32gather_ps(offset, src, sizeof(float)); }
};

template <typename Window, int taps>
__m512 sum_of(const column_group<taps>& group, const float* row) {
  const Window window(row + group.base);
  __m512 sum = _mm512_mul_ps(window.pick(group.offset[0]), group.weight[0]);
  for (int k = 1; k < taps; ++k) {
    sum = _mm512_add_ps(_mm512_mul_ps(window.pick(group.offset[k]), group.weight[k]), sum);
  }
  return sum;
}

template <typename Window, int taps, typename T>
void weigh_group(const column_group<taps>& group, const float* const* rows, int row_count,
                 T* const* dst, int j) {
  if (row_count == 4 && group.mask == 0xFFFF) {
    __m512i values[4];
    for (int r = 0; r < 4; ++r) values[r] = to_integers(sum_of<Window>(group, rows[r]), dst[0]);
    store_rows(values, dst, j);
    return;
  }
  for (int r = 0; r < row_count; ++r) {
    store_one(to_integers(sum_of<Window>(group, rows[r]), dst[0]), dst[r] + j, group.mask);
  }
}

template <int taps, typename T>
void weigh_columns(const float* const* rows, int row_count, const unsigned int* index,
                   const float* const* weights, T* const* dst, int len) {
  for (int j = 0; j < len; j += lanes) {
    const column_group<taps> group(index, weights, j, len - j < lanes ? len - j : lanes);
    if (group.span <= 16) {
      weigh_group<window_16>(group, rows, row_count, dst, j);
    } else if (group.span <= 32) {
      weigh_group<window_32>(group, rows, row_count, dst, j);
    } else if (group.span <= 64) {
      weigh_group<window_64>(group, rows, row_count, dst, j);
    } else {
      weigh_group<anywhere>(group, rows, row_count, dst, j);
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

// Sixteen indices as offsets from the first of 64, one byte each.
__m128i byte_offsets(const unsigned int* index, unsigned int base, int count) {
  const __mmask16 mask = first_lanes(count);
  const __m512i first = _mm512_set1_epi32(static_cast<int>(base));
  return _mm512_cvtepi32_epi8(_mm512_sub_epi32(_mm512_mask_loadu_epi32(first, mask, index), first));
}

__mmask64 first_bytes(unsigned int count) { return count >= 64 ? ~0ULL : (1ULL << count) - 1; }

void pick_columns_8u(const unsigned char* src, const unsigned int* index, unsigned char* dst,
                     int len) {
  constexpr int group = 64;
  int j = 0;
  for (; j + group <= len; j += group) {
    const unsigned int base = index[j];
    const unsigned int span = index[j + group - 1] - base + 1;
    if (span > 128) {
      for (int i = j; i < j + group; ++i) dst[i] = src[index[i]];
      continue;
    }
    const __m512i low = _mm512_maskz_loadu_epi8(first_bytes(span), src + base);
    const __m512i high =
        _mm512_maskz_loadu_epi8(span > 64 ? first_bytes(span - 64) : 0, src + base + 64);
    __m512i offset = _mm512_castsi128_si512(byte_offsets(index + j, base, lanes));
    offset = _mm512_inserti32x4(offset, byte_offsets(index + j + 16, base, lanes), 1);
    offset = _mm512_inserti32x4(offset, byte_offsets(index + j + 32, base, lanes), 2);
    offset = _mm512_inserti32x4(offset, byte_offsets(index + j + 48, base, lanes), 3);
    _mm512_storeu_si512(dst + j, _mm512_permutex2var_epi8(low, offset, high));
  }
  for (; j < len; ++j) dst[j] = src[index[j]];
}

void pick_columns_16u(const unsigned short* src, const unsigned int* index, unsigned short* dst,
                      int len) {
  constexpr int group = 32;
  int j = 0;
  for (; j + group <= len; j += group) {
    const unsigned int base = index[j];
    const unsigned int span = index[j + group - 1] - base + 1;
    if (span > 64) {
      for (int i = j; i < j + group; ++i) dst[i] = src[index[i]];
      continue;
    }
    const auto low_mask = static_cast<__mmask32>(first_bytes(span));
    const auto high_mask = static_cast<__mmask32>(span > 32 ? first_bytes(span - 32) : 0);
    const __m512i low = _mm512_maskz_loadu_epi16(low_mask, src + base);
    const __m512i high = _mm512_maskz_loadu_epi16(high_mask, src + base + 32);
    const __m512i first = _mm512_set1_epi32(static_cast<int>(base));
    const __m256i front =
        _mm512_cvtepi32_epi16(_mm512_sub_epi32(_mm512_loadu_si512(index + j), first));
    const __m256i back =
        _mm512_cvtepi32_epi16(_mm512_sub_epi32(_mm512_loadu_si512(index + j + 16), first));
    const __m512i offset = _mm512_inserti64x4(_mm512_castsi256_si512(front), back, 1);
    _mm512_storeu_si512(dst + j, _mm512_permutex2var_epi16(low, offset, high));
  }
  for (; j < len; ++j) dst[j] = src[index[j]];
}

}  // namespace

namespace ns_signal {

extern const scaling_kernels avx512_scaling_kernels = {weigh_rows_2_or_4<unsigned char>,
                                                       weigh_rows_2_or_4<unsigned short>,
                                                       weigh_columns_2_or_4<unsigned char>,
                                                       weigh_columns_2_or_4<unsigned short>,
                                                       pick_columns_8u,
                                                       pick_columns_16u};

}  // namespace ns_signal
